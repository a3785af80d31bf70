// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/ContainerTrack.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "media/container/EncoderDescription.h"
#include "media/container/TextTracks.h"
#include "media/container/TrackDescription.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

constexpr const char* kChooseThoseBefore = "choose the frames before it with --frames";
// Later starts are damaged times. In frames; far more than a clock of the day, or of 1970, needs.
constexpr std::int64_t kLatestStart = std::int64_t{1} << 48;

std::optional<std::int64_t> OffsetOf(const AVPacket& packet) {
  return packet.pos >= 0 ? std::optional(packet.pos) : std::nullopt;
}

FrameTimes Resolve(FrameTimes times, const FrameIndex& index) {
  if (times != FrameTimes::Evident) return times;
  return index.IsPresent() ? FrameTimes::Ignored : FrameTimes::GapsOnly;
}

}  // namespace

ContainerTrack::ContainerTrack(std::unique_ptr<Demuxer> demuxer, FrameTimes times)
    : isTagged_(HasPacketTags(demuxer->GetFile())),
      demuxer_(std::move(demuxer)),
      stream_(ChooseVideo(*demuxer_, isTagged_)),
      index_(*demuxer_, stream_),
      isRateEvident_(times == FrameTimes::Evident && index_.IsPresent()),
      times_(GetName(), Resolve(times, index_)),
      sound_(*demuxer_),
      format_(DescribeVideo(stream_)) {
  ReadFirstPacket();
}

InputDescription ContainerTrack::GetDescription() const {
  const AVFormatContext& context = demuxer_->GetContext();
  const FoundTimecode timecode = FindTimecode(context, format_.rate, GetName());
  InputDescription description;
  description.name = GetName();
  description.format = format_;
  description.container = format_;
  description.frames = CountFrames();
  description.timecode = timecode.timecode;
  description.metadata = FindMetadata(context);
  DescribeEncoder(stream_, description);
  const std::string note = FindTrackNote(context, GetName());
  if (!note.empty()) description.notes.push_back(note);
  DescribeOtherTracks(context, stream_, {begin_, stream_.time_base}, description);
  description.timecodeNote = timecode.note;
  return description;
}

Packet ContainerTrack::ReadAny() {
  try {
    return demuxer_->Read();
  } catch (const UnreadablePacket& reason) {
    FailAtUnreadableFrame(reason.what());
  }
}

Packet ContainerTrack::ReadPacket() {
  while (Packet packet = ReadAny()) {
    CheckInterrupt();
    if (packet->stream_index != stream_.index) {
      KeepSound(std::move(packet));
    } else if (packet->size > 0) {
      if ((packet->flags & AV_PKT_FLAG_DISCARD) == 0) return packet;
      ++hiddenFrames_;
    }
  }
  return nullptr;
}

void ContainerTrack::KeepSound(Packet packet) {
  const bool isAltered = IsDamagedSound(*packet);
  sound_.Keep(std::move(packet), isAltered);
}

std::vector<SoundPacket> ContainerTrack::ReadSoundUntil(std::int64_t time, AVRational tick) {
  // Longest time in seconds by which sound may lag behind its pictures.
  constexpr int kLatestSeconds = 60;
  const std::int64_t latest = av_sat_add64(time, av_rescale_q(kLatestSeconds, {1, 1}, tick));
  while (!sound_.HasUntil(time, tick)) {
    Packet packet = ReadAny();
    if (!packet) break;
    CheckInterrupt();
    if (packet->stream_index != stream_.index) {
      KeepSound(std::move(packet));
    } else if (av_compare_ts(TimeOf(*packet), stream_.time_base, latest, tick) > 0) {
      break;
    }
  }
  return sound_.Take();
}

void ContainerTrack::ReadFirstPacket() {
  announcedFrames_ = index_.CountAnnounced(format_.rate, 0);
  try {
    pending_ = ReadPacket();
    if (!pending_ && announcedFrames_.value_or(0) > hiddenFrames_) FailAtEarlyEnd();
  } catch (const FrameFailure&) {
    pendingFailure_ = std::current_exception();
  }
  if (!pending_ && !pendingFailure_) throw UnreadableContainer(GetName() + ": holds no frames");
  format_.isPadded = IsMxf(demuxer_->GetContext());
  format_.rate =
      FindRate(stream_, pending_.get(), IsMatroska(demuxer_->GetContext()), index_.IsPresent());
  if (format_.rate.numerator == 0) {
    throw Failure(GetName() + ": does not tell its frame rate; rewrap it as .mov first");
  }
  begin_ = pendingFailure_ ? stream_.start_time : TimeOf(*pending_);
  if (begin_ == AV_NOPTS_VALUE) begin_ = 0;
  times_.Start(format_.rate, stream_.time_base, begin_);
  const std::int64_t start = av_rescale_q(begin_, stream_.time_base, Invert(format_.rate));
  format_.start = start > 0 && start <= kLatestStart ? start : 0;
  // Frames are placed at multiples of their duration; their sound moves with them.
  if (start <= kLatestStart) {
    sound_.Move({begin_, stream_.time_base}, {format_.start, Invert(format_.rate)});
  }
  // Only now that the rate is known a duration gives a number of frames.
  announcedFrames_ = index_.CountAnnounced(format_.rate, format_.start);
}

