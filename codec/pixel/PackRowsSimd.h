// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_PACKROWSSIMD_H
#define CODEC_PIXEL_PACKROWSSIMD_H

#include "cpu/Kernels.h"

namespace prores {

/// Installs the SIMD forms of PackRow2vuy() and PackRowV210() for `level`.
void InstallPackRowsKernels(CpuLevel level, Kernels& kernels);

}  // namespace prores

#endif  // CODEC_PIXEL_PACKROWSSIMD_H
