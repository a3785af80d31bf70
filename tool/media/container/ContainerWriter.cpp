// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/ContainerWriter.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <span>
#include <utility>

#include "base/Errors.h"
#include "media/container/MovFile.h"
#include "media/container/MxfFile.h"
#include "media/container/PacketTag.h"
#include "media/sound/SoundWatch.h"

extern "C" {
#include <libavutil/buffer.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

using SharedBuffer = std::shared_ptr<const vix::IBuffer>;

void DropBuffer(void* owner, std::uint8_t* /*data*/) {
  delete static_cast<SharedBuffer*>(owner);
}

// Returns a reference to the buffer's own bytes, which keeps the buffer alive.
AVBufferRef* Share(const SharedBuffer& buffer) {
  auto owner = std::make_unique<SharedBuffer>(buffer);
  AVBufferRef* const reference = av_buffer_create(buffer->GetData(), buffer->GetSize(), DropBuffer,
                                                  owner.get(), AV_BUFFER_FLAG_READONLY);
  if (!reference) throw std::bad_alloc();
  owner.release();  // NOLINT(bugprone-unused-return-value): DropBuffer() owns it now
  return reference;
}

}  // namespace

ContainerWriter::ContainerWriter(OutputFile& file, const OutputFormat& output,
                                 const MovieContent& content, bool isRepeatable)
    : file_(file),
      bytes_(file),
      content_(content),
      // The muxer inserts packets into tracks of text, where tags would be parted from theirs.
      isTagged_(output.muxer == std::string("mov") && file.IsSeekable() &&
                content.texts.tracks.empty()),
      endsWithPictures_(output.muxer == std::string("mxf")),
      soundEnds_(content.sound.size()),
      textsWritten_(content.texts.tracks.size()),
      packets_(content),
      context_(MakeMuxer(output.muxer, content)) {
  context_->pb = bytes_.Get();
  const bool isFragmented = output.muxer == std::string("mov") && !file.IsSeekable();
  const MemoryWatch memory;
  Check(WriteHeader(*context_, content_, isFragmented), memory);
  if (!isTagged_) return;
  if (!isRepeatable) file_.KeepOnDisk();
  WriteDescription();
}

ContainerWriter::~ContainerWriter() = default;

void ContainerWriter::WriteDescription() {
  const std::vector<std::uint8_t> movie = DescribeMovie(content_);
  const auto tag = WritePacketTag(
      {PacketTag::kDescription, static_cast<std::uint32_t>(movie.size()), 0, 0, HashPacket(movie)});
  avio_write(context_->pb, tag.data(), static_cast<int>(tag.size()));
  avio_write(context_->pb, movie.data(), static_cast<int>(movie.size()));
  avio_flush(context_->pb);
}

void ContainerWriter::WriteTag(std::uint32_t track, const AVPacket& packet,
                               const std::optional<std::uint64_t>& hash) {
  const std::span bytes(packet.data, static_cast<std::size_t>(packet.size));
  const auto tag = WritePacketTag({track, static_cast<std::uint32_t>(packet.size), packet.pts,
                                   packet.duration, hash ? *hash : HashPacket(bytes)});
  avio_write(context_->pb, tag.data(), static_cast<int>(tag.size()));
}

void ContainerWriter::Write(const std::shared_ptr<const vix::IVideoSample>& frame,
                            const std::optional<std::uint64_t>& hash) {
  const SharedBuffer buffer = frame->GetBuffer();
  if (buffer->GetSize() > INT32_MAX) {
    throw Failure(file_.GetName() + ": frames of " + std::to_string(buffer->GetSize()) +
                  " bytes are too large for a container; write raw frames");
  }
  const vix::TimeLimits& time = frame->GetTimeLimits().front();
  Packet packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  packet->buf = Share(buffer);
  packet->data = buffer->GetData();
  packet->size = static_cast<int>(buffer->GetSize());
  packet->pts = packet->dts = time.begin;
  packet->duration = time.end - time.begin;
  picturesEnd_ = time.end;
  packets_.AddFrame(std::move(packet), hash);
  WriteOrdered();
}

void ContainerWriter::WriteSound(SoundPacket sound) {
  soundEnds_[sound.track] = sound.packet->pts + sound.packet->duration;
  packets_.AddSound(std::move(sound));
  WriteOrdered();
}

void ContainerWriter::WriteOrdered() {
  while (const auto item = packets_.Take()) {
    if (item->stream == 0) WriteTexts(item->packet->pts + item->packet->duration);
    const AVStream& stream = *context_->streams[item->stream];
    WritePacket(item->stream == 0 ? Invert(content_.video.rate)
                                  : AVRational{1, stream.codecpar->sample_rate},
                *item);
  }
}

void ContainerWriter::WriteCaptions(std::int64_t time, std::span<const std::uint8_t> captions) {
  const auto track = std::ranges::find(content_.texts.tracks, kWithinPictures, &TextTrack::stream);
  if (track == content_.texts.tracks.end()) return;
  Packet packet(av_packet_alloc());
  if (!packet || av_new_packet(packet.get(), static_cast<int>(captions.size())) < 0) {
    throw std::bad_alloc();
  }
  std::ranges::copy(captions, packet->data);
  packet->pts = packet->dts = time;
  packet->duration = 1;
  track->packets.push_back(std::move(packet));
}

