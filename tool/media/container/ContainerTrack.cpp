// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/ContainerTrack.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/Encodable.h"
#include "format/Values.h"
#include "media/container/MovFile.h"
#include "media/container/PacketTag.h"
#include "media/container/TrackDescription.h"

extern "C" {
#include <libavutil/buffer.h>
#include <libavutil/dict.h>
#include <libavutil/mathematics.h>
#include <libavutil/mem.h>
#include <libavutil/rational.h>
}

namespace vixprores {
namespace {

constexpr const char* kTakeThoseBefore = "choose the frames before it with --frames";
constexpr const char* kContainers = "mov,matroska,avi,nut,mxf";

std::int64_t TimeOf(const AVPacket& packet) {
  return packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
}

std::optional<std::int64_t> OffsetOf(const AVPacket& packet) {
  return packet.pos >= 0 ? std::optional(packet.pos) : std::nullopt;
}

std::shared_ptr<vix::IBuffer> Wrap(Packet packet) {
  std::uint8_t* const data = packet->data;
  const auto bytes = static_cast<std::size_t>(packet->size);
  // The block keeps the packet, and with it the memory.
  const std::shared_ptr<AVPacket> owner = std::move(packet);
  return vix::CreateBuffer(nullptr, vix::CreateMemoryBlock(data, bytes, [owner] {}));
}

// Makes the mapped bytes those of the packet.
void TakeOver(AVPacket& packet, std::shared_ptr<const FileMapping> mapping) {
  std::uint8_t* const data = mapping->GetData();
  auto owner = std::make_unique<std::shared_ptr<const FileMapping>>(std::move(mapping));
  const auto letGo = [](void* mappingOwner, std::uint8_t* /*data*/) {
    delete static_cast<std::shared_ptr<const FileMapping>*>(mappingOwner);
  };
  AVBufferRef* const buffer = av_buffer_create(data, static_cast<std::size_t>(packet.size), letGo,
                                               owner.get(), AV_BUFFER_FLAG_READONLY);
  if (!buffer) throw std::bad_alloc();
  static_cast<void>(owner.release());  // the buffer's now
  av_buffer_unref(&packet.buf);
  packet.buf = buffer;
  packet.data = data;
}

}  // namespace

ContainerTrack::ContainerTrack(std::unique_ptr<InputFile> file, FrameTimes times, Holds holds)
    : file_(std::move(file)), bytes_(*file_), isTagged_(HasPacketTags(*file_)), times_(times) {
  Open();
  ChooseTracks();
  FindMetadata();
  if (holds == Holds::Frames) {
    ReadFirstPacket();
  } else {
    ReadStatedRate();
  }
  FindTimecode();
}

ContainerTrack::~ContainerTrack() = default;

void ContainerTrack::Open() {
  AVFormatContext* context = avformat_alloc_context();
  if (!context) throw std::bad_alloc();
  context->pb = bytes_.Get();
  // Others, playlists above all, could lead to files and addresses that nobody named.
  context->format_whitelist = av_strdup(kContainers);
  const MemoryWatch memory;
  // Frees the context when it fails.
  const int result = avformat_open_input(&context, nullptr, nullptr, nullptr);
  if (result >= 0) context_.reset(context);
  bytes_.Rethrow();
  memory.Check();
  if (result < 0) {
    throw UnreadableContainer(GetName() + ": no readable container: " + ExplainLibavError(result) +
                              "; the containers " + kContainers +
                              " are read, when completely written");
  }
}

void ContainerTrack::ChooseTracks() {
  for (AVStream* stream : std::span(context_->streams, context_->nb_streams)) {
    stream->discard = AVDISCARD_ALL;
    if (stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) AddSound(*stream);
    const bool isCover = (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO || isCover) continue;
    if (++videoTracks_ == 1) stream_ = stream;
  }
  if (!stream_) {
    const std::string found =
        GetName() + ": has " + Count(context_->nb_streams, "track") + ", but none of video";
    // One of ours had one.
    if (isTagged_) throw UnreadableContainer(found);
    throw Failure(found);
  }
  stream_->discard = AVDISCARD_DEFAULT;
  DescribeVideo();
}

void ContainerTrack::DescribeVideo() {
  const AVCodecParameters& parameters = *stream_->codecpar;
  format_.width = static_cast<std::uint32_t>(std::max(parameters.width, 0));
  format_.height = static_cast<std::uint32_t>(std::max(parameters.height, 0));
  format_.fieldOrder = ToFieldOrder(parameters.field_order);
  format_.colour = {parameters.color_primaries, parameters.color_trc, parameters.color_space,
                    ToColourRange(parameters.color_range)};
  if (IsValid(stream_->sample_aspect_ratio)) {
    format_.sampleAspect = Reduce(ToRational(stream_->sample_aspect_ratio));
  }
  format_.displayMatrix = FindDisplayMatrix(*stream_);
}

void ContainerTrack::AddSound(AVStream& stream) {
  stream.discard = AVDISCARD_DEFAULT;
  soundStreams_.push_back(stream.index);
  sound_.push_back({CopyParameters(*stream.codecpar), stream.time_base, ToMetadata(stream.metadata),
                    sound_.size(), !IsAvi(*context_)});
  soundReached_.push_back(INT64_MIN);
}

void ContainerTrack::SelectSound(const std::vector<std::size_t>& places) {
  std::vector<std::size_t> newPlace(sound_.size(), SIZE_MAX);
  std::vector<SoundTrack> sound;
  std::vector<int> streams;
  std::vector<std::int64_t> reached;
  for (const std::size_t place : places) {
    newPlace.at(place) = sound.size();
    sound.push_back(sound_[place]);
    streams.push_back(soundStreams_[place]);
    reached.push_back(soundReached_[place]);
  }
  for (std::size_t place = 0; place < sound_.size(); ++place) {
    if (newPlace[place] != SIZE_MAX) continue;
    context_->streams[soundStreams_[place]]->discard = AVDISCARD_ALL;
  }
  std::erase_if(waiting_, [&](SoundPacket& packet) {
    packet.track = newPlace[packet.track];
    return packet.track == SIZE_MAX;
  });
  sound_ = std::move(sound);
  soundStreams_ = std::move(streams);
  soundReached_ = std::move(reached);
}

// What the container tells of itself, or what only it can know, is not the next one's.
void ContainerTrack::FindMetadata() {
  metadata_ = ToMetadata(context_->metadata);
  for (const char* own :
       {"encoder", "major_brand", "minor_version", "compatible_brands", "timecode", "TIMECODE",
        "DURATION", "operational_pattern_ul", "uid", "generation_uid", "product_uid",
        "product_version_num", "toolkit_version_num", "application_platform", "modification_date",
        "material_package_umid", "file_package_umid"}) {
    metadata_.erase(own);
  }
  const auto company = metadata_.find("company_name");
  if (company != metadata_.end() && company->second == "FFmpeg") {  // the container library
    for (const char* own : {"company_name", "product_name", "product_version"}) {
      metadata_.erase(own);
    }
  }
  for (AVStream* stream : std::span(context_->streams, context_->nb_streams)) {
    const AVDictionaryEntry* reel = av_dict_get(stream->metadata, "reel_name", nullptr, 0);
    if (reel) metadata_.emplace("reel_name", reel->value);
  }
}

void ContainerTrack::ReadStatedRate() {
  const auto stated = metadata_.find(kRateNote);
  if (stated == metadata_.end()) throw Failure(GetName() + ": does not tell its frame rate");
  format_.rate = ParseRate(stated->second);
  metadata_.erase(stated);
}

std::string ContainerTrack::GetCompressor() const {
  const AVDictionaryEntry* found = av_dict_get(stream_->metadata, "encoder", nullptr, 0);
  return found ? found->value : std::string();
}

void ContainerTrack::FindTimecode() {
  const AVDictionaryEntry* found = av_dict_get(stream_->metadata, "timecode", nullptr, 0);
  if (!found) found = av_dict_get(context_->metadata, "timecode", nullptr, 0);
  for (unsigned i = 0; !found && i < context_->nb_streams; ++i) {
    found = av_dict_get(context_->streams[i]->metadata, "timecode", nullptr, 0);
  }
  if (!found) {
    const auto tracks = std::span(context_->streams, context_->nb_streams);
    isTimecodeUnread_ = std::ranges::any_of(tracks, [](const AVStream* stream) {
      return stream->codecpar->codec_tag == vix::MakeFourCC("tmcd");
    });
    return;
  }
  timecode_ = Timecode::Find(found->value, format_.rate);
  if (!timecode_) unusedTimecode_ = found->value;
}

InputDescription ContainerTrack::GetDescription() const {
  return {GetName(), format_,   format_,    GetFrameCount(),
          timecode_, metadata_, FindNote(), FindTimecodeNote()};
}

std::string ContainerTrack::FindNote() const {
  std::vector<std::string> notes;
  if (videoTracks_ > 1) {
    notes.push_back("has " + std::to_string(videoTracks_) +
                    " video tracks; the first one is taken");
  }
  const bool hasSubtitles = std::ranges::any_of(
      std::span(context_->streams, context_->nb_streams),
      [](const AVStream* stream) { return stream->codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE; });
  if (hasSubtitles) notes.emplace_back("its subtitles are left out");
  if (context_->nb_chapters > 0) notes.emplace_back("its chapters are left out");
  std::string text;
  for (const std::string& note : notes) text += (text.empty() ? GetName() + ": " : "; ") + note;
  return text;
}

std::string ContainerTrack::FindTimecodeNote() const {
  if (!unusedTimecode_.empty()) {
    return GetName() + ": its timecode '" + unusedTimecode_ + "' is none of " +
           Describe(format_.rate) + " frames per second and is left out";
  }
  if (!isTimecodeUnread_) return {};
  return GetName() + ": its timecode cannot be read, which on a pipe is so; --timecode sets one";
}

Packet ContainerTrack::ReadAny() {
  Packet packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  bytes_.LeaveOutLargeReads(keepsInPlace_);
  const MemoryWatch memory;
  const int result = av_read_frame(context_.get(), packet.get());
  const auto leftOut = bytes_.TakeLeftOut();
  bytes_.Rethrow();
  memory.Check();
  if (result == AVERROR_EOF) return nullptr;
  if (result < 0) FailAtUnreadableFrame(ExplainLibavError(result));
  if (leftOut) FillIn(*packet, *leftOut);
  return packet;
}

// The time of a frame in the index; none where it does not stand where a constant rate has it.
std::optional<std::int64_t> ContainerTrack::FindIndexed(std::int64_t frame) const {
  const AVIndexEntry* const first = avformat_index_get_entry(stream_, 0);
  const AVIndexEntry* const entry = avformat_index_get_entry(stream_, static_cast<int>(frame));
  if (!first || !entry) return std::nullopt;
  const std::int64_t expected =
      first->timestamp + av_rescale_q(frame, Invert(format_.rate), stream_->time_base);
  return std::abs(entry->timestamp - expected) <= 1 ? std::optional(entry->timestamp)
                                                    : std::nullopt;
}

bool ContainerTrack::SkipTo(std::int64_t frame) {
  const bool isPlain = HasIndex() && hiddenFrames_ == 0 && times_ == FrameTimes::Checked;
  if (!file_->IsSeekable() || !isPlain || frame > INT_MAX) return false;
  const auto time = FindIndexed(frame);
  if (!time || av_seek_frame(context_.get(), stream_->index, *time, AVSEEK_FLAG_BACKWARD) < 0) {
    return false;
  }
  pending_ = nullptr;
  pendingFailure_ = nullptr;
  waiting_.clear();
  soundWatch_.Jump();
  std::ranges::fill(soundReached_, INT64_MIN);
  framesRead_ = frame;
  return true;
}

// With an index the library reads nothing large but packets from now on.
void ContainerTrack::KeepFramesInPlace() {
  keepsInPlace_ = file_->IsMappable() && HasIndex() && stream_->nb_frames > 0;
}

void ContainerTrack::FillIn(AVPacket& packet, const LibavStream::LeftOut& leftOut) {
  const std::int64_t position = file_->GetPosition();
  const bool isFrame = packet.stream_index == stream_->index && packet.pos >= 0;
  if (isFrame) file_->Seek(packet.pos);
  const auto mapping =
      isFrame ? file_->ReadInPlace(static_cast<std::size_t>(packet.size)) : nullptr;
  file_->Seek(position);
  if (mapping) {
    TakeOver(packet, mapping);
  } else if (file_->ReadAt(leftOut.position, leftOut.bytes) < leftOut.bytes.size()) {
    packet.flags |= AV_PKT_FLAG_CORRUPT;
  }
}

Packet ContainerTrack::ReadPacket() {
  while (Packet packet = ReadAny()) {
    if (packet->stream_index != stream_->index) {
      KeepSound(std::move(packet));
    } else if (packet->size > 0) {
      if ((packet->flags & AV_PKT_FLAG_DISCARD) == 0) return packet;
      ++hiddenFrames_;
    }
  }
  return nullptr;
}

void ContainerTrack::KeepSound(Packet packet) {
  const auto found = std::ranges::find(soundStreams_, packet->stream_index);
  if (found == soundStreams_.end() || packet->size == 0) return;
  const auto place = static_cast<std::size_t>(found - soundStreams_.begin());
  const std::int64_t time = TimeOf(*packet);
  if (time != AV_NOPTS_VALUE) soundReached_[place] = time + packet->duration;
  const bool isAltered = IsDamagedSound(*packet);
  soundWatch_.Pass(sound_[place], {place, std::move(packet)}, isAltered, waiting_);
}

std::vector<SoundPacket> ContainerTrack::TakeSound() {
  return std::exchange(waiting_, {});
}

bool ContainerTrack::HasSoundUntil(std::int64_t time, AVRational tick) const {
  for (std::size_t place = 0; place < sound_.size(); ++place) {
    const std::int64_t reached = soundReached_[place];
    if (reached == INT64_MIN) return false;
    if (av_compare_ts(reached, sound_[place].timeBase, time, tick) < 0) return false;
  }
  return true;
}

std::vector<SoundPacket> ContainerTrack::ReadSoundUntil(std::int64_t time, AVRational tick) {
  // Sound that comes so much later than its pictures is not waited for.
  constexpr int kLatestSeconds = 60;
  const std::int64_t latest = time + av_rescale_q(kLatestSeconds, {1, 1}, tick);
  while (!HasSoundUntil(time, tick)) {
    Packet packet = ReadAny();
    if (!packet) break;
    if (packet->stream_index != stream_->index) {
      KeepSound(std::move(packet));
    } else if (av_compare_ts(TimeOf(*packet), stream_->time_base, latest, tick) > 0) {
      break;
    }
  }
  return TakeSound();
}

void ContainerTrack::ReadFirstPacket() {
  announcedFrames_ = CountAnnouncedFrames();
  try {
    pending_ = ReadPacket();
    if (!pending_ && announcedFrames_.value_or(0) > 0) FailAtEarlyEnd();
  } catch (const FrameFailure&) {
    pendingFailure_ = std::current_exception();
  }
  if (!pending_ && !pendingFailure_) throw UnreadableContainer(GetName() + ": holds no frames");
  format_.isPadded = IsMxf(*context_);
  format_.rate = FindRate(*stream_, pending_.get(), IsMatroska(*context_), HasIndex());
  if (format_.rate.numerator == 0) {
    throw Failure(GetName() + ": does not tell its frame rate; rewrap it as .mov first");
  }
  firstTime_ = pendingFailure_ ? stream_->start_time : TimeOf(*pending_);
  if (firstTime_ == AV_NOPTS_VALUE) firstTime_ = 0;
  format_.start =
      std::max<std::int64_t>(0, av_rescale_q(firstTime_, stream_->time_base, Invert(format_.rate)));
  // A duration tells frames only now that the rate is known.
  announcedFrames_ = CountAnnouncedFrames();
}

std::optional<std::int64_t> ContainerTrack::GetFrameCount() const {
  // A duration tells frames only of a constant rate.
  const auto frames = times_ == FrameTimes::Ignored ? CountIndexedFrames() : announcedFrames_;
  if (!file_->IsSeekable() || !frames) return std::nullopt;
  return *frames - hiddenFrames_;
}

bool ContainerTrack::HasIndex() const {
  return std::strstr(context_->iformat->name, "mov") &&
         avformat_index_get_entries_count(stream_) > 0;
}

std::optional<std::int64_t> ContainerTrack::CountIndexedFrames() const {
  // An edit list may leave out frames; the index then holds what remains, and what it hides.
  if (HasIndex()) return avformat_index_get_entries_count(stream_);
  return stream_->nb_frames > 0 ? std::optional(stream_->nb_frames) : std::nullopt;
}

std::optional<std::int64_t> ContainerTrack::CountAnnouncedFrames() const {
  if (const auto indexed = CountIndexedFrames()) return indexed;
  if (format_.rate.numerator == 0) return std::nullopt;

  const AVRational frame = Invert(format_.rate);
  if (stream_->duration > 0) return av_rescale_q(stream_->duration, stream_->time_base, frame);
  // Durations are counted from time 0 here.
  const auto seconds = FindStatedDuration(*context_, *stream_);
  if (!seconds) return std::nullopt;
  return std::llround(*seconds / av_q2d(frame)) - format_.start;
}

// Fragments lead from one to the next: where the chain breaks, what is behind is not found.
void ContainerTrack::CheckFragments() const {
  const bool isFragmented = HasIndex() && stream_->nb_frames == 0;
  if (!isFragmented || !file_->IsSeekable()) return;
  const auto broken = FindBrokenAtom(*file_);
  if (!broken) return;
  throw Failure(GetName() + ": is damaged or cut off from byte " + std::to_string(*broken) +
                " on, so that what is behind is not found; --scan finds its frames");
}

std::optional<NumberedFrame> ContainerTrack::Read() {
  if (lost_) return std::nullopt;
  if (pendingFailure_) std::rethrow_exception(std::exchange(pendingFailure_, nullptr));
  Packet packet = pending_ ? std::move(pending_) : ReadPacket();
  if (!packet) {
    if (EndsEarly()) FailAtEarlyEnd();
    CheckFragments();
    return std::nullopt;
  }
  NumberedFrame frame;
  frame.number = framesRead_++;
  frame.offset = OffsetOf(*packet);
  frame.fault = FindFault(*packet);
  frame.isUneven = CheckPacket(packet);
  frame.data = Wrap(std::move(packet));
  return frame;
}

// Where times are uneven only an index tells how many frames there are.
bool ContainerTrack::EndsEarly() const {
  const bool isCounted = unevenFrames_ == 0 || HasIndex();
  return isCounted && framesRead_ + hiddenFrames_ < announcedFrames_.value_or(0);
}

// The tag right before the packet; none where there is none, or a damaged one.
std::optional<PacketTag> ContainerTrack::FindTag(const AVPacket& packet) const {
  constexpr auto kTagBytes = static_cast<std::int64_t>(PacketTag::kBytes);
  if (!isTagged_ || packet.pos < kTagBytes) return std::nullopt;
  std::array<std::uint8_t, PacketTag::kBytes> bytes{};
  const std::size_t read = file_->ReadAt(packet.pos - kTagBytes, bytes);
  return ReadPacketTag(std::span(bytes).first(read));
}

std::string ContainerTrack::FindFault(const AVPacket& packet) const {
  if (!isTagged_ || packet.pos < 0) return {};
  const auto tag = FindTag(packet);
  if (!tag) return "has a damaged tag, or stands where none was written";
  const std::span data(packet.data, static_cast<std::size_t>(packet.size));
  if (tag->packetBytes != data.size()) {
    return "has " + std::to_string(data.size()) + " bytes, but " +
           std::to_string(tag->packetBytes) + " were written";
  }
  return tag->packetHash == HashPacket(data) ? std::string()
                                             : "is not what was written: its checksum differs";
}

// Sound may be handed out in other pieces than it was written in, of which nothing is known.
bool ContainerTrack::IsDamagedSound(const AVPacket& packet) const {
  const auto tag = FindTag(packet);
  const std::span data(packet.data, static_cast<std::size_t>(packet.size));
  return tag && tag->packetBytes == data.size() && tag->packetHash != HashPacket(data);
}

// Returns true for a frame at an odd time that is accepted.
bool ContainerTrack::CheckPacket(Packet& packet) {
  if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0) {
    throw FrameFailure(GetName(), framesRead_ - 1,
                       "is cut short: found " + std::to_string(packet->size) + " bytes of it",
                       kTakeThoseBefore, 1, OffsetOf(*packet));
  }
  return TimeOf(*packet) != AV_NOPTS_VALUE && CheckTime(packet);
}

