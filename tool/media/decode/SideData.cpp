// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/SideData.h"

#include <algorithm>
#include <span>
#include <string>
#include <utility>

#include "media/container/HdrMetadata.h"
#include "media/container/TextTracks.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/mastering_display_metadata.h>
}

namespace vixprores {
namespace {

// Closed captions come in groups of three bytes, of which the first one states the kind.
constexpr std::size_t kCaptionBytes = 3;
constexpr std::uint8_t kFirstField608 = 0xFC;

std::span<const std::uint8_t> CaptionsOf(const AVFrame& picture) {
  const AVFrameSideData* const found = av_frame_get_side_data(&picture, AV_FRAME_DATA_A53_CC);
  if (!found) return {};
  return {found->data, found->size / kCaptionBytes * kCaptionBytes};
}

template <typename Data>
const Data* FindSideData(const AVFrame& picture, AVFrameSideDataType type) {
  const AVFrameSideData* const found = av_frame_get_side_data(&picture, type);
  return found && found->size >= sizeof(Data) ? reinterpret_cast<const Data*>(found->data)
                                              : nullptr;
}

}  // namespace

void AddHdrMetadata(const AVFrame& first, StreamFormat& format) {
  const auto* const display =
      FindSideData<AVMasteringDisplayMetadata>(first, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA);
  if (display && !format.masteringDisplay) format.masteringDisplay = FromAvDisplay(*display);
  const auto* const light =
      FindSideData<AVContentLightMetadata>(first, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL);
  if (light && !format.contentLight) format.contentLight = FromAvLight(*light);
}

std::vector<std::uint8_t> FindCaptions(const AVFrame& picture) {
  std::vector<std::uint8_t> captions;
  for (auto rest = CaptionsOf(picture); !rest.empty(); rest = rest.subspan(kCaptionBytes)) {
    if (rest[0] != kFirstField608) continue;
    captions.insert(captions.end(), rest.begin(), rest.begin() + kCaptionBytes);
  }
  return captions;
}

bool DescribeSideData(const AVFrame& first, bool keepsCaptions, InputDescription& description) {
  constexpr std::pair<AVFrameSideDataType, const char*> kNames[] = {
      {AV_FRAME_DATA_DYNAMIC_HDR_PLUS, "HDR10+ metadata"},
      {AV_FRAME_DATA_DOVI_METADATA, "Dolby Vision metadata"}};
  constexpr std::uint8_t kFirst708 = 0xFE;
  std::vector<std::string>& others = description.others;
  for (const auto& [type, name] : kNames) {
    const bool isListed = std::ranges::find(others, name) != others.end();
    if (!isListed && av_frame_get_side_data(&first, type)) others.emplace_back(name);
  }
  const auto all = CaptionsOf(first);
  const bool hasTrack = keepsCaptions && !FindCaptions(first).empty();
  if (hasTrack) {
    description.texts.tracks.push_back(MakeCaptionTrack(description.format.rate));
  } else if (!all.empty()) {
    others.emplace_back("captions within the pictures");
  }
  for (std::size_t i = 0; hasTrack && i < all.size(); i += kCaptionBytes) {
    if (all[i] < kFirst708) continue;
    others.emplace_back("CEA-708 captions");
    break;
  }
  return hasTrack;
}

}  // namespace vixprores