// Writes the texts that begin before the end of a frame.
void ContainerWriter::WriteTexts(std::int64_t end) {
  for (std::size_t place = 0; place < textsWritten_.size(); ++place) {
    const TextTrack& track = content_.texts.tracks[place];
    while (textsWritten_[place] < track.packets.size()) {
      const AVPacket& text = *track.packets[textsWritten_[place]];
      if (av_compare_ts(text.pts, track.timeBase, end, Invert(content_.video.rate)) >= 0) break;
      Packet packet(av_packet_clone(&text));
      if (!packet) throw std::bad_alloc();
      ++textsWritten_[place];
      WritePacket(track.timeBase, {1 + content_.sound.size() + place, std::move(packet)});
    }
  }
}

void ContainerWriter::WritePacket(AVRational clock, const Interleaver::Item& item) {
  const AVStream& stream = *context_->streams[item.stream];
  AVPacket& packet = *item.packet;
  if (isTagged_) {
    WriteTag(PacketTag::kVideo + static_cast<std::uint32_t>(item.stream), packet, item.hash);
  }
  const std::int64_t end = av_rescale_q(packet.pts + packet.duration, clock, stream.time_base);
  packet.pts = packet.dts = av_rescale_q(packet.pts, clock, stream.time_base);
  packet.duration = end - packet.pts;
  packet.flags |= AV_PKT_FLAG_KEY;
  packet.stream_index = stream.index;

  // Large writes go straight from the frame's memory to the file.
  const MemoryWatch memory;
  context_->pb->direct = 1;
  // A tag lies directly before its packet, so the muxer must not hold the packet back. Nor must it
  // wait for texts, which are rare.
  const bool isInOrder = isTagged_ || !textsWritten_.empty();
  const int result = isInOrder ? av_write_frame(context_.get(), &packet)
                               : av_interleaved_write_frame(context_.get(), &packet);
  context_->pb->direct = 0;
  Check(result, memory);
}

// Returns the end of the pictures in samples of a sound track.
std::int64_t ContainerWriter::EndOfPictures(std::size_t track) const {
  const AVRational sample{1, content_.sound[track].parameters->sample_rate};
  return av_rescale_q_rnd(picturesEnd_, Invert(content_.video.rate), sample, AV_ROUND_UP);
}

// Writes silence up to the end of the pictures, one second at a time: pictures without sound would
// be lost.
void ContainerWriter::FillUpSound() {
  for (std::size_t place = 0; place < content_.sound.size(); ++place) {
    SoundTrack track = content_.sound[place];
    track.timeBase = {1, track.parameters->sample_rate};
    const std::int64_t end = EndOfPictures(place);
    while (soundEnds_[place] < end) {
      const std::int64_t first = soundEnds_[place];
      const std::int64_t count = std::min<std::int64_t>(end - first, track.timeBase.den);
      WriteSound({place, MakeSilence(track, first, count)});
    }
  }
}

void ContainerWriter::Finish() {
  // The library cannot write the trailer twice.
  if (std::exchange(ended_, true)) throw Failure(file_.GetName() + ": cannot be completed");
  if (endsWithPictures_) FillUpSound();
  packets_.Finish();
  WriteOrdered();
  const std::int64_t index = avio_tell(context_->pb);
  const MemoryWatch memory;
  Check(av_write_trailer(context_.get()), memory);
  avio_flush(context_->pb);
  Check(context_->pb->error, memory);
  if (isTagged_) SetMovMediaEnd(file_, index);
  if (context_->oformat->name == std::string("mov") && file_.IsSeekable()) LabelMovie();
  const StreamFormat& video = content_.video;
  const bool isMxf = context_->oformat->name == std::string("mxf");
  if (isMxf && video.IsInterlaced()) SetMxfFields(file_, video.fieldOrder, video.height);
}

void ContainerWriter::LabelMovie() {
  SetMovVendor(file_, context_->streams[0]->codecpar->codec_tag, content_.vendor);
  std::vector<std::string> languages;
  for (const SoundTrack& track : content_.sound) {
    const auto found = track.metadata.find("language");
    languages.push_back(found == track.metadata.end() ? std::string() : found->second);
  }
  SetMovSoundLanguages(file_, languages);
}

std::string ContainerWriter::GetEndNote() const {
  double longest = 0;
  for (std::size_t place = 0; endsWithPictures_ && place < soundEnds_.size(); ++place) {
    const std::int64_t rest = soundEnds_[place] - EndOfPictures(place);
    const double rate = content_.sound[place].parameters->sample_rate;
    longest = std::max(longest, static_cast<double>(rest) / rate);
  }
  const long long milliseconds = std::llround(longest * 1000);
  if (milliseconds == 0) return {};
  return file_.GetName() + ": " + std::to_string(milliseconds) +
         " ms of sound after the last picture are left out: in this container the sound ends with "
         "the pictures";
}

void ContainerWriter::Check(int result, const MemoryWatch& memory) {
  bytes_.Rethrow();
  // A muxer that ran out of memory may be unable to continue.
  if (result == AVERROR(ENOMEM) || memory.IsShort()) {
    ended_ = true;
    throw std::bad_alloc();
  }
  if (result >= 0) return;
  const bool isMov = context_->oformat->name == std::string("mov");
  throw Failure(file_.GetName() + ": the container cannot take " +
                (content_.sound.empty() ? "the video: " : "the video or its sound: ") +
                ExplainLibavError(result) + (isMov ? "" : "; choose .mov"));
}

}  // namespace vixprores
