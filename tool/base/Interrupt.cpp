// SPDX-License-Identifier: BSD-2-Clause
#include "base/Interrupt.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <thread>

namespace vixprores {
namespace {

std::atomic<bool> g_interruptRequested = false;
int g_descriptor = -1;

void SetAction(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

bool IsIgnored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t RequestingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  // A lost terminal is the same request, unless nohup asked to outlive it.
  if (!IsIgnored(SIGHUP)) sigaddset(&signals, SIGHUP);
  return signals;
}

/// Takes the first signal as a request, and leaves the second to end the program.
void WaitForSignals(sigset_t signals) {
  int signal = 0;
  while (sigwait(&signals, &signal) != 0) continue;
  RequestInterrupt();
  for (const int each : {SIGINT, SIGTERM, SIGHUP}) {
    if (sigismember(&signals, each) == 1) SetAction(each, SIG_DFL);
  }
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
  for (;;) pause();
}

}  // namespace

void InstallSignalHandlers() {
  // Where there is none the request is seen all the same, once the next bytes have come.
  g_descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  for (const int signal : {SIGPIPE, SIGXFSZ}) SetAction(signal, SIG_IGN);
  const sigset_t signals = RequestingSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::thread(WaitForSignals, signals).detach();
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
