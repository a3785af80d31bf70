// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_ERROR_H
#define VIX_ERROR_H

/// @file
/// Errors of the framework.

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "vix/Export.h"

namespace vix {

/// Error of the framework. what() returns the constructor's text unchanged.
class VIX_API VIXRuntimeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Cause of a VIXError, for programs. New causes are added at the end.
enum class ErrorCode : std::int32_t {
  Failed = 1,         ///< any cause that is not listed here
  BadArgument = 2,    ///< an argument, parameter or description that no call accepts
  WrongOrder = 3,     ///< another call must come first
  FormatChanged = 4,  ///< a frame differs from the defined stream in size, scan mode or chroma
  Truncated = 5,      ///< a frame has fewer bytes than its headers or its description require
  Damaged = 6,        ///< the headers of a frame contradict themselves or the format
  Unsupported = 7,    ///< well-formed, but no element here processes it
  OutOfMemory = 8,    ///< memory could not be obtained
  NotFound = 9,       ///< a file, plug-in, element or allocator does not exist
  AlreadyExists = 10  ///< the name or key belongs to something else
};

/// Error with a cause. The text says what was wrong, with which values, and what to do.
class VIX_API VIXError : public VIXRuntimeError {
 public:
  /// @param codecResult what the codec library returned (a WPRResult); nullopt = it was not called
  VIXError(ErrorCode code, const std::string& text,
           std::optional<std::int32_t> codecResult = std::nullopt)
      : VIXRuntimeError(text), code_(code), codecResult_(codecResult) {}

  /// Returns the cause.
  ErrorCode GetCode() const noexcept { return code_; }
  /// Returns what the codec library returned; nullopt if it was not called or nobody observed it.
  std::optional<std::int32_t> GetCodecResult() const noexcept { return codecResult_; }

 private:
  ErrorCode code_;
  std::optional<std::int32_t> codecResult_;
};

}  // namespace vix

#endif  // VIX_ERROR_H
