// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_DECODE_ROWWRITER_H
#define CODEC_DECODE_ROWWRITER_H

#include <array>
#include <cstdint>
#include <vector>

#include "Kernels.h"
#include "ProRes/ProRes.h"
#include "bitstream/BlockOrder.h"
#include "bitstream/FrameHeader.h"
#include "cpu/AlignedVector.h"
#include "pixel/PixelFormat.h"
#include "pixel/RgbConversion.h"

namespace prores {

/// Makes packed rows of the planar lines of a frame: brings chroma to the sampling of the pixel
/// format and colours to RGB where the format wants it.
class RowWriter {
 public:
  /// Memory of a thread for one line of Cb and Cr with another sampling.
  using ChromaLines = std::array<AlignedVector<std::uint16_t>, 2>;

  explicit RowWriter(const Kernels& kernels) : kernels_(kernels) {}

  /// Begins a frame.
  /// @param destination   valid.
  /// @param defaultMatrix matrix of RGB where the header has none.
  /// @throws std::bad_alloc.
  void Start(const FrameHeader& header, const PixelBufferRecord& destination,
             unsigned defaultMatrix);

  /// Prepares the memory of a thread.
  void Prepare(ChromaLines& lines) const;

  /// Returns the depth that the planar lines of a component must have.
  const SampleDepth& DepthOf(unsigned component) const;

  /// Whether rows have alpha.
  bool HasAlpha() const { return format_->chroma == ChromaFormat::k444; }

  /// Writes one row.
  /// @param row   of the destination.
  /// @param line  of each component, with kChromaMargin writable samples at both ends; overwritten.
  /// @param alpha 16 bits; null for an opaque row.
  void Write(std::uint32_t row, const std::array<std::uint16_t*, kComponents>& line,
             std::uint16_t* alpha, ChromaLines& chroma) const;

 private:
  void Resample(std::uint16_t* line, std::uint16_t* resampled) const;

  const Kernels& kernels_;
  PixelBufferRecord destination_{};
  const PixelFormat* format_ = nullptr;
  PackRow packRow_ = nullptr;
  ChromaFormat chroma_ = ChromaFormat::k422;  ///< of the planar lines
  const RgbMatrix* matrix_ = nullptr;         ///< null unless rows are RGB
  std::vector<std::uint16_t> opaque_;         ///< one line of alpha
};

}  // namespace prores

#endif  // CODEC_DECODE_ROWWRITER_H
