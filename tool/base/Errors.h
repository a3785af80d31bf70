// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_ERRORS_H
#define TOOL_BASE_ERRORS_H

/// @file
/// Errors that end a run or a part of it. Each text is a whole message for the user: what is wrong,
/// where, and what to do about it.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace vixprores {

/// Exit codes of the program.
enum ExitCode { kExitDone = 0, kExitFailed = 1, kExitWrongUse = 2 };

/// The command line asks for something impossible: exit code 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The work cannot be done: exit code 1.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The container of a file does not describe its contents.
class UnreadableContainer : public Failure {
 public:
  using Failure::Failure;
};

/// The container is broken at some byte: frames may follow, but it does not lead to them.
class UnreadableRest : public Failure {
 public:
  UnreadableRest(const std::string& input, std::int64_t offset)
      : Failure(input + ": is damaged or cut off from byte " + std::to_string(offset) +
                " on, so that what comes after it is not found; --scan finds its frames"),
        offset_(offset) {}

  std::int64_t GetOffset() const { return offset_; }

 private:
  std::int64_t offset_;
};

/// A frame of the input is damaged or missing. The frames after it can still be read.
class FrameFailure : public Failure {
 public:
  /// @param found  what is wrong, to follow the frame's number
  /// @param advice what to do about it; empty = nothing
  /// @param count  number of frames from this one on that share the fault
  /// @param offset of the frame in the input, in bytes; nullopt = unknown
  FrameFailure(const std::string& input, std::int64_t frame, const std::string& found,
               const std::string& advice = {}, std::int64_t count = 1,
               std::optional<std::int64_t> offset = std::nullopt)
      : FrameFailure(input + ": frame " + std::to_string(frame) + " " + found +
                         (advice.empty() ? "" : "; ") + advice,
                     found, advice, count, frame, offset) {
    input_ = input;
  }

  const std::string& GetInput() const { return input_; }  ///< empty = unknown
  std::int64_t GetFrame() const { return frame_; }
  std::int64_t GetCount() const { return count_; }
  std::optional<std::int64_t> GetOffset() const { return offset_; }
  const std::string& GetFound() const { return found_; }
  const std::string& GetAdvice() const { return advice_; }

 protected:
  FrameFailure(const std::string& message, const std::string& found, const std::string& advice,
               std::int64_t count, std::int64_t frame, std::optional<std::int64_t> offset)
      : Failure(message),
        frame_(frame),
        count_(count),
        offset_(offset),
        found_(found),
        advice_(advice) {}

 private:
  std::int64_t frame_;
  std::int64_t count_;
  std::optional<std::int64_t> offset_;
  std::string input_;
  std::string found_;
  std::string advice_;
};

/// Frame times that do not follow the constant rate.
class FrameTimeFailure : public FrameFailure {
 public:
  /// @param missing frames that are missing from this one on; 0 = the frame's time is between those
  ///                of frames; less = its time has passed already
  FrameTimeFailure(const std::string& message, std::int64_t frame, const std::string& found,
                   std::int64_t missing, std::optional<std::int64_t> offset = std::nullopt)
      : FrameFailure(message, found, {}, CountLost(missing), frame, offset) {}

 private:
  static std::int64_t CountLost(std::int64_t missing) {
    return missing == 0 ? 1 : std::max<std::int64_t>(missing, 0);
  }
};

/// The program was asked to stop.
class Interrupted : public std::runtime_error {
 public:
  Interrupted() : std::runtime_error("interrupted") {}
};

/// A fault of the program itself.
class InternalError : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

/// Returns the message of the exception that is being handled; `input` names the input that it
/// ended in case the exception does not. Call it in a catch block.
std::string DescribeException(const std::string& input);

/// Throws an InternalError that names the place; aborts instead in debug and sanitizer builds.
[[noreturn]] void FailInternally(const char* invariant, const char* file, int line);

/// Checks an invariant, in all builds. `invariant` says what holds. The place is the caller's;
/// clang 14 has the builtins, but no std::source_location.
inline void Ensure(bool holds, const char* invariant, const char* file = __builtin_FILE(),
                   int line = __builtin_LINE()) {
  if (!holds) [[unlikely]]
    FailInternally(invariant, file, line);
}

}  // namespace vixprores

#endif  // TOOL_BASE_ERRORS_H
