// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODER_H
#define CODEC_ENCODER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "CoefficientStore.h"
#include "ProRes/ProRes.h"
#include "Status.h"
#include "bitstream/BlockOrder.h"
#include "bitstream/FrameHeader.h"
#include "bitstream/SliceLayout.h"
#include "cpu/Kernels.h"
#include "parallel/WorkerPool.h"
#include "rate/GridDetection.h"
#include "rate/RateControl.h"

namespace prores {

class PlanarStrip;

/**
 * Encoder of one stream: packed 4:2:2 pictures to compressed frames.
 *
 * Macroblock rows of the picture are unpacked and transformed; of a few rows all coefficients are
 * kept, which tell the quantiser of the frame about, of the others only those that such a quantiser
 * may keep. The rate control tries quantisers on them; then the slices are written straight to
 * their places. Rows and slices are shared out to the worker threads. Memory grows with the largest
 * frame so far and is kept: up to two bytes per sample of the frame, and of one row of macroblocks
 * per thread.
 */
class Encoder {
 public:
  /// @param threads as for WorkerPool.
  explicit Encoder(std::uint32_t threads, const Kernels& kernels = DefaultKernels())
      : kernels_(kernels), pool_(threads) {}

  /// Encodes `source` to the start of `destination`, as WPREncodeFrame() says.
  /// @param compressedBytes receives the size of the frame, on success only.
  /// @throws std::bad_alloc; the encoder stays usable.
  Status Encode(const EncodeParamsRecord& params, const PixelBufferRecord& source,
                std::span<std::uint8_t> destination, std::uint32_t& compressedBytes);

 private:
  class Frame;
  class Meter;

  /// What one thread works with.
  struct Worker {
    std::vector<std::uint16_t> samples;  ///< of a PlanarStrip
  };

  template <typename Task>
  void ForEachSlice(std::uint32_t count, Task&& task);
  void Reserve(const Frame& frame);
  void TransformStrip(const Frame& frame, std::uint32_t strip, const FrameQuantiser& finest,
                      bool codedBefore, Worker& worker);
  SliceTraits TraitsOf(const PlanarStrip& samples, SliceSpan span, std::uint32_t column,
                       std::uint32_t strip) const;
  void TransformSlice(const Frame& frame, const PlanarStrip& samples, std::uint32_t slice,
                      std::size_t lines, const std::array<std::uint16_t, kComponents>& leastAc);
  SliceValues AcValues(std::uint32_t slice) const;
  void TransformComponent(const Frame& frame, const PlanarStrip& samples, SliceSpan span,
                          unsigned component, std::size_t lines,
                          std::span<std::int16_t> coefficients);
  void WriteHeaders(const Frame& frame, const FrameHeader& header,
                    std::span<const SliceChoice> choices, std::uint8_t* destination);
  void WriteSlice(std::uint32_t slice, const SliceChoice& choice, const WeightFactors& factors,
                  std::uint8_t* destination);

  const Kernels& kernels_;
  WorkerPool pool_;
  std::vector<Worker> workers_;
  CoefficientStore coefficients_;
  std::vector<FrameQuantiser> finest_;  ///< for which the coefficients of each strip serve
  std::vector<SliceTraits> traits_;
  std::vector<std::uint32_t> missingStrips_;
  std::vector<std::uint32_t> offsets_;  ///< of each slice in the frame
  RateControl rateControl_;
};

}  // namespace prores

#endif  // CODEC_ENCODER_H
