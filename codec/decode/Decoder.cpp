// SPDX-License-Identifier: BSD-2-Clause
#include "decode/Decoder.h"

#include <algorithm>
#include <limits>

#include "Ensure.h"
#include "bitstream/AlphaCodes.h"
#include "bitstream/AlphaDecoder.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/PictureHeader.h"
#include "bitstream/SliceHeader.h"
#include "decode/Concealment.h"
#include "pixel/ChromaFilter.h"
#include "pixel/PixelFormat.h"

namespace prores {

Decoder::Result Decoder::Decode(std::span<const std::uint8_t> frame,
                                const PixelBufferRecord& destination, bool firstFieldOnly) {
  if (pool_.IsForked()) return {Status::kForked};
  if (const Status status = Parse(frame, destination, firstFieldOnly); status != Status::kSuccess) {
    return {status};
  }
  Prepare();
  pool_.ParallelFor(static_cast<std::uint32_t>(strips_.size()),
                    [this](std::uint32_t strip, std::uint32_t worker) {
                      DecodeStrip(strips_[strip], scratch_[worker]);
                    });
  ConcealLostStrips(strips_, firstPictureStrips_, destination_);

  Result result{Status::kSuccess};
  for (const Strip& strip : strips_) {
    result.damagedSlices += strip.damagedSlices;
    result.slices += strip.layout.SlicesPerRow();
  }
  return result;
}

Status Decoder::Parse(std::span<const std::uint8_t> frame, const PixelBufferRecord& destination,
                      bool firstFieldOnly) {
  std::span<const std::uint8_t> pictures;
  const Status status = ParseFrameHeader(frame, header_, pictures);
  if (status != Status::kSuccess) return status;
  if (!limits_.Allow(header_.width, header_.height)) return Status::kTooLarge;
  destination_ = destination;
  macroblocks_ = MacroblocksFor(header_.width);

  const bool alone = firstFieldOnly && header_.interlaceMode != InterlaceMode::kProgressive;
  const std::uint32_t height = header_.height;
  const std::uint32_t tallest = alone ? GeometryOf(height, header_.interlaceMode, 0).lines : height;
  const std::uint32_t lowest = alone ? height / 2 : height;
  if (destination.width != header_.width) return Status::kBadArgument;
  if (destination.height < lowest || destination.height > tallest) return Status::kBadArgument;

  strips_.clear();
  for (unsigned i = 0; i < (alone ? 1 : PictureCount(header_.interlaceMode)); ++i) {
    const Status pictureStatus = ParsePicture(i, alone, pictures);
    if (pictureStatus != Status::kSuccess) return pictureStatus;
    if (i == 0) firstPictureStrips_ = strips_.size();
  }
  return Status::kSuccess;
}

Status Decoder::ParsePicture(unsigned index, bool alone, std::span<const std::uint8_t>& pictures) {
  PictureHeader header;
  const Status status = ParsePictureHeader(pictures, header);
  if (status != Status::kSuccess) return status;
  const auto picture = pictures.first(header.pictureBytes);
  pictures = pictures.subspan(header.pictureBytes);

  const SliceLayout layout(header_.width, header.log2SliceWidth);
  const std::uint32_t rows = CodedMacroblockRows(header_.height, header_.interlaceMode, index,
                                                 layout.SlicesPerRow(), header.sliceCount);
  if (!FitsSliceTable(picture, header, layout.SlicesPerRow(), rows)) return Status::kBadHeader;
  sliceRows_.resize(rows);
  const Status tableStatus = LocateSliceRows(picture, header, layout.SlicesPerRow(), sliceRows_);
  if (tableStatus != Status::kSuccess) return tableStatus;

  PictureGeometry geometry = GeometryOf(header_.height, header_.interlaceMode, index);
  if (alone) geometry = {0, 1, destination_.height};
  // Macroblock rows that are coded but lie outside the picture are skipped.
  for (std::uint32_t row = 0; row < geometry.MacroblockRows(); ++row) {
    const std::uint32_t line = row * kMacroblockSize;
    strips_.push_back({.slices = sliceRows_[row],
                       .layout = layout,
                       .firstRow = geometry.firstLine + line * geometry.lineStep,
                       .rowStep = geometry.lineStep,
                       .rows = std::min(kMacroblockSize, geometry.lines - line)});
  }
  return Status::kSuccess;
}

void Decoder::Prepare() {
  rowWriter_.Start(header_, destination_, settings_.defaultMatrix);
  packedRowBytes_ = PackedRowBytes(destination_.pixelFormat, destination_.width);
  const ScanTable& scan = ScanFor(header_.interlaceMode);
  plans_[0] = MakeInversePlan(header_.lumaMatrix, scan, rowWriter_.DepthOf(0));
  plans_[1] = plans_[2] = MakeInversePlan(header_.chromaMatrix, scan, rowWriter_.DepthOf(1));

  const auto workers = pool_.StartWorkers(static_cast<std::uint32_t>(strips_.size()));
  scratch_.resize(workers);
  for (Scratch& scratch : scratch_) PrepareScratch(scratch);
}

namespace {

template <typename Vector>
void GrowTo(Vector& vector, std::size_t size) {
  if (vector.size() < size) vector.resize(size);
}

}  // namespace

void Decoder::PrepareScratch(Scratch& scratch) const {
  std::uint32_t slices = 0;
  for (const Strip& strip : strips_) slices = std::max(slices, strip.layout.SlicesPerRow());
  GrowTo(scratch.slices, slices);
  scratch.components.reserve(std::size_t{kComponents} * slices);
  GrowTo(scratch.coefficients, CoefficientsPerStrip(slices));
  for (unsigned i = 0; i < kComponents; ++i) {
    const std::size_t columns = MacroblockColumns(header_.chromaFormat, i) * macroblocks_;
    GrowTo(scratch.planes[i], (columns + 2 * kChromaMargin) * kMacroblockSize);
  }
  if (WantsAlpha()) {
    GrowTo(scratch.alpha, std::size_t{kMacroblockSize} * kMacroblockSize * macroblocks_);
  }
  rowWriter_.Prepare(scratch.chromaLines);
}

bool Decoder::WantsAlpha() const {
  return rowWriter_.HasAlpha() && settings_.alpha != AlphaType::kNone &&
         header_.alphaType != AlphaType::kNone;
}

/// Returns the coefficients of a strip of so many slices, with the slack of each component.
std::size_t Decoder::CoefficientsPerStrip(std::uint32_t slices) const {
  std::size_t blocks = 0;
  for (unsigned c = 0; c < kComponents; ++c) {
    blocks += std::size_t{BlocksPerMacroblock(header_.chromaFormat, c)} * macroblocks_;
  }
  return blocks * kBlockSamples + std::size_t{kComponents} * slices * kCoefficientSlack;
}

SampleArea Decoder::AreaOf(Scratch& scratch, unsigned component, std::uint32_t macroblock) const {
  const std::size_t columns = MacroblockColumns(header_.chromaFormat, component);
  return {scratch.planes[component].data() + kChromaMargin + columns * macroblock,
          columns * macroblocks_ + 2 * kChromaMargin};
}

/// Prefetches the bytes of the strip that this worker is likely to decode next. Always inlined: g++
/// regards a function that only prefetches as free of effects, and may drop calls of it.
[[gnu::always_inline]] inline void Decoder::PrefetchFollowing(const Strip& strip) const {
  const auto next = static_cast<std::size_t>(&strip - strips_.data()) + scratch_.size();
  if (next + 1 >= strips_.size()) return;
  const std::uint8_t* const bytes = strips_[next].slices.data;
  // Padding between two pictures is not worth fetching, and may be long.
  const auto count = std::min(static_cast<std::size_t>(strips_[next + 1].slices.data - bytes),
                              packedRowBytes_ * kMacroblockSize);
  for (std::size_t i = 0; i < count; i += kVectorAlignment) __builtin_prefetch(bytes + i);
}

/// Prefetches one of three parts of the destination under a slice, so that packing does not wait
/// for it, into the second level cache: the first has no room for it. Always inlined, as above.
[[gnu::always_inline]] inline void Decoder::PrefetchDestination(const Strip& strip,
                                                                const SliceSpan& span,
                                                                unsigned part) const {
  const std::size_t first = packedRowBytes_ * span.firstMacroblock / macroblocks_;
  const std::size_t end =
      packedRowBytes_ * (span.firstMacroblock + span.macroblocks) / macroblocks_;
  for (std::uint32_t y = part; y < strip.rows; y += kComponents) {
    const std::uint8_t* const row = RowOf(destination_, strip.firstRow + y * strip.rowStep);
    for (std::size_t x = first; x < end; x += kVectorAlignment) __builtin_prefetch(row + x, 1, 2);
  }
}

void Decoder::DecodeStrip(Strip& strip, Scratch& scratch) const {
  DecodeSlices(strip, scratch);
  PrefetchFollowing(strip);
  Reconstruct(strip, scratch);
  ClearCoefficients(scratch);
  if (strip.lostSlices != 0) ConcealDamage(strip, scratch);
  if (WantsAlpha()) DecodeAlphaOf(strip, scratch);
  PackStrip(strip, scratch);
}

void Decoder::DecodeSlices(Strip& strip, Scratch& scratch) const {
  const std::span slices(scratch.slices.data(), strip.layout.SlicesPerRow());
  SliceRow row = strip.slices;
  scratch.components.clear();
  for (std::uint32_t i = 0; i < slices.size(); ++i) {
    slices[i].span = strip.layout[i];
    slices[i].intact = FindComponents(TakeSlice(row), slices[i], scratch);
  }

  kernels_.decodeComponents(scratch.components);
  for (DecodedSlice& slice : slices) {
    if (slice.intact) {
      slice.intact = std::ranges::all_of(
          std::span(scratch.components).subspan(slice.firstComponent, kComponents),
          &CodedComponent::intact);
    }
    if (!slice.intact) ++strip.lostSlices;
  }
  strip.damagedSlices = strip.lostSlices;
}

/// Appends the components of a slice to those in `scratch`.
/// @return false, with none appended, where the header of the slice is damaged.
bool Decoder::FindComponents(std::span<const std::uint8_t> slice, DecodedSlice& decoded,
                             Scratch& scratch) const {
  SliceHeader header;
  decoded.alpha = {};
  if (!ParseSliceHeader(slice, header)) return false;
  decoded.quantizerScale = QuantizerScale(header.quantizationIndex);
  decoded.firstComponent = static_cast<std::uint32_t>(scratch.components.size());
  slice = slice.subspan(header.headerBytes);
  for (unsigned i = 0; i < kComponents; ++i) {
    std::int16_t* coefficients = scratch.coefficients.data();
    if (!scratch.components.empty()) {
      const CodedComponent& last = scratch.components.back();
      coefficients = last.coefficients + last.blocks * kBlockSamples + kCoefficientSlack;
    }
    const std::uint32_t blocks =
        BlocksPerMacroblock(header_.chromaFormat, i) * decoded.span.macroblocks;
    Expect(coefficients + blocks * kBlockSamples + kCoefficientSlack <=
           scratch.coefficients.data() + scratch.coefficients.size());
    scratch.components.push_back({.data = slice.first(header.componentBytes[i]),
                                  .blocks = blocks,
                                  .coefficients = coefficients});
    slice = slice.subspan(header.componentBytes[i]);
  }
  decoded.alpha = slice;
  return true;
}

void Decoder::Reconstruct(const Strip& strip, Scratch& scratch) const {
  for (std::uint32_t i = 0; i < strip.layout.SlicesPerRow(); ++i) {
    const DecodedSlice& slice = scratch.slices[i];
    if (!slice.intact) continue;
    for (unsigned c = 0; c < kComponents; ++c) {
      PrefetchDestination(strip, slice.span, c);
      const CodedComponent& component = scratch.components[slice.firstComponent + c];
      kernels_.inverseTransform(component.coefficients, component.blocks, component.positions,
                                plans_[c], slice.quantizerScale, c,
                                AreaOf(scratch, c, slice.span.firstMacroblock));
    }
  }
}

void Decoder::ConcealDamage(const Strip& strip, Scratch& scratch) const {
  const std::span slices(scratch.slices.data(), strip.layout.SlicesPerRow());
  for (unsigned c = 0; c < kComponents; ++c) {
    ConcealSlices(slices, MacroblockColumns(header_.chromaFormat, c),
                  static_cast<std::uint16_t>(plans_[c].depth.MidGrey()), AreaOf(scratch, c, 0));
  }
}

/// Resets the coefficients to zero for the next strip.
void Decoder::ClearCoefficients(const Scratch& scratch) {
  for (const CodedComponent& component : scratch.components) {
    const std::uint32_t count = component.intact
                                    ? component.blocks * component.positions
                                    : component.blocks * kBlockSamples + kCoefficientSlack;
    std::fill_n(component.coefficients, count, std::int16_t{0});
  }
}

/// Decodes the alpha of a strip. Slices without alpha, or with damaged alpha, become opaque.
void Decoder::DecodeAlphaOf(Strip& strip, Scratch& scratch) const {
  constexpr std::uint16_t kOpaque = std::numeric_limits<std::uint16_t>::max();
  std::array<std::uint16_t, kMaxSliceWidth * kMacroblockSize * kMacroblockSize> raster;
  const std::size_t stride = std::size_t{macroblocks_} * kMacroblockSize;
  for (const DecodedSlice& slice : std::span(scratch.slices).first(strip.layout.SlicesPerRow())) {
    const std::size_t columns = std::size_t{slice.span.macroblocks} * kMacroblockSize;
    const auto samples = std::span(raster).first(columns * kMacroblockSize);
    if (slice.alpha.empty() || !DecodeAlpha(slice.alpha, header_.alphaType, samples)) {
      // Slices that lost their colours are counted already.
      if (slice.intact && !slice.alpha.empty()) ++strip.damagedSlices;
      std::ranges::fill(samples, kOpaque);
    } else if (settings_.alpha == AlphaType::k8Bit) {
      for (std::uint16_t& sample : samples) {
        sample =
            static_cast<std::uint16_t>(kAlphaCode8.Nearest(sample) * kAlphaCode8.StepIn16Bits());
      }
    }
    std::uint16_t* line =
        scratch.alpha.data() + std::size_t{slice.span.firstMacroblock} * kMacroblockSize;
    for (std::size_t y = 0; y < kMacroblockSize; ++y, line += stride) {
      std::copy_n(samples.data() + y * columns, columns, line);
    }
  }
}

void Decoder::PackStrip(const Strip& strip, Scratch& scratch) const {
  std::array<std::uint16_t*, kComponents> line;
  std::uint16_t* alpha = WantsAlpha() ? scratch.alpha.data() : nullptr;
  for (std::uint32_t y = 0; y < strip.rows; ++y) {
    for (unsigned c = 0; c < kComponents; ++c) {
      const SampleArea area = AreaOf(scratch, c, 0);
      line[c] = area.samples + y * area.stride;
    }
    rowWriter_.Write(strip.firstRow + y * strip.rowStep, line, alpha, scratch.chromaLines);
    if (alpha != nullptr) alpha += std::size_t{macroblocks_} * kMacroblockSize;
  }
}

}  // namespace prores
