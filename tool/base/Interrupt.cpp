// SPDX-License-Identifier: BSD-2-Clause
#include "base/Interrupt.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

#include "base/Errors.h"

namespace vixprores {
namespace {

constexpr std::array kStopSignals{SIGINT, SIGTERM, SIGHUP};

// Set by signal handlers.
std::atomic<bool> g_interruptRequested = false;
std::atomic<int> g_signal = 0;  // the first that came; 0 = none
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

int g_descriptor = -1;

void SetAction(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

bool IsIgnored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

// Takes the first signal as a request and leaves the next to end the program.
void HandleSignal(int signal) {
  const int error = errno;
  g_signal = signal;
  RequestInterrupt();
  for (const int each : kStopSignals) {
    if (!IsIgnored(each)) SetAction(each, SIG_DFL);
  }
  errno = error;
}

}  // namespace

void InstallSignalHandlers() {
  // Without a descriptor a request is seen with the next bytes that come.
  g_descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  for (const int signal : {SIGPIPE, SIGXFSZ}) SetAction(signal, SIG_IGN);
  for (const int signal : kStopSignals) {
    // nohup ignores SIGHUP for the program.
    if (signal != SIGHUP || !IsIgnored(signal)) SetAction(signal, HandleSignal);
  }
}

void RequestInterrupt() {
  g_interruptRequested = true;
  const std::uint64_t one = 1;
  // Fails only if the counter is full, and then it is readable.
  [[maybe_unused]] const ssize_t written = write(g_descriptor, &one, sizeof one);
}

void WithdrawInterrupt() {
  g_interruptRequested = false;
}

bool InterruptRequested() {
  return g_interruptRequested;
}

void CheckInterrupt() {
  if (InterruptRequested()) throw Interrupted();
}

int InterruptDescriptor() {
  return g_descriptor;
}

void EndBySignal() {
  const int signal = g_signal;
  if (signal == 0) return;
  SetAction(signal, SIG_DFL);
  raise(signal);
}

}  // namespace vixprores