std::optional<std::int64_t> ContainerTrack::CountFrames() const {
  // A duration gives a number of frames only at a constant rate.
  const bool isCounted =
      times_.GetTreatment() != FrameTimes::Ignored || index_.CountIndexed().has_value();
  if (!demuxer_->GetFile().IsSeekable() || !isCounted || !announcedFrames_) return std::nullopt;
  return *announcedFrames_ - hiddenFrames_;
}

std::optional<NumberedFrame> ContainerTrack::Read() {
  if (isLost_) return std::nullopt;
  if (pendingFailure_) std::rethrow_exception(std::exchange(pendingFailure_, nullptr));
  Packet packet = pending_ ? std::move(pending_) : ReadPacket();
  if (!packet) {
    if (EndsEarly()) FailAtEarlyEnd();
    isLost_ = true;
    CheckSoundEnds();
    index_.CheckFragments();
    return std::nullopt;
  }
  NumberedFrame frame;
  frame.number = framesRead_++;
  frame.offset = OffsetOf(*packet);
  CheckTag(*packet, frame);
  if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0) {
    throw FrameFailure(GetName(), frame.number,
                       "is cut short: found " + std::to_string(packet->size) + " bytes of it",
                       kChooseThoseBefore, 1, frame.offset);
  }
  frame.isUneven = CheckTime(packet, frame.number);
  frame.data = WrapPacket(std::move(packet));
  return frame;
}

// Programs that cut a file may copy less sound than pictures. What this program writes has tags, so
// that losses show by themselves; at uneven times the end of the pictures is unknown.
void ContainerTrack::CheckSoundEnds() {
  if (isTagged_ || times_.CountUneven() > 0) return;
  const double frame = av_q2d(Invert(format_.rate));
  soundNote_ = sound_.CheckEnds(static_cast<double>(format_.start + framesRead_) * frame, frame);
}

// Returns true if the frame comes at an odd time that is accepted.
bool ContainerTrack::CheckTime(Packet& packet, std::int64_t number) {
  const std::int64_t time = TimeOf(*packet);
  const auto deviation = time != AV_NOPTS_VALUE ? times_.Take(number, time) : std::nullopt;
  if (!deviation || deviation->isAccepted) return deviation.has_value();
  const auto offset = OffsetOf(*packet);
  if (deviation->missing > 0) {
    // The frame itself comes with the next Read().
    pending_ = std::move(packet);
    framesRead_ = number + deviation->missing;
  }
  throw times_.MakeFailure(*deviation, offset);
}

// At uneven times only an index gives the number of frames.
bool ContainerTrack::EndsEarly() const {
  const bool isCounted = times_.CountUneven() == 0 || index_.IsPresent();
  return isCounted && framesRead_ + hiddenFrames_ < announcedFrames_.value_or(0);
}

bool ContainerTrack::SkipTo(std::int64_t frame) {
  // Sound positions follow from the rate: at other frame times the sound would not match the frame.
  const bool isAnyTimeTaken = isRateEvident_ && GetSound().empty() && frame > 0;
  const bool isPlain =
      hiddenFrames_ == 0 && (isAnyTimeTaken || times_.GetTreatment() == FrameTimes::Checked);
  if (!demuxer_->GetFile().IsSeekable() || !isPlain) return false;
  const Rational rate = isAnyTimeTaken ? Rational{0, 1} : format_.rate;
  const auto time = index_.FindTime(frame, rate);
  if (!time || !demuxer_->Seek(stream_, *time)) return false;
  if (isAnyTimeTaken) times_.Skip(frame - 1, index_.FindTime(frame - 1, rate).value_or(*time));
  pending_ = nullptr;
  pendingFailure_ = nullptr;
  sound_.Jump();
  if (soundPreroll_ > 0) ReadPreroll(*time);
  framesRead_ = frame;
  return true;
}

// Reads the sound before the time of a frame, without the pictures, and returns to the frame.
void ContainerTrack::ReadPreroll(std::int64_t time) {
  const AVRational tick = stream_.time_base;
  const std::int64_t preroll = av_rescale_q(soundPreroll_, {1, 1}, tick);
  const std::int64_t latest = av_sat_add64(time, av_rescale_q(1, {1, 1}, tick));
  if (!demuxer_->Seek(stream_, av_sat_sub64(time, preroll))) demuxer_->Seek(stream_, 0);
  stream_.discard = AVDISCARD_ALL;
  try {
    while (!sound_.HasUntil(time, tick)) {
      CheckInterrupt();
      Packet packet = demuxer_->Read();
      if (!packet) break;
      const AVRational clock =
          demuxer_->GetStreams()[static_cast<std::size_t>(packet->stream_index)]->time_base;
      if (av_compare_ts(TimeOf(*packet), clock, latest, tick) > 0) break;
      KeepSound(std::move(packet));
    }
  } catch (const UnreadablePacket&) {
    // The sound begins later then.
  }
  stream_.discard = AVDISCARD_DEFAULT;
  sound_.SkipRepeated();
  demuxer_->Seek(stream_, time);
}

