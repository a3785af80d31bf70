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

namespace prores {

/// A picture to encode, with everything that follows from its size, format and variant.
///
/// A strip is one macroblock row of a picture. Strips and slices are numbered through all pictures
/// of the frame.
class SourceFrame {
 public:
  /// @param params, input  valid; `input` must outlive the object.
  SourceFrame(const EncodeParamsRecord& params, const PixelBufferRecord& input,
              const VariantProfile& variant)
      : source(input),
        profile(variant),
        header(HeaderWith(static_cast<InterlaceMode>(params.interlaceMode), {})),
        layout(input.width, kLog2SliceWidth),
        pictures(PictureCount(header.interlaceMode)),
        lumaScales(ScalesFor(header.lumaMatrix)),
        chromaScales(ScalesFor(header.chromaMatrix)),
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

  /// Returns the header with its weights multiplied.
  FrameHeader HeaderWith(const WeightFactors& factors) const {
    return HeaderWith(header.interlaceMode, factors);
  }

  const PixelBufferRecord& source;
  const VariantProfile& profile;
  const FrameHeader header;  ///< with the weights of the variant
  const SliceLayout layout;
  const unsigned pictures;
  const CoefficientScales lumaScales;
  const CoefficientScales chromaScales;
  const GridNoise noise;
  const PayloadBudget budget;
  std::uint32_t strips = 0;

 private:
  PayloadBudget BudgetOf(const FrameHeader& ownHeader) const {
    const std::uint64_t target = TargetFrameBytes(profile, source.width, source.height);
    return {.ownWeights = target - OverheadBytes(ownHeader),
            .otherWeights = target - LargestOverheadBytes(profile, source.width, source.height,
                                                          ownHeader.interlaceMode)};
  }

  FrameHeader HeaderWith(InterlaceMode mode, const WeightFactors& factors) const {
    return HeaderOf(profile, source.width, source.height, mode, factors);
  }
};

/// Blocks of one component of a 4:2:2 slice.
constexpr std::uint32_t BlockCount(SliceSpan slice, unsigned component) {
  return slice.macroblocks * BlocksPerMacroblock(ChromaFormat::k422, component);
}

}  // namespace prores

#endif  // CODEC_ENCODE_SOURCEFRAME_H
