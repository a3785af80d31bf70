// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_LOGGING_H
#define VIX_LOGGING_H

/// @file
/// Log records and their writer. Every function may be called from any thread.

#include <functional>
#include <memory>
#include <string>

#include "vix/Export.h"
#include "vix/Types.h"

namespace vix {

/// Formats and stores log records. Any thread may call a writer, several at the same time.
class VIX_API ILoggerWriter {
 public:
  virtual ~ILoggerWriter() = default;
  /// Writes one record. Every text is NUL-terminated, not null, and only valid during the call.
  /// @param reserved always empty
  virtual void Write(LogLevel level, const char* message, const char* context,
                     const char* sourceFile, const char* line, const char* reserved,
                     const char* threadId, const char* time) = 0;
};

/// Returns the current writer, or null if there is none. Initially this is the default writer.
VIX_API std::shared_ptr<ILoggerWriter> GetCurrentLoggerWriter();
/// Replaces the current writer. Null removes it: elements then print every record to the standard
/// error stream, milestones included.
VIX_API void SetCurrentLoggerWriter(std::shared_ptr<ILoggerWriter> writer);

/// Returns the default writer, to make it current again. It prints "LEVEL message" lines to the
/// standard error stream for records that are at least as severe as its threshold.
VIX_API std::shared_ptr<ILoggerWriter> GetDefaultLoggerWriter();
/// Sets the least severe level that the default writer prints, initially Warning. Other writers
/// receive every record. Rejects an unknown level.
VIX_API void SetLogThreshold(LogLevel level);
/// Returns the least severe level that the default writer prints.
VIX_API LogLevel GetLogThreshold() noexcept;

/// Creates a writer that formats each record as one line and passes it, without newline, to `sink`:
/// "time LEVEL [thread] context: message (file:line)", without "context: " if there is none, and
/// with the file's name only. Line breaks become spaces. Calls of the sink from different threads
/// do not overlap; a record that the sink writes itself reaches it immediately. Exceptions of the
/// sink reach the caller of Write(). Rejects an empty sink.
VIX_API std::shared_ptr<ILoggerWriter> CreateLineLoggerWriter(
    std::function<void(LogLevel, const std::string& line)> sink);
/// Creates a writer like the one above that drops records less severe than `threshold`. Rejects an
/// unknown level, too.
VIX_API std::shared_ptr<ILoggerWriter> CreateLineLoggerWriter(
    LogLevel threshold, std::function<void(LogLevel, const std::string& line)> sink);

/// Returns local date and time with milliseconds and UTC offset (ISO 8601), for example
/// "2024-05-17T09:30:01.250+02:00".
VIX_API std::string GetCurrentTimeString();
/// Returns the operating system's number of the calling thread.
VIX_API std::string GetThreadId();
/// Returns the text of the calling thread's innermost ContextScope, or the empty text.
VIX_API std::string GetCurrentContextString();

/// Names the work of the calling thread until the scope ends. Scopes nest. A scope must end on the
/// thread that began it.
class VIX_API ContextScope {
 public:
  /// Begins the scope on the calling thread.
  explicit ContextScope(std::string context);
  ~ContextScope();
  ContextScope(const ContextScope&) = delete;
  ContextScope& operator=(const ContextScope&) = delete;

 private:
  friend VIX_API std::string GetCurrentContextString();

  std::string context_;
  ContextScope* outer_;
};

/// Returns decimal digits without separators in every locale.
VIX_API std::string ToString(int value);
/// Returns the name of a level: "FATAL", "ERROR", "WARNING", "INFO" or "DEBUG"; "LogLevel 9" for
/// the unknown level 9.
VIX_API std::string ToString(LogLevel level);

}  // namespace vix

#endif  // VIX_LOGGING_H
