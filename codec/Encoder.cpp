// SPDX-License-Identifier: BSD-2-Clause
#include "Encoder.h"

#include <algorithm>
#include <cassert>
#include <functional>

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

/// Of a strip that is not transformed yet.
constexpr Coarseness kNotTransformed = kCoarsest + 1;

/// Keeps what any frame keeps.
constexpr FrameQuantiser kFinestFrame{.coarseness = kFinest, .chromaQuarters = kLowerChroma};

/// Magnitudes of each component below which AC coefficients become zero.
using Thresholds = std::array<std::uint16_t, kComponents>;
Thresholds ThresholdsOf(const SliceQuantiser& quantiser) {
  return {quantiser.For(0).LeastAc(), quantiser.For(1).LeastAc(), quantiser.For(2).LeastAc()};
}

/// How much finer than the first coarseness for the whole frame another one is hardly ever.
constexpr Coarseness kMargin = kOctave / 8;

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

/// All slices of a frame have the same weights of chroma.
WeightFactors FactorsFor(std::span<const SliceChoice> choices) {
  unsigned coarsestRung = 0;
  for (const SliceChoice& choice : choices) {
    coarsestRung = std::max<unsigned>(coarsestRung, choice.quantiser.rung);
  }
  return WeightFactorsFor(coarsestRung, choices.front().quantiser.chromaQuarters);
}

}  // namespace

/// What the steps of encoding one frame need to know of it. Macroblock rows are numbered through
/// all pictures of the frame, and so are slices.
class Encoder::Frame {
 public:
  Frame(const EncodeParamsRecord& params, const PixelBufferRecord& input,
        const VariantProfile& variant)
      : source(input),
        profile(variant),
        header(HeaderWith(static_cast<InterlaceMode>(params.interlaceMode), {})),
        layout(input.width, kLog2SliceWidth),
        pictures(PictureCount(header.interlaceMode)),
        lumaScales(ScalesFor(header.lumaMatrix)),
        chromaScales(ScalesFor(header.chromaMatrix)),
        noise(std::ranges::min(header.lumaMatrix), SampleBits(input.pixelFormat)),
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

  FrameHeader HeaderWith(const WeightFactors& factors) const {
    return HeaderWith(header.interlaceMode, factors);
  }

  const PixelBufferRecord& source;
  const VariantProfile& profile;
  const FrameHeader header;  ///< with the weights as they are
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

/// Measures slices by quantising and counting. Strips are transformed when they are first needed.
class Encoder::Meter : public SliceMeter {
 public:
  Meter(Encoder& encoder, const Frame& frame) : encoder_(encoder), frame_(frame) {}

  void Measure(const FrameQuantiser& frame, std::span<const std::uint32_t> slices,
               std::span<SliceChoice> choices) override {
    TransformStripsOf(slices);
    encoder_.ForEachSlice(static_cast<std::uint32_t>(slices.size()), [&](std::uint32_t i) {
      // They lie far apart.
      if (i + 1 < slices.size()) encoder_.coefficients_.Prefetch(slices[i + 1]);
      Update(frame, slices[i], choices[slices[i]]);
    });
  }

  /// Measures each strip while its coefficients are in cache.
  void MeasureAll(const FrameQuantiser& frame, std::span<SliceChoice> choices) override {
    const std::uint32_t slices = frame_.layout.SlicesPerRow();
    const bool codedBefore = std::ranges::any_of(
        encoder_.traits_, [](const SliceTraits& slice) { return slice.grid.rung != 0; });
    encoder_.pool_.ParallelFor(frame_.strips, [&](std::uint32_t strip, std::uint32_t worker) {
      if (!Serves(strip, frame)) {
        FrameQuantiser finest = frame;
        finest.coarseness = std::max(kFinest, frame.coarseness - kMargin);
        encoder_.TransformStrip(frame_, strip, finest, codedBefore, encoder_.workers_[worker]);
      }
      for (std::uint32_t slice = strip * slices; slice < (strip + 1) * slices; ++slice) {
        Update(frame, slice, choices[slice]);
      }
    });
  }

