// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_DRIVER_FAILURES_H
#define CORE_DRIVER_FAILURES_H

#include <cstddef>
#include <exception>
#include <new>
#include <optional>
#include <string>

#include "driver/StreamShape.h"
#include "vix/CodecHook.h"
#include "vix/Error.h"

namespace vix {

/// What is known of a failed call, beside its exception.
struct FailedCall {
  std::string beginning;              ///< of the text of the error
  std::optional<CodecReport> report;  ///< of the codec library
  std::optional<FrameShape> frame;    ///< that was decoded
  std::size_t frameBytes = 0;
  ErrorCode unknownCause = ErrorCode::Failed;  ///< code of a failure that shows no other cause
};

/// Rethrows the exception that is being handled as a VIXError with the best known cause. Its text
/// contains the exception's text. Exceptions that are no std::exception are rethrown as they are.
[[noreturn]] void RethrowWithCause(const FailedCall& call);

/// Returns what a callback of the host returns. Standard exceptions of it become a VIXError, so
/// that they are not taken for damage of the frame that is pushed; std::bad_alloc stays.
/// @param name of the callback
template <typename Call>
auto CallHost(const char* name, const Call& call) {
  try {
    return call();
  } catch (const VIXError&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    throw VIXError(ErrorCode::Failed,
                   std::string("the host's ") + name + " threw: " + error.what());
  }
}

}  // namespace vix

#endif  // CORE_DRIVER_FAILURES_H
