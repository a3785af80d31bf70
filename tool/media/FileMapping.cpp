// SPDX-License-Identifier: BSD-2-Clause
#include "media/FileMapping.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <optional>
#include <utility>

namespace vixprores {
namespace {

// A mapping in the table of the signal handler, which runs at any moment: nothing is locked.
struct Watch {
  std::atomic<bool> isTaken;
  std::atomic<std::uintptr_t> begin;
  std::atomic<std::uintptr_t> end;  // 0 = not watched yet
  std::atomic<MappingFault*> fault;

  bool Covers(std::uintptr_t address) const { return begin <= address && address < end; }
};

// More entries than frames in flight; further frames are copied.
std::array<Watch, 256> g_watches;
struct sigaction g_previousAction;

std::uintptr_t PageBytes() {
  static const auto bytes = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  return bytes;
}

void HandleBusError(int /*signal*/, siginfo_t* info, void* /*context*/) {
  const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
  const auto found = std::ranges::find_if(
      g_watches, [address](const Watch& watch) { return watch.Covers(address); });
  if (found == g_watches.end()) {
    // The address is in none of our mappings: the instruction faults again, into the previous
    // handler.
    sigaction(SIGBUS, &g_previousAction, nullptr);
    return;
  }
  found->fault.load()->store(true);
  std::uint8_t* const page = static_cast<std::uint8_t*>(info->si_addr) - address % PageBytes();
  (void)mmap(page, PageBytes(), PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
}

void InstallHandler() {
  [[maybe_unused]] static const bool isInstalled = [] {
    PageBytes();  // the first call must not happen in the handler
    struct sigaction action {};
    action.sa_sigaction = HandleBusError;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    return sigaction(SIGBUS, &action, &g_previousAction) == 0;
  }();
}

std::optional<std::size_t> TakeWatch() {
  for (std::size_t i = 0; i < g_watches.size(); ++i) {
    if (!g_watches[i].isTaken.exchange(true)) return i;
  }
  return std::nullopt;
}

}  // namespace

std::shared_ptr<const FileMapping> FileMapping::Make(int descriptor, std::int64_t position,
                                                     std::size_t bytes,
                                                     std::shared_ptr<MappingFault> fault) {
  InstallHandler();
  const auto skip = static_cast<std::size_t>(position) % PageBytes();
  // Populate the pages now: the reader waits for the disk, not the threads that use the bytes.
  void* const pages = mmap(nullptr, skip + bytes, PROT_READ, MAP_PRIVATE | MAP_POPULATE, descriptor,
                           position - static_cast<std::int64_t>(skip));
  if (pages == MAP_FAILED) return nullptr;
  const auto watch = TakeWatch();
  if (!watch) {
    munmap(pages, skip + bytes);
    return nullptr;
  }
  return std::shared_ptr<const FileMapping>(new FileMapping(
      *watch, static_cast<std::uint8_t*>(pages), skip + bytes, skip, std::move(fault)));
}

FileMapping::FileMapping(std::size_t watch, std::uint8_t* pages, std::size_t pagesBytes,
                         std::size_t skip, std::shared_ptr<MappingFault> fault)
    : watch_(watch), pages_(pages), pagesBytes_(pagesBytes), skip_(skip), fault_(std::move(fault)) {
  const auto begin = reinterpret_cast<std::uintptr_t>(pages_);
  g_watches[watch_].fault = fault_.get();
  g_watches[watch_].begin = begin;
  g_watches[watch_].end = begin + pagesBytes_;
}

FileMapping::~FileMapping() {
  g_watches[watch_].end = 0;
  munmap(pages_, pagesBytes_);
  g_watches[watch_].isTaken = false;
}

}  // namespace vixprores
