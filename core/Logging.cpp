// SPDX-License-Identifier: BSD-2-Clause
#include "vix/Logging.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "EnumText.h"
#include "vix/Diagnostics.h"
#include "vix/Error.h"

namespace vix {
namespace {

constexpr EnumText<LogLevel> kLevelWords[] = {
    {LogLevel::Fatal, "FATAL"}, {LogLevel::Error, "ERROR"}, {LogLevel::Warning, "WARNING"},
    {LogLevel::Info, "INFO"},   {LogLevel::Debug, "DEBUG"},
};

void CheckThreshold(LogLevel level) {
  if (level < LogLevel::Fatal || level > LogLevel::Debug) {
    throw VIXError(ErrorCode::BadArgument, "log threshold " + ToString(level) +
                                               " is not a level from " + ToString(LogLevel::Fatal) +
                                               " to " + ToString(LogLevel::Debug));
  }
}

/// Prints records down to a threshold in the form that elements use without a writer.
class DefaultLoggerWriter final : public ILoggerWriter {
 public:
  void Write(LogLevel level, const char* message, const char* /*context*/,
             const char* /*sourceFile*/, const char* /*line*/, const char* /*reserved*/,
             const char* /*threadId*/, const char* /*time*/) override {
    if (level <= threshold) WriteStandardErrorLine(level, message);
  }

  std::atomic<LogLevel> threshold = LogLevel::Warning;
};

// Never destroyed: destructors of static objects may still log.
const std::shared_ptr<DefaultLoggerWriter>& GetDefaultWriter() {
  static const auto& writer =
      *new std::shared_ptr<DefaultLoggerWriter>(std::make_shared<DefaultLoggerWriter>());
  return writer;
}

struct CurrentWriter {
  std::mutex mutex;
  std::shared_ptr<ILoggerWriter> writer = GetDefaultWriter();
};

// Never destroyed, like the default writer.
CurrentWriter& GetCurrentWriter() {
  static auto& current = *new CurrentWriter;
  return current;
}

// A plain pointer, so that destructors of other thread-local objects may still read it.
thread_local ContextScope* innermostScope = nullptr;

std::string_view FileName(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

/// Renders records as lines for a sink.
class LineLoggerWriter final : public ILoggerWriter {
 public:
  using Sink = std::function<void(LogLevel, const std::string&)>;

  LineLoggerWriter(LogLevel threshold, Sink sink) : threshold_(threshold), sink_(std::move(sink)) {}

  void Write(LogLevel level, const char* message, const char* context, const char* sourceFile,
             const char* line, const char* /*reserved*/, const char* threadId,
             const char* time) override {
    if (level > threshold_) return;
    std::string text = std::string(time) + ' ' + ToString(level) + " [" + threadId + "] ";
    if (*context != '\0') text.append(context).append(": ");
    text.append(message).append(" (").append(FileName(sourceFile));
    text.append(":").append(line).append(")");
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    // Recursive, because a sink may report its own failure through this writer.
    const std::lock_guard lock(mutex_);
    sink_(level, text);
  }

 private:
  std::recursive_mutex mutex_;
  LogLevel threshold_;
  Sink sink_;
};

std::shared_ptr<ILoggerWriter> MakeLineLoggerWriter(LogLevel threshold,
                                                    LineLoggerWriter::Sink sink) {
  if (!sink) throw VIXError(ErrorCode::BadArgument, "CreateLineLoggerWriter got an empty sink");
  return std::make_shared<LineLoggerWriter>(threshold, std::move(sink));
}

}  // namespace

std::shared_ptr<ILoggerWriter> GetCurrentLoggerWriter() {
  CurrentWriter& current = GetCurrentWriter();
  const std::lock_guard lock(current.mutex);
  return current.writer;
}

void SetCurrentLoggerWriter(std::shared_ptr<ILoggerWriter> writer) {
  CurrentWriter& current = GetCurrentWriter();
  const std::lock_guard lock(current.mutex);
  // The parameter outlives the lock, so the old writer is destroyed without it.
  current.writer.swap(writer);
}

std::shared_ptr<ILoggerWriter> GetDefaultLoggerWriter() {
  return GetDefaultWriter();
}

void SetLogThreshold(LogLevel level) {
  CheckThreshold(level);
  GetDefaultWriter()->threshold = level;
}

LogLevel GetLogThreshold() noexcept {
  return GetDefaultWriter()->threshold;
}

std::shared_ptr<ILoggerWriter> CreateLineLoggerWriter(
    std::function<void(LogLevel, const std::string& line)> sink) {
  // Levels that the core does not name reach the sink, too.
  constexpr auto kEvery = static_cast<LogLevel>(std::numeric_limits<std::int32_t>::max());
  return MakeLineLoggerWriter(kEvery, std::move(sink));
}

std::shared_ptr<ILoggerWriter> CreateLineLoggerWriter(
    LogLevel threshold, std::function<void(LogLevel, const std::string& line)> sink) {
  CheckThreshold(threshold);
  return MakeLineLoggerWriter(threshold, std::move(sink));
}

std::string GetCurrentTimeString() {
  using std::chrono::duration_cast;
  using std::chrono::milliseconds;
  const auto sinceEpoch =
      duration_cast<milliseconds>(std::chrono::system_clock::now().time_since_epoch());
  const std::time_t seconds = duration_cast<std::chrono::seconds>(sinceEpoch).count();
  std::tm local = {};
  localtime_r(&seconds, &local);
  const long offsetMinutes = std::labs(local.tm_gmtoff) / 60;
  char text[64];
  const int length =
      std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03d%c%02ld:%02ld",
                    local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                    local.tm_min, local.tm_sec, static_cast<int>(sinceEpoch.count() % 1000),
                    local.tm_gmtoff < 0 ? '-' : '+', offsetMinutes / 60, offsetMinutes % 60);
  return {text, static_cast<std::size_t>(length)};
}

std::string GetThreadId() {
  return std::to_string(gettid());
}

std::string GetCurrentContextString() {
  return innermostScope ? innermostScope->context_ : "";
}

ContextScope::ContextScope(std::string context)
    : context_(std::move(context)), outer_(innermostScope) {
  innermostScope = this;
}

ContextScope::~ContextScope() {
  // Scopes that are members of objects may end in any order.
  ContextScope** link = &innermostScope;
  while (*link != nullptr && *link != this) link = &(*link)->outer_;
  assert(*link == this && "a ContextScope must end on the thread that began it");
  if (*link == this) *link = outer_;
}

std::string ToString(int value) {
  return std::to_string(value);
}

std::string ToString(LogLevel level) {
  return TextOf(level, kLevelWords, "LogLevel");
}

}  // namespace vix
