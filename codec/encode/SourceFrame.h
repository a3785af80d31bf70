// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_SOURCEFRAME_H
#define CODEC_ENCODE_SOURCEFRAME_H

#include <algorithm>
#include <cstdint>

#include "ProRes/ProRes.h"
#include "bitstream/FrameHeader.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/SliceLayout.h"
#include "encode/ForwardTransform.h"
#include "encode/rate/FrameTarget.h"
#include "encode/rate/GridDetection.h"
#include "encode/rate/RateControl.h"
#include "encode/rate/Variant.h"
#include "pixel/PixelFormat.h"
#include "pixel/RgbConversion.h"

namespace prores {

/// What is to be coded beyond a picture's colours, and how.
struct EncodeSettings {
  AlphaType alpha = AlphaType::kNone;   ///< of variants of 4:4:4
  std::uint8_t matrixCoefficients = 2;  ///< code of the frame header
};

/// A picture to encode, with everything that follows from its size, format and variant.
///
/// A strip is one macroblock row of a picture. Strips and slices are numbered through all pictures
/// of the frame.
class SourceFrame {
 public:
  /// @param params, input  valid; `input` must outlive the object.
  SourceFrame(const EncodeParamsRecord& params, const PixelBufferRecord& input,
              const VariantProfile& variant, const EncodeSettings& wanted)
      : source(input),
        profile(variant),
        settings(SettingsFor(input, variant, wanted)),
        header(HeaderWith(static_cast<InterlaceMode>(params.interlaceMode), {})),
        layout(input.width, kLog2SliceWidth),
        pictures(PictureCount(header.interlaceMode)),
        sampleBits(variant.chroma == ChromaFormat::k422 ? k10Bits.bits : k12Bits.bits),
        lumaPlan(PlanFor(header.lumaMatrix)),
        chromaPlan(PlanFor(header.chromaMatrix)),
        noise(std::ranges::min(header.lumaMatrix), GetPixelFormat(input.pixelFormat).depth.bits),
        budget(BudgetOf(header)) {
    for (unsigned picture = 0; picture < pictures; ++picture) {
      strips += Geometry(picture).MacroblockRows();
    }
  }

  PictureGeometry Geometry(unsigned picture) const {
    return GeometryOf(header.height, header.interlaceMode, picture);
  }
  std::uint32_t PictureSlices(unsigned picture) const {
    return Geometry(picture).MacroblockRows() * layout.SlicesPerRow();
  }
  std::uint32_t Slices() const { return strips * layout.SlicesPerRow(); }
  SliceSpan Slice(std::uint32_t slice) const { return layout[slice % layout.SlicesPerRow()]; }
  /// Blocks of a component in a slice.
  std::uint32_t BlockCount(SliceSpan slice, unsigned component) const {
    return slice.macroblocks * BlocksPerMacroblock(profile.chroma, component);
  }

  /// Returns the header with its weights multiplied.
  FrameHeader HeaderWith(const WeightFactors& factors) const {
    return HeaderWith(header.interlaceMode, factors);
  }

  const PixelBufferRecord& source;
  const VariantProfile& profile;
  const EncodeSettings settings;
  const FrameHeader header;  ///< with the weights of the variant
  const SliceLayout layout;
  const unsigned pictures;
  const int sampleBits;  ///< of the planar samples
  const ForwardPlan lumaPlan;
  const ForwardPlan chromaPlan;
  const GridNoise noise;
  const PayloadBudget budget;
  std::uint32_t strips = 0;

 private:
  /// Returns the settings that apply to a picture.
  static EncodeSettings SettingsFor(const PixelBufferRecord& input, const VariantProfile& variant,
                                    EncodeSettings settings) {
    if (variant.chroma == ChromaFormat::k422) settings.alpha = AlphaType::kNone;
    // A decoder needs to know the matrix that RGB was converted with.
    if (GetPixelFormat(input.pixelFormat).rgb) {
      settings.matrixCoefficients = CodedRgbMatrix(settings.matrixCoefficients);
    }
    return settings;
  }

  ForwardPlan PlanFor(const QuantMatrix& weights) const {
    return MakeForwardPlan(weights, PositionsFor(header.interlaceMode), sampleBits);
  }

  /// Alpha comes on top of the target, with all that it adds to headers.
  PayloadBudget BudgetOf(FrameHeader ownHeader) const {
    ownHeader.alphaType = AlphaType::kNone;
    const std::uint64_t target = TargetFrameBytes(profile, source.width, source.height);
    return {.ownWeights = target - OverheadBytes(ownHeader),
            .otherWeights = target - LargestOverheadBytes(profile, source.width, source.height,
                                                          ownHeader.interlaceMode)};
  }

  FrameHeader HeaderWith(InterlaceMode mode, const WeightFactors& factors) const {
    FrameHeader made = HeaderOf(profile, source.width, source.height, mode, factors);
    made.alphaType = settings.alpha;
    made.matrixCoefficients = settings.matrixCoefficients;
    return made;
  }
};

}  // namespace prores

#endif  // CODEC_ENCODE_SOURCEFRAME_H
