// SPDX-License-Identifier: BSD-2-Clause
#include "encode/rate/Variant.h"

#include <algorithm>
#include <array>

#include "ProRes/ProRes.h"
#include "bitstream/BlockOrder.h"
#include "encode/ForwardTransform.h"
#include "encode/rate/QuantiserLadder.h"

namespace prores {
namespace {

constexpr std::array<std::uint8_t, 4> kEncoderIdentifier{'v', 'i', 'x', 'p'};

/// Returns weights of 4 that rise by `rise` for every `length` of across x horizontal frequency +
/// down x vertical frequency, at most `most` times.
constexpr QuantMatrix Sloped(unsigned across, unsigned down, unsigned length, unsigned rise,
                             unsigned most) {
  QuantMatrix weights{};
  for (unsigned v = 0; v < kBlockSize; ++v) {
    for (unsigned u = 0; u < kBlockSize; ++u) {
      const unsigned times = std::min(most, (across * u + down * v) / length);
      weights[v * kBlockSize + u] = static_cast<std::uint8_t>(kUnitWeight + times * rise);
    }
  }
  return weights;
}

// Flat weights have the least squared error. Where bytes are scarce, a mild slope of luma costs
// little and improves structure, and the higher frequencies of chroma are the least visible. In a
// field, high vertical frequencies represent motion and keep their weights.
constexpr QuantMatrix kSlopedFrameLuma = Sloped(1, 1, 5, 1, 2);
constexpr QuantMatrix kSlopedFieldLuma = Sloped(1, 0, 3, 1, 2);
constexpr QuantMatrix kSlopedFrameChroma = Sloped(1, 1, 4, 4, 1);
constexpr QuantMatrix kSlopedFieldChroma = Sloped(1, 0, 3, 4, 1);
constexpr VariantProfile::Weights kFlat{kDefaultQuantMatrix, kDefaultQuantMatrix};

constexpr VariantProfile kProfiles[kVariantCount] = {
    {kWPRCodecProxy,
     Variant::kProxy,
     ChromaFormat::k422,
     false,
     {kSlopedFrameLuma, kSlopedFrameChroma},
     {kSlopedFieldLuma, kSlopedFieldChroma}},
    {kWPRCodecLT, Variant::kLT, ChromaFormat::k422, false, kFlat, kFlat},
    {kWPRCodec422, Variant::kStandard, ChromaFormat::k422, false, kFlat, kFlat},
    {kWPRCodecHQ, Variant::kHQ, ChromaFormat::k422, false, kFlat, kFlat},
    {kWPRCodec4444, Variant::k4444, ChromaFormat::k444, false, kFlat, kFlat},
    {kWPRCodec4444XQ, Variant::kXQ, ChromaFormat::k444, true, kFlat, kFlat},
};

/// The bound of a frame's size requires weights of at least 4, see MaxFrameBytes(), and the
/// bitstream requires their multiples to be at most 63 (RDD 36, quantisation matrices).
constexpr bool IsValid(const QuantMatrix& weights) {
  constexpr unsigned kMaxWeight = 63;
  return std::ranges::min(weights) >= kUnitWeight &&
         kMaxWeightFactor * std::ranges::max(weights) <= kMaxWeight;
}
constexpr bool CanBeLower(const QuantMatrix& weights) {
  return std::ranges::all_of(
      weights, [](unsigned weight) { return weight * kLowerChroma % kQuarters == 0; });
}
constexpr bool AreEven(const QuantMatrix& weights) {
  return std::ranges::all_of(weights, [](unsigned weight) { return weight % 2 == 0; });
}
constexpr bool AreValid(const VariantProfile::Weights& weights) {
  return IsValid(weights.luma) && IsValid(weights.chroma) && CanBeLower(weights.chroma);
}
static_assert(std::ranges::all_of(kProfiles, [](const VariantProfile& profile) {
  const auto canBeHalved = [](const VariantProfile::Weights& weights) {
    return AreEven(weights.luma) && AreEven(weights.chroma);
  };
  return AreValid(profile.frame) && AreValid(profile.field) &&
         (!profile.mayHalveWeights || (canBeHalved(profile.frame) && canBeHalved(profile.field)));
}));

QuantMatrix Multiplied(QuantMatrix weights, unsigned factor, unsigned divisor) {
  for (std::uint8_t& weight : weights) {
    weight = static_cast<std::uint8_t>(weight * factor / divisor);
  }
  return weights;
}

}  // namespace

const VariantProfile* FindVariant(std::uint32_t codecType) {
  for (const VariantProfile& profile : kProfiles) {
    if (profile.codecType == codecType) return &profile;
  }
  return nullptr;
}

FrameHeader HeaderOf(const VariantProfile& profile, std::uint32_t width, std::uint32_t height,
                     InterlaceMode mode, const WeightFactors& factors) {
  FrameHeader header;
  header.version = profile.chroma == ChromaFormat::k422 ? 0 : 1;
  header.chromaFormat = profile.chroma;
  header.encoderIdentifier = kEncoderIdentifier;
  header.width = static_cast<std::uint16_t>(width);
  header.height = static_cast<std::uint16_t>(height);
  header.interlaceMode = mode;
  const VariantProfile::Weights& weights =
      mode == InterlaceMode::kProgressive ? profile.frame : profile.field;
  const unsigned divisor = factors.areHalved ? 2 : 1;
  header.lumaMatrix = Multiplied(weights.luma, factors.luma, divisor);
  header.chromaMatrix =
      Multiplied(weights.chroma, factors.luma * factors.chromaQuarters, kQuarters * divisor);
  return header;
}

}  // namespace prores
