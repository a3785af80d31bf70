// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_RATE_ACTIVITYSIMD_H
#define CODEC_RATE_ACTIVITYSIMD_H

#include "cpu/Kernels.h"

namespace prores {

/// Installs the SIMD forms of MeasureActivity() for `level`.
void InstallActivityKernels(CpuLevel level, Kernels& kernels);

}  // namespace prores

#endif  // CODEC_RATE_ACTIVITYSIMD_H
