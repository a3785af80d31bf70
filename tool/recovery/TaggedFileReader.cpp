// SPDX-License-Identifier: BSD-2-Clause
#include "recovery/TaggedFileReader.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <numeric>
#include <span>
#include <utility>

#include "base/Errors.h"
#include "media/container/ContainerTrack.h"

namespace vixprores {
namespace {

// The description stands behind the first few atoms, which are all short.
constexpr std::int64_t kLatestDescription = 4096;
constexpr std::size_t kSearchedBytes = 1 << 20;

// The next mark at `from` or behind it, before `end`; none where there is none.
std::optional<std::int64_t> FindMark(InputFile& file, std::int64_t from, std::int64_t end) {
  constexpr std::size_t kOverlap = PacketTag::kMark.size() - 1;
  std::vector<std::uint8_t> block(kSearchedBytes);
  while (from < end) {
    file.Seek(from);
    const std::size_t read = file.Read(block);
    const auto found = static_cast<const std::uint8_t*>(
        memmem(block.data(), read, PacketTag::kMark.data(), PacketTag::kMark.size()));
    if (found) return from + (found - block.data());
    if (read < block.size()) return std::nullopt;
    from += static_cast<std::int64_t>(read - kOverlap);
  }
  return std::nullopt;
}

// The tag at the file's position, which then is that of the packet.
std::optional<PacketTag> ReadTag(InputFile& file) {
  std::array<std::uint8_t, PacketTag::kBytes> bytes{};
  return ReadPacketTag(std::span(bytes).first(file.Read(bytes)));
}

bool FindDescription(InputFile& file, PacketTag& tag) {
  if (!file.IsSeekable()) return false;
  const auto position = FindMark(file, 0, kLatestDescription);
  if (!position) return false;
  file.Seek(*position);
  const auto found = ReadTag(file);
  if (!found || found->track != PacketTag::kDescription) return false;
  tag = *found;
  return true;
}

}  // namespace

bool TaggedFileReader::CanRead(InputFile& file) {
  PacketTag tag;
  const bool found = FindDescription(file, tag);
  if (file.IsSeekable()) file.Seek(0);
  return found;
}

bool TaggedFileReader::LacksDescription(InputFile& file) {
  constexpr std::int64_t kLatestPacket = 1 << 16;
  if (!file.IsSeekable()) return false;
  std::optional<PacketTag> tag;
  for (std::int64_t from = 0; !tag;) {
    const auto position = FindMark(file, from, kLatestPacket);
    if (!position) break;
    file.Seek(*position);
    tag = ReadTag(file);
    from = *position + 1;
  }
  file.Seek(0);
  return tag && tag->track != PacketTag::kDescription;
}

TaggedFileReader::TaggedFileReader(std::unique_ptr<InputFile> file) : file_(std::move(file)) {
  ReadDescription();
}

void TaggedFileReader::ReadDescription() {
  PacketTag tag;
  std::vector<std::uint8_t> movie;
  const bool found = FindDescription(*file_, tag);
  if (found) movie.resize(tag.packetBytes);
  if (!found || !ReadPacket(tag, movie)) {
    throw Failure(
        file_->GetName() +
        ": the description of its tracks, which stands in front of its packets, is "
        "damaged, so that they cannot be told without its index; --scan finds its frames");
  }
  const std::int64_t firstPacket = file_->GetPosition();
  const ContainerTrack track(InputFile::OverBytes(file_->GetName(), movie), FrameTimes::Checked,
                             ContainerTrack::Holds::DescriptionOnly);
  description_.name = file_->GetName();
  description_.format = track.GetFormat();
  description_.format.code = track.GetParameters().codec_tag;
  description_.timecode = track.GetTimecode();
  description_.metadata = track.GetMetadata();
  compressor_ = track.GetCompressor();
  sound_ = track.GetSound();
  for (SoundTrack& sound : sound_) sound.timeBase = {1, sound.parameters->sample_rate};
  placeOf_.resize(sound_.size());
  std::iota(placeOf_.begin(), placeOf_.end(), std::size_t{0});
  file_->Seek(firstPacket);
}

// The next tag whose packet is all there; the file is then at the packet.
std::optional<PacketTag> TaggedFileReader::NextTag() {
  for (;;) {
    const std::int64_t position = file_->GetPosition();
    const auto tag = ReadTag(*file_);
    if (tag && file_->GetPosition() + tag->packetBytes > *file_->GetSize()) return std::nullopt;
    if (tag) return tag;
    // Here is what is damaged, or the index.
    const auto next = FindMark(*file_, position + 1, *file_->GetSize());
    if (!next) return std::nullopt;
    file_->Seek(*next);
  }
}

bool TaggedFileReader::ReadPacket(const PacketTag& tag, std::span<std::uint8_t> bytes) {
  return file_->Read(bytes) == bytes.size() && HashPacket(bytes) == tag.packetHash;
}

// offset: of a frame whose bytes are not those that were written; nullopt = missing frames.
void TaggedFileReader::NoteLost(std::int64_t time, std::int64_t count,
                                std::optional<std::int64_t> offset) {
  FramePlace place{time, count, std::nullopt, offset};
  if (description_.timecode) place.timecode = *description_.timecode + time;
  lostFrames_.push_back({place, offset ? "is not what was written" : "is missing"});
}

std::optional<NumberedFrame> TaggedFileReader::Read() {
  while (const auto tag = NextTag()) {
    if (tag->track >= PacketTag::kFirstSound) {
      KeepSound(*tag);
      continue;
    }
    NumberedFrame frame{tag->time, file_->GetPosition(), vix::CreateBuffer(nullptr, nullptr)};
    frame.data->Allocate(tag->packetBytes);
    const bool isIntact = ReadPacket(*tag, std::span(frame.data->GetData(), tag->packetBytes));
    if (tag->track != PacketTag::kVideo) continue;
    if (tag->time > nextTime_) NoteLost(nextTime_, tag->time - nextTime_, std::nullopt);
    nextTime_ = tag->time + 1;
    if (isIntact) return frame;
    NoteLost(tag->time, 1, frame.offset);
  }
  return std::nullopt;
}

std::optional<TaggedPacket> TaggedFileReader::PassPacket() {
  const auto tag = NextTag();
  if (!tag) return std::nullopt;
  const std::int64_t offset = file_->GetPosition();
  file_->Seek(offset + tag->packetBytes);
  return TaggedPacket{*tag, offset};
}

double TaggedFileReader::GetTick(std::uint32_t track) const {
  if (track == PacketTag::kVideo) return av_q2d(Invert(GetFormat().rate));
  const std::size_t place = track - PacketTag::kFirstSound;
  return place < sound_.size() ? av_q2d(sound_[place].timeBase) : 0;
}

void TaggedFileReader::KeepSound(const PacketTag& tag) {
  Packet packet(av_packet_alloc());
  if (!packet || av_new_packet(packet.get(), static_cast<int>(tag.packetBytes)) < 0) {
    throw std::bad_alloc();
  }
  // Damaged samples stay where they are: without them all that follows would come too early.
  const bool isIntact = ReadPacket(tag, std::span(packet->data, tag.packetBytes));
  const std::size_t place = tag.track - PacketTag::kFirstSound;
  if (place >= placeOf_.size() || placeOf_[place] == SIZE_MAX) return;
  packet->pts = packet->dts = tag.time;
  packet->duration = tag.duration;
  const std::size_t taken = placeOf_[place];
  soundWatch_.Pass(sound_[taken], {taken, std::move(packet)}, !isIntact, waiting_);
}

void TaggedFileReader::SelectSound(const std::vector<std::size_t>& places) {
  std::vector<SoundTrack> chosen;
  std::ranges::fill(placeOf_, SIZE_MAX);
  for (const std::size_t place : places) {
    placeOf_.at(place) = chosen.size();
    chosen.push_back(sound_.at(place));
  }
  sound_ = std::move(chosen);
}

std::vector<SoundPacket> TaggedFileReader::TakeSound() {
  return std::exchange(waiting_, {});
}

std::vector<SoundPacket> TaggedFileReader::ReadSoundUntil(std::int64_t /*time*/,
                                                          AVRational /*tick*/) {
  return TakeSound();
}

}  // namespace vixprores
