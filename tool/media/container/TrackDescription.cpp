// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/TrackDescription.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <sstream>

#include "media/container/Libav.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/dict.h>
#include <libavutil/rational.h>
}

namespace vixprores {
namespace {

// The broadcast rate (N or N * 1000 / 1001) that `rate` stands for where it was computed from a
// duration rounded to nanoseconds; else `rate` itself.
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

// The average says nothing of a track that lacks frames: the rate of one that mostly keeps to one,
// but not always. None where all frames keep to the average.
std::optional<Rational> FindUsualRate(AVStream& stream) {
  std::map<std::int64_t, int> steps;
  const int entries = avformat_index_get_entries_count(&stream);
  for (int i = 1; i < entries; ++i) {
    // Damaged ones can be as far apart as there are numbers.
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
  return Reduce(ToRational(rate));
}

}  // namespace

bool IsValid(AVRational value) {
  return value.num > 0 && value.den > 0;
}

// The pairs tell how the fields are stored, which in a frame as a whole they are not.
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

ColourRange ToColourRange(AVColorRange range) {
  if (range == AVCOL_RANGE_MPEG) return ColourRange::Limited;
  if (range == AVCOL_RANGE_JPEG) return ColourRange::Full;
  return ColourRange::Unknown;
}

std::optional<std::array<std::int32_t, 9>> FindDisplayMatrix(const AVStream& stream) {
  std::array<std::int32_t, 9> matrix{};
#if LIBAVFORMAT_VERSION_MAJOR < 61
  std::size_t bytes = 0;
  const void* const data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &bytes);
#else
  const AVCodecParameters& parameters = *stream.codecpar;
  const AVPacketSideData* const side = av_packet_side_data_get(
      parameters.coded_side_data, parameters.nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
  const void* const data = side ? side->data : nullptr;
  const std::size_t bytes = side ? side->size : 0;
#endif
  if (!data || bytes < sizeof matrix) return std::nullopt;
  std::memcpy(matrix.data(), data, sizeof matrix);
  return matrix;
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

Rational FindRate(AVStream& stream, const AVPacket* first, bool isMatroska, bool hasIndex) {
  const auto usual = hasIndex ? FindUsualRate(stream) : std::nullopt;
  if (usual) return *usual;
  AVRational rate = stream.avg_frame_rate;
  if (!IsValid(rate)) rate = stream.r_frame_rate;
  if (!IsValid(rate) && first && first->duration > 0) {
    const AVRational tick = stream.time_base;
    av_reduce(&rate.num, &rate.den, tick.den, first->duration * tick.num, INT32_MAX);
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
  // One that is longer than the file was left there by a program that made it shorter.
  return seconds > 0 && seconds <= whole + 1e-3 ? std::optional(seconds) : std::nullopt;
}

}  // namespace vixprores
