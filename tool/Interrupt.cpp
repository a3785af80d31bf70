// SPDX-License-Identifier: BSD-2-Clause
#include "Interrupt.h"

#include <csignal>
#include <initializer_list>

namespace vixprores {
namespace {

volatile std::sig_atomic_t g_interruptRequested = 0;

void RequestInterrupt(int /*signal*/) {
  g_interruptRequested = 1;
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
  // Without SA_RESTART a read that waits for a pipe returns, so that the request is seen at once.
  for (const int signal : {SIGINT, SIGTERM}) Handle(signal, RequestInterrupt, SA_RESETHAND);
  // A lost terminal is the same request, unless nohup asked to outlive it.
  if (!IsIgnored(SIGHUP)) Handle(SIGHUP, RequestInterrupt, SA_RESETHAND);
  for (const int signal : {SIGPIPE, SIGXFSZ}) Handle(signal, SIG_IGN, 0);
}

bool InterruptRequested() {
  return g_interruptRequested != 0;
}

}  // namespace vixprores