void ContainerTrack::KeepFramesInPlace() {
  if (index_.IsPresent() && stream_.nb_frames > 0) demuxer_->KeepInPlace(stream_);
}

// The index holds decoding times, which may be earlier by an offset.
void ContainerTrack::CheckIndexedTimes(std::int64_t last) const {
  if (times_.GetTreatment() != FrameTimes::Checked || !index_.IsPresent() || !pending_) return;
  std::int64_t number = 0;
  std::int64_t offset = 0;
  for (int i = 0; i < avformat_index_get_entries_count(&stream_) && number <= last; ++i) {
    const AVIndexEntry& entry = *avformat_index_get_entry(&stream_, i);
    if ((entry.flags & AVINDEX_DISCARD_FRAME) != 0) continue;
    if (number == 0) offset = av_sat_sub64(TimeOf(*pending_), entry.timestamp);
    const auto deviation = times_.Compare(number, av_sat_add64(entry.timestamp, offset));
    if (deviation) throw times_.MakeFailure(*deviation, std::nullopt);
    ++number;
  }
}

// Returns the tag directly before the packet; nullopt if it is missing or damaged.
std::optional<PacketTag> ContainerTrack::FindTag(const AVPacket& packet) const {
  constexpr auto kTagBytes = static_cast<std::int64_t>(PacketTag::kBytes);
  if (!isTagged_ || packet.pos < kTagBytes) return std::nullopt;
  std::array<std::uint8_t, PacketTag::kBytes> bytes{};
  const std::size_t read = demuxer_->GetFile().ReadAt(packet.pos - kTagBytes, bytes);
  return ReadPacketTag(std::span(bytes).first(read));
}

// Sets the checksum of a frame that is what was written, else its fault.
void ContainerTrack::CheckTag(const AVPacket& packet, NumberedFrame& frame) const {
  if (!isTagged_ || packet.pos < 0) return;
  const auto tag = FindTag(packet);
  if (!tag) {
    frame.fault = "has a damaged tag, or stands where none was written";
    return;
  }
  const std::span data(packet.data, static_cast<std::size_t>(packet.size));
  if (tag->packetBytes != data.size()) {
    frame.fault = "has " + std::to_string(data.size()) + " bytes, but " +
                  std::to_string(tag->packetBytes) + " were written";
  } else if (tag->packetHash == HashPacket(data)) {
    frame.hash = tag->packetHash;
  } else {
    frame.fault = "is not what was written: its checksum differs";
  }
}

// Sound may be demuxed in other pieces than it was written in; those cannot be checked.
bool ContainerTrack::IsDamagedSound(const AVPacket& packet) const {
  const auto tag = FindTag(packet);
  const std::span data(packet.data, static_cast<std::size_t>(packet.size));
  return tag && tag->packetBytes == data.size() && tag->packetHash != HashPacket(data);
}

void ContainerTrack::FailAtUnreadableFrame(const std::string& reason) {
  const InputFile& file = demuxer_->GetFile();
  if (framesRead_ == 0 && announcedFrames_ && !file.IsSeekable()) {
    throw Failure(GetName() +
                  ": its index comes after its frames, so that it cannot be read from a pipe; give "
                  "the file by its name");
  }
  const std::int64_t position = std::exchange(lastFailure_, file.GetPosition());
  const std::int64_t number = framesRead_++;
  // Without progress in the file or in the index this would loop forever.
  const bool isStuck = position == lastFailure_ && !index_.LeadsInside(framesRead_);
  const std::int64_t announced = announcedFrames_.value_or(0) - hiddenFrames_;
  if (isStuck) framesRead_ = std::max(framesRead_, announced);
  isLost_ = framesRead_ >= announced;
  throw FrameFailure(GetName(), number, "cannot be found: " + reason, kChooseThoseBefore,
                     framesRead_ - number);
}

// The index may point outside the input for some frames, and inside it for later ones.
void ContainerTrack::FailAtEarlyEnd() {
  const std::int64_t announced = *announcedFrames_ - hiddenFrames_;
  const std::int64_t first = framesRead_++;
  const bool leadsBack = index_.LeadsInside(framesRead_ + hiddenFrames_);
  if (!leadsBack) framesRead_ = std::max(framesRead_, announced);
  while (!pending_ && framesRead_ < announced) {
    CheckInterrupt();
    try {
      pending_ = ReadPacket();
      if (!pending_) ++framesRead_;
    } catch (const FrameFailure&) {
      // The frame was counted where the exception was thrown.
    }
  }
  const std::int64_t count = framesRead_ - first;
  if (pending_) {
    throw FrameFailure(GetName(), first, "is missing: its place is outside the input",
                       kChooseThoseBefore, count);
  }
  throw FrameFailure(
      GetName(), first,
      "is missing: the input ends there although it announces " + Count(announced, "frame"),
      "choose the frames that are there with --frames, or get the whole file", count);
}

}  // namespace vixprores
