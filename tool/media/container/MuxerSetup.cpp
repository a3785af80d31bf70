// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <set>

#include "base/Text.h"
#include "media/container/ContainerWriter.h"
#include "media/container/HdrMetadata.h"
#include "media/container/PacketTag.h"
#include "media/container/TrackDescription.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/dict.h>
#include <libavutil/mem.h>
#include <libavutil/pixfmt.h>
#include <libavutil/rational.h>
}

namespace vixprores {
namespace {

constexpr std::int64_t kCoarsestClock = 10000;  // ticks per second
constexpr std::int64_t kFragmentMicroseconds = 500000;

bool IsMuxer(const AVFormatContext& context, const char* name) {
  return std::strcmp(context.oformat->name, name) == 0;
}

// The muxer of .mov derives the meaning "lines of both fields interleaved" from the second value
// of each pair, other muxers write the first.
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

// Always sets the tag: muxers guess one, and give every ProRes variant the same.
void DescribeCodec(const StreamFormat& stream, const AVFormatContext& context,
                   AVCodecParameters& parameters) {
  parameters.codec_tag = stream.code;
  if (const ProResVariant* variant = FindProResVariant(stream.code)) {
    parameters.codec_id = AV_CODEC_ID_PRORES;
    parameters.profile = variant->profile;
    if (stream.HasAlpha()) parameters.bits_per_coded_sample = kBitsWithAlpha;
    // The descriptor of an .mxf states subsampling and depth, by default 4:2:0 of 8 bits.
    const bool is444 = stream.is444 || variant->is4444;
    if (IsMuxer(context, "mxf")) {
      parameters.format = is444 ? AV_PIX_FMT_YUV444P12 : AV_PIX_FMT_YUV422P10;
    }
  } else if (stream.code == vix::kFourCC_V210) {
    parameters.codec_id = AV_CODEC_ID_V210;
    parameters.codec_tag = vix::MakeFourCC("v210");
    parameters.bits_per_coded_sample = 20;
  } else if (stream.code == vix::kFourCC_b64A) {
    parameters.codec_id = AV_CODEC_ID_RAWVIDEO;
    parameters.codec_tag = vix::MakeFourCC("b64a");
    parameters.format = AV_PIX_FMT_RGBA64BE;  // the library's name for this tag
    parameters.bits_per_coded_sample = 64;
  } else {
    parameters.codec_id = AV_CODEC_ID_RAWVIDEO;
    parameters.format = AV_PIX_FMT_UYVY422;
    if (IsMuxer(context, "mov")) parameters.codec_tag = vix::MakeFourCC("2vuy");
    parameters.bits_per_coded_sample = 16;
  }
}

// The muxer of .mov drops all colours if one is unspecified. It writes 16 bits of each value, so
// that a bit above them marks a value as known and is not written.
void DescribeColour(const Colour& colour, bool isMov, AVCodecParameters& parameters) {
  constexpr int kAboveWritten = 1 << 16;
  const bool mustMark = isMov && colour.IsSpecified();
  const auto set = [mustMark](auto& parameter, int value) {
    SetValue(parameter, mustMark && value == kUnspecifiedColour ? value | kAboveWritten : value);
  };
  set(parameters.color_primaries, colour.primaries);
  set(parameters.color_trc, colour.transfer);
  set(parameters.color_space, colour.matrix);
  parameters.color_range = ToAvColorRange(colour.range);
}

void DescribeVideo(const StreamFormat& stream, const AVFormatContext& context,
                   AVCodecParameters& parameters) {
  parameters.codec_type = AVMEDIA_TYPE_VIDEO;
  DescribeCodec(stream, context, parameters);
  parameters.width = static_cast<int>(stream.width);
  parameters.height = static_cast<int>(stream.height);
  parameters.sample_aspect_ratio = ToAvRational(stream.sampleAspect);
  parameters.field_order = ToAvFieldOrder(stream.fieldOrder, IsMuxer(context, "mov"));
  DescribeColour(stream.colour, IsMuxer(context, "mov"), parameters);
}

void Set(AVDictionary*& dictionary, const std::string& key, const std::string& value) {
  if (value.empty()) return;
  if (av_dict_set(&dictionary, key.c_str(), value.c_str(), 0) < 0) throw std::bad_alloc();
}

template <typename Data>
void SetSideData(AVStream& stream, AVPacketSideDataType type, const Data& value) {
#if LIBAVFORMAT_VERSION_MAJOR < 61
  void* const data = av_stream_new_side_data(&stream, type, sizeof value);
#else
  AVCodecParameters& parameters = *stream.codecpar;
  AVPacketSideData* const side = av_packet_side_data_new(
      &parameters.coded_side_data, &parameters.nb_coded_side_data, type, sizeof value, 0);
  void* const data = side ? side->data : nullptr;
#endif
  if (!data) throw std::bad_alloc();
  std::memcpy(data, &value, sizeof value);
}

void SetSideData(const StreamFormat& video, AVStream& stream) {
  if (video.displayMatrix) SetSideData(stream, AV_PKT_DATA_DISPLAYMATRIX, *video.displayMatrix);
  if (video.masteringDisplay) {
    SetSideData(stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
                ToAvDisplay(*video.masteringDisplay));
  }
  if (video.contentLight) {
    SetSideData(stream, AV_PKT_DATA_CONTENT_LIGHT_LEVEL, ToAvLight(*video.contentLight));
  }
}

AVStream& AddStream(AVFormatContext& context) {
  AVStream* const stream = avformat_new_stream(&context, nullptr);
  if (!stream) throw std::bad_alloc();
  return *stream;
}

// Sets timecode and reel name, which belong to the video track or to the movie.
void SetLabels(const MovieContent& content, AVDictionary*& dictionary) {
  if (content.timecode) Set(dictionary, "timecode", content.timecode->ToText());
  const auto reel = content.metadata.find("reel_name");
  if (reel != content.metadata.end()) Set(dictionary, "reel_name", reel->second);
}

void AddVideo(const MovieContent& content, AVFormatContext& context) {
  const StreamFormat& video = content.video;
  AVStream& stream = AddStream(context);
  DescribeVideo(video, context, *stream.codecpar);
  SetSideData(video, stream);
  stream.sample_aspect_ratio = ToAvRational(video.sampleAspect);
  stream.avg_frame_rate = ToAvRational(video.rate);
  stream.time_base = Invert(video.rate);
  // Becomes the name of the compressor in the sample description.
  const std::string ours = "vix " + DescribeCode(video.code);
  Set(stream.metadata, "encoder", content.compressor.empty() ? ours : content.compressor);
  SetLabels(content, stream.metadata);
}

// Returns true for metadata that a container writes about a track by itself.
bool IsOwnNote(const std::string& key) {
  static const std::set<std::string> kOwn{"encoder", "vendor_id",        "DURATION",
                                          "ENCODER", "timecode",         "duration",
                                          "BPS",     "NUMBER_OF_FRAMES", "NUMBER_OF_BYTES"};
  return kOwn.contains(key);
}

void AddSound(const SoundTrack& track, AVFormatContext& context) {
  AVStream& stream = AddStream(context);
  if (avcodec_parameters_copy(stream.codecpar, track.parameters.get()) < 0) throw std::bad_alloc();
  stream.codecpar->codec_tag = 0;  // each container sets its own
  // The rate of samples in an .avi follows from it.
  if (const std::int64_t bytes = track.SampleBytes(); bytes > 0) {
    stream.codecpar->bit_rate = bytes * 8 * track.parameters->sample_rate;
  }
  stream.time_base = {1, track.parameters->sample_rate};
  for (const auto& [key, value] : track.metadata) {
    if (!IsOwnNote(key)) Set(stream.metadata, key, value);
  }
}

void AddText(const TextTrack& track, AVFormatContext& context) {
  AVStream& stream = AddStream(context);
  if (avcodec_parameters_copy(stream.codecpar, track.parameters.get()) < 0) throw std::bad_alloc();
  stream.codecpar->codec_tag = 0;
  stream.time_base = track.timeBase;
  stream.disposition = track.disposition;
  for (const auto& [key, value] : track.metadata) {
    if (!IsOwnNote(key)) Set(stream.metadata, key, value);
  }
}

// Returns the movie's ticks per second. A start after time 0 is stated in them; the default is too
// coarse for a frame.
std::int64_t MovieClock(const StreamFormat& video) {
  std::int64_t ticksPerSecond = video.rate.numerator;
  while (ticksPerSecond < kCoarsestClock) ticksPerSecond *= 2;
  return ticksPerSecond;
}

// @param flags flags of a .mov, joined by "+"; empty = none
int WriteHeaderWith(AVFormatContext& muxer, const StreamFormat& video, const std::string& flags,
                    bool isFragmented) {
  const MemoryWatch memory;
  AVDictionary* options = nullptr;
  int result = av_dict_set_int(&options, "movie_timescale", MovieClock(video), 0);
  if (result >= 0 && !flags.empty()) {
    result = av_dict_set(&options, "movflags", flags.c_str(), 0);
  }
  if (result >= 0 && isFragmented) {
    result = av_dict_set_int(&options, "frag_duration", kFragmentMicroseconds, 0);
  }
  if (result >= 0) result = avformat_write_header(&muxer, &options);
  av_dict_free(&options);
  memory.Check();
  return result;
}

// Returns true for metadata that a .mov stores under names that every player reads. Any other entry
// makes the library store all metadata under its own names.
bool IsPlainMovText(const Metadata::value_type& text) {
  static const std::set<std::string> kPlain{"album",         "artist",   "comment", "copyright",
                                            "creation_time", "date",     "genre",   "language",
                                            "reel_name",     "timecode", "title"};
  return kPlain.contains(ToLower(text.first));
}

void DropDynamicBuffer(AVIOContext* bytes) {
  std::uint8_t* rest = nullptr;
  avio_close_dyn_buf(bytes, &rest);
  av_free(rest);
}

void AddChapter(const Chapter& from, AVFormatContext& context) {
  auto* const chapter = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
  if (!chapter) throw std::bad_alloc();
  context.chapters[context.nb_chapters++] = chapter;
  chapter->id = context.nb_chapters;
  chapter->time_base = {1, 1'000'000'000};
  chapter->start = from.begin;
  chapter->end = from.end;
  for (const auto& [key, value] : from.metadata) Set(chapter->metadata, key, value);
}

void AddChapters(const std::vector<Chapter>& chapters, AVFormatContext& context) {
  if (chapters.empty()) return;
  // NOLINTNEXTLINE(bugprone-sizeof-expression): an array of pointers
  constexpr std::size_t kPointerBytes = sizeof(AVChapter*);
  context.chapters = static_cast<AVChapter**>(av_calloc(chapters.size() + 1, kPointerBytes));
  if (!context.chapters) throw std::bad_alloc();
  // Readers of .mov move the first chapter to the start, and skip those without a title.
  const std::int64_t begin = chapters.front().begin;
  if (begin > 0 && IsMuxer(context, "mov")) AddChapter({0, begin, {{"title", "Start"}}}, context);
  for (const Chapter& chapter : chapters) AddChapter(chapter, context);
}

constexpr const char* kFragmentFlags = "empty_moov+default_base_moof";
constexpr const char* kAllTexts = "use_metadata_tags";

}  // namespace

Muxer MakeMuxer(const std::string& name, const MovieContent& content) {
  const MemoryWatch memory;
  AVFormatContext* context = nullptr;
  // Select the muxer by name: a work file does not have the extension of the output.
  avformat_alloc_output_context2(&context, nullptr, name.c_str(), nullptr);
  if (!context) throw std::bad_alloc();
  Muxer muxer(context);
  AddVideo(content, *context);
  for (const SoundTrack& track : content.sound) AddSound(track, *context);
  for (const TextTrack& track : content.texts.tracks) AddText(track, *context);
  AddChapters(content.texts.chapters, *context);
  for (const auto& [key, value] : content.metadata) {
    if (key != "reel_name") Set(context->metadata, key, value);
  }
  memory.Check();
  return muxer;
}

int WriteHeader(AVFormatContext& muxer, const MovieContent& content, bool isFragmented) {
  std::string flags = isFragmented ? kFragmentFlags : "";
  // Use the names that players read if every text has one.
  if (IsMuxer(muxer, "mov") && !std::ranges::all_of(content.metadata, IsPlainMovText)) {
    flags += (flags.empty() ? "" : "+") + std::string(kAllTexts);
  }
  return WriteHeaderWith(muxer, content.video, flags, isFragmented);
}

std::vector<std::uint8_t> DescribeMovie(const MovieContent& content) {
  MovieContent described = content;
  described.texts = {};
  const Muxer muxer = MakeMuxer("mov", described);
  Set(muxer->metadata, kRateNote, Describe(content.video.rate));
  // Store the labels as texts too: timecode tracks consist of media.
  SetLabels(content, muxer->metadata);
  if (avio_open_dyn_buf(&muxer->pb) < 0) throw std::bad_alloc();
  const std::unique_ptr<AVIOContext, decltype(&DropDynamicBuffer)> owner(muxer->pb,
                                                                         DropDynamicBuffer);
  const int result =
      WriteHeaderWith(*muxer, content.video, std::string(kFragmentFlags) + "+" + kAllTexts, true);
  if (result < 0) return {};
  const MemoryWatch memory;
  // Room for labels that are added later without moving the packets.
  constexpr int kRoom = 1024;
  avio_wb32(muxer->pb, kRoom);
  avio_wl32(muxer->pb, vix::MakeFourCC("free"));
  const std::vector<std::uint8_t> zeros(kRoom - 8);
  avio_write(muxer->pb, zeros.data(), static_cast<int>(zeros.size()));
  std::uint8_t* bytes = nullptr;
  const int size = avio_get_dyn_buf(muxer->pb, &bytes);
  memory.Check();
  return {bytes, bytes + size};
}

}  // namespace vixprores
