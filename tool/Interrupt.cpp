// SPDX-License-Identifier: BSD-2-Clause
#include "Interrupt.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <initializer_list>

namespace vixprores {
namespace {

std::atomic<bool> g_interruptRequested = false;
static_assert(std::atomic<bool>::is_always_lock_free, "signal handlers must not wait");
int g_descriptor = -1;

void HandleRequest(int /*signal*/) {
  const int error = errno;
  RequestInterrupt();
  errno = error;
}

void Handle(int signal, void (*handler)(int), unsigned flags) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = static_cast<int>(flags);
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

bool IsIgnored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

void InstallSignalHandlers() {
  // Where there is none the request is seen all the same, once the next bytes have come.
  g_descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  // Without SA_RESTART a call that waits returns, so that the request is seen at once.
  for (const int signal : {SIGINT, SIGTERM}) Handle(signal, HandleRequest, SA_RESETHAND);
  // A lost terminal is the same request, unless nohup asked to outlive it.
  if (!IsIgnored(SIGHUP)) Handle(SIGHUP, HandleRequest, SA_RESETHAND);
  for (const int signal : {SIGPIPE, SIGXFSZ}) Handle(signal, SIG_IGN, 0);
}

void RequestInterrupt() {
  g_interruptRequested = true;
  const std::uint64_t one = 1;
  // The counter is full only when it is readable already.
  [[maybe_unused]] const ssize_t written = write(g_descriptor, &one, sizeof one);
}

bool InterruptRequested() {
  return g_interruptRequested;
}

int InterruptDescriptor() {
  return g_descriptor;
}

}  // namespace vixprores
