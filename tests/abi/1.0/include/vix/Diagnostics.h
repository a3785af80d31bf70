// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_DIAGNOSTICS_H
#define VIX_DIAGNOSTICS_H

/// @file
/// Log records and failure reports of elements.
///
/// A failure report writes one record at level Error and then throws a VIXRuntimeError with the
/// record's message. The record goes to the current logger writer. Without a writer, or if logging
/// fails, one line goes to the standard error stream instead. A failure of logging never replaces
/// the reported failure.
///
/// The record names the calling statement as its origin. A caller with a fixed line number, on
/// which readers of the log rely, passes that number instead.
///
/// Every function may be called from any thread.

#include <iostream>
#include <locale>
#include <memory>
#include <sstream>
#include <string>

#include "vix/Error.h"
#include "vix/Logging.h"
#include "vix/Types.h"

namespace vix {

/// Writes "<level word> <message>" and a newline to the standard error stream. Never throws.
inline void WriteStandardErrorLine(LogLevel level, const std::string& message) noexcept {
  std::string word;
  try {
    word = ToString(level);
  } catch (...) {
    word = level == LogLevel::Error ? "ERROR" : "INFO";
  }
  try {
    // One unformatted write keeps the line whole and ignores width and locale of the stream.
    const std::string line = word + ' ' + message + '\n';
    std::cerr.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
  } catch (...) {
    // There is no other place to report to.
  }
}

/// Writes one record to the current logger writer, or to the standard error stream if there is no
/// writer or if it fails. Never throws.
inline void WriteLogRecord(LogLevel level, const std::string& message, int line,
                           const char* file) noexcept {
  try {
    if (const std::shared_ptr<ILoggerWriter> writer = GetCurrentLoggerWriter()) {
      const std::string time = GetCurrentTimeString();
      const std::string threadId = GetThreadId();
      const std::string lineText = ToString(line);
      const std::string context = GetCurrentContextString();
      writer->Write(level, message.c_str(), context.c_str(), file, lineText.c_str(), "",
                    threadId.c_str(), time.c_str());
      return;
    }
  } catch (...) {
    // The record goes to standard error, as without a writer.
  }
  WriteStandardErrorLine(level, message);
}

/// Reports a failure with a message without brackets.
/// @throws VIXRuntimeError with `message`, always.
[[noreturn]] inline void FailUnbracketed(const std::string& message, int line = __builtin_LINE(),
                                         const char* file = __builtin_FILE()) {
  WriteLogRecord(LogLevel::Error, message, line, file);
  throw VIXRuntimeError(message);
}

/// Reports the failure "[text]".
/// @throws VIXRuntimeError with that message, always.
[[noreturn]] inline void Fail(const std::string& text, int line = __builtin_LINE(),
                              const char* file = __builtin_FILE()) {
  FailUnbracketed("[" + text + "]", line, file);
}

/// Reports "[label] [ Pointer is null ]" if a plain or shared pointer is null.
/// @throws VIXRuntimeError with that message.
template <typename Pointer>
void CheckNotNull(const Pointer& pointer, const std::string& label, int line = __builtin_LINE(),
                  const char* file = __builtin_FILE()) {
  if (pointer == nullptr) FailUnbracketed("[" + label + "] [ Pointer is null ]", line, file);
}

/// Reports "[text] [ value1 (a) is not == value2 (b) ]" if the values differ. Integers are decimal
/// without separators in every locale.
/// @throws VIXRuntimeError with that message.
template <typename Value>
void CheckEqual(const std::string& text, const Value& value1, const Value& value2,
                int line = __builtin_LINE(), const char* file = __builtin_FILE()) {
  if (value1 == value2) return;
  std::ostringstream message;
  message.imbue(std::locale::classic());
  message << '[' << text << "] [ value1 (" << value1 << ") is not == value2 (" << value2 << ") ]";
  FailUnbracketed(message.str(), line, file);
}

/// Writes the milestone "[MILESTONE][text]" at level Info. Never throws because of logging.
inline void WriteMilestone(const std::string& text, int line = __builtin_LINE(),
                           const char* file = __builtin_FILE()) {
  WriteLogRecord(LogLevel::Info, "[MILESTONE][" + text + "]", line, file);
}

}  // namespace vix

#endif  // VIX_DIAGNOSTICS_H
