// SPDX-License-Identifier: BSD-2-Clause
#include "vix/ProResRates.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <limits>

#include "BitRateEstimate.h"

namespace vix {
namespace {

/// Published target data rates of one picture size and frame rate.
struct RateRow {
  VideoResolution resolution;
  std::int64_t framesPerSecond;
  std::uint64_t mbps[4];  ///< megabits per second: Proxy, LT, 422, HQ
};

constexpr RateRow kRates[] = {
    {VideoResolution::Lines480, 24, {10, 23, 34, 50}},
    {VideoResolution::Lines480, 30, {12, 29, 42, 63}},
    {VideoResolution::Lines576, 25, {12, 28, 41, 61}},
    {VideoResolution::Lines720, 24, {18, 41, 59, 88}},
    {VideoResolution::Lines720, 25, {19, 42, 61, 92}},
    {VideoResolution::Lines720, 30, {23, 51, 73, 110}},
    {VideoResolution::Lines720, 50, {38, 84, 122, 184}},
    {VideoResolution::Lines720, 60, {45, 101, 147, 220}},
    {VideoResolution::Lines1080, 24, {36, 82, 117, 176}},
    {VideoResolution::Lines1080, 25, {38, 85, 122, 184}},
    {VideoResolution::Lines1080, 30, {45, 102, 147, 220}},
    {VideoResolution::Lines1080, 50, {76, 170, 245, 367}},
    {VideoResolution::Lines1080, 60, {91, 204, 293, 440}},
    {VideoResolution::Lines2160, 24, {145, 328, 471, 707}},
    {VideoResolution::Lines2160, 25, {151, 342, 492, 737}},
    {VideoResolution::Lines2160, 30, {182, 410, 589, 884}},
    {VideoResolution::Lines2160, 50, {303, 684, 983, 1475}},
    {VideoResolution::Lines2160, 60, {363, 821, 1178, 1768}},
};

/// Maps a resolution class to a class in the table of rates.
struct RatedAs {
  VideoResolution resolution;
  VideoResolution listed;
  std::uint64_t picturesPerListed;  ///< pictures of this class in one picture of the listed class
};

constexpr RatedAs kRatedAs[] = {
    {VideoResolution::Lines480, VideoResolution::Lines480, 1},
    {VideoResolution::Lines576, VideoResolution::Lines576, 1},
    {VideoResolution::Lines720, VideoResolution::Lines720, 1},
    {VideoResolution::Lines1080, VideoResolution::Lines1080, 1},
    {VideoResolution::Lines2160, VideoResolution::Lines2160, 1},
    {VideoResolution::Lines240, VideoResolution::Lines480, 2},
    {VideoResolution::Lines288, VideoResolution::Lines576, 2},
};

RatedAs FindRating(VideoResolution resolution) {
  for (const RatedAs& rating : kRatedAs) {
    if (rating.resolution == resolution) return rating;
  }
  return {resolution, VideoResolution::Lines1080, 1};
}

/// Returns |editRate - framesPerSecond| x denominator, which is exact and can be compared.
std::int64_t Distance(EditRate editRate, std::int64_t framesPerSecond) {
  const std::int64_t difference = editRate.numerator - framesPerSecond * editRate.denominator;
  return difference < 0 ? -difference : difference;
}

const RateRow& FindNearestRow(VideoResolution resolution, EditRate editRate) {
  const RateRow* nearest = nullptr;
  for (const RateRow& row : kRates) {
    if (row.resolution != resolution) continue;
    if (!nearest ||
        Distance(editRate, row.framesPerSecond) < Distance(editRate, nearest->framesPerSecond)) {
      nearest = &row;
    }
  }
  assert(nearest && "every listed resolution class has a row");
  return *nearest;
}

/// Returns true for the frame rate of the row and for its 1000/1001 form, including a two-decimal
/// form such as 29.97: the published table lists them as one.
bool IsListed(const RateRow& row, EditRate editRate) {
  return Distance(editRate, row.framesPerSecond) * 1000 <=
         row.framesPerSecond * editRate.denominator;
}

std::uint64_t DivideRounding(std::uint64_t dividend, std::uint64_t divisor) {
  return (2 * dividend + divisor) / (2 * divisor);
}

/// The picture sizes to which the rates belong.
struct RatedSize {
  VideoResolution resolution;
  double pixels;
};

constexpr RatedSize kRatedSizes[] = {
    {VideoResolution::Lines480, 720.0 * 486},    {VideoResolution::Lines576, 720.0 * 576},
    {VideoResolution::Lines720, 1280.0 * 720},   {VideoResolution::Lines1080, 1920.0 * 1080},
    {VideoResolution::Lines2160, 3840.0 * 2160},
};

}  // namespace

double EstimateProResBitRate(ProResCodecVariant variant, EditRate editRate, std::uint32_t width,
                             std::uint32_t height) {
  const double pixels = static_cast<double>(width) * height;
  const RatedSize* nearest = kRatedSizes;
  for (const RatedSize& size : kRatedSizes) {
    if (std::abs(size.pixels - pixels) < std::abs(nearest->pixels - pixels)) nearest = &size;
  }
  return GetProResVideoRateMbps(variant, editRate, nearest->resolution) * pixels / nearest->pixels;
}

std::uint32_t GetProResVideoRateMbps(ProResCodecVariant variant, EditRate editRate,
                                     VideoResolution resolution) {
  if (variant < ProResCodecVariant::Proxy || variant > ProResCodecVariant::HQ) return 0;
  if (editRate.numerator <= 0 || editRate.denominator <= 0) return 0;

  const RatedAs rating = FindRating(resolution);
  const RateRow& row = FindNearestRow(rating.listed, editRate);
  std::uint64_t dividend = row.mbps[static_cast<std::int32_t>(variant) - 1];
  std::uint64_t divisor = rating.picturesPerListed;
  if (!IsListed(row, editRate)) {
    dividend *= static_cast<std::uint64_t>(editRate.numerator);
    divisor *= static_cast<std::uint64_t>(row.framesPerSecond * editRate.denominator);
  }
  constexpr std::uint64_t kLargest = std::numeric_limits<std::uint32_t>::max();
  return static_cast<std::uint32_t>(std::min(DivideRounding(dividend, divisor), kLargest));
}

}  // namespace vix
