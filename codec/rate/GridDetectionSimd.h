// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_RATE_GRIDDETECTIONSIMD_H
#define CODEC_RATE_GRIDDETECTIONSIMD_H

#include "cpu/Kernels.h"

namespace prores {

/// Installs the SIMD forms of MeasureDeviations() for `level`.
void InstallGridDetectionKernels(CpuLevel level, Kernels& kernels);

}  // namespace prores

#endif  // CODEC_RATE_GRIDDETECTIONSIMD_H
