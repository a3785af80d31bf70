// SPDX-License-Identifier: BSD-2-Clause
#include "recovery/FrameScanner.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "bitstream/BigEndian.h"
#include "bitstream/PictureGeometry.h"
#include "frames/FrameCheck.h"
#include "frames/FrameStructure.h"
#include "frames/FrameHeaders.h"

namespace vixprores {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{1} << 20;
constexpr std::size_t kLargestFrame = std::size_t{256} << 20;
// How far behind a first frame that is damaged the next one may stand, with sound in between.
constexpr std::size_t kFarthestNeighbour = std::size_t{16} << 20;
constexpr std::size_t kIdentifierPlace = 4;
constexpr std::size_t kPrefixBytes = 8;
constexpr std::size_t kLargestHeader = kPrefixBytes + 65535;
constexpr char kIdentifier[] = {'i', 'c', 'p', 'f'};

bool AreOfOneSize(const prores::FrameHeader& a, const prores::FrameHeader& b) {
  return a.width == b.width && a.height == b.height;
}

}  // namespace

// Reads until there are bytes up to `end`; false where the input ends before.
bool FrameScanner::Fill(Place end) {
  while (Available() < end && !ended_) {
    // Seldom, so that not every frame moves what is kept behind it.
    if (begin_ > kBlockBytes) {
      kept_.erase(kept_.begin(), kept_.begin() + static_cast<std::ptrdiff_t>(begin_));
      keptFrom_ += static_cast<std::int64_t>(std::exchange(begin_, 0));
    }
    const std::size_t known = kept_.size();
    kept_.resize(std::max(begin_ + end, known + kBlockBytes));
    const std::size_t read = file_->Read(std::span(kept_).subspan(known));
    ended_ = known + read < kept_.size();
    kept_.resize(known + read);
  }
  return Available() >= end;
}

std::span<const std::uint8_t> FrameScanner::Bytes(Place begin, Place end) const {
  return std::span(kept_).subspan(begin_ + begin, std::min(end, Available()) - begin);
}

// The next place before `limit` where a prefix may stand.
std::optional<FrameScanner::Place> FrameScanner::FindPrefix(Place from, Place limit) {
  while (from < limit && Fill(from + kPrefixBytes)) {
    const Place end = std::min(Available(), limit + kPrefixBytes - 1);
    const auto bytes = Bytes(from + kIdentifierPlace, end);
    const void* const found = memmem(bytes.data(), bytes.size(), kIdentifier, sizeof kIdentifier);
    if (found) {
      return from + static_cast<Place>(static_cast<const std::uint8_t*>(found) - bytes.data());
    }
    // What starts in the last bytes may go on behind them.
    from = end - kPrefixBytes + 1;
  }
  return std::nullopt;
}

std::optional<prores::FrameHeader> FrameScanner::ReadHeader(Place frame) {
  Fill(frame + kLargestHeader);
  return frame < Available() ? ParseHeader(Bytes(frame, Available())) : std::nullopt;
}

// The end of the last picture, where all parts of the frame fit each other.
std::optional<FrameScanner::Place> FrameScanner::WalkPictures(Place frame) {
  const auto header = ReadHeader(frame);
  if (!header) return std::nullopt;
  Place end = frame + kPrefixBytes + prores::ReadU16(At(frame + kPrefixBytes));
  for (unsigned i = 0; i < prores::PictureCount(header->interlaceMode); ++i) {
    if (!Fill(end + prores::PictureHeader::kWrittenBytes)) return std::nullopt;
    end += prores::ReadU32(At(end + 1));
    if (end - frame > kLargestFrame || !Fill(end)) return std::nullopt;
  }
  if (!ReadFrameStructure(Bytes(frame, end)).fault.empty()) return std::nullopt;
  return end;
}

// Behind the pictures there may be padding.
FrameScanner::Place FrameScanner::FindEnd(Place endOfPictures) {
  const Place end = prores::ReadU32(At(0));
  if (end > kLargestFrame || end <= endOfPictures || !Fill(end)) return endOfPictures;
  return IsPadding(Bytes(endOfPictures, end)) ? end : endOfPictures;
}

// The next frame before `limit`: one that is whole, or of the size that `header` says.
std::optional<FrameScanner::Place> FrameScanner::FindNeighbour(const prores::FrameHeader& header,
                                                               Place limit) {
  Place from = kPrefixBytes;
  while (const auto place = FindPrefix(from, limit)) {
    const auto other = ReadHeader(*place);
    if (other && (AreOfOneSize(*other, header) || WalkPictures(*place))) return place;
    from = *place + 1;
  }
  return std::nullopt;
}

// The end of a frame whose pictures do not fit; none where it seems to be no frame.
std::optional<FrameScanner::Place> FrameScanner::FindEndOfDamaged(
    const prores::FrameHeader& header) {
  const std::size_t stated = prores::ReadU32(At(0));
  const bool isPlausible = stated >= kPrefixBytes && stated <= kLargestFrame;
  const Place end = isPlausible ? stated : kLargestFrame;
  const bool isOfStream = lastHeader_ && AreOfOneSize(header, *lastHeader_);
  const Place limit = lastHeader_ ? end : end + kFarthestNeighbour;
  if (const auto neighbour = FindNeighbour(header, limit)) {
    if (!isOfStream && !AreOfOneSize(header, *ReadHeader(*neighbour))) return std::nullopt;
    return std::min(end, *neighbour);
  }
  Fill(end + 1);
  const bool leadsOn = isPlausible && (Available() <= end || ReadHeader(end));
  return isOfStream || leadsOn ? std::optional(std::min(end, Available())) : std::nullopt;
}

// The end of the frame at the very place where the search stands, if there is one.
std::optional<FrameScanner::Place> FrameScanner::FindFrame() {
  const auto header = ReadHeader(0);
  if (!header) return std::nullopt;
  const auto endOfPictures = WalkPictures(0);
  if (!endOfPictures) return FindEndOfDamaged(*header);
  lastHeader_ = header;
  return FindEnd(*endOfPictures);
}

std::optional<FoundFrame> FrameScanner::Next() {
  for (;;) {
    const auto prefix = FindPrefix(0, kBlockBytes);
    if (!prefix && IsEndWithin(kBlockBytes)) {
      CountSkipped(keptFrom_ + std::ssize(kept_));
      return std::nullopt;
    }
    GoOnFrom(prefix.value_or(kBlockBytes));
    if (!prefix) continue;
    const auto end = FindFrame();
    if (end) return TakeFrame(*end);
    GoOnFrom(1);
  }
}

FoundFrame FrameScanner::TakeFrame(Place end) {
  FoundFrame found{keptFrom_ + static_cast<std::int64_t>(begin_),
                   pool_.MakeFrame(static_cast<std::uint32_t>(end))};
  std::ranges::copy(Bytes(0, end), found.bytes->GetData());
  CountSkipped(found.offset);
  GoOnFrom(end);
  endOfLast_ = found.offset + static_cast<std::int64_t>(end);
  return found;
}

// What there is from the last frame on to `end`.
void FrameScanner::CountSkipped(std::int64_t end) {
  const std::int64_t bytes = end - endOfLast_;
  if (bytes == 0) return;
  skipped_.bytes += bytes;
  ++skipped_.places;
  if (bytes > skipped_.largest) {
    skipped_.largest = bytes;
    skipped_.largestBegin = endOfLast_;
  }
  endOfLast_ = end;
}

}  // namespace vixprores
