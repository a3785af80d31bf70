// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_DIAGNOSTICS_H
#define VIX_DIAGNOSTICS_H

/// @file
/// Log records and failure reports as elements write them.
///
/// A failure report writes one record at level Error and then throws a VIXRuntimeError whose text
/// is the record's message. The record goes to the current logger writer; without a writer, or when
/// logging itself fails, one line goes to the standard error stream instead. Logging never replaces
/// the failure that is being reported.
///
/// Every function names the statement that called it as the origin of the record. A caller whose
/// line number is promised to readers of the log passes that number instead.
///
/// No state, no locks: everything here may be called from any thread.

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
    // One unformatted write: no width or locale of the stream applies, and lines stay whole.
    const std::string line = word + ' ' + message + '\n';
    std::cerr.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
  } catch (...) {
    // Nowhere is left to report to; the caller's own failure matters more.
  }
}

/// Writes one record to the current logger writer, or to the standard error stream when there is
/// none or when it fails. Never throws.
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
    // A record that the writer cannot take still has to be seen: it goes where the others go.
  }
  WriteStandardErrorLine(level, message);
}

/// Reports a failure whose message carries no brackets.
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

/// Reports "[label] [ Pointer is null ]" when a plain or shared pointer is null.
/// @throws VIXRuntimeError with that message.
template <typename Pointer>
void CheckNotNull(const Pointer& pointer, const std::string& label, int line = __builtin_LINE(),
                  const char* file = __builtin_FILE()) {
  if (pointer == nullptr) FailUnbracketed("[" + label + "] [ Pointer is null ]", line, file);
}

/// Reports "[text] [ value1 (a) is not == value2 (b) ]" when the values differ. Integers are
/// written in decimal without separators, whatever the global locale.
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

/// Records the milestone "[MILESTONE][text]" at level Info. A failure of logging is not thrown.
inline void WriteMilestone(const std::string& text, int line = __builtin_LINE(),
                           const char* file = __builtin_FILE()) {
  WriteLogRecord(LogLevel::Info, "[MILESTONE][" + text + "]", line, file);
}

}  // namespace vix

#endif  // VIX_DIAGNOSTICS_H
