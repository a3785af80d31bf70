// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/PictureTurn.h"

#include <algorithm>
#include <utility>

#include "media/decode/PictureRows.h"

namespace vixprores {
namespace {

constexpr std::array<PictureTurn, 7> kTurns{{
    {"-00-", "hflip,vflip", false, true, true},
    {"-00+", "hflip", false, true, false},
    {"+00-", "vflip", false, false, true},
    {"0+-0", "transpose=clock", true, true, false},
    {"0-+0", "transpose=cclock", true, false, true},
    {"0++0", "transpose=cclock_flip", true, false, false},
    {"0--0", "transpose=clock_flip", true, true, true},
}};

/// Place of chroma among the pixels that share it: 0 = left, top; 1 = middle; 2 = right, bottom.
struct Siting {
  AVChromaLocation location;
  const char* name;  ///< that libavfilter uses
  int across, down;
};

// No label states a siting on the right.
constexpr std::array<Siting, 6> kSitings{{
    {AVCHROMA_LOC_LEFT, "left", 0, 1},
    {AVCHROMA_LOC_CENTER, "center", 1, 1},
    {AVCHROMA_LOC_TOPLEFT, "topleft", 0, 0},
    {AVCHROMA_LOC_TOP, "top", 1, 0},
    {AVCHROMA_LOC_BOTTOMLEFT, "bottomleft", 0, 2},
    {AVCHROMA_LOC_BOTTOM, "bottom", 1, 2},
}};

const Siting& SitingOf(const AVFrame& picture) {
  const AVChromaLocation location = ChromaSitingOf(KindOf(picture));
  return *std::ranges::find(kSitings, location, &Siting::location);
}

// Returns null if no label states where chroma is behind the turn.
const Siting* FindTurned(const PictureTurn& turn, const Siting& siting) {
  std::pair place(siting.across, siting.down);
  if (turn.swapsAxes) std::swap(place.first, place.second);
  if (turn.mirrorsAcross) place.first = 2 - place.first;
  if (turn.mirrorsDown) place.second = 2 - place.second;
  const auto* const found = std::ranges::find_if(kSitings, [&](const Siting& candidate) {
    return std::pair(candidate.across, candidate.down) == place;
  });
  return found == kSitings.end() ? nullptr : found;
}

}  // namespace

const PictureTurn* FindTurn(const std::array<std::int32_t, 9>& matrix) {
  const auto [a, b, u, c, d, v, x, y, w] = matrix;
  const auto sign = [](std::int32_t value) { return value > 0 ? '+' : value < 0 ? '-' : '0'; };
  const std::string signs{sign(a), sign(b), sign(c), sign(d)};
  const auto* const found =
      std::ranges::find_if(kTurns, [&](const PictureTurn& turn) { return signs == turn.signs; });
  return found == kTurns.end() ? nullptr : found;
}

std::string DescribeTurn(const PictureTurn& turn, const AVFrame& picture) {
  const PictureRows rows(static_cast<AVPixelFormat>(picture.format), "");
  // libzimg accepts chroma for pairs of pixels only if there are whole pairs.
  const bool isSubsampled = !rows.IsRgb() && !rows.IsGrey() && rows.GetSubsampleW() > 0 &&
                            picture.width % 2 == 0 && picture.height % 2 == 0;
  const Siting& siting = SitingOf(picture);
  if (!isSubsampled || FindTurned(turn, siting)) return turn.filters;
  // With chroma for every pixel there is no siting to turn.
  return std::string("zscale=filter=spline36:chromalin=") + siting.name +
         ",format=yuv444p10le|yuv444p12le|yuv444p16le," + turn.filters;
}

AVChromaLocation SitingBehind(const PictureTurn& turn, const AVFrame& picture) {
  const Siting* const turned = FindTurned(turn, SitingOf(picture));
  return turned ? turned->location : AVCHROMA_LOC_CENTER;
}

}  // namespace vixprores
