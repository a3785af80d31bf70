// SPDX-License-Identifier: BSD-2-Clause
#include "media/InputFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <system_error>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"

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
  (void)mmap(page, PageBytes(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1,
             0);
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
                                                     std::size_t bytes, std::size_t writable,
                                                     std::shared_ptr<MappingFault> fault) {
  InstallHandler();
  const auto skip = static_cast<std::size_t>(position) % PageBytes();
  // Populate the pages now: the reader waits for the disk, not the threads that use the bytes.
  void* const pages = mmap(nullptr, skip + bytes, PROT_READ, MAP_PRIVATE | MAP_POPULATE, descriptor,
                           position - static_cast<std::int64_t>(skip));
  if (pages == MAP_FAILED) return nullptr;
  // Populating writable pages would copy all of them; so only those to be changed become writable.
  const bool isReady =
      writable == 0 || mprotect(pages, skip + writable, PROT_READ | PROT_WRITE) == 0;
  const auto watch = isReady ? TakeWatch() : std::nullopt;
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

namespace {

[[noreturn]] void FailToRead(const std::string& name, int error) {
  throw Failure(name + ": cannot be read: " + std::generic_category().message(error));
}

}  // namespace

std::string NameOfInput(const std::string& path) {
  return path == "-" ? "standard input" : path;
}

InputFile::InputFile(const std::string& path)
    : InputFile(NameOfInput(path),
                path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}

std::unique_ptr<InputFile> InputFile::OverBytes(const std::string& name,
                                                std::span<const std::uint8_t> bytes) {
  const int descriptor = memfd_create("vixprores", MFD_CLOEXEC);
  const bool isWritten =
      descriptor >= 0 &&
      write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
      lseek(descriptor, 0, SEEK_SET) == 0;
  const int error = errno;
  if (!isWritten && descriptor >= 0) close(descriptor);
  if (!isWritten) FailToRead(name, error);
  return std::unique_ptr<InputFile>(new InputFile(name, descriptor));
}

InputFile::InputFile(const std::string& name, int descriptor)
    : name_(name), descriptor_(descriptor) {
  if (descriptor_ < 0) FailToRead(name_, errno);
  struct stat status {};
  const int error = fstat(descriptor_, &status) != 0 ? errno : 0;
  if (error != 0 || S_ISDIR(status.st_mode)) {
    close(descriptor_);
    FailToRead(name_, error != 0 ? error : EISDIR);
  }
  mayWait_ = !S_ISREG(status.st_mode);
  WidenPipe(descriptor_);
  // Read a redirected file that is not at its start like a pipe, from its position.
  if (!mayWait_ && lseek(descriptor_, 0, SEEK_CUR) == 0) size_ = status.st_size;
}

InputFile::~InputFile() {
  close(descriptor_);
}

bool InputFile::IsSameFile(const std::string& path) const {
  struct stat ours {};
  struct stat theirs {};
  return fstat(descriptor_, &ours) == 0 && stat(path.c_str(), &theirs) == 0 &&
         S_ISREG(ours.st_mode) && ours.st_dev == theirs.st_dev && ours.st_ino == theirs.st_ino;
}

void InputFile::WaitForInput() const {
  std::array<pollfd, 2> descriptors{{{descriptor_, POLLIN, 0}, {InterruptDescriptor(), POLLIN, 0}}};
  while (poll(descriptors.data(), descriptors.size(), -1) < 0) {
    if (errno != EINTR) FailToRead(name_, errno);
  }
  // Read bytes that have already arrived before the interrupt: they may complete a frame.
  if (descriptors[0].revents == 0) throw Interrupted();
}

std::size_t InputFile::ReadFromSystem(std::span<std::uint8_t> destination) {
  if (mayWait_) WaitForInput();
  for (;;) {
    const ssize_t bytes = read(descriptor_, destination.data(), destination.size());
    if (bytes >= 0) return static_cast<std::size_t>(bytes);
    if (errno != EINTR) FailToRead(name_, errno);
    CheckInterrupt();
  }
}

std::size_t InputFile::ReadSome(std::span<std::uint8_t> destination) {
  std::size_t bytes = std::min(destination.size(), peeked_.size());
  if (bytes > 0) {
    std::copy_n(peeked_.begin(), bytes, destination.begin());
    Consume(bytes);
  } else {
    bytes = ReadFromSystem(destination);
    position_ += static_cast<std::int64_t>(bytes);
  }
  return bytes;
}

std::size_t InputFile::Read(std::span<std::uint8_t> destination) {
  std::size_t done = 0;
  while (done < destination.size()) {
    const std::size_t bytes = ReadSome(destination.subspan(done));
    if (bytes == 0) break;
    done += bytes;
  }
  return done;
}

// Drops bytes that were peeked.
void InputFile::Consume(std::size_t bytes) {
  peeked_.erase(peeked_.begin(), peeked_.begin() + static_cast<std::ptrdiff_t>(bytes));
  position_ += static_cast<std::int64_t>(bytes);
}

// Reads ahead up to `bytes` bytes; returns their number, 0 = end.
std::size_t InputFile::PeekMore(std::size_t bytes) {
  const std::size_t known = peeked_.size();
  peeked_.resize(known + bytes);
  const std::size_t read = ReadFromSystem(std::span(peeked_).subspan(known));
  peeked_.resize(known + read);
  return read;
}

std::string InputFile::ReadLine(std::size_t most) {
  constexpr std::size_t kPiece = 4096;
  std::size_t length = 0;
  while (length < most && (length < peeked_.size() || PeekMore(kPiece) > 0) &&
         peeked_[length] != '\n') {
    ++length;
  }
  std::string line(peeked_.begin(), peeked_.begin() + static_cast<std::ptrdiff_t>(length));
  const bool hasNewline = length < peeked_.size() && peeked_[length] == '\n';
  Consume(length + (hasNewline ? 1 : 0));
  return line;
}

std::span<const std::uint8_t> InputFile::Peek(std::size_t bytes) {
  while (peeked_.size() < bytes && PeekMore(bytes - peeked_.size()) > 0) continue;
  return std::span(peeked_).first(std::min(bytes, peeked_.size()));
}

std::size_t InputFile::ReadAt(std::int64_t position, std::span<std::uint8_t> destination) const {
  const ssize_t bytes = pread(descriptor_, destination.data(), destination.size(), position);
  if (bytes < 0) FailToRead(name_, errno);
  return static_cast<std::size_t>(bytes);
}

std::shared_ptr<const FileMapping> InputFile::ReadInPlace(std::size_t bytes) {
  constexpr std::size_t kFewest = std::size_t{1} << 20;  // below this size a copy is as fast
  const auto left =
      static_cast<std::size_t>(std::max<std::int64_t>(0, size_.value_or(0) - position_));
  if (!isMappable_ || bytes < kFewest || bytes > left) return nullptr;
  auto mapping =
      FileMapping::Make(descriptor_, position_, bytes, std::min(writable_, bytes), mappingFault_);
  if (mapping) Seek(position_ + static_cast<std::int64_t>(bytes));
  return mapping;
}

void InputFile::CheckMappings() const {
  if (*mappingFault_) {
    throw Failure(name_ + ": was cut short while it was read, or its disk cannot read it");
  }
}

void InputFile::Seek(std::int64_t position) {
  if (lseek(descriptor_, position, SEEK_SET) < 0) FailToRead(name_, errno);
  peeked_.clear();
  position_ = position;
}

void WidenPipe(int descriptor) {
  constexpr int kBytes = 1 << 20;
  fcntl(descriptor, F_SETPIPE_SZ, kBytes);
}

}  // namespace vixprores
