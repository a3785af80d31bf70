// SPDX-License-Identifier: BSD-2-Clause
#include "recovery/TaggedFileReader.h"

#include <algorithm>
#include <new>
#include <span>
#include <utility>

#include "base/Errors.h"
#include "base/Limits.h"
#include "frames/FrameHeaders.h"
#include "media/container/TrackDescription.h"

namespace vixprores {
namespace {

// Containers count the distance of two packets in 31 bits of a clock, that of the frame rate or a
// multiple that is not much finer than this one.
std::int64_t FarthestFrame(Rational rate) {
  constexpr std::int64_t kFinestClock = 20000;
  const std::int64_t seconds = INT32_MAX / std::max<std::int64_t>(kFinestClock, rate.numerator);
  return std::max<std::int64_t>(1, seconds * rate.numerator / rate.denominator);
}

}  // namespace

MovieContent ReadTaggedDescription(const InputFile& file) {
  const auto first = FindFirstTag(file);
  const bool isDescription = first && first->tag.track == PacketTag::kDescription &&
                             first->tag.packetBytes <= kMostDescriptionBytes;
  std::vector<std::uint8_t> movie(isDescription ? first->tag.packetBytes : 0);
  if (!isDescription || file.ReadAt(first->packet, movie) < movie.size() ||
      HashPacket(movie) != first->tag.packetHash) {
    throw Failure(file.GetName() +
                  ": the description of the tracks before its packets is damaged, so they "
                  "cannot be read without the index; --scan finds the frames");
  }
  MovieContent content = ReadMovieDescription(InputFile::OverBytes(file.GetName(), movie));
  for (SoundTrack& sound : content.sound) sound.timeBase = {1, sound.parameters->sample_rate};
  return content;
}

TaggedFileReader::TaggedFileReader(std::unique_ptr<InputFile> file)
    : file_(std::move(file)),
      content_(ReadTaggedDescription(*file_)),
      tags_(*file_),
      frames_{0, FarthestFrame(content_.video.rate)} {
  TakeFrameLabels();
  CheckPictureSize(file_->GetName(), content_.video.width, content_.video.height);
  tags_.Next();  // the description
  for (const SoundTrack& sound : content_.sound) {
    soundClocks_.push_back({-INT32_MAX, INT32_MAX});
    cutters_.emplace_back(sound, std::nullopt);
  }
}

void TaggedFileReader::TakeFrameLabels() {
  TagScanner tags(*file_);
  while (const auto found = tags.Next()) {
    if (found->tag.track != PacketTag::kVideo) continue;
    std::vector<std::uint8_t> frame(found->tag.packetBytes);
    const auto header = ReadPacket(*found, frame) ? ParseHeader(frame) : std::nullopt;
    if (!header) continue;
    content_.video = CombineFormats(content_.video, *header);
    return;
  }
}

std::optional<TaggedItem> TaggedFileReader::Read() {
  TaggedItem item;
  while (const auto found = tags_.Next()) {
    isComplete_ = isComplete_ && found->followsPacket;
    if (found->tag.track == PacketTag::kVideo) ReadFrame(*found, item);
    if (found->tag.track >= PacketTag::kFirstSound) ReadSound(*found, item);
    if (item.frame || !item.sound.empty()) return item;
  }
  if (std::exchange(isAtEnd_, true)) return std::nullopt;
  if (const auto& truncated = tags_.GetTruncated()) NoteTruncated(*truncated);
  item.lost = std::exchange(lost_, {});
  return item;
}

// Returns false if the packet differs from what was written.
bool TaggedFileReader::ReadPacket(const TagScanner::FoundTag& found,
                                  std::span<std::uint8_t> bytes) const {
  return file_->ReadAt(found.packet, bytes) == bytes.size() &&
         HashPacket(bytes) == found.tag.packetHash;
}

void TaggedFileReader::NoteLost(const FramePlace& place, const std::string& what) {
  lost_.push_back({place, what});
  if (content_.timecode) lost_.back().place.timecode = *content_.timecode + place.number;
}

// Moves to the time of a frame. Returns false if the time does not follow the frame before it.
bool TaggedFileReader::TakeTime(const TagScanner::FoundTag& found) {
  const std::int64_t time = found.tag.time;
  if (!frames_.Takes(time)) {
    NoteLost({time, 1, std::nullopt, found.packet},
             "comes at a time that does not follow the frame before it");
    return false;
  }
  const bool startsLater = isComplete_ && frames_.next == 0;
  if (time > frames_.next && !startsLater) {
    NoteLost({frames_.next, time - frames_.next, std::nullopt, std::nullopt}, "is missing");
  }
  frames_.next = time + 1;
  return true;
}

void TaggedFileReader::ReadFrame(const TagScanner::FoundTag& found, TaggedItem& item) {
  if (!TakeTime(found)) return;
  const std::int64_t time = found.tag.time;
  auto frame = vix::CreateBuffer(nullptr, nullptr);
  frame->Allocate(found.tag.packetBytes);
  if (!ReadPacket(found, std::span(frame->GetData(), found.tag.packetBytes))) {
    NoteLost({time, 1, std::nullopt, found.packet}, "is not what was written");
    return;
  }
  item.frame = std::move(frame);
  item.time = time;
  item.lost = std::exchange(lost_, {});
}

// Lists the frame inside which the file ends.
void TaggedFileReader::NoteTruncated(const TagScanner::FoundTag& found) {
  if (found.tag.track != PacketTag::kVideo || !TakeTime(found)) return;
  const std::int64_t bytes = file_->GetSize().value_or(0) - found.packet;
  NoteLost({found.tag.time, 1, std::nullopt, found.packet},
           "is truncated: the file ends after " + std::to_string(bytes) + " of its " +
               std::to_string(found.tag.packetBytes) + " bytes");
}

void TaggedFileReader::ReadSound(const TagScanner::FoundTag& found, TaggedItem& item) {
  const PacketTag& tag = found.tag;
  const std::size_t place = tag.track - PacketTag::kFirstSound;
  if (place >= content_.sound.size()) return;
  const SoundTrack& track = content_.sound[place];
  Packet packet(av_packet_alloc());
  if (!packet || av_new_packet(packet.get(), static_cast<int>(tag.packetBytes)) < 0) {
    throw std::bad_alloc();
  }
  // Damaged samples keep their place: without them all later sound would be early.
  const bool isIntact = ReadPacket(found, std::span(packet->data, tag.packetBytes));
  const int sampleBytes = track.SampleBytes();
  const std::int64_t samples = sampleBytes > 0 ? packet->size / sampleBytes : tag.duration;
  Clock& clock = soundClocks_[place];
  if (!clock.Takes(tag.time) || samples < 0 || samples > INT32_MAX) {
    soundWatch_.LeaveOut(track, tag.time, samples);
    return;
  }
  clock.next = tag.time + samples;
  packet->pts = packet->dts = tag.time;
  packet->duration = tag.duration;
  std::vector<SoundPacket> queue;
  soundWatch_.Pass(track, {place, std::move(packet)}, !isIntact, queue);
  for (SoundPacket& sound : queue) {
    if (Packet cut = cutters_[place].Cut(std::move(sound.packet))) {
      item.sound.push_back({place, std::move(cut)});
    }
  }
}

}  // namespace vixprores
