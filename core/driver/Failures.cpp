// SPDX-License-Identifier: BSD-2-Clause
#include "driver/Failures.h"

#include <algorithm>
#include <new>

#include "ProRes/ProRes.h"
#include "vix/Error.h"

namespace vix {
namespace {

/// Cause of a failure and an explanation for people, which may be empty.
struct Cause {
  ErrorCode code = ErrorCode::Failed;
  std::string explanation;
};

struct CauseOfResult {
  std::int32_t result;
  ErrorCode code;
  const char* explanation;
};
constexpr CauseOfResult kCodecResults[] = {
    {kWPRBadArgument, ErrorCode::BadArgument, "the codec library rejected an argument"},
    {kWPRBadHeader, ErrorCode::Damaged, "the headers or slice tables of the frame are damaged"},
    {kWPRTruncated, ErrorCode::Truncated, "the frame ends before its last slice"},
    {kWPRUnsupported, ErrorCode::Unsupported, "the codec library does not support the frame"},
    {kWPRDestinationTooSmall, ErrorCode::Failed, "the encoded frame did not fit its buffer"},
    {kWPROutOfMemory, ErrorCode::OutOfMemory, "the codec library got no memory"},
    {kWPRInternalError, ErrorCode::Failed, "the codec library violated its own invariants"},
    {kWPRForked, ErrorCode::WrongOrder,
     "the process was forked after the codec library had started threads; make a new driver"},
    {kWPRTooLarge, ErrorCode::Unsupported, "the frame is larger than the limits of the codec"},
};

Cause CauseOf(const CodecReport& report) {
  const auto* const found = std::ranges::find(kCodecResults, report.result, &CauseOfResult::result);
  return found == std::end(kCodecResults) ? Cause{} : Cause{found->code, found->explanation};
}

/// The cause that a frame shows by itself.
Cause CauseOf(const FrameShape& frame, std::size_t frameBytes) {
  if (frame.refusal != nullptr) return {ErrorCode::Unsupported, frame.refusal};
  if (frame.stated > frameBytes) {
    return {ErrorCode::Truncated, "the frame has " + std::to_string(frameBytes) + " of " +
                                      std::to_string(frame.stated) + " bytes"};
  }
  return {ErrorCode::Damaged, "the frame is damaged"};
}

Cause FindCause(const FailedCall& call) {
  if (call.report && call.report->result < 0) {
    Cause cause = CauseOf(*call.report);
    if (cause.code == ErrorCode::Truncated) {
      cause.explanation += " (" + std::to_string(call.frameBytes) + " bytes)";
    }
    return cause;
  }
  return call.frame ? CauseOf(*call.frame, call.frameBytes) : Cause{call.unknownCause, {}};
}

[[noreturn]] void Throw(const FailedCall& call, const Cause& cause, const char* text) {
  const std::string explanation = cause.explanation.empty() ? "" : cause.explanation + ": ";
  throw VIXError(cause.code, call.beginning + explanation + text,
                 call.report ? std::optional(call.report->result) : std::nullopt);
}

}  // namespace

void RethrowWithCause(const FailedCall& call) {
  try {
    throw;
  } catch (const VIXError& error) {
    Throw(call, {error.GetCode(), {}}, error.what());
  } catch (const std::bad_alloc&) {
    Throw(call, {ErrorCode::OutOfMemory, {}}, "Out of memory");
  } catch (const std::exception& error) {
    Throw(call, FindCause(call), error.what());
  }
}

}  // namespace vix
