// SPDX-License-Identifier: BSD-2-Clause
#include "encode/FrameWriter.h"

#include <algorithm>
#include <limits>

#include "Ensure.h"
#include "bitstream/BigEndian.h"
#include "bitstream/PictureHeader.h"
#include "bitstream/SliceHeader.h"
#include "bitstream/SliceTable.h"
#include "encode/rate/QuantiserLadder.h"

namespace prores {
namespace {

/// All slices of a frame have the same weights of chroma.
WeightFactors FactorsFor(std::span<const SliceChoice> choices) {
  unsigned coarsestRung = 0;
  bool areHalved = false;
  for (const SliceChoice& choice : choices) {
    coarsestRung = std::max<unsigned>(coarsestRung, choice.quantiser.rung);
    areHalved = areHalved || choice.quantiser.isHalved;
  }
  WeightFactors factors = WeightFactorsFor(coarsestRung, choices.front().quantiser.chromaQuarters);
  factors.areHalved = areHalved;
  return factors;
}

/// Bytes of a picture before its slices.
constexpr std::uint64_t PictureOverhead(std::uint64_t slices) {
  return PictureHeader::kWrittenBytes + slices * kSliceTableEntryBytes;
}

}  // namespace

std::uint64_t FrameWriter::SliceBytes(std::uint32_t slice) const {
  return SliceHeaderBytes(header_.alphaType) + choices_[slice].size.Payload() +
         analysis_->Alpha().Data(slice).size();
}

std::uint64_t FrameWriter::Plan(const SourceFrame& frame, const FrameAnalysis& analysis,
                                std::span<const SliceChoice> choices) {
  analysis_ = &analysis;
  choices_ = choices;
  factors_ = FactorsFor(choices);
  header_ = frame.HeaderWith(factors_);
  offsets_.resize(choices.size() + 1);
  std::uint64_t offset = FrameHeaderBytes(header_);
  std::uint32_t slice = 0;
  for (unsigned picture = 0; picture < frame.pictures; ++picture) {
    const std::uint32_t slices = frame.PictureSlices(picture);
    offset += PictureOverhead(slices);
    for (const std::uint32_t end = slice + slices; slice < end; ++slice) {
      offsets_[slice] = offset;
      offset += SliceBytes(slice);
    }
  }
  return offsets_[slice] = offset;
}

bool FrameWriter::WriteHeaders(const SourceFrame& frame, std::uint8_t* destination) const {
  std::uint32_t slice = 0;
  for (unsigned picture = 0; picture < frame.pictures; ++picture) {
    const std::uint32_t slices = frame.PictureSlices(picture);
    const std::uint64_t start = offsets_[slice] - PictureOverhead(slices);
    std::uint8_t* entry = destination + start + PictureHeader::kWrittenBytes;
    std::uint64_t pictureBytes = PictureOverhead(slices);
    for (const std::uint32_t end = slice + slices; slice < end; ++slice) {
      const std::uint64_t bytes = SliceBytes(slice);
      if (!Ensure(bytes <= std::numeric_limits<std::uint16_t>::max())) return false;
      WriteU16(entry, static_cast<std::uint16_t>(bytes));
      entry += kSliceTableEntryBytes;
      pictureBytes += bytes;
    }
    PictureHeader header;
    header.pictureBytes = static_cast<std::uint32_t>(pictureBytes);
    header.sliceCount = static_cast<std::uint16_t>(slices);
    header.log2SliceWidth = kLog2SliceWidth;
    WritePictureHeader(header, destination + start);
  }
  WriteFrameHeader(header_, static_cast<std::uint32_t>(offsets_.back()), destination);
  return true;
}

bool FrameWriter::WriteSlice(std::uint32_t slice, std::uint8_t* destination) const {
  const SliceChoice& choice = choices_[slice];
  SliceHeader header;
  header.headerBytes = static_cast<std::uint8_t>(SliceHeaderBytes(header_.alphaType));
  header.quantizationIndex = QuantizationIndexOf(choice.quantiser, factors_);
  header.componentBytes = {choice.size.luma, choice.size.cb, choice.size.cr};
  std::uint8_t* next = destination + offsets_[slice];
  WriteSliceHeader(header, next);
  next += header.headerBytes;
  for (unsigned component = 0; component < kComponents; ++component) {
    const std::size_t bytes = header.componentBytes[component];
    const bool asCounted = kernels_.writeComponent(
        choice.quantiser.For(component), analysis_->Coefficients().Component(slice, component),
        std::span(next, bytes));
    if (!Ensure(asCounted)) return false;
    next += bytes;
  }
  std::ranges::copy(analysis_->Alpha().Data(slice), next);
  return true;
}

}  // namespace prores
