// SPDX-License-Identifier: BSD-2-Clause
#include "Encoder.h"

#include <algorithm>
#include <cassert>

#include "bitstream/BigEndian.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/PictureHeader.h"
#include "bitstream/SliceHeader.h"
#include "bitstream/SliceTable.h"
#include "cpu/AlignedVector.h"
#include "pixel/PixelFormat.h"
#include "pixel/PlanarStrip.h"
#include "rate/FrameTarget.h"
#include "rate/QuantiserLadder.h"
#include "rate/Variant.h"
#include "transform/ForwardTransform.h"

namespace prores {
namespace {

constexpr std::array<std::uint8_t, 4> kEncoderIdentifier{'v', 'i', 'x', 'p'};

/// Of a strip that is not transformed yet: coarser than any rung.
constexpr std::uint8_t kNotTransformed = kCoarsestRung + 1;

/// The finest rung that is likely to be tried, where `rung` is the first for the whole frame.
constexpr unsigned FinestRungFrom(unsigned rung) {
  const unsigned margin = 2 + rung / 8;
  return rung > margin ? rung - margin : 0;
}

/// Blocks of one component of a slice.
constexpr std::uint32_t BlockCount(SliceSpan slice, unsigned component) {
  return slice.macroblocks * BlocksPerMacroblock(ChromaFormat::k422, component);
}

/// Coefficients of all components of so many macroblocks.
constexpr std::size_t CoefficientCount(std::size_t macroblocks) {
  constexpr std::size_t kPerMacroblock = (BlocksPerMacroblock(ChromaFormat::k422, 0) +
                                          2 * BlocksPerMacroblock(ChromaFormat::k422, 1)) *
                                         kBlockSamples;
  return macroblocks * kPerMacroblock;
}

/// Values of the largest component of a slice, with room behind them for a vector.
using ComponentValues = std::array<std::int16_t, kMaxSliceBlocks * kBlockSamples + kSparseSlack>;

Status CheckArguments(const EncodeParamsRecord& params, const PixelBufferRecord& source) {
  const VariantProfile* const profile = FindVariant(params.codecType);
  const bool interlaced = params.interlaceMode == kWPRTopFieldFirst;
  if (profile == nullptr || !IsValidPicture(source) ||
      (params.interlaceMode != kWPRProgressive && !interlaced)) {
    return Status::kBadArgument;
  }
  const Status status = CheckFrameSize(*profile, source.width, source.height);
  if (status != Status::kSuccess) return status;
  // Readers disagree about the macroblock rows of two fields that need different numbers of them.
  const bool unequalFields = source.height % (2 * kMacroblockSize) == 1;
  return interlaced && unequalFields ? Status::kUnsupported : Status::kSuccess;
}

FrameHeader MakeHeader(const EncodeParamsRecord& params, const PixelBufferRecord& source,
                       const VariantProfile& profile) {
  FrameHeader header;
  header.encoderIdentifier = kEncoderIdentifier;
  header.width = static_cast<std::uint16_t>(source.width);
  header.height = static_cast<std::uint16_t>(source.height);
  header.interlaceMode = static_cast<InterlaceMode>(params.interlaceMode);
  header.lumaMatrix = profile.luma;
  header.chromaMatrix = profile.chroma;
  return header;
}

/// Replaces the blocks that lie wholly outside the picture by the cheapest ones: the DC of the
/// block before and nothing else. The first block of a slice is never one of them.
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

/// What the steps of encoding one frame need to know of it. Macroblock rows are numbered through
/// all pictures of the frame, and so are slices.
class Encoder::Frame {
 public:
  Frame(const EncodeParamsRecord& params, const PixelBufferRecord& input,
        const VariantProfile& profile)
      : source(input),
        header(MakeHeader(params, input, profile)),
        layout(input.width, kLog2SliceWidth),
        pictures(PictureCount(header.interlaceMode)),
        lumaScales(ScalesFor(header.lumaMatrix)),
        chromaScales(ScalesFor(header.chromaMatrix)),
        target(TargetFrameBytes(profile, input.width, input.height)) {
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

  const PixelBufferRecord& source;
  const FrameHeader header;
  const SliceLayout layout;
  const unsigned pictures;
  const CoefficientScales lumaScales;
  const CoefficientScales chromaScales;
  const std::uint64_t target;
  std::uint32_t strips = 0;
};

/// Measures slices by quantising and counting. Strips are transformed when they are first needed.
class Encoder::Meter : public SliceMeter {
 public:
  Meter(Encoder& encoder, const Frame& frame) : encoder_(encoder), frame_(frame) {}

  void Measure(unsigned rung, std::span<const std::uint32_t> slices,
               std::span<SliceSize> sizes) override {
    TransformStripsOf(slices, rung);
    encoder_.ForEachSlice(static_cast<std::uint32_t>(slices.size()), [&](std::uint32_t i) {
      // They lie far apart.
      if (i + 1 < slices.size()) encoder_.coefficients_.Prefetch(slices[i + 1]);
      sizes[slices[i]] = SizeOf(slices[i], rung);
    });
  }

