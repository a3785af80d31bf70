// SPDX-License-Identifier: BSD-2-Clause
#include "encode/FrameAnalysis.h"

#include <algorithm>
#include <functional>

#include "Ensure.h"
#include "bitstream/PictureGeometry.h"
#include "cpu/AlignedVector.h"
#include "encode/rate/QuantiserLadder.h"
#include "pixel/PixelFormat.h"
#include "pixel/PlanarStrip.h"

namespace prores {
namespace {

/// Marks a strip that has not been analysed.
constexpr Coarseness kNotAnalysed = kCoarsest + 1;

/// Values of the largest component of a slice, and the slack that vectors may write after them.
using ComponentValues = std::array<std::int16_t, kMaxSliceBlocks * kBlockSamples + kSparseSlack>;

/// Replaces the blocks that lie wholly outside the picture by the cheapest ones: the DC of the
/// previous block and no AC. The first block of a slice is never one of them.
void FlattenOutside(std::span<std::int16_t> coefficients, std::size_t blocks, unsigned component,
                    std::size_t columns, std::size_t lines) {
  for (std::uint32_t block = 1; block < blocks; ++block) {
    const BlockPosition position = PositionOfBlock(component, block);
    if (position.x < columns && position.y < lines) continue;
    coefficients[block] = coefficients[block - 1];
    for (std::size_t i = block + blocks; i < coefficients.size(); i += blocks) coefficients[i] = 0;
  }
}

}  // namespace

void FrameAnalysis::Reset(const SourceFrame& frame, std::uint32_t workers) {
  frame_ = &frame;
  const ChromaFormat chroma = frame.profile.chroma;
  const std::size_t macroblocks = frame.layout.Macroblocks();
  const std::size_t samples = PlanarStrip::Samples(chroma, macroblocks);
  samples_.resize(std::max<std::size_t>(samples_.size(), workers));
  for (auto& scratch : samples_) {
    if (scratch.size() < samples) scratch.resize(samples);
  }
  coefficients_.Reset(frame.strips, frame.layout.SlicesPerRow(),
                      macroblocks * BlocksPerMacroblock(chroma) * kBlockSamples);
  alpha_.Reset(frame.settings.alpha, frame.Slices());
  finest_.assign(frame.strips, {.coarseness = kNotAnalysed});
  traits_.assign(frame.Slices(), {});
}

bool FrameAnalysis::Covers(std::uint32_t strip, const FrameQuantiser& quantiser) const {
  const FrameQuantiser& finest = finest_[strip];
  if (finest.coarseness == kNotAnalysed) return false;
  if (finest.coarseness <= quantiser.coarseness &&
      finest.chromaQuarters <= quantiser.chromaQuarters) {
    return true;
  }
  const std::uint32_t slices = frame_->layout.SlicesPerRow();
  return std::ranges::all_of(std::span(traits_).subspan(strip * slices, slices),
                             [&](const SliceTraits& slice) {
                               return QuantiserAt(finest, slice) == QuantiserAt(quantiser, slice);
                             });
}

bool FrameAnalysis::FoundGrid() const {
  return std::ranges::any_of(traits_,
                             [](const SliceTraits& slice) { return slice.grid.rung != 0; });
}

void FrameAnalysis::MeasureSlice(const FrameQuantiser& quantiser, std::uint32_t slice,
                                 SliceChoice& choice) const {
  const SliceQuantiser wanted = QuantiserAt(quantiser, traits_[slice]);
  if (choice.quantiser == wanted) return;
  const auto bytes = [&](unsigned component) {
    const std::size_t counted = kernels_.countComponentBytes(
        wanted.For(component), coefficients_.Component(slice, component));
    Expect(counted <= kMaxComponentBytes);
    return static_cast<std::uint16_t>(counted);
  };
  choice = {wanted, {bytes(0), bytes(1), bytes(2)}};
}

void FrameAnalysis::MeasureStrip(const FrameQuantiser& quantiser, std::uint32_t strip,
                                 std::span<SliceChoice> choices) const {
  const std::uint32_t slices = frame_->layout.SlicesPerRow();
  for (std::uint32_t slice = strip * slices; slice < (strip + 1) * slices; ++slice) {
    MeasureSlice(quantiser, slice, choices[slice]);
  }
}

FrameAnalysis::Thresholds FrameAnalysis::ThresholdsOf(const SliceQuantiser& quantiser) {
  return {quantiser.For(0).LeastAc(), quantiser.For(1).LeastAc(), quantiser.For(2).LeastAc()};
}

void FrameAnalysis::AnalyseStrip(std::uint32_t strip, const FrameQuantiser& finest, bool onGrid,
                                 std::uint32_t worker) {
  const SourceFrame& frame = *frame_;
  const PlanarStrip samples(samples_[worker], frame.profile.chroma, frame.layout.Macroblocks());
  const std::size_t lines = UnpackStrip(strip, samples);

  coefficients_.ClearStrip(strip);
  const std::uint32_t slices = frame.layout.SlicesPerRow();
  GridSearch grids(frame.noise, onGrid, kernels_.measureDeviations);
  for (std::uint32_t slice = strip * slices; slice < (strip + 1) * slices; ++slice) {
    SliceTraits& traits = traits_[slice];
    traits = TraitsOf(samples, slice);
    Thresholds thresholds = ThresholdsOf(QuantiserAt(finest, traits));
    // On a grid, coefficients of half a step count. Where one slice lies on a grid, others do.
    if (grids.FoundAny()) {
      for (std::uint16_t& threshold : thresholds) {
        threshold = static_cast<std::uint16_t>(std::max(1, threshold / 2));
      }
    }
    StoreSlice(samples, slice, lines, thresholds);
    traits.grid = grids.Next(AcValues(slice));
    const Thresholds needed = ThresholdsOf(QuantiserAt(finest, traits));
    if (std::ranges::equal(thresholds, needed, std::less_equal())) continue;
    // A quantiser that was chosen when the strip had other traits may still be used for writing: it
    // must find all of its coefficients, too.
    std::ranges::transform(thresholds, needed, thresholds.begin(), std::ranges::min);
    coefficients_.DropSlice(slice);
    StoreSlice(samples, slice, lines, thresholds);
  }
  finest_[strip] = finest;
  CodeAlpha(strip, samples);
}

/// Codes the alpha of a strip, unless that was done in an earlier analysis.
void FrameAnalysis::CodeAlpha(std::uint32_t strip, const PlanarStrip& samples) {
  if (frame_->settings.alpha == AlphaType::kNone) return;
  const std::uint32_t slices = frame_->layout.SlicesPerRow();
  for (std::uint32_t slice = strip * slices; slice < (strip + 1) * slices; ++slice) {
    if (alpha_.Has(slice)) return;
    const SliceSpan span = frame_->Slice(slice);
    alpha_.Code(slice, span.macroblocks,
                samples.Line(kAlphaPlane, 0) + std::size_t{span.firstMacroblock} * kMacroblockSize,
                samples.Stride(kAlphaPlane));
  }
}

/// @return lines of the strip that lie inside the picture.
std::size_t FrameAnalysis::UnpackStrip(std::uint32_t strip, const PlanarStrip& samples) const {
  const SourceFrame& frame = *frame_;
  const PixelBufferRecord& source = frame.source;
  const std::uint32_t firstFieldStrips = frame.Geometry(0).MacroblockRows();
  const bool secondField = strip >= firstFieldStrips;
  const PictureGeometry geometry = frame.Geometry(secondField ? 1 : 0);
  const std::size_t top =
      std::size_t{strip - (secondField ? firstFieldStrips : 0)} * kMacroblockSize;
  const std::size_t lines = std::min<std::size_t>(kMacroblockSize, geometry.lines - top);
  const std::size_t firstRow = geometry.firstLine + top * geometry.lineStep;
  Expect(firstRow + (lines - 1) * geometry.lineStep < source.height);
  samples.Unpack(static_cast<const std::uint8_t*>(source.baseAddress) + firstRow * source.rowBytes,
                 std::size_t{geometry.lineStep} * source.rowBytes, lines, source,
                 ReaderFor(source));
  return lines;
}

RowReader FrameAnalysis::ReaderFor(const PixelBufferRecord& source) const {
  const UnpackRow unpack = kernels_.UnpackerFor(source.pixelFormat);
  if (!GetPixelFormat(source.pixelFormat).rgb) return {unpack};
  return {unpack, kernels_.rgbToYCbCr, &RgbMatrixOf(frame_->settings.matrixCoefficients)};
}

/// Returns the traits of a slice whose grid is not known yet.
SliceTraits FrameAnalysis::TraitsOf(const PlanarStrip& samples, std::uint32_t slice) const {
  const std::uint32_t slices = frame_->layout.SlicesPerRow();
  const SliceSpan span = frame_->Slice(slice);
  const std::uint16_t* const luma =
      samples.Line(0, 0) + std::size_t{span.firstMacroblock} * kMacroblockSize;
  const std::uint32_t activity = kernels_.measureActivity(
      luma, samples.Stride(0), frame_->BlockCount(span, 0), frame_->sampleBits - k10Bits.bits);
  return {
      .finerBy = FinerBy(activity), .dither = DitherAt(slice % slices, slice / slices), .grid = {}};
}

/// Stores the coefficients of a slice that are not below the thresholds.
void FrameAnalysis::StoreSlice(const PlanarStrip& samples, std::uint32_t slice, std::size_t lines,
                               const Thresholds& thresholds) {
  alignas(kVectorAlignment) ComponentValues coefficients, values, places;
  const SliceSpan span = frame_->Slice(slice);
  for (unsigned component = 0; component < kComponents; ++component) {
    const auto all =
        std::span(coefficients).first(frame_->BlockCount(span, component) * kBlockSamples);
    TransformComponent(samples, span, component, lines, all);
    const std::size_t count =
        kernels_.selectCoefficients(all, thresholds[component], values.data(), places.data());
    coefficients_.Append(slice, component, all, values.data(), places.data(), count);
  }
}

void FrameAnalysis::TransformComponent(const PlanarStrip& samples, SliceSpan span,
                                       unsigned component, std::size_t lines,
                                       std::span<std::int16_t> coefficients) const {
  const SourceFrame& frame = *frame_;
  const std::size_t macroblockColumns = MacroblockColumns(frame.profile.chroma, component);
  const std::size_t firstColumn = span.firstMacroblock * macroblockColumns;
  const std::uint32_t blocks = frame.BlockCount(span, component);
  kernels_.forwardTransform(samples.Line(component, 0) + firstColumn, samples.Stride(component),
                            blocks, component, component == 0 ? frame.lumaPlan : frame.chromaPlan,
                            coefficients.data());
  const std::size_t columns =
      ColumnCount(frame.profile.chroma, frame.header.width, component) - firstColumn;
  if (columns < span.macroblocks * macroblockColumns || lines < kMacroblockSize) {
    FlattenOutside(coefficients, blocks, component, columns, lines);
  }
}

/// Returns the stored AC coefficients of a slice.
SliceValues FrameAnalysis::AcValues(std::uint32_t slice) const {
  SliceValues values;
  for (unsigned component = 0; component < kComponents; ++component) {
    const SparseComponent stored = coefficients_.Component(slice, component);
    values[component] = {stored.values, stored.count};
  }
  return values;
}

}  // namespace prores