std::int64_t ContainerTrack::ExpectTime(std::int64_t number) const {
  return firstTime_ + av_rescale_q(number, Invert(format_.rate), stream_->time_base);
}

// Clocks of containers are coarser than frame rates, so that times are off by up to one tick.
bool ContainerTrack::IsAbout(std::int64_t time, std::int64_t expected) const {
  const std::int64_t frame = av_rescale_q(1, Invert(format_.rate), stream_->time_base);
  return std::abs(time - expected) <= std::max<std::int64_t>(1, frame / 10);
}

// Frames that are left out before one that comes too late by whole frames; 0 = it does not.
std::int64_t ContainerTrack::CountLeftOut(std::int64_t time, std::int64_t expected) const {
  const AVRational frame = Invert(format_.rate);
  const std::int64_t framesLate = av_rescale_q(time - expected, stream_->time_base, frame);
  const std::int64_t lateness = av_rescale_q(framesLate, frame, stream_->time_base);
  return framesLate > 0 && IsAbout(time, expected + lateness) ? framesLate : 0;
}

bool ContainerTrack::CheckTime(Packet& packet) {
  const std::int64_t number = framesRead_ - 1;
  const std::int64_t time = TimeOf(*packet);
  const std::int64_t expected = ExpectTime(number);
  if (IsAbout(time, expected)) return false;
  const std::int64_t leftOut = CountLeftOut(time, expected);
  const bool isTaken =
      times_ == FrameTimes::Ignored || (times_ == FrameTimes::GapsOnly && leftOut == 0);
  const auto offset = OffsetOf(*packet);
  if (leftOut > 0 && !isTaken) {
    pending_ = std::move(packet);
    framesRead_ += leftOut - 1;
  } else {
    firstTime_ += time - expected;  // whoever goes on counts from here
  }
  if (!isTaken) FailAtTime(number, time, expected, leftOut, offset);
  ++unevenFrames_;
  return true;
}

