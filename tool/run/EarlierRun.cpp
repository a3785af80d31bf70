// SPDX-License-Identifier: BSD-2-Clause
#include "run/EarlierRun.h"

#include <link.h>
#include <sys/file.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/Errors.h"
#include "media/InputFile.h"
#include "media/container/PacketTag.h"
#include "run/Batch.h"

namespace vixprores {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMark = "user.vixprores.run";  // name of the extended attribute

// Returns names, sizes and times of the program and its libraries: other ones may encode
// differently. Determined once, because later inputs may load more libraries.
const std::string& DescribeProgram() {
  static const std::string description = [] {
    std::string text = DescribeState("/proc/self/exe");
    const auto add = [](dl_phdr_info* library, std::size_t, void* data) {
      *static_cast<std::string*>(data) +=
          std::string("\n") + library->dlpi_name + " " + DescribeState(library->dlpi_name);
      return 0;
    };
    dl_iterate_phdr(add, &text);
    return text;
  }();
  return description;
}

// Returns the checksum of all that determines the frames of an output; empty if that is unknown.
std::string MakeMark(const TranscodeOptions& options) {
  const std::string state = DescribeState(options.input);
  if (!options.isOfMany || !options.frameOptions || state.empty()) return {};
  std::error_code error;
  const FrameRange range = options.frames.value_or(FrameRange());
  const std::string text = fs::canonical(options.input, error).string() + "\n" + state + "\n" +
                           std::to_string(range.first) + "-" + std::to_string(range.last) + "\n" +
                           *options.frameOptions + DescribeProgram();
  return std::to_string(HashPacket(std::vector<std::uint8_t>(text.begin(), text.end())));
}

bool HasMark(const fs::path& path, const std::string& mark) {
  std::array<char, 32> found{};
  const auto bytes = getxattr(path.c_str(), kMark, found.data(), found.size());
  return bytes > 0 && mark == std::string_view(found.data(), static_cast<std::size_t>(bytes));
}

// Returns true if a work file or a partial output may have that name.
bool IsLeftover(const fs::path& path, const fs::path& output) {
  const std::string name = path.filename().string();
  const bool isPartial = name.starts_with(output.stem().string() + ".partial") &&
                         path.extension() == output.extension();
  return isPartial || name.starts_with(output.filename().string() + ".part-");
}

}  // namespace

std::vector<Leftover> LockLeftovers(const std::string& output) {
  std::vector<Leftover> leftovers;
  std::error_code error;
  const fs::path folder = fs::absolute(output, error).parent_path();
  fs::directory_iterator entry(folder, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const fs::path& path = entry->path();
    std::error_code none;
    if (!IsLeftover(path, output) || !entry->is_regular_file(none)) continue;
    // Network file systems lock only files that are open for writing.
    Leftover leftover{path.string(), {std::fopen(path.c_str(), "r+e"), std::fclose}};
    if (!leftover.lock || flock(fileno(leftover.lock.get()), LOCK_EX | LOCK_NB) != 0) continue;
    leftover.bytes = fs::file_size(path, none);
    if (!none) leftovers.push_back(std::move(leftover));
  }
  return leftovers;
}

EarlierRun::EarlierRun(const TranscodeOptions& options) : mark_(MakeMark(options)) {
  if (mark_.empty()) return;
  leftovers_ = LockLeftovers(options.output);
  // A run marks its file after locking it: check the marks under the locks.
  std::erase_if(leftovers_,
                [&](const Leftover& leftover) { return !HasMark(leftover.path, mark_); });
  const auto largest = std::ranges::max_element(leftovers_, {}, &Leftover::bytes);
  if (largest != leftovers_.end()) Open(largest->path);
}

void EarlierRun::Open(const std::string& path) {
  try {
    reader_ = std::make_unique<TaggedFileReader>(std::make_unique<InputFile>(path));
  } catch (const Failure&) {
    // Nothing was written, or it is damaged: all frames are encoded.
  }
}

void EarlierRun::Mark(Output& output) const {
  if (!mark_.empty()) output.SetAttribute(kMark, mark_);
}

std::shared_ptr<vix::IBuffer> EarlierRun::Take(std::int64_t time) {
  while (reader_ && time_ < time) ReadNext();
  return time_ == time ? std::exchange(frame_, nullptr) : nullptr;
}

void EarlierRun::ReadNext() {
  std::optional<TaggedItem> item;
  try {
    do {
      item = reader_->Read();
    } while (item && !item->frame && item->lost.empty());  // sound
  } catch (const Failure&) {
    item.reset();  // the rest cannot be read and is encoded
  }
  if (item && item->frame && item->lost.empty()) {
    frame_ = std::move(item->frame);
    time_ = item->time;
  } else {
    frame_ = nullptr;
    reader_ = nullptr;
  }
}

void EarlierRun::Finish(const std::string& output) {
  if (mark_.empty()) return;
  RemoveRunMark(output);
  reader_ = nullptr;
  std::error_code none;
  for (const Leftover& leftover : leftovers_) fs::remove(leftover.path, none);
}

void RemoveRunMark(const std::string& path) {
  removexattr(path.c_str(), kMark);
}

}  // namespace vixprores