  /// Measures each strip while its coefficients are in cache.
  void MeasureAll(unsigned rung, std::span<SliceSize> sizes) override {
    const std::uint32_t slices = frame_.layout.SlicesPerRow();
    encoder_.pool_.ParallelFor(frame_.strips, [&](std::uint32_t strip, std::uint32_t worker) {
      if (encoder_.finestRungs_[strip] > rung) {
        encoder_.TransformStrip(frame_, strip, FinestRungFrom(rung), encoder_.workers_[worker]);
      }
      for (std::uint32_t slice = strip * slices; slice < (strip + 1) * slices; ++slice) {
        sizes[slice] = SizeOf(slice, rung);
      }
    });
  }

 private:
  /// Transforms the strips that are needed, for every rung.
  void TransformStripsOf(std::span<const std::uint32_t> slices, unsigned rung) {
    std::vector<std::uint32_t>& missing = encoder_.missingStrips_;
    missing.clear();
    for (const std::uint32_t slice : slices) {
      const std::uint32_t strip = slice / frame_.layout.SlicesPerRow();
      if (encoder_.finestRungs_[strip] <= rung) continue;
      encoder_.finestRungs_[strip] = 0;
      missing.push_back(strip);
    }
    encoder_.pool_.ParallelFor(
        static_cast<std::uint32_t>(missing.size()), [&](std::uint32_t i, std::uint32_t worker) {
          encoder_.TransformStrip(frame_, missing[i], 0, encoder_.workers_[worker]);
        });
  }

  SliceSize SizeOf(std::uint32_t slice, unsigned rung) const {
    const Quantiser quantiser = QuantiserOf(rung);
    const auto bytes = [&](unsigned component) {
      return static_cast<std::uint16_t>(encoder_.kernels_.countComponentBytes(
          quantiser, encoder_.coefficients_.Component(slice, component)));
    };
    return {bytes(0), bytes(1), bytes(2)};
  }

