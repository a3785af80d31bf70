// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_CPU_KERNELS_H
#define CODEC_CPU_KERNELS_H

#include <cstdint>

#include "ProRes/ProRes.h"
#include "bitstream/CoefficientDecoder.h"
#include "cpu/CpuLevel.h"
#include "entropy/ComponentEncoder.h"
#include "entropy/SparseComponent.h"
#include "pixel/ChromaFilter.h"
#include "pixel/PackRows.h"
#include "pixel/UnpackRows.h"
#include "rate/Activity.h"
#include "rate/GridDetection.h"
#include "transform/ForwardTransform.h"
#include "transform/InverseTransform.h"

namespace prores {

/// The hot functions in their fastest forms for a CpuLevel. Each entry does what the plain function
/// of its type's header does, bit for bit.
struct Kernels {
  CpuLevel level;

  // Decoding.
  decltype(&DecodeComponents) decodeComponents;
  decltype(&InverseTransform) inverseTransform;
  decltype(&HalveChroma) halveChroma;
  PackRow pack2vuy;
  PackRow packV210;

  // Encoding.
  UnpackRow unpack2vuy;
  UnpackRow unpackV210;
  decltype(&ForwardTransform) forwardTransform;
  decltype(&MeasureActivity) measureActivity;
  decltype(&MeasureDeviations) measureDeviations;
  decltype(&SelectCoefficients) selectCoefficients;
  decltype(&CountComponentBytes) countComponentBytes;
  decltype(&WriteComponent) writeComponent;

  /// @param pixelFormat a WPRPixelFormat.
  PackRow PackerFor(std::uint32_t pixelFormat) const {
    return pixelFormat == kWPRPixelFormat2vuy ? pack2vuy : packV210;
  }
  UnpackRow UnpackerFor(std::uint32_t pixelFormat) const {
    return pixelFormat == kWPRPixelFormat2vuy ? unpack2vuy : unpackV210;
  }
};

/// The kernels of a level that the processor supports.
const Kernels& KernelsFor(CpuLevel level);

/// Returns the kernels of DefaultCpuLevel(), for a new codec handle.
const Kernels& DefaultKernels();

/// The entry for `level`, which is not kScalar.
template <typename Function>
constexpr Function ForLevel(CpuLevel level, Function sse4, Function avx2, Function avx512) {
  return level == CpuLevel::kSse4 ? sse4 : level == CpuLevel::kAvx2 ? avx2 : avx512;
}

}  // namespace prores

#endif  // CODEC_CPU_KERNELS_H
