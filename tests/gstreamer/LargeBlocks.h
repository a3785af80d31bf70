// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_GSTREAMER_LARGEBLOCKS_H
#define TESTS_GSTREAMER_LARGEBLOCKS_H

#include <cstddef>

namespace vix::test {

/// Returns the number of blocks of at least `bytes` bytes that this process, shared libraries
/// included, has allocated since the last call. The first call starts the count.
unsigned CountLargeBlocks(std::size_t bytes);

}  // namespace vix::test

#endif  // TESTS_GSTREAMER_LARGEBLOCKS_H
