// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_FRAMEANALYSIS_H
#define CODEC_ENCODE_FRAMEANALYSIS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Kernels.h"
#include "bitstream/BlockOrder.h"
#include "encode/AlphaStore.h"
#include "encode/CoefficientStore.h"
#include "encode/SourceFrame.h"
#include "encode/rate/RateControl.h"

namespace prores {

class PlanarStrip;
struct RowReader;

/**
 * The slices of one frame as the encoder sees them: their coefficients, what sets them apart
 * (SliceTraits), and the bytes that they take with a quantiser.
 *
 * A strip is analysed for the finest quantiser that is expected for the frame. Smaller
 * coefficients, which no coarser quantiser keeps, are not stored. Different strips may be used by
 * different threads at once. Memory grows with the largest frame so far and is kept.
 */
class FrameAnalysis {
 public:
  explicit FrameAnalysis(const Kernels& kernels) : kernels_(kernels) {}

  /// Discards the previous frame and reserves memory for `frame`, which must outlive its analysis.
  /// @param workers threads that analyse strips.
  /// @throws std::bad_alloc.
  void Reset(const SourceFrame& frame, std::uint32_t workers);

  /// Transforms a strip, determines the traits of its slices, and stores all coefficients that a
  /// frame with `finest` or a coarser quantiser may keep. Replaces an earlier analysis.
  /// @param onGrid many slices of the frame lie on a grid (encode/rate/GridDetection.h).
  /// @param worker number of the calling thread; no two calls with one worker may overlap.
  void AnalyseStrip(std::uint32_t strip, const FrameQuantiser& finest, bool onGrid,
                    std::uint32_t worker);

  /// Whether a strip was analysed, and all coefficients that a frame with `quantiser` keeps are
  /// stored.
  bool Covers(std::uint32_t strip, const FrameQuantiser& quantiser) const;

  /// Whether any slice of the analysed strips lies on a grid.
  bool FoundGrid() const;

  /// Sets `choice` to the quantiser of a slice in a frame with `quantiser` and to its size. Does
  /// nothing where `choice` has that quantiser already.
  void MeasureSlice(const FrameQuantiser& quantiser, std::uint32_t slice,
                    SliceChoice& choice) const;
  /// Does the same for all slices of a strip.
  /// @param choices of all slices of the frame.
  void MeasureStrip(const FrameQuantiser& quantiser, std::uint32_t strip,
                    std::span<SliceChoice> choices) const;

  /// The stored coefficients of analysed strips.
  const CoefficientStore& Coefficients() const { return coefficients_; }
  /// The coded alpha of analysed strips.
  const AlphaStore& Alpha() const { return alpha_; }

 private:
  /// Magnitudes of each component below which AC coefficients are not stored.
  using Thresholds = std::array<std::uint16_t, kComponents>;

  static Thresholds ThresholdsOf(const SliceQuantiser& quantiser);
  std::size_t UnpackStrip(std::uint32_t strip, const PlanarStrip& samples) const;
  RowReader ReaderFor(const PixelBufferRecord& source) const;
  void CodeAlpha(std::uint32_t strip, const PlanarStrip& samples);
  SliceTraits TraitsOf(const PlanarStrip& samples, std::uint32_t slice) const;
  void StoreSlice(const PlanarStrip& samples, std::uint32_t slice, std::size_t lines,
                  const Thresholds& thresholds);
  void TransformComponent(const PlanarStrip& samples, SliceSpan span, unsigned component,
                          std::size_t lines, std::span<std::int16_t> coefficients) const;
  SliceValues AcValues(std::uint32_t slice) const;

  const Kernels& kernels_;
  const SourceFrame* frame_ = nullptr;
  CoefficientStore coefficients_;
  AlphaStore alpha_;
  std::vector<FrameQuantiser> finest_;               ///< by strip: what it was analysed for
  std::vector<SliceTraits> traits_;                  ///< by slice
  std::vector<std::vector<std::uint16_t>> samples_;  ///< by worker: of a PlanarStrip
};

}  // namespace prores

#endif  // CODEC_ENCODE_FRAMEANALYSIS_H
