// SPDX-License-Identifier: BSD-2-Clause
#ifndef FUZZ_CAPTUREDOUTPUT_H
#define FUZZ_CAPTUREDOUTPUT_H

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

/// Collects what is written to a stream of the C library, for example `stderr`, while it lives. The
/// descriptor behind the stream stays free for reports of the sanitizers.
class CapturedOutput {
 public:
  explicit CapturedOutput(std::FILE*& stream)
      : stream_(stream), real_(std::exchange(stream, open_memstream(&text_, &size_))) {
    if (!stream_) std::abort();
  }
  ~CapturedOutput() {
    std::fclose(std::exchange(stream_, real_));
    std::free(text_);
  }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  /// Returns the text so far; valid until more is written.
  std::string_view GetText() {
    std::fflush(stream_);
    return {text_, size_};
  }

 private:
  char* text_ = nullptr;
  std::size_t size_ = 0;
  std::FILE*& stream_;
  std::FILE* real_;
};

#endif  // FUZZ_CAPTUREDOUTPUT_H
