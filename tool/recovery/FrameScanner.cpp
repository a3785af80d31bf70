// SPDX-License-Identifier: BSD-2-Clause
#include "recovery/FrameScanner.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Limits.h"
#include "base/Text.h"
#include "bitstream/BigEndian.h"
#include "bitstream/PictureGeometry.h"
#include "frames/FrameCheck.h"
#include "frames/FrameHeaders.h"
#include "frames/FrameStructure.h"

namespace vixprores {
namespace {

constexpr std::int64_t kBlockBytes = 1 << 20;
// Greatest distance from a damaged first frame to the next frame, with sound between them.
constexpr std::int64_t kFarthestNeighbour = 16 << 20;
constexpr std::int64_t kIdentifierPlace = 4;
constexpr std::int64_t kPrefixBytes = 8;
constexpr std::int64_t kLargestHeader = kPrefixBytes + 65535;
constexpr char kIdentifier[] = {'i', 'c', 'p', 'f'};
// A slice takes at least eight bytes, so that only overlapping tables reach this number.
constexpr std::int64_t kMostSlicesWalked = 1 << 22;

std::uint32_t SizeOf(const prores::FrameHeader& header) {
  return static_cast<std::uint32_t>(header.width) << 16U | header.height;
}

}  // namespace

// Returns the bytes to read next: of a small file no more than it has, and one to meet its end.
FrameScanner::Offset FrameScanner::NextBlock() const {
  const Offset left = file_->GetSize().value_or(INT64_MAX) - Known();
  return left >= 0 && left < kBlockBytes ? left + 1 : kBlockBytes;
}

// Reads until the bytes up to `end` are known. Returns false if the input ends before.
bool FrameScanner::Fill(Offset end) {
  while (Known() < end && !ended_) {
    CheckInterrupt();
    // Move the kept bytes only when they are few compared with the dropped ones.
    const Offset passed = position_ - keptFrom_;
    if (passed > kBlockBytes && passed > std::ssize(kept_) / 4) {
      kept_.erase(kept_.begin(), kept_.begin() + passed);
      keptFrom_ = position_;
    }
    const std::size_t known = kept_.size();
    kept_.resize(known + static_cast<std::size_t>(NextBlock()));
    const std::size_t read = file_->Read(std::span(kept_).subspan(known));
    ended_ = known + read < kept_.size();
    kept_.resize(known + read);
  }
  return Known() >= end;
}

std::span<const std::uint8_t> FrameScanner::Bytes(Offset begin, Offset end) const {
  return {At(begin), static_cast<std::size_t>(std::min(end, Known()) - begin)};
}

// Returns the next possible position of a prefix before `limit`.
std::optional<FrameScanner::Offset> FrameScanner::FindPrefix(Offset from, Offset limit) {
  while (from < limit && Fill(from + kPrefixBytes)) {
    const Offset end = std::min(Known(), limit + kPrefixBytes - 1);
    const auto bytes = Bytes(from + kIdentifierPlace, end);
    const void* const found = memmem(bytes.data(), bytes.size(), kIdentifier, sizeof kIdentifier);
    if (found) return from + (static_cast<const std::uint8_t*>(found) - bytes.data());
    // A prefix that starts in the last bytes may end after them.
    from = end - kPrefixBytes + 1;
  }
  return std::nullopt;
}

std::optional<prores::FrameHeader> FrameScanner::ReadHeader(Offset frame) {
  Fill(frame + kLargestHeader);
  return frame < Known() ? ParseHeader(Bytes(frame, Known())) : std::nullopt;
}

// Returns the end of the last picture if all parts of the frame are consistent.
std::optional<FrameScanner::Offset> FrameScanner::WalkPictures(Offset frame) {
  const auto header = ReadHeader(frame);
  if (!header || slicesWalked_ > kMostSlicesWalked + frame) return std::nullopt;
  Offset end = frame + kPrefixBytes + prores::ReadU16(At(frame + kPrefixBytes));
  for (unsigned i = 0; i < prores::PictureCount(header->interlaceMode); ++i) {
    if (!Fill(end + Offset{prores::PictureHeader::kWrittenBytes})) return std::nullopt;
    end += Offset{prores::ReadU32(At(end + 1))};
    if (end - frame > kMostScannedBytes || !Fill(end)) return std::nullopt;
  }
  const FrameStructure structure = ReadFrameStructure(Bytes(frame, end));
  if (structure.fault.empty()) return end;
  for (const auto& picture : structure.pictures) slicesWalked_ += picture.header.sliceCount;
  return std::nullopt;
}

// Returns the end of the frame at the position: its pictures may be followed by padding.
FrameScanner::Offset FrameScanner::FindEnd(Offset endOfPictures) {
  const Offset stated = prores::ReadU32(At(position_));
  const Offset end = position_ + stated;
  if (stated > kMostScannedBytes || end <= endOfPictures || !Fill(end)) return endOfPictures;
  return IsPadding(Bytes(endOfPictures, end)) ? end : endOfPictures;
}

// Adds the next candidate before `limit`. Returns false if there is none.
bool FrameScanner::AddCandidate(Offset limit) {
  while (const auto place = FindPrefix(candidatesEnd_, limit)) {
    CheckInterrupt();
    candidatesEnd_ = *place + 1;
    const auto header = ReadHeader(*place);
    if (!header) continue;
    const auto number = candidatesDropped_ + std::ssize(candidates_);
    const auto [latest, isFirst] = latestOfSize_.try_emplace(SizeOf(*header), number);
    if (!isFirst && latest->second >= candidatesDropped_) {
      candidates_[static_cast<std::size_t>(latest->second - candidatesDropped_)].nextOfSize = place;
    }
    latest->second = number;
    candidates_.push_back({*place, std::nullopt});
    if (*place > position_ && WalkPictures(*place)) wholeCandidate_ = place;
    return true;
  }
  candidatesEnd_ = std::max(candidatesEnd_, limit);
  return false;
}

// Returns the next frame after the position and before `limit`: a complete one, or one of the
// picture size that the header at the position states. Keeps the candidates after the position, so
// that each place is examined once, however many headers lead there.
std::optional<FrameScanner::Offset> FrameScanner::FindNeighbour(Offset limit) {
  while (!candidates_.empty() && candidates_.front().offset < position_) {
    candidates_.pop_front();
    ++candidatesDropped_;
  }
  if (candidates_.empty()) {
    latestOfSize_.clear();
    candidatesEnd_ = std::max(candidatesEnd_, position_);
  }
  if (wholeCandidate_ && *wholeCandidate_ <= position_) wholeCandidate_.reset();
  constexpr Offset kNone = INT64_MAX;
  for (;;) {
    Offset neighbour = wholeCandidate_.value_or(kNone);
    if (!candidates_.empty()) {
      neighbour = std::min(neighbour, candidates_.front().nextOfSize.value_or(kNone));
    }
    if (neighbour < limit) return neighbour;
    if (neighbour != kNone || !AddCandidate(limit)) return std::nullopt;
  }
}

// Returns the end of a frame whose pictures are inconsistent; nullopt if it does not seem to be a
// frame.
std::optional<FrameScanner::Offset> FrameScanner::FindEndOfDamaged(
    const prores::FrameHeader& header) {
  const Offset stated = prores::ReadU32(At(position_));
  const bool isPlausible = stated >= kPrefixBytes && stated <= kMostScannedBytes;
  const Offset end = position_ + (isPlausible ? stated : kMostScannedBytes);
  const bool isOfStream = lastHeader_ && SizeOf(header) == SizeOf(*lastHeader_);
  const Offset limit = lastHeader_ ? end : end + kFarthestNeighbour;
  if (const auto neighbour = FindNeighbour(limit)) {
    if (!isOfStream && SizeOf(header) != SizeOf(*ReadHeader(*neighbour))) return std::nullopt;
    return std::min(end, *neighbour);
  }
  Fill(end + 1);
  const bool leadsOn = isPlausible && (Known() <= end || ReadHeader(end));
  return isOfStream || leadsOn ? std::optional(std::min(end, Known())) : std::nullopt;
}

// Returns the end of the frame at the position; nullopt if there is none.
std::optional<FrameScanner::Offset> FrameScanner::FindFrame() {
  const auto header = ReadHeader(position_);
  if (!header) return std::nullopt;
  const auto endOfPictures = WalkPictures(position_);
  if (!endOfPictures) {
    const auto end = FindEndOfDamaged(*header);
    // The size of the header may be what is damaged.
    return end && ParseHeader(Bytes(position_, *end)) ? end : std::nullopt;
  }
  lastHeader_ = header;
  return FindEnd(*endOfPictures);
}

std::optional<FoundFrame> FrameScanner::Next() {
  for (;;) {
    const Offset limit = position_ + kBlockBytes;
    const auto prefix = FindPrefix(position_, limit);
    if (!prefix && !Fill(limit + 1)) {
      CountSkipped(Known());
      return std::nullopt;
    }
    position_ = prefix.value_or(limit);
    if (!prefix) continue;
    if (const auto end = FindFrame()) return TakeFrame(*end);
    ++position_;
  }
}

FoundFrame FrameScanner::TakeFrame(Offset end) {
  FoundFrame found{position_, pool_.MakeFrame(static_cast<std::uint32_t>(end - position_))};
  std::ranges::copy(Bytes(position_, end), found.bytes->GetData());
  CountSkipped(position_);
  position_ = endOfLast_ = end;
  return found;
}

// Counts the bytes between the last frame and `end`.
void FrameScanner::CountSkipped(Offset end) {
  const Offset bytes = end - endOfLast_;
  if (bytes == 0) return;
  skipped_.bytes += bytes;
  ++skipped_.places;
  if (bytes > skipped_.largest) {
    skipped_.largest = bytes;
    skipped_.largestBegin = endOfLast_;
  }
  endOfLast_ = end;
}

ScanReader::ScanReader(std::unique_ptr<InputFile> file, bool sameScan,
                       const std::optional<Rational>& rate)
    : scanner_(std::move(file)), sameScan_(sameScan), first_(scanner_.Next()) {
  const std::string& name = description_.name = scanner_.GetFile().GetName();
  const auto header = first_ ? ParseHeader(BytesOf(*first_->bytes)) : std::nullopt;
  if (!header) throw Failure(name + ": no ProRes frame was found in it");
  CheckPictureSize(name, header->width, header->height);
  StreamFormat& format = description_.format = FormatOf(*header);
  if (rate) format.rate = *rate;
  if (format.rate.numerator == 0) {
    throw Failure(name + ": the frame rate is unknown; set it with --rate");
  }
}

std::string ScanReader::GetEndNote() const {
  const SkippedBytes& skipped = scanner_.GetSkipped();
  if (!isAtEnd_ || skipped.bytes == 0) return {};
  return "no frame was found in " + Count(skipped.bytes, "byte") + " in " +
         Count(skipped.places, "place") + ", the largest of " + Count(skipped.largest, "byte") +
         " at byte " + std::to_string(skipped.largestBegin);
}

std::optional<NumberedFrame> ScanReader::Read() {
  auto found = first_ ? std::exchange(first_, std::nullopt) : scanner_.Next();
  isAtEnd_ = !found;
  if (isAtEnd_) return std::nullopt;
  NumberedFrame frame;
  frame.number = framesRead_++;
  frame.offset = found->offset;
  frame.data = std::move(found->bytes);
  frame.header = ParseHeader(BytesOf(*frame.data));
  const auto mismatch =
      frame.header ? FindMismatch(*frame.header, GetFormat(), sameScan_) : std::nullopt;
  if (!mismatch) return frame;
  throw FrameFailure(GetName(), frame.number, mismatch->found, mismatch->advice, 1, frame.offset);
}

}  // namespace vixprores
