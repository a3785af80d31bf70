// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_LOGGING_H
#define VIX_LOGGING_H

/// @file
/// Log records and the writer that they go to. Everything here may be called from any thread.

#include <functional>
#include <memory>
#include <string>

#include "vix/Export.h"
#include "vix/Types.h"

namespace vix {

/// Formats and stores log records. Implementations are called from any thread, several at once.
class VIX_API ILoggerWriter {
 public:
  virtual ~ILoggerWriter() = default;
  /// Writes one record. Every text is NUL-terminated, never null, and valid during the call only.
  /// @param reserved always empty
  virtual void Write(LogLevel level, const char* message, const char* context,
                     const char* sourceFile, const char* line, const char* reserved,
                     const char* threadId, const char* time) = 0;
};

/// The writer in force, or null when there is none.
VIX_API std::shared_ptr<ILoggerWriter> GetCurrentLoggerWriter();
/// Replaces the writer in force; null leaves records without one.
VIX_API void SetCurrentLoggerWriter(std::shared_ptr<ILoggerWriter> writer);
/// A writer that renders each record as one line and hands it, without the newline, to `sink`:
/// "time LEVEL [thread] context: message (file:line)", the context only where there is one, the
/// file without its folders. Line breaks inside a text become spaces. Calls of the sink from
/// different threads never overlap; a record written by the sink itself is handed to it at once.
/// What the sink throws reaches the caller of Write(). Refuses an empty sink.
VIX_API std::shared_ptr<ILoggerWriter> CreateLineLoggerWriter(
    std::function<void(LogLevel, const std::string& line)> sink);

/// Local date and time with milliseconds and UTC offset (ISO 8601), for example
/// "2024-05-17T09:30:01.250+02:00".
VIX_API std::string GetCurrentTimeString();
/// Identifier of the calling thread, as the operating system numbers it.
VIX_API std::string GetThreadId();
/// What the calling thread is working on: the innermost ContextScope, or the empty text.
VIX_API std::string GetCurrentContextString();

/// Names what the calling thread works on until the scope ends. Scopes nest. A scope has to end on
/// the thread that began it.
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

/// Decimal digits without separators, whatever the locale.
VIX_API std::string ToString(int value);
/// Word of a level: "FATAL", "ERROR", "WARNING", "INFO", "DEBUG"; "LogLevel 9" for the unknown
/// level 9.
VIX_API std::string ToString(LogLevel level);

}  // namespace vix

#endif  // VIX_LOGGING_H
