// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_UNPACKROWSSIMD_H
#define CODEC_PIXEL_UNPACKROWSSIMD_H

#include "cpu/Kernels.h"

namespace prores {

/// Installs the SIMD forms of UnpackRow2vuy() and UnpackRowV210() for `level`.
void InstallUnpackRowsKernels(CpuLevel level, Kernels& kernels);

}  // namespace prores

#endif  // CODEC_PIXEL_UNPACKROWSSIMD_H
