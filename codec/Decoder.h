// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_DECODER_H
#define CODEC_DECODER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ProRes/ProRes.h"
#include "Status.h"
#include "bitstream/BlockOrder.h"
#include "bitstream/CoefficientDecoder.h"
#include "bitstream/FrameHeader.h"
#include "bitstream/SliceLayout.h"
#include "bitstream/SliceTable.h"
#include "cpu/AlignedVector.h"
#include "cpu/Kernels.h"
#include "parallel/WorkerPool.h"
#include "pixel/PackRows.h"
#include "transform/InverseTransform.h"

namespace prores {

/// Decodes the frames of one stream. Used by one thread at a time.
///
/// A frame is parsed and checked as a whole before anything is written. Then every macroblock row
/// of every picture, a strip, is a task of its own: coefficients, planar samples and packed rows of
/// a strip are made one after the other in scratch memory that stays in cache. Scratch memory is
/// kept from frame to frame and grows only.
class Decoder {
 public:
  /// @param threads threads that decode, the calling one included; 0 = one per processor.
  explicit Decoder(std::uint32_t threads, const Kernels& kernels = DefaultKernels())
      : kernels_(kernels), pool_(threads) {}

  /// What became of a frame.
  struct Result {
    Status status;
    std::uint32_t damagedSlices = 0;  ///< concealed; 0 unless `status` is kSuccess
    std::uint32_t slices = 0;         ///< of all decoded pictures; 0 unless `status` is kSuccess
  };

  /// Decodes `frame` into `destination`, a valid picture.
  /// @param firstFieldOnly of an interlaced frame, decode the first field alone. The destination
  ///        then has half the height, rounded down or (as the field itself) up.
  /// @return kBadArgument when the size of the destination does not fit the frame, or what is wrong
  ///         with the headers. The destination is then untouched.
  /// @throws std::bad_alloc, with the destination untouched.
  Result Decode(std::span<const std::uint8_t> frame, const PixelBufferRecord& destination,
                bool firstFieldOnly);

 private:
  /// One macroblock row of a picture, and the rows of the destination that it covers.
  struct Strip {
    SliceRow slices;
    SliceLayout layout;
    std::uint32_t firstRow;
    std::uint32_t rowStep;
    std::uint32_t rows;  // 1 to 16
    std::uint32_t damagedSlices = 0;

    bool IsLost() const { return damagedSlices == layout.SlicesPerRow(); }
    std::uint32_t LastRow() const { return firstRow + (rows - 1) * rowStep; }
  };

  /// A slice between entropy decoding and inverse transform.
  struct DecodedSlice {
    SliceSpan span;
    unsigned quantizerScale;
    bool intact;
    std::uint32_t firstComponent;  // of three in Scratch::components, where the slice is intact
  };

  /// What a worker needs for a strip.
  struct Scratch {
    std::vector<DecodedSlice> slices;
    std::vector<CodedComponent> components;
    AlignedVector<std::int16_t>
        coefficients;  // of each component, and its slack; zero between strips
    std::array<AlignedVector<std::uint16_t>, kComponents> planes;  // 16 lines each
    // A line of Cb and Cr brought to 4:2:2.
    std::array<AlignedVector<std::uint16_t>, 2> halfChroma;
  };

  Status Parse(std::span<const std::uint8_t> frame, const PixelBufferRecord& destination,
               bool firstFieldOnly);
  Status ParsePicture(unsigned index, bool alone, std::span<const std::uint8_t>& pictures);
  void Prepare();
  void PrepareScratch(Scratch& scratch) const;

  void DecodeStrip(Strip& strip, Scratch& scratch) const;
  void DecodeSlices(Strip& strip, Scratch& scratch) const;
  void PrefetchFollowing(const Strip& strip) const;
  void PrefetchDestination(const Strip& strip, const SliceSpan& span, unsigned part) const;
  bool FindComponents(std::span<const std::uint8_t> slice, DecodedSlice& decoded,
                      Scratch& scratch) const;
  void Reconstruct(const Strip& strip, Scratch& scratch) const;
  void ConcealSlices(const Strip& strip, Scratch& scratch) const;
  static void ClearCoefficients(const Scratch& scratch);
  void PackStrip(const Strip& strip, Scratch& scratch) const;
  void ConcealLostStrips();
  const Strip* FindIntactStrip(std::size_t lost) const;

  std::size_t CoefficientsPerStrip(std::uint32_t slices) const;
  SampleArea AreaOf(Scratch& scratch, unsigned component, std::uint32_t macroblock) const;
  std::uint8_t* RowAddress(std::uint32_t row) const;

  const Kernels& kernels_;
  WorkerPool pool_;
  std::vector<Scratch> scratch_;  // by worker

  // The frame in work.
  FrameHeader header_;
  PixelBufferRecord destination_{};
  PackRow packRow_ = nullptr;
  std::size_t packedRowBytes_ = 0;
  std::array<InversePlan, kComponents> plans_{};
  std::uint32_t macroblocks_ = 0;  // per row
  std::vector<SliceRow> sliceRows_;
  std::vector<Strip> strips_;  // of the first picture, then of the second
  std::size_t firstPictureStrips_ = 0;
};

}  // namespace prores

#endif  // CODEC_DECODER_H
