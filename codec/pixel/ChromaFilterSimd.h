// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_CHROMAFILTERSIMD_H
#define CODEC_PIXEL_CHROMAFILTERSIMD_H

#include "cpu/Kernels.h"

namespace prores {

/// Installs the SIMD forms of HalveChroma() for `level`.
void InstallChromaFilterKernels(CpuLevel level, Kernels& kernels);

}  // namespace prores

#endif  // CODEC_PIXEL_CHROMAFILTERSIMD_H
