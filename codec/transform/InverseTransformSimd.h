// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_TRANSFORM_INVERSETRANSFORMSIMD_H
#define CODEC_TRANSFORM_INVERSETRANSFORMSIMD_H

#include "cpu/Kernels.h"

namespace prores {

/// Installs the SIMD forms of InverseTransform() for `level`.
void InstallInverseTransformKernels(CpuLevel level, Kernels& kernels);

}  // namespace prores

#endif  // CODEC_TRANSFORM_INVERSETRANSFORMSIMD_H