 private:
  /// Whether the stored coefficients of a strip are all that such a frame keeps.
  bool Serves(std::uint32_t strip, const FrameQuantiser& frame) const {
    const FrameQuantiser& finest = encoder_.finest_[strip];
    if (finest.coarseness == kNotTransformed) return false;
    if (finest.coarseness <= frame.coarseness && finest.chromaQuarters <= frame.chromaQuarters) {
      return true;
    }
    const std::uint32_t slices = frame_.layout.SlicesPerRow();
    return std::ranges::all_of(std::span(encoder_.traits_).subspan(strip * slices, slices),
                               [&](const SliceTraits& slice) {
                                 return QuantiserAt(finest, slice) == QuantiserAt(frame, slice);
                               });
  }

  /// Transforms the strips that are needed, for every coarseness.
  void TransformStripsOf(std::span<const std::uint32_t> slices) {
    std::vector<std::uint32_t>& missing = encoder_.missingStrips_;
    missing.clear();
    for (const std::uint32_t slice : slices) {
      const std::uint32_t strip = slice / frame_.layout.SlicesPerRow();
      if (encoder_.finest_[strip].coarseness == kFinest) continue;
      encoder_.finest_[strip] = kFinestFrame;
      missing.push_back(strip);
    }
    encoder_.pool_.ParallelFor(static_cast<std::uint32_t>(missing.size()),
                               [&](std::uint32_t i, std::uint32_t worker) {
                                 encoder_.TransformStrip(frame_, missing[i], kFinestFrame, false,
                                                         encoder_.workers_[worker]);
                               });
  }

