// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_ENCODER_H
#define CODEC_ENCODE_ENCODER_H

#include <cstdint>
#include <span>

#include "FrameLimits.h"
#include "Kernels.h"
#include "ProRes/ProRes.h"
#include "Status.h"
#include "encode/FrameAnalysis.h"
#include "encode/FrameWriter.h"
#include "encode/rate/RateControl.h"
#include "parallel/WorkerPool.h"

namespace prores {

/**
 * Encodes packed pictures of one stream. Used by one thread at a time.
 *
 * A frame goes through three steps, whose strips and slices are shared among the worker threads:
 * - analyse (FrameAnalysis): unpacked rows become coefficients;
 * - choose (RateControl): a quantiser for each slice, so that the frame meets its target size. It
 * is estimated with a sample of strips, so that the others are analysed once and keep only the
 *   coefficients that matter;
 * - write (FrameWriter): every slice straight to its place.
 *
 * Memory grows with the largest frame so far and is kept: up to two bytes per sample of the frame
 * (with alpha a little more for its samples), and one row of macroblocks per thread.
 */
class Encoder {
 public:
  /// @param threads as for WorkerPool.
  /// @param kernels must outlive the encoder.
  explicit Encoder(std::uint32_t threads, const Kernels& kernels = DefaultKernels())
      : pool_(threads), analysis_(kernels), writer_(kernels) {}

  /// Sets what applies from the next frame on.
  void Set(const EncodeSettings& settings) { settings_ = settings; }
  void Set(const FrameLimits& limits) { limits_ = limits; }

  /// Encodes `source` to the start of `destination`, see WPREncodeFrame().
  /// @param compressedBytes receives the size of the frame, on success only.
  /// @throws std::bad_alloc; the encoder stays usable.
  Status Encode(const EncodeParamsRecord& params, const PixelBufferRecord& source,
                std::span<std::uint8_t> destination, std::uint32_t& compressedBytes);

 private:
  template <typename Task>
  void ForEachSlice(std::size_t count, Task&& task);
  void AnalyseSample(const SourceFrame& frame);
  void MeasureSample();
  void AnalyseAndMeasureAll(const SourceFrame& frame);
  Status Write(const SourceFrame& frame, std::span<std::uint8_t> destination,
               std::uint32_t& compressedBytes);

  EncodeSettings settings_;
  FrameLimits limits_;
  WorkerPool pool_;
  FrameAnalysis analysis_;
  RateControl rateControl_;
  FrameWriter writer_;
};

}  // namespace prores

#endif  // CODEC_ENCODE_ENCODER_H
