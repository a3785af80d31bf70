// SPDX-License-Identifier: BSD-2-Clause
#ifndef SRC4444_HANDLES_H
#define SRC4444_HANDLES_H

#include <memory>

#include "ProRes/ProRes.h"

namespace vix::prores4444 {

/// Closes a handle of the codec library.
template <void (*Close)(void*)>
struct HandleCloser {
  void operator()(void* handle) const { Close(handle); }
};

using EncoderHandle = std::unique_ptr<void, HandleCloser<WPRCloseEncoder>>;
using DecoderHandle = std::unique_ptr<void, HandleCloser<WPRCloseDecoder>>;

}  // namespace vix::prores4444

#endif  // SRC4444_HANDLES_H
