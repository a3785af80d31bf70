// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/TrackDescription.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <span>
#include <sstream>
#include <string>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/Values.h"
#include "media/container/HdrMetadata.h"
#include "media/container/Libav.h"
#include "media/container/PacketTag.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/dict.h>
#include <libavutil/rational.h>
}

namespace vixprores {
namespace {

bool IsValid(AVRational value) {
  return value.num > 0 && value.den > 0;
}

// Returns the broadcast rate (N or N * 1000 / 1001) from which `rate` differs only because it was
// computed from a duration rounded to nanoseconds; else `rate`.
AVRational SnapToBroadcastRate(AVRational rate) {
  constexpr double kTolerance = 1e-6;
  for (const int denominator : {1, 1001}) {
    const int unit = denominator == 1 ? 1 : 1000;
    const double units = av_q2d(rate) * denominator / unit;
    const double whole = std::round(units);
    if (whole >= 1 && std::abs(units - whole) < kTolerance * whole) {
      return {static_cast<int>(whole) * unit, denominator};
    }
  }
  return rate;
}

// Returns the rate of a track that lacks frames, if most of its frames keep to one: the average
// rate is then too low. Returns nullopt if all frames keep to the average.
std::optional<Rational> FindUsualRate(AVStream& stream) {
  std::map<std::int64_t, int> steps;
  const int entries = avformat_index_get_entries_count(&stream);
  for (int i = 1; i < entries; ++i) {
    // Damaged times can be arbitrarily far apart.
    ++steps[av_sat_sub64(avformat_index_get_entry(&stream, i)->timestamp,
                         avformat_index_get_entry(&stream, i - 1)->timestamp)];
  }
  if (steps.empty()) return std::nullopt;
  const auto usual =
      std::ranges::max_element(steps, {}, [](const auto& step) { return step.second; });
  // Steps of a coarse clock differ by one.
  const bool isEven = av_sat_sub64(steps.rbegin()->first, steps.begin()->first) <= 1;
  if (isEven || usual->first <= 0 || usual->first > INT32_MAX || 2 * usual->second < entries)
    return std::nullopt;
  AVRational rate{};
  const AVRational tick = stream.time_base;
  av_reduce(&rate.num, &rate.den, tick.den, usual->first * tick.num, INT32_MAX);
  return IsValid(rate) ? std::optional(Reduce(ToRational(rate))) : std::nullopt;
}

// Both values of a pair mean the same here: they differ in the storage of separate fields, and the
// fields of these frames are not separate.
FieldOrder ToFieldOrder(AVFieldOrder order) {
  switch (order) {
    case AV_FIELD_PROGRESSIVE:
      return FieldOrder::Progressive;
    case AV_FIELD_TT:
    case AV_FIELD_TB:
      return FieldOrder::TopFirst;
    case AV_FIELD_BB:
    case AV_FIELD_BT:
      return FieldOrder::BottomFirst;
    default:
      return FieldOrder::Unknown;
  }
}

ColourRange ToColourRange(int range) {
  if (range == AVCOL_RANGE_MPEG) return ColourRange::Limited;
  if (range == AVCOL_RANGE_JPEG) return ColourRange::Full;
  return ColourRange::Unknown;
}

// Unlike an invalid rate on the command line, one in a file is not a usage error.
std::optional<Rational> ReadRate(const std::string& text) {
  try {
    return ParseRate(text);
  } catch (const UsageError&) {
    return std::nullopt;
  }
}

template <typename Data>
std::optional<Data> FindSideData(const AVStream& stream, AVPacketSideDataType type) {
#if LIBAVFORMAT_VERSION_MAJOR < 61
  std::size_t bytes = 0;
  const void* const data = av_stream_get_side_data(&stream, type, &bytes);
#else
  const AVCodecParameters& parameters = *stream.codecpar;
  const AVPacketSideData* const side =
      av_packet_side_data_get(parameters.coded_side_data, parameters.nb_coded_side_data, type);
  const void* const data = side ? side->data : nullptr;
  const std::size_t bytes = side ? side->size : 0;
#endif
  Data found{};
  if (!data || bytes < sizeof found) return std::nullopt;
  std::memcpy(&found, data, sizeof found);
  return found;
}

const char* FindText(const AVDictionary* texts, const char* name) {
  const AVDictionaryEntry* const found = av_dict_get(texts, name, nullptr, 0);
  return found ? found->value : nullptr;
}

std::span<AVStream* const> StreamsOf(const AVFormatContext& context) {
  return {context.streams, context.nb_streams};
}

}  // namespace

bool IsVideo(const AVStream& stream) {
  return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
         (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
}

bool IsMatroska(const AVFormatContext& context) {
  return std::strstr(context.iformat->name, "matroska") != nullptr;
}

bool IsAvi(const AVFormatContext& context) {
  return std::strcmp(context.iformat->name, "avi") == 0;
}

bool IsMxf(const AVFormatContext& context) {
  return std::strcmp(context.iformat->name, "mxf") == 0;
}

AVStream& ChooseVideo(const Demuxer& demuxer, bool isTagged, std::size_t place) {
  AVStream* video = nullptr;
  std::size_t videos = 0;
  for (AVStream* stream : demuxer.GetStreams()) {
    stream->discard = AVDISCARD_ALL;
    if (IsVideo(*stream) && videos++ == place) video = stream;
  }
  if (!video && videos > 0) {
    throw Failure(demuxer.GetName() + ": has " +
                  Count(static_cast<std::int64_t>(videos), "video track") +
                  ", but --video-track asks for number " + std::to_string(place + 1));
  }
  if (!video) {
    const std::string found = demuxer.GetName() + ": has " +
                              Count(demuxer.GetContext().nb_streams, "track") +
                              ", but none of video";
    if (isTagged) throw UnreadableContainer(found);
    throw Failure(found);
  }
  video->discard = AVDISCARD_DEFAULT;
  return *video;
}

StreamFormat DescribeVideo(const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  StreamFormat format;
  format.width = static_cast<std::uint32_t>(std::max(parameters.width, 0));
  format.height = static_cast<std::uint32_t>(std::max(parameters.height, 0));
  format.fieldOrder = ToFieldOrder(parameters.field_order);
  format.colour = {ValueOf(parameters.color_primaries), ValueOf(parameters.color_trc),
                   ValueOf(parameters.color_space), ToColourRange(ValueOf(parameters.color_range))};
  if (IsValid(stream.sample_aspect_ratio)) {
    format.sampleAspect = Reduce(ToRational(stream.sample_aspect_ratio));
  }
  format.displayMatrix =
      FindSideData<std::array<std::int32_t, 9>>(stream, AV_PKT_DATA_DISPLAYMATRIX);
  const auto display =
      FindSideData<AVMasteringDisplayMetadata>(stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA);
  if (display) format.masteringDisplay = FromAvDisplay(*display);
  const auto light = FindSideData<AVContentLightMetadata>(stream, AV_PKT_DATA_CONTENT_LIGHT_LEVEL);
  if (light) format.contentLight = FromAvLight(*light);
  return format;
}

std::vector<SoundTrack> DescribeSound(const AVFormatContext& context) {
  std::vector<SoundTrack> tracks;
  for (const AVStream* stream : StreamsOf(context)) {
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
    const double seconds = static_cast<double>(stream->duration) * av_q2d(stream->time_base);
    tracks.push_back({CopyParameters(*stream->codecpar), stream->time_base,
                      ToMetadata(stream->metadata), tracks.size(), !IsAvi(context),
                      seconds > 0 ? seconds : FindStatedDuration(context, *stream)});
  }
  return tracks;
}

Metadata FindMetadata(const AVFormatContext& context) {
  Metadata metadata = ToMetadata(context.metadata);
  for (const char* own :
       {"encoder", "major_brand", "minor_version", "compatible_brands", "timecode", "TIMECODE",
        "DURATION", "operational_pattern_ul", "uid", "generation_uid", "product_uid",
        "product_version_num", "toolkit_version_num", "application_platform", "modification_date",
        "material_package_umid", "file_package_umid"}) {
    metadata.erase(own);
  }
  const auto company = metadata.find("company_name");
  if (company != metadata.end() && company->second == "FFmpeg") {  // the container library
    for (const char* own : {"company_name", "product_name", "product_version"}) {
      metadata.erase(own);
    }
  }
  for (const AVStream* stream : StreamsOf(context)) {
    const char* const reel = FindText(stream->metadata, "reel_name");
    if (reel) metadata.emplace("reel_name", reel);
  }
  return metadata;
}

FoundTimecode FindTimecode(const AVFormatContext& context, Rational rate, const std::string& name) {
  const char* text = nullptr;
  for (const AVStream* stream : StreamsOf(context)) {
    if (!text && IsVideo(*stream)) {
      text = FindText(stream->metadata, "timecode");
      break;
    }
  }
  if (!text) text = FindText(context.metadata, "timecode");
  bool hasTrack = false;
  for (const AVStream* stream : StreamsOf(context)) {
    if (!text) text = FindText(stream->metadata, "timecode");
    hasTrack |= stream->codecpar->codec_tag == vix::MakeFourCC("tmcd");
  }
  if (!text && !hasTrack) return {};
  if (!text) {
    return {std::nullopt, name + ": its timecode cannot be read on a pipe; --timecode sets one"};
  }
  const auto timecode = Timecode::Find(text, rate);
  if (timecode) return {timecode, {}};
  return {std::nullopt, name + ": its timecode '" + text + "' is none of " + Describe(rate) +
                            " frames per second and is left out"};
}

std::string FindTrackNote(const AVFormatContext& context, const std::string& name) {
  const auto videos = std::ranges::count_if(
      StreamsOf(context), [](const AVStream* stream) { return IsVideo(*stream); });
  if (videos <= 1) return {};
  return name + ": has " + std::to_string(videos) + " video tracks; the first one is taken";
}

MovieContent ReadMovieDescription(std::unique_ptr<InputFile> file) {
  const Demuxer demuxer(std::move(file));
  const AVFormatContext& context = demuxer.GetContext();
  const AVStream& stream = ChooseVideo(demuxer, true);
  MovieContent content{DescribeVideo(stream)};
  content.metadata = FindMetadata(context);
  const auto stated = content.metadata.extract(kRateNote);
  const auto rate = stated ? ReadRate(stated.mapped()) : std::nullopt;
  if (!rate) throw Failure(demuxer.GetName() + ": its description does not state a frame rate");
  content.video.rate = *rate;
  content.video.code = stream.codecpar->codec_tag;
  content.video.is444 = IsOf4444(content.video.code);
  // Only frames state the depth.
  const bool hasAlpha = stream.codecpar->bits_per_coded_sample == kBitsWithAlpha;
  content.video.alphaBits = hasAlpha ? kPackedAlphaBits : 0;
  content.timecode = FindTimecode(context, *rate, demuxer.GetName()).timecode;
  content.sound = DescribeSound(context);
  const char* const compressor = FindText(stream.metadata, "encoder");
  if (compressor) content.compressor = compressor;
  return content;
}

Rational FindRate(AVStream& stream, const AVPacket* first, bool isMatroska, bool hasIndex) {
  const auto usual = hasIndex ? FindUsualRate(stream) : std::nullopt;
  if (usual) return *usual;
  AVRational rate = stream.avg_frame_rate;
  if (!IsValid(rate)) rate = stream.r_frame_rate;
  if (!IsValid(rate) && first && first->duration > 0) {
    const AVRational tick = stream.time_base;
    if (first->duration <= INT32_MAX) {
      av_reduce(&rate.num, &rate.den, tick.den, first->duration * tick.num, INT32_MAX);
    }
  }
  if (!IsValid(rate)) return {0, 1};
  return Reduce(ToRational(isMatroska ? SnapToBroadcastRate(rate) : rate));
}

std::optional<double> FindStatedDuration(const AVFormatContext& context, const AVStream& stream) {
  if (!IsMatroska(context) || context.duration <= 0) return std::nullopt;
  const double whole = static_cast<double>(context.duration) / AV_TIME_BASE;
  if (context.nb_streams == 1) return whole;
  const AVDictionaryEntry* const tag = av_dict_get(stream.metadata, "DURATION", nullptr, 0);
  if (!tag) return std::nullopt;
  int hours = 0;
  int minutes = 0;
  double seconds = 0;
  char colon = 0;
  std::istringstream text(tag->value);
  if (!(text >> hours >> colon >> minutes >> colon >> seconds)) return std::nullopt;
  seconds += 60.0 * minutes + 3600.0 * hours;
  // A duration longer than the file was left by a program that shortened the file.
  return seconds > 0 && seconds <= whole + 1e-3 ? std::optional(seconds) : std::nullopt;
}

}  // namespace vixprores
