// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/ContainerWriter.h"

#include <memory>
#include <new>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/Errors.h"
#include "media/container/MovFile.h"
#include "media/sound/Silence.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/buffer.h>
#include <libavutil/dict.h>
#include <libavutil/mathematics.h>
#include <libavutil/mem.h>
#include <libavutil/pixfmt.h>
}

namespace vixprores {
namespace {

constexpr std::int64_t kCoarsestClock = 10000;  // ticks per second
constexpr std::int64_t kFragmentMicroseconds = 500000;

// The muxer of .mov derives the meaning "lines of both fields interleaved" from the second value
// of each pair, other muxers write down the first.
AVFieldOrder ToAvFieldOrder(FieldOrder order, bool isMov) {
  switch (order) {
    case FieldOrder::Progressive:
      return AV_FIELD_PROGRESSIVE;
    case FieldOrder::TopFirst:
      return isMov ? AV_FIELD_TB : AV_FIELD_TT;
    case FieldOrder::BottomFirst:
      return isMov ? AV_FIELD_BT : AV_FIELD_BB;
    default:
      return AV_FIELD_UNKNOWN;
  }
}

AVColorRange ToAvColorRange(ColourRange range) {
  if (range == ColourRange::Limited) return AVCOL_RANGE_MPEG;
  if (range == ColourRange::Full) return AVCOL_RANGE_JPEG;
  return AVCOL_RANGE_UNSPECIFIED;
}

// The tag is always set: muxers guess one, and take every ProRes variant for the same.
void DescribeCodec(const StreamFormat& stream, bool isMov, AVCodecParameters& parameters) {
  parameters.codec_tag = stream.code;
  if (const ProResVariant* variant = FindProResVariant(stream.code)) {
    parameters.codec_id = AV_CODEC_ID_PRORES;
    parameters.profile = variant->profile;
  } else if (stream.code == vix::kFourCC_V210) {
    parameters.codec_id = AV_CODEC_ID_V210;
    parameters.codec_tag = vix::MakeFourCC("v210");
    parameters.bits_per_coded_sample = 20;
  } else {
    parameters.codec_id = AV_CODEC_ID_RAWVIDEO;
    parameters.format = AV_PIX_FMT_UYVY422;
    if (isMov) parameters.codec_tag = vix::MakeFourCC("2vuy");
    parameters.bits_per_coded_sample = 16;
  }
}

void DescribeVideo(const StreamFormat& stream, bool isMov, AVCodecParameters& parameters) {
  parameters.codec_type = AVMEDIA_TYPE_VIDEO;
  DescribeCodec(stream, isMov, parameters);
  parameters.width = static_cast<int>(stream.width);
  parameters.height = static_cast<int>(stream.height);
  parameters.sample_aspect_ratio = ToAvRational(stream.sampleAspect);
  parameters.field_order = ToAvFieldOrder(stream.fieldOrder, isMov);
  parameters.color_primaries = static_cast<AVColorPrimaries>(stream.colour.primaries);
  parameters.color_trc = static_cast<AVColorTransferCharacteristic>(stream.colour.transfer);
  parameters.color_space = static_cast<AVColorSpace>(stream.colour.matrix);
  parameters.color_range = ToAvColorRange(stream.colour.range);
}

using SharedBuffer = std::shared_ptr<const vix::IBuffer>;

void DropBuffer(void* owner, std::uint8_t* /*data*/) {
  delete static_cast<SharedBuffer*>(owner);
}

// A reference to the buffer's own bytes, which keeps the buffer.
AVBufferRef* Share(const SharedBuffer& buffer) {
  auto owner = std::make_unique<SharedBuffer>(buffer);
  AVBufferRef* const reference = av_buffer_create(buffer->GetData(), buffer->GetSize(), DropBuffer,
                                                  owner.get(), AV_BUFFER_FLAG_READONLY);
  if (!reference) throw std::bad_alloc();
  owner.release();  // NOLINT(bugprone-unused-return-value): DropBuffer() owns it now
  return reference;
}

void Set(AVDictionary*& dictionary, const std::string& key, const std::string& value) {
  if (!value.empty()) av_dict_set(&dictionary, key.c_str(), value.c_str(), 0);
}

AVStream& AddStream(AVFormatContext& context) {
  AVStream* const stream = avformat_new_stream(&context, nullptr);
  if (!stream) throw std::bad_alloc();
  return *stream;
}

void AddVideo(const MovieContent& content, bool isMov, AVFormatContext& context) {
  const StreamFormat& video = content.video;
  AVStream& stream = AddStream(context);
  DescribeVideo(video, isMov, *stream.codecpar);
  stream.sample_aspect_ratio = ToAvRational(video.sampleAspect);
  stream.avg_frame_rate = ToAvRational(video.rate);
  stream.time_base = Invert(video.rate);
  // Becomes the name of the compressor in the sample description.
  const std::string ours = "vix " + DescribeCode(video.code);
  Set(stream.metadata, "encoder", content.compressor.empty() ? ours : content.compressor);
  if (content.timecode) Set(stream.metadata, "timecode", content.timecode->ToText());
  const auto reel = content.metadata.find("reel_name");
  if (reel != content.metadata.end()) Set(stream.metadata, "reel_name", reel->second);
}

// What a container notes of a track for itself.
bool IsOwnNote(const std::string& key) {
  static const std::set<std::string> kOwn{"encoder", "vendor_id",        "DURATION",
                                          "ENCODER", "timecode",         "duration",
                                          "BPS",     "NUMBER_OF_FRAMES", "NUMBER_OF_BYTES"};
  return kOwn.contains(key);
}

void AddSound(const SoundTrack& track, AVFormatContext& context) {
  AVStream& stream = AddStream(context);
  if (avcodec_parameters_copy(stream.codecpar, track.parameters.get()) < 0) throw std::bad_alloc();
  stream.codecpar->codec_tag = 0;  // each container has its own
  stream.time_base = {1, track.parameters->sample_rate};
  for (const auto& [key, value] : track.metadata) {
    if (!IsOwnNote(key)) Set(stream.metadata, key, value);
  }
}

Muxer MakeMuxer(const std::string& name, const MovieContent& content) {
  AVFormatContext* context = nullptr;
  // The muxer is named: the work file's extension is not that of the output.
  avformat_alloc_output_context2(&context, nullptr, name.c_str(), nullptr);
  if (!context) throw std::bad_alloc();
  Muxer muxer(context);
  AddVideo(content, name == "mov", *context);
  for (const SoundTrack& track : content.sound) AddSound(track, *context);
  for (const auto& [key, value] : content.metadata) {
    if (key != "reel_name") Set(context->metadata, key, value);
  }
  return muxer;
}

// A start behind time 0 is told in ticks of this clock, whose default is too coarse for a frame.
std::int64_t MovieClock(const StreamFormat& video) {
  std::int64_t ticksPerSecond = video.rate.numerator;
  while (ticksPerSecond < kCoarsestClock) ticksPerSecond *= 2;
  return ticksPerSecond;
}

int WriteHeaderWith(AVFormatContext& context, const StreamFormat& video, const char* flags) {
  AVDictionary* options = nullptr;
  av_dict_set_int(&options, "movie_timescale", MovieClock(video), 0);
  if (flags) {
    av_dict_set(&options, "movflags", flags, 0);
    av_dict_set_int(&options, "frag_duration", kFragmentMicroseconds, 0);
  }
  const int result = avformat_write_header(&context, &options);
  av_dict_free(&options);
  return result;
}

// A movie without media that holds the tracks; empty where it cannot be made.
std::vector<std::uint8_t> DescribeMovie(const MovieContent& content) {
  const Muxer muxer = MakeMuxer("mov", content);
  Set(muxer->metadata, kRateNote, Describe(content.video.rate));
  // As texts too: tracks of timecode are made of media.
  if (content.timecode) Set(muxer->metadata, "timecode", content.timecode->ToText());
  const auto reel = content.metadata.find("reel_name");
  if (reel != content.metadata.end()) Set(muxer->metadata, "reel_name", reel->second);
  if (avio_open_dyn_buf(&muxer->pb) < 0) throw std::bad_alloc();
  const int result =
      WriteHeaderWith(*muxer, content.video, "empty_moov+default_base_moof+use_metadata_tags");
  std::uint8_t* bytes = nullptr;
  const int size = avio_close_dyn_buf(muxer->pb, &bytes);
  std::vector<std::uint8_t> movie;
  if (result >= 0) movie.assign(bytes, bytes + size);
  av_free(bytes);
  return movie;
}

}  // namespace

ContainerWriter::ContainerWriter(OutputFile& file, const OutputFormat& output,
                                 const MovieContent& content)
    : file_(file),
      bytes_(file),
      content_(content),
      isMov_(output.muxer == std::string("mov")),
      isTagged_(isMov_ && file.IsSeekable()),
      needsSoundToTheEnd_(output.muxer == std::string("mxf")),
      soundEnds_(content.sound.size()),
      context_(MakeMuxer(output.muxer, content)) {
  context_->pb = bytes_.Get();
  WriteHeader();
}

ContainerWriter::~ContainerWriter() = default;

void ContainerWriter::WriteHeader() {
  const bool isFragmented = isMov_ && !isTagged_;
  Check(WriteHeaderWith(*context_, content_.video,
                        isFragmented ? "empty_moov+default_base_moof" : nullptr));
  if (!isTagged_) return;
  file_.KeepOnDisk();
  const std::vector<std::uint8_t> movie = DescribeMovie(content_);
  const auto tag = WritePacketTag(
      {PacketTag::kDescription, static_cast<std::uint32_t>(movie.size()), 0, 0, HashPacket(movie)});
  avio_write(context_->pb, tag.data(), static_cast<int>(tag.size()));
  avio_write(context_->pb, movie.data(), static_cast<int>(movie.size()));
}

void ContainerWriter::WriteTag(std::uint32_t track, const AVPacket& packet) {
  const std::span bytes(packet.data, static_cast<std::size_t>(packet.size));
  const auto tag = WritePacketTag({track, static_cast<std::uint32_t>(packet.size), packet.pts,
                                   packet.duration, HashPacket(bytes)});
  avio_write(context_->pb, tag.data(), static_cast<int>(tag.size()));
}

void ContainerWriter::Write(const std::shared_ptr<const vix::IVideoSample>& frame) {
  const SharedBuffer buffer = frame->GetBuffer();
  if (buffer->GetSize() > INT32_MAX) {
    throw Failure(file_.GetName() + ": frames of " + std::to_string(buffer->GetSize()) +
                  " bytes are too large for a container; write headless frames");
  }
  const vix::TimeLimits& time = frame->GetTimeLimits().front();
  const Packet packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  packet->buf = Share(buffer);
  packet->data = buffer->GetData();
  packet->size = static_cast<int>(buffer->GetSize());
  packet->pts = packet->dts = time.begin;
  packet->duration = time.end - time.begin;
  picturesEnd_ = time.end;
  WritePacket(*context_->streams[0], Invert(time.ticksPerSecond), *packet);
}

void ContainerWriter::WriteSound(SoundPacket sound) {
  const AVStream& stream = *context_->streams[1 + sound.track];
  soundEnds_[sound.track] = sound.packet->pts + sound.packet->duration;
  WritePacket(stream, {1, stream.codecpar->sample_rate}, *sound.packet);
}

void ContainerWriter::WritePacket(const AVStream& stream, AVRational clock, AVPacket& packet) {
  if (isTagged_) WriteTag(PacketTag::kVideo + static_cast<std::uint32_t>(stream.index), packet);
  const std::int64_t end = av_rescale_q(packet.pts + packet.duration, clock, stream.time_base);
  packet.pts = packet.dts = av_rescale_q(packet.pts, clock, stream.time_base);
  packet.duration = end - packet.pts;
  packet.flags |= AV_PKT_FLAG_KEY;
  packet.stream_index = stream.index;

  // Large writes go straight from the frame's memory to the file.
  context_->pb->direct = 1;
  // A tag lies directly before its packet, which the muxer must not hold back.
  const int result = isTagged_ ? av_write_frame(context_.get(), &packet)
                               : av_interleaved_write_frame(context_.get(), &packet);
  context_->pb->direct = 0;
  Check(result);
}

// A second at a time.
void ContainerWriter::FillUpSound() {
  for (std::size_t place = 0; place < content_.sound.size(); ++place) {
    SoundTrack track = content_.sound[place];
    track.timeBase = {1, track.parameters->sample_rate};
    const std::int64_t end =
        av_rescale_q_rnd(picturesEnd_, Invert(content_.video.rate), track.timeBase, AV_ROUND_UP);
    while (soundEnds_[place] < end) {
      const std::int64_t first = soundEnds_[place];
      const std::int64_t count = std::min<std::int64_t>(end - first, track.timeBase.den);
      WriteSound({place, MakeSilence(track, first, count)});
    }
  }
}

void ContainerWriter::Finish() {
  // The library cannot try it twice.
  if (std::exchange(ended_, true)) throw Failure(file_.GetName() + ": cannot be completed");
  if (needsSoundToTheEnd_) FillUpSound();
  const std::int64_t index = avio_tell(context_->pb);
  Check(av_write_trailer(context_.get()));
  avio_flush(context_->pb);
  Check(context_->pb->error);
  if (!isTagged_) return;
  SetMovMediaEnd(file_, index);
  SetMovVendor(file_, context_->streams[0]->codecpar->codec_tag, content_.vendor);
  std::vector<std::string> languages;
  for (const SoundTrack& track : content_.sound) {
    const auto found = track.metadata.find("language");
    languages.push_back(found == track.metadata.end() ? std::string() : found->second);
  }
  SetMovSoundLanguages(file_, languages);
}

void ContainerWriter::Check(int result) {
  bytes_.Rethrow();
  if (result >= 0) return;
  const char* const advice = content_.sound.empty() ? "" : "; --no-audio leaves out the sound";
  throw Failure(file_.GetName() + ": the container cannot take " +
                (content_.sound.empty() ? "the video: " : "the video or its sound: ") +
                ExplainLibavError(result) + advice);
}

}  // namespace vixprores
