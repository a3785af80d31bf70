// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/FilePatch.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <span>
#include <system_error>
#include <utility>

#include "base/Errors.h"
#include "base/Uninterrupted.h"
#include "bitstream/BigEndian.h"
#include "media/OutputFile.h"
#include "media/container/PacketTag.h"

namespace vixprores {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

// The journal: the mark, the size of the file, the number of changes; for each its position, the
// number of old and new bytes, and these bytes; the checksum of all that. Numbers have eight bytes.
constexpr std::array<std::uint8_t, 8> kMark{'v', 'i', 'x', 'u', 'n', 'd', 'o', 1};
constexpr std::size_t kNumberBytes = 8;

struct Change {
  std::int64_t position = 0;
  Bytes before;  ///< fewer than `after` where the file is extended
  Bytes after;
};

struct Journal {
  std::int64_t fileBytes = 0;  ///< before all changes
  std::vector<Change> changes;
};

// A journal has to be found beside the file itself, not beside a link to it.
std::string Resolve(const std::string& path) {
  std::error_code error;
  const auto resolved = fs::canonical(path, error);
  return error ? path : resolved.string();
}

std::string JournalOf(const std::string& path) {
  return Resolve(path) + ".undo";
}

[[noreturn]] void Fail(const std::string& path, const std::string& what, int error) {
  throw Failure(path + ": " + what + ": " + std::generic_category().message(error));
}

// A file that is open and closed again.
class OpenFile {
 public:
  OpenFile(std::string path, int flags)
      : path_(std::move(path)),
        descriptor_(Uninterrupted([&] { return open(path_.c_str(), flags | O_CLOEXEC, 0600); })) {
    if (descriptor_ < 0) Fail(path_, "cannot be opened for changes", errno);
  }
  ~OpenFile() { close(descriptor_); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int Get() const { return descriptor_; }
  std::int64_t GetSize() const {
    struct stat status {};
    if (fstat(descriptor_, &status) != 0) Fail(path_, "cannot be read", errno);
    return status.st_size;
  }
  // Keeps other runs away, until this one ends in any way.
  void Lock() const {
    if (flock(descriptor_, LOCK_EX | LOCK_NB) == 0) return;
    throw Failure(path_ + ": is being changed by another run; wait until it has ended");
  }
  Bytes Read(std::int64_t position, std::size_t bytes) const {
    Bytes read(bytes);
    std::size_t done = 0;
    while (done < bytes) {
      const ssize_t got = Uninterrupted([&] {
        return pread(descriptor_, read.data() + done, bytes - done,
                     position + static_cast<std::int64_t>(done));
      });
      if (got < 0) Fail(path_, "cannot be read", errno);
      if (got == 0) break;
      done += static_cast<std::size_t>(got);
    }
    read.resize(done);
    return read;
  }
  void Write(std::int64_t position, std::span<const std::uint8_t> bytes) const {
    while (!bytes.empty()) {
      const ssize_t written =
          Uninterrupted([&] { return pwrite(descriptor_, bytes.data(), bytes.size(), position); });
      if (written < 0) Fail(path_, "cannot be written", errno);
      bytes = bytes.subspan(static_cast<std::size_t>(written));
      position += written;
    }
  }
  void Truncate(std::int64_t bytes) const {
    const int result = Uninterrupted([=, this] { return ftruncate(descriptor_, bytes); });
    if (result != 0) Fail(path_, "cannot be shortened", errno);
  }
  void Sync() const {
    const int result = Uninterrupted([this] { return fsync(descriptor_); });
    if (result != 0) Fail(path_, "cannot be written to the disk", errno);
  }

 private:
  std::string path_;
  int descriptor_;
};

// Makes a new or removed journal survive a loss of power.
void SyncName(const std::string& path) {
  if (const int error = SyncFolder(path)) Fail(path, "cannot be written to the disk", error);
}

void AppendNumber(Bytes& bytes, std::int64_t number) {
  bytes.resize(bytes.size() + kNumberBytes);
  prores::WriteU64(bytes.data() + bytes.size() - kNumberBytes, static_cast<std::uint64_t>(number));
}

Bytes Pack(const Journal& journal) {
  Bytes bytes(kMark.begin(), kMark.end());
  AppendNumber(bytes, journal.fileBytes);
  AppendNumber(bytes, std::ssize(journal.changes));
  for (const auto& [position, before, after] : journal.changes) {
    AppendNumber(bytes, position);
    AppendNumber(bytes, std::ssize(before));
    AppendNumber(bytes, std::ssize(after));
    std::ranges::copy(before, std::back_inserter(bytes));
    std::ranges::copy(after, std::back_inserter(bytes));
  }
  AppendNumber(bytes, static_cast<std::int64_t>(HashPacket(bytes)));
  return bytes;
}

[[noreturn]] void RejectJournal(const std::string& path) {
  throw Failure(path +
                ": is damaged or no journal of this program; remove it if the file beside "
                "it is good");
}

// Takes numbers and bytes from the front of a journal.
class Unpacker {
 public:
  Unpacker(std::span<const std::uint8_t> bytes, const std::string& path)
      : bytes_(bytes), path_(path) {}

