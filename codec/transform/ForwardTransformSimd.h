// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_TRANSFORM_FORWARDTRANSFORMSIMD_H
#define CODEC_TRANSFORM_FORWARDTRANSFORMSIMD_H

#include "cpu/Kernels.h"

namespace prores {

/// Installs the SIMD forms of ForwardTransform() for `level`.
void InstallForwardTransformKernels(CpuLevel level, Kernels& kernels);

}  // namespace prores

#endif  // CODEC_TRANSFORM_FORWARDTRANSFORMSIMD_H
