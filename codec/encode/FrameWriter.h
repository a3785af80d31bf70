// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_FRAMEWRITER_H
#define CODEC_ENCODE_FRAMEWRITER_H

#include <cstdint>
#include <span>
#include <vector>

#include "Kernels.h"
#include "encode/FrameAnalysis.h"
#include "encode/SourceFrame.h"
#include "encode/rate/RateControl.h"

namespace prores {

/// Writes a frame whose slices have their quantisers and sizes: Plan() first, then WriteHeaders()
/// and WriteSlice() for each slice, in any order and on any thread.
class FrameWriter {
 public:
  explicit FrameWriter(const Kernels& kernels) : kernels_(kernels) {}

  /// Places all slices of a frame. `choices` and `analysis` must stay unchanged until the frame is
  /// written.
  /// @return bytes of the frame.
  /// @throws std::bad_alloc.
  std::uint64_t Plan(const SourceFrame& frame, const FrameAnalysis& analysis,
                     std::span<const SliceChoice> choices);

  /// Writes everything before the slices of each picture.
  /// @param destination room for the bytes that Plan() returned.
  /// @return false where a size does not fit its field; the frame is then unusable.
  [[nodiscard]] bool WriteHeaders(const SourceFrame& frame, std::uint8_t* destination) const;

  /// Writes one slice. No byte outside its place is written.
  /// @return false where the coded bytes are not as many as counted; the frame is then unusable.
  [[nodiscard]] bool WriteSlice(std::uint32_t slice, std::uint8_t* destination) const;

 private:
  std::uint64_t SliceBytes(std::uint32_t slice) const;

  const Kernels& kernels_;
  const FrameAnalysis* analysis_ = nullptr;
  std::span<const SliceChoice> choices_;
  WeightFactors factors_;
  FrameHeader header_;
  std::vector<std::uint64_t> offsets_;  ///< of each slice in the frame, and of the frame's end
};

}  // namespace prores

#endif  // CODEC_ENCODE_FRAMEWRITER_H