  std::int64_t TakeNumber() {
    return static_cast<std::int64_t>(prores::ReadU64(Take(kNumberBytes).data()));
  }
  std::span<const std::uint8_t> Take(std::size_t bytes) {
    if (bytes > bytes_.size()) RejectJournal(path_);
    const auto taken = bytes_.first(bytes);
    bytes_ = bytes_.subspan(bytes);
    return taken;
  }

 private:
  std::span<const std::uint8_t> bytes_;
  const std::string& path_;
};

Journal ReadJournal(const std::string& path) {
  const OpenFile file(path, O_RDONLY);
  const Bytes bytes = file.Read(0, static_cast<std::size_t>(file.GetSize()));
  const bool isWhole = bytes.size() >= kMark.size() + 3 * kNumberBytes &&
                       std::equal(kMark.begin(), kMark.end(), bytes.begin());
  if (!isWhole) RejectJournal(path);
  const std::size_t hashed = bytes.size() - kNumberBytes;
  if (prores::ReadU64(bytes.data() + hashed) != HashPacket({bytes.data(), hashed})) {
    RejectJournal(path);
  }
  const std::span<const std::uint8_t> all(bytes);
  Unpacker rest(all.subspan(kMark.size()), path);
  Journal journal;
  journal.fileBytes = rest.TakeNumber();
  for (std::int64_t left = rest.TakeNumber(); left > 0; --left) {
    Change change{rest.TakeNumber(), {}, {}};
    const auto before = static_cast<std::size_t>(rest.TakeNumber());
    const auto after = static_cast<std::size_t>(rest.TakeNumber());
    std::ranges::copy(rest.Take(before), std::back_inserter(change.before));
    std::ranges::copy(rest.Take(after), std::back_inserter(change.after));
    const bool isPosition =
        change.position >= 0 && change.position <= INT64_MAX - std::ssize(change.after);
    if (!isPosition || before > after) RejectJournal(path);
    journal.changes.push_back(std::move(change));
  }
  return journal;
}

// Writes the journal so that it is complete on the disk as soon as it has its name.
void WriteJournal(const std::string& path, const Journal& journal) {
  const std::string draft = path + ".draft";
  try {
    const OpenFile file(draft, O_WRONLY | O_CREAT | O_TRUNC);
    file.Write(0, Pack(journal));
    file.Sync();
    if (rename(draft.c_str(), path.c_str()) != 0) Fail(path, "cannot be written", errno);
  } catch (const Failure&) {
    unlink(draft.c_str());
    throw;
  }
  SyncName(path);
}

void RemoveJournal(const std::string& path) {
  if (unlink(path.c_str()) != 0) Fail(path, "cannot be removed", errno);
  SyncName(path);
}

// Returns true if every byte is the old or the new one: a write may have been interrupted anywhere.
bool IsBetween(const Bytes& found, const Change& change) {
  const bool isExtended = change.before.size() < change.after.size();
  if (found.size() < (isExtended ? 0 : change.after.size())) return false;
  for (std::size_t i = 0; i < found.size(); ++i) {
    // A file that is being extended may have zeros at its end after a crash.
    const std::uint8_t before = i < change.before.size() ? change.before[i] : std::uint8_t{0};
    if (found[i] != before && found[i] != change.after[i]) return false;
  }
  return true;
}

// Changes only extend a file.
bool HasSizeBetween(const OpenFile& file, const Journal& journal) {
  const std::int64_t size = file.GetSize();
  if (size < journal.fileBytes) return false;
  std::int64_t largest = journal.fileBytes;
  for (const Change& change : journal.changes) {
    largest = std::max(largest, change.position + std::ssize(change.after));
  }
  return size <= largest;
}

void Restore(const OpenFile& file, const std::string& path, const Journal& journal) {
  const bool isBetween =
      HasSizeBetween(file, journal) &&
      std::ranges::all_of(journal.changes, [&file](const Change& change) {
        return IsBetween(file.Read(change.position, change.after.size()), change);
      });
  if (!isBetween) {
    throw Failure(path +
                  ": has been changed since a run of copy --in-place was interrupted; remove " +
                  JournalOf(path) + " if the file is good");
  }
  for (const Change& change : journal.changes) file.Write(change.position, change.before);
  file.Truncate(journal.fileBytes);
  file.Sync();
  RemoveJournal(JournalOf(path));
}

}  // namespace

bool IsHalfPatched(const std::string& path) {
  return access(JournalOf(path).c_str(), F_OK) == 0;
}

void UndoPatches(const std::string& path) {
  const OpenFile file(path, O_RDWR);
  file.Lock();
  Restore(file, path, ReadJournal(JournalOf(path)));
}

void ApplyPatches(const std::string& path, const std::vector<FilePatch>& patches) {
  const OpenFile file(path, O_RDWR);
  file.Lock();
  Journal journal{file.GetSize(), {}};
  for (const FilePatch& patch : patches) {
    journal.changes.push_back(
        {patch.position, file.Read(patch.position, patch.bytes.size()), patch.bytes});
  }
  WriteJournal(JournalOf(path), journal);
  try {
    for (const FilePatch& patch : patches) file.Write(patch.position, patch.bytes);
    file.Sync();
  } catch (const Failure&) {
    Restore(file, path, journal);
    throw;
  }
  RemoveJournal(JournalOf(path));
}

}  // namespace vixprores
