// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CORE_SILENTLOG_H
#define TESTS_CORE_SILENTLOG_H

#include <string>

#include "vix/Logging.h"

/// Discards log records while it exists.
struct SilentLog {
  SilentLog() {
    vix::SetCurrentLoggerWriter(
        vix::CreateLineLoggerWriter([](vix::LogLevel, const std::string&) {}));
  }
  ~SilentLog() { vix::SetCurrentLoggerWriter(vix::GetDefaultLoggerWriter()); }
  SilentLog(const SilentLog&) = delete;
  SilentLog& operator=(const SilentLog&) = delete;
};

#endif  // TESTS_CORE_SILENTLOG_H
