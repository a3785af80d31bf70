// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENTROPY_COMPONENTENCODERSIMD_H
#define CODEC_ENTROPY_COMPONENTENCODERSIMD_H

#include "cpu/Kernels.h"

namespace prores {

/// Installs the SIMD forms of CountComponentBytes() and WriteComponent() for `level`.
void InstallComponentEncoderKernels(CpuLevel level, Kernels& kernels);

}  // namespace prores

#endif  // CODEC_ENTROPY_COMPONENTENCODERSIMD_H