// The index has times of decoding, which may be earlier by an offset.
void ContainerTrack::CheckIndexedTimes(std::int64_t last) const {
  if (times_ != FrameTimes::Checked || !HasIndex()) return;
  std::int64_t number = 0;
  std::int64_t offset = 0;
  for (int i = 0; i < avformat_index_get_entries_count(stream_) && number <= last; ++i) {
    const AVIndexEntry& entry = *avformat_index_get_entry(stream_, i);
    if ((entry.flags & AVINDEX_DISCARD_FRAME) != 0) continue;
    if (number == 0) offset = firstTime_ - entry.timestamp;
    const std::int64_t time = entry.timestamp + offset;
    const std::int64_t expected = ExpectTime(number);
    if (!IsAbout(time, expected)) {
      FailAtTime(number, time, expected, CountLeftOut(time, expected), std::nullopt);
    }
    ++number;
  }
}

void ContainerTrack::FailAtTime(std::int64_t number, std::int64_t time, std::int64_t expected,
                                std::int64_t missing, std::optional<std::int64_t> offset) const {
  const double tick = av_q2d(stream_->time_base);
  const std::string found = "comes at " + std::to_string(static_cast<double>(time) * tick) +
                            " s instead of " +
                            std::to_string(static_cast<double>(expected) * tick) + " s at " +
                            Describe(format_.rate) + " frames per second";
  throw FrameTimeFailure(
      GetName() + ": has a variable frame rate: frame " + std::to_string(number) + " " + found +
          ". This command makes it constant, leaving out frames and repeating some:\n  " +
          ConversionCommand(GetName(), "fps=" + Describe(format_.rate)),
      number, missing > 0 ? "is missing: the one behind " + found : found, missing, offset);
}

