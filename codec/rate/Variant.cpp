// SPDX-License-Identifier: BSD-2-Clause
#include "rate/Variant.h"

#include "ProRes/ProRes.h"

namespace prores {
namespace {

constexpr VariantProfile kProfiles[kVariantCount] = {
    {kWPRCodecProxy, Variant::kProxy, kDefaultQuantMatrix, kDefaultQuantMatrix},
    {kWPRCodecLT, Variant::kLT, kDefaultQuantMatrix, kDefaultQuantMatrix},
    {kWPRCodec422, Variant::kStandard, kDefaultQuantMatrix, kDefaultQuantMatrix},
    {kWPRCodecHQ, Variant::kHQ, kDefaultQuantMatrix, kDefaultQuantMatrix},
};

}  // namespace

const VariantProfile* FindVariant(std::uint32_t codecType) {
  for (const VariantProfile& profile : kProfiles) {
    if (profile.codecType == codecType) return &profile;
  }
  return nullptr;
}

}  // namespace prores
