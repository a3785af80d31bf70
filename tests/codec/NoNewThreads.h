// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_NONEWTHREADS_H
#define TESTS_CODEC_NONEWTHREADS_H

#include <pthread.h>

#include <cstddef>

namespace prores::test {

/// Prevents threads from being started: sets a default stack larger than the address space.
class NoNewThreads {
 public:
  NoNewThreads() {
    pthread_getattr_default_np(&usual_);
    pthread_attr_t impossible;
    pthread_getattr_default_np(&impossible);
    pthread_attr_setstacksize(&impossible, std::size_t{1} << 47);
    pthread_setattr_default_np(&impossible);
    pthread_attr_destroy(&impossible);
  }
  ~NoNewThreads() {
    pthread_setattr_default_np(&usual_);
    pthread_attr_destroy(&usual_);
  }

 private:
  pthread_attr_t usual_{};
};

}  // namespace prores::test

#endif  // TESTS_CODEC_NONEWTHREADS_H