  Encoder& encoder_;
  const Frame& frame_;
};

Status Encoder::Encode(const EncodeParamsRecord& params, const PixelBufferRecord& source,
                       std::span<std::uint8_t> destination, std::uint32_t& compressedBytes) {
  if (const Status status = CheckArguments(params, source); status != Status::kSuccess) {
    return status;
  }
  const Frame frame(params, source, *FindVariant(params.codecType));
  Reserve(frame);
  Meter meter(*this, frame);
  const std::uint64_t overhead = OverheadBytes(frame.header);
  const std::span<const SliceChoice> choices = rateControl_.Choose(
      meter, {frame.strips, frame.layout.SlicesPerRow()}, frame.target - overhead);
  std::uint64_t frameBytes = overhead;
  for (const SliceChoice& choice : choices) frameBytes += choice.size.Payload();
  if (frameBytes > destination.size()) return Status::kDestinationTooSmall;

  WriteHeaders(frame, choices, destination.data());
  ForEachSlice(frame.Slices(),
               [&](std::uint32_t slice) { WriteSlice(slice, choices[slice], destination.data()); });
  compressedBytes = static_cast<std::uint32_t>(frameBytes);
  return Status::kSuccess;
}

/// Calls task(i) for each i below `count`. The threads take them in groups, which makes handing
/// them over cheap.
template <typename Task>
void Encoder::ForEachSlice(std::uint32_t count, Task&& task) {
  constexpr std::uint32_t kGroup = 16;
  pool_.ParallelFor((count + kGroup - 1) / kGroup,
                    [&](std::uint32_t group, std::uint32_t /*worker*/) {
                      const std::uint32_t end = std::min(count, (group + 1) * kGroup);
                      for (std::uint32_t i = group * kGroup; i < end; ++i) task(i);
                    });
}

void Encoder::Reserve(const Frame& frame) {
  workers_.resize(std::max<std::size_t>(workers_.size(), pool_.StartWorkers(frame.Slices())));
  for (Worker& worker : workers_) {
    const std::size_t samples = PlanarStrip::Samples(frame.layout.Macroblocks());
    if (worker.samples.size() < samples) worker.samples.resize(samples);
  }
  coefficients_.Reset(frame.strips, frame.layout.SlicesPerRow(),
                      CoefficientCount(frame.layout.Macroblocks()));
  finestRungs_.assign(frame.strips, kNotTransformed);
  missingStrips_.reserve(frame.strips);
  offsets_.resize(frame.Slices());
}

/// Stores the coefficients of a strip that `finestRung` or a coarser one may keep.
void Encoder::TransformStrip(const Frame& frame, std::uint32_t strip, unsigned finestRung,
                             Worker& worker) {
  const PixelBufferRecord& source = frame.source;
  const std::uint32_t firstFieldStrips = frame.Geometry(0).MacroblockRows();
  const bool secondField = strip >= firstFieldStrips;
  const PictureGeometry geometry = frame.Geometry(secondField ? 1 : 0);
  const std::size_t top =
      std::size_t{strip - (secondField ? firstFieldStrips : 0)} * kMacroblockSize;
  const std::size_t lines = std::min<std::size_t>(kMacroblockSize, geometry.lines - top);
  const std::size_t firstRow = geometry.firstLine + top * geometry.lineStep;

  const PlanarStrip samples(worker.samples, frame.layout.Macroblocks());
  samples.Unpack(static_cast<const std::uint8_t*>(source.baseAddress) + firstRow * source.rowBytes,
                 std::size_t{geometry.lineStep} * source.rowBytes, lines, source,
                 kernels_.UnpackerFor(source.pixelFormat));

  const std::uint16_t threshold = QuantiserOf(finestRung).AcThreshold();
  alignas(kVectorAlignment) ComponentValues coefficients, values, places;
  coefficients_.ClearStrip(strip);
  const std::uint32_t slices = frame.layout.SlicesPerRow();
  for (std::uint32_t slice = strip * slices; slice < (strip + 1) * slices; ++slice) {
    const SliceSpan span = frame.Slice(slice);
    for (unsigned component = 0; component < kComponents; ++component) {
      const auto all = std::span(coefficients).first(BlockCount(span, component) * kBlockSamples);
      TransformComponent(frame, samples, span, component, lines, all);
      const std::size_t count =
          kernels_.selectCoefficients(all, threshold, values.data(), places.data());
      coefficients_.Append(slice, component, all, values.data(), places.data(), count);
    }
  }
  finestRungs_[strip] = static_cast<std::uint8_t>(finestRung);
}

/// @param lines lines of the strip that lie inside the picture.
void Encoder::TransformComponent(const Frame& frame, const PlanarStrip& samples, SliceSpan span,
                                 unsigned component, std::size_t lines,
                                 std::span<std::int16_t> coefficients) {
  const std::size_t macroblockColumns = MacroblockColumns(ChromaFormat::k422, component);
  const std::size_t firstColumn = span.firstMacroblock * macroblockColumns;
  const std::uint32_t blocks = BlockCount(span, component);
  kernels_.forwardTransform(samples.Line(component, 0) + firstColumn, samples.Stride(component),
                            blocks, component, PositionsFor(frame.header.interlaceMode),
                            component == 0 ? frame.lumaScales : frame.chromaScales,
                            coefficients.data());
  const std::size_t columns = ColumnCount(frame.header.width, component) - firstColumn;
  if (columns < span.macroblocks * macroblockColumns || lines < kMacroblockSize) {
    FlattenOutside(coefficients, blocks, component, columns, lines);
  }
}

/// Writes everything in front of the slices of each picture, and finds the slices' places.
void Encoder::WriteHeaders(const Frame& frame, std::span<const SliceChoice> choices,
                           std::uint8_t* destination) {
  std::uint32_t pictureStart = static_cast<std::uint32_t>(FrameHeaderBytes(frame.header));
  std::uint32_t slice = 0;
  for (unsigned picture = 0; picture < frame.pictures; ++picture) {
    const std::uint32_t slices = frame.PictureSlices(picture);
    std::uint8_t* entry = destination + pictureStart + PictureHeader::kWrittenBytes;
    auto offset = static_cast<std::uint32_t>(pictureStart + PictureHeader::kWrittenBytes +
                                             slices * kSliceTableEntryBytes);
    for (const std::uint32_t end = slice + slices; slice < end; ++slice) {
      const auto sliceBytes =
          static_cast<std::uint16_t>(SliceHeader::kWrittenBytes + choices[slice].size.Payload());
      WriteU16(entry, sliceBytes);
      entry += kSliceTableEntryBytes;
      offsets_[slice] = offset;
      offset += sliceBytes;
    }
    PictureHeader header;
    header.pictureBytes = offset - pictureStart;
    header.sliceCount = static_cast<std::uint16_t>(slices);
    header.log2SliceWidth = kLog2SliceWidth;
    WritePictureHeader(header, destination + pictureStart);
    pictureStart = offset;
  }
  WriteFrameHeader(frame.header, pictureStart, destination);
}

void Encoder::WriteSlice(std::uint32_t slice, const SliceChoice& choice,
                         std::uint8_t* destination) {
  SliceHeader header;
  header.quantizationIndex = QuantisationIndex(choice.rung);
  header.componentBytes = {choice.size.luma, choice.size.cb, choice.size.cr};
  std::uint8_t* next = destination + offsets_[slice];
  WriteSliceHeader(header, next);
  next += SliceHeader::kWrittenBytes;
  const Quantiser quantiser = QuantiserOf(choice.rung);
  for (unsigned component = 0; component < kComponents; ++component) {
    const std::size_t bytes = header.componentBytes[component];
    [[maybe_unused]] const bool asCounted = kernels_.writeComponent(
        quantiser, coefficients_.Component(slice, component), std::span(next, bytes));
    assert(asCounted);
    next += bytes;
  }
}

}  // namespace prores