void ContainerTrack::FailAtUnreadableFrame(const std::string& reason) {
  if (framesRead_ == 0 && announcedFrames_ && !file_->IsSeekable()) {
    throw Failure(GetName() +
                  ": its index stands behind its frames, where a pipe cannot go back from; give "
                  "the file by its name");
  }
  ++framesRead_;
  // Without a number of frames to count up to, or once it is reached, this could go on for ever.
  lost_ = framesRead_ + hiddenFrames_ >= announcedFrames_.value_or(0);
  throw FrameFailure(GetName(), framesRead_ - 1, "cannot be found: " + reason, kTakeThoseBefore);
}

// The index may lead outside the input for some frames, and back for those behind them.
void ContainerTrack::FailAtEarlyEnd() {
  const std::int64_t announced = *announcedFrames_ - hiddenFrames_;
  const std::int64_t first = framesRead_;
  ++framesRead_;
  while (!pending_ && framesRead_ < announced) {
    try {
      pending_ = ReadPacket();
      if (!pending_) ++framesRead_;
    } catch (const FrameFailure&) {
      // Counted where it was thrown.
    }
  }
  const std::int64_t count = framesRead_ - first;
  if (pending_) {
    throw FrameFailure(GetName(), first, "is missing: its place is outside the input",
                       kTakeThoseBefore, count);
  }
  throw FrameFailure(
      GetName(), first,
      "is missing: the input ends there although it announces " + Count(announced, "frame"),
      "choose the frames that are there with --frames, or get the whole file", count);
}

}  // namespace vixprores
