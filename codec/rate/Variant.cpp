// SPDX-License-Identifier: BSD-2-Clause
#include "rate/Variant.h"

#include <algorithm>

#include "ProRes/ProRes.h"

namespace prores {
namespace {

constexpr VariantProfile kProfiles[kVariantCount] = {
    {kWPRCodecProxy, Variant::kProxy, kDefaultQuantMatrix, kDefaultQuantMatrix},
    {kWPRCodecLT, Variant::kLT, kDefaultQuantMatrix, kDefaultQuantMatrix},
    {kWPRCodec422, Variant::kStandard, kDefaultQuantMatrix, kDefaultQuantMatrix},
    {kWPRCodecHQ, Variant::kHQ, kDefaultQuantMatrix, kDefaultQuantMatrix},
};

/// The bound of a frame's size counts on it, see MaxFrameBytes().
constexpr bool HasNoWeightBelow4(const VariantProfile& profile) {
  return std::ranges::min(profile.luma) >= 4 && std::ranges::min(profile.chroma) >= 4;
}
static_assert(std::ranges::all_of(kProfiles, HasNoWeightBelow4));

}  // namespace

const VariantProfile* FindVariant(std::uint32_t codecType) {
  for (const VariantProfile& profile : kProfiles) {
    if (profile.codecType == codecType) return &profile;
  }
  return nullptr;
}

}  // namespace prores
