// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_DECODE_DECODER_H
#define CODEC_DECODE_DECODER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "FrameLimits.h"
#include "Kernels.h"
#include "ProRes/ProRes.h"
#include "Status.h"
#include "bitstream/BlockOrder.h"
#include "bitstream/FrameHeader.h"
#include "cpu/AlignedVector.h"
#include "decode/ComponentDecoder.h"
#include "decode/InverseTransform.h"
#include "decode/RowWriter.h"
#include "decode/Strip.h"
#include "parallel/WorkerPool.h"
#include "pixel/RgbConversion.h"

namespace prores {

/// What is made of a frame beyond its colours, and how.
struct DecodeSettings {
  AlphaType alpha = AlphaType::k16Bit;         ///< kNone makes opaque pictures
  unsigned defaultMatrix = kDefaultRgbMatrix;  ///< of frames that do not specify one
};

/// Decodes the frames of one stream. Used by one thread at a time.
///
/// A frame is parsed and checked as a whole before anything is written. Then every strip
/// (macroblock row) of every picture is a task of its own: its coefficients, planar samples and
/// packed rows are made one after the other in scratch memory that stays in cache. Scratch memory
/// grows with the largest frame so far and is kept.
class Decoder {
 public:
  /// @param threads threads that decode, the calling one included; 0 = DefaultThreads().
  /// @param kernels must outlive the decoder.
  explicit Decoder(std::uint32_t threads, const Kernels& kernels = DefaultKernels())
      : kernels_(kernels), pool_(threads), rowWriter_(kernels) {}

  /// Sets what applies from the next frame on.
  void Set(const DecodeSettings& settings) { settings_ = settings; }
  void Set(const FrameLimits& limits) { limits_ = limits; }

  /// Outcome of a frame.
  struct Result {
    Status status;
    std::uint32_t damagedSlices = 0;  ///< concealed; 0 unless `status` is kSuccess
    std::uint32_t slices = 0;         ///< of all decoded pictures; 0 unless `status` is kSuccess
  };

  /// Decodes `frame` into `destination`, a valid picture.
  /// @param firstFieldOnly of an interlaced frame, decode the first field alone. The destination
  ///        then has half the height, rounded down or (as the field itself) up.
  /// @return kTooLarge beyond the limits, kBadArgument when the size of the destination does not
  /// fit
  ///         the frame, kForked after a fork, or the error of the headers. The destination is then
  ///         untouched.
  /// @throws std::bad_alloc, with the destination untouched.
  Result Decode(std::span<const std::uint8_t> frame, const PixelBufferRecord& destination,
                bool firstFieldOnly);

 private:
  /// Memory of a worker for one strip.
  struct Scratch {
    std::vector<DecodedSlice> slices;
    std::vector<CodedComponent> components;
    /// Of each component, with its slack. Zero between strips.
    AlignedVector<std::int16_t> coefficients;
    std::array<AlignedVector<std::uint16_t>, kComponents> planes;  ///< 16 lines each
    AlignedVector<std::uint16_t> alpha;                            ///< 16 lines
    RowWriter::ChromaLines chromaLines;
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
  void ConcealDamage(const Strip& strip, Scratch& scratch) const;
  static void ClearCoefficients(const Scratch& scratch);
  void DecodeAlphaOf(Strip& strip, Scratch& scratch) const;
  void PackStrip(const Strip& strip, Scratch& scratch) const;

  std::size_t CoefficientsPerStrip(std::uint32_t slices) const;
  SampleArea AreaOf(Scratch& scratch, unsigned component, std::uint32_t macroblock) const;
  bool WantsAlpha() const;

  const Kernels& kernels_;
  WorkerPool pool_;
  std::vector<Scratch> scratch_;  ///< by worker
  DecodeSettings settings_;
  FrameLimits limits_;

  // The current frame.
  FrameHeader header_;
  PixelBufferRecord destination_{};
  RowWriter rowWriter_;
  std::size_t packedRowBytes_ = 0;
  std::array<InversePlan, kComponents> plans_{};
  std::uint32_t macroblocks_ = 0;  ///< per row
  std::vector<SliceRow> sliceRows_;
  std::vector<Strip> strips_;  ///< of the first picture, then of the second
  std::size_t firstPictureStrips_ = 0;
};

}  // namespace prores

#endif  // CODEC_DECODE_DECODER_H