  void Update(const FrameQuantiser& frame, std::uint32_t slice, SliceChoice& choice) const {
    const SliceQuantiser wanted = QuantiserAt(frame, encoder_.traits_[slice]);
    if (choice.quantiser == wanted) return;
    const auto bytes = [&](unsigned component) {
      return static_cast<std::uint16_t>(encoder_.kernels_.countComponentBytes(
          wanted.For(component), encoder_.coefficients_.Component(slice, component)));
    };
    choice = {wanted, {bytes(0), bytes(1), bytes(2)}};
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
  const std::span<const SliceChoice> choices =
      rateControl_.Choose(meter, {frame.strips, frame.layout.SlicesPerRow()}, frame.budget);
  const WeightFactors factors = FactorsFor(choices);
  const FrameHeader header = frame.HeaderWith(factors);
  std::uint64_t frameBytes = OverheadBytes(header);
  for (const SliceChoice& choice : choices) frameBytes += choice.size.Payload();
  if (frameBytes > destination.size()) return Status::kDestinationTooSmall;

  WriteHeaders(frame, header, choices, destination.data());
  ForEachSlice(frame.Slices(), [&](std::uint32_t slice) {
    WriteSlice(slice, choices[slice], factors, destination.data());
  });
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
  finest_.assign(frame.strips, {.coarseness = kNotTransformed});
  traits_.assign(frame.Slices(), {});
  missingStrips_.reserve(frame.strips);
  offsets_.resize(frame.Slices());
}

/// Finds the traits of a strip's slices, and stores the coefficients that a frame as coarse as
/// `finest` or coarser may keep.
/// @param codedBefore many slices of the frame lie on a grid.
void Encoder::TransformStrip(const Frame& frame, std::uint32_t strip, const FrameQuantiser& finest,
                             bool codedBefore, Worker& worker) {
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

  coefficients_.ClearStrip(strip);
  const std::uint32_t slices = frame.layout.SlicesPerRow();
  GridSearch grids(frame.noise, codedBefore, kernels_.measureDeviations);
  for (std::uint32_t column = 0; column < slices; ++column) {
    const std::uint32_t slice = strip * slices + column;
    SliceTraits& traits = traits_[slice];
    traits = TraitsOf(samples, frame.Slice(slice), column, strip);
    Thresholds thresholds = ThresholdsOf(QuantiserAt(finest, traits));
    // On a grid, coefficients of half a step count; where one slice lies on one, others do.
    if (grids.FoundAny()) {
      for (std::uint16_t& threshold : thresholds) threshold /= 2;
    }
    TransformSlice(frame, samples, slice, lines, thresholds);
    traits.grid = grids.Next(AcValues(slice));
    const Thresholds needed = ThresholdsOf(QuantiserAt(finest, traits));
    if (std::ranges::equal(thresholds, needed, std::less_equal())) continue;
    // What was chosen before, when the strip was stored with other traits, may still be written: it
    // finds all of its coefficients, too.
    std::ranges::transform(thresholds, needed, thresholds.begin(), std::ranges::min);
    coefficients_.DropSlice(slice);
    TransformSlice(frame, samples, slice, lines, thresholds);
  }
  finest_[strip] = finest;
}

SliceTraits Encoder::TraitsOf(const PlanarStrip& samples, SliceSpan span, std::uint32_t column,
                              std::uint32_t strip) const {
  const std::uint16_t* const luma =
      samples.Line(0, 0) + std::size_t{span.firstMacroblock} * kMacroblockSize;
  const std::uint32_t activity =
      kernels_.measureActivity(luma, samples.Stride(0), BlockCount(span, 0));
  return {.finerBy = FinerBy(activity), .dither = DitherAt(column, strip), .grid = {}};
}

/// Stores the coefficients of a slice that are not below the thresholds.
/// @param lines lines of the strip that lie inside the picture.
void Encoder::TransformSlice(const Frame& frame, const PlanarStrip& samples, std::uint32_t slice,
                             std::size_t lines,
                             const std::array<std::uint16_t, kComponents>& leastAc) {
  alignas(kVectorAlignment) ComponentValues coefficients, values, places;
  const SliceSpan span = frame.Slice(slice);
  for (unsigned component = 0; component < kComponents; ++component) {
    const auto all = std::span(coefficients).first(BlockCount(span, component) * kBlockSamples);
    TransformComponent(frame, samples, span, component, lines, all);
    const std::size_t count =
        kernels_.selectCoefficients(all, leastAc[component], values.data(), places.data());
    coefficients_.Append(slice, component, all, values.data(), places.data(), count);
  }
}

/// The stored AC coefficients of a slice.
SliceValues Encoder::AcValues(std::uint32_t slice) const {
  SliceValues values;
  for (unsigned component = 0; component < kComponents; ++component) {
    const SparseComponent stored = coefficients_.Component(slice, component);
    values[component] = {stored.values, stored.count};
  }
  return values;
}

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
void Encoder::WriteHeaders(const Frame& frame, const FrameHeader& header,
                           std::span<const SliceChoice> choices, std::uint8_t* destination) {
  std::uint32_t pictureStart = static_cast<std::uint32_t>(FrameHeaderBytes(header));
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
    PictureHeader pictureHeader;
    pictureHeader.pictureBytes = offset - pictureStart;
    pictureHeader.sliceCount = static_cast<std::uint16_t>(slices);
    pictureHeader.log2SliceWidth = kLog2SliceWidth;
    WritePictureHeader(pictureHeader, destination + pictureStart);
    pictureStart = offset;
  }
  WriteFrameHeader(header, pictureStart, destination);
}

void Encoder::WriteSlice(std::uint32_t slice, const SliceChoice& choice,
                         const WeightFactors& factors, std::uint8_t* destination) {
  SliceHeader header;
  header.quantizationIndex = QuantizationIndexOf(choice.quantiser.rung, factors);
  header.componentBytes = {choice.size.luma, choice.size.cb, choice.size.cr};
  std::uint8_t* next = destination + offsets_[slice];
  WriteSliceHeader(header, next);
  next += SliceHeader::kWrittenBytes;
  for (unsigned component = 0; component < kComponents; ++component) {
    const std::size_t bytes = header.componentBytes[component];
    [[maybe_unused]] const bool asCounted =
        kernels_.writeComponent(choice.quantiser.For(component),
                                coefficients_.Component(slice, component), std::span(next, bytes));
    assert(asCounted);
    next += bytes;
  }
}

}  // namespace prores
