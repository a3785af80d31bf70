// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_KERNELS_H
#define CODEC_KERNELS_H

#include <array>
#include <cstdint>

#include "cpu/CpuLevel.h"
#include "decode/ComponentDecoder.h"
#include "decode/InverseTransform.h"
#include "encode/ComponentEncoder.h"
#include "encode/ForwardTransform.h"
#include "encode/SparseComponent.h"
#include "encode/rate/Activity.h"
#include "encode/rate/GridDetection.h"
#include "pixel/ChromaFilter.h"
#include "pixel/PackRows.h"
#include "pixel/PixelFormat.h"
#include "pixel/RgbConversion.h"
#include "pixel/UnpackRows.h"

namespace prores {

/// The hot functions in their fastest forms for a CpuLevel. Each entry gives the results of the
/// plain function with its name, bit for bit.
struct Kernels {
  CpuLevel level;

  // Decoding.
  decltype(&DecodeComponents) decodeComponents;
  decltype(&InverseTransform) inverseTransform;
  decltype(&HalveChroma) halveChroma;
  decltype(&DoubleChroma) doubleChroma;
  decltype(&YCbCrToRgb) yCbCrToRgb;
  std::array<PackRow, kPixelFormats.size()> packRow;

  // Encoding.
  std::array<UnpackRow, kPixelFormats.size()> unpackRow;
  decltype(&RgbToYCbCr) rgbToYCbCr;
  decltype(&ForwardTransform) forwardTransform;
  decltype(&MeasureActivity) measureActivity;
  decltype(&MeasureDeviations) measureDeviations;
  decltype(&SelectCoefficients) selectCoefficients;
  decltype(&CountComponentBytes) countComponentBytes;
  decltype(&WriteComponent) writeComponent;

  /// @param pixelFormat a WPRPixelFormat.
  PackRow PackerFor(std::uint32_t pixelFormat) const {
    return packRow[PlaceOfPixelFormat(pixelFormat)];
  }
  UnpackRow UnpackerFor(std::uint32_t pixelFormat) const {
    return unpackRow[PlaceOfPixelFormat(pixelFormat)];
  }
};

/// Returns the kernels of a level that the processor supports. They live for ever.
const Kernels& KernelsFor(CpuLevel level);

/// Returns the kernels of DefaultCpuLevel(), for a new codec handle.
const Kernels& DefaultKernels();

}  // namespace prores

#endif  // CODEC_KERNELS_H
