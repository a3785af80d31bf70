// SPDX-License-Identifier: BSD-2-Clause
#include "cpu/Kernels.h"

#include <algorithm>

#include "entropy/CoefficientDecoderSimd.h"
#include "entropy/ComponentEncoderSimd.h"
#include "pixel/ChromaFilterSimd.h"
#include "pixel/PackRowsSimd.h"
#include "pixel/UnpackRowsSimd.h"
#include "rate/ActivitySimd.h"
#include "rate/GridDetectionSimd.h"
#include "transform/ForwardTransformSimd.h"
#include "transform/InverseTransformSimd.h"

namespace prores {
namespace {

constexpr Kernels kPlainKernels{
    .level = CpuLevel::kScalar,
    .decodeComponents = DecodeComponents,
    .inverseTransform = InverseTransform,
    .halveChroma = HalveChroma,
    .pack2vuy = PackRow2vuy,
    .packV210 = PackRowV210,
    .unpack2vuy = UnpackRow2vuy,
    .unpackV210 = UnpackRowV210,
    .forwardTransform = ForwardTransform,
    .measureActivity = MeasureActivity,
    .measureDeviations = MeasureDeviations,
    .selectCoefficients = SelectCoefficients,
    .countComponentBytes = CountComponentBytes,
    .writeComponent = WriteComponent,
};

Kernels MakeKernels(CpuLevel level) {
  Kernels kernels = kPlainKernels;
  kernels.level = level;
  if (level == CpuLevel::kScalar) return kernels;
  InstallCoefficientDecoderKernels(level, kernels);
  InstallComponentEncoderKernels(level, kernels);
  InstallForwardTransformKernels(level, kernels);
  InstallActivityKernels(level, kernels);
  InstallGridDetectionKernels(level, kernels);
  InstallInverseTransformKernels(level, kernels);
  InstallChromaFilterKernels(level, kernels);
  InstallPackRowsKernels(level, kernels);
  InstallUnpackRowsKernels(level, kernels);
  return kernels;
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
