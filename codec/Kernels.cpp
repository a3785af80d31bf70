// SPDX-License-Identifier: BSD-2-Clause
#include "Kernels.h"

#include <algorithm>
#include <array>

namespace prores {
namespace {

Kernels MakeKernels(CpuLevel level) {
  return {
      .level = level,
      .decodeComponents = DecodeComponentsFor(level),
      .inverseTransform = InverseTransformFor(level),
      .halveChroma = HalveChromaFor(level),
      .doubleChroma = DoubleChromaFor(level),
      .yCbCrToRgb = YCbCrToRgbFor(level),
      .packRow = {PackRow2vuyFor(level), PackRowV210For(level), PackRowY416For(level),
                  PackRowB64aFor(level)},
      .unpackRow = {UnpackRow2vuyFor(level), UnpackRowV210For(level), UnpackRowY416For(level),
                    UnpackRowB64aFor(level)},
      .rgbToYCbCr = RgbToYCbCrFor(level),
      .forwardTransform = ForwardTransformFor(level),
      .measureActivity = MeasureActivityFor(level),
      .measureDeviations = MeasureDeviationsFor(level),
      .selectCoefficients = SelectCoefficientsFor(level),
      .countComponentBytes = CountComponentBytesFor(level),
      .writeComponent = WriteComponentFor(level),
  };
}

}  // namespace

const Kernels& KernelsFor(CpuLevel level) {
  static const std::array<Kernels, kCpuLevels.size()> kTable = [] {
    std::array<Kernels, kCpuLevels.size()> table{};
    std::ranges::transform(kCpuLevels, table.begin(), MakeKernels);
    return table;
  }();
  return kTable[static_cast<std::size_t>(level)];
}

const Kernels& DefaultKernels() {
  return KernelsFor(DefaultCpuLevel());
}

}  // namespace prores
