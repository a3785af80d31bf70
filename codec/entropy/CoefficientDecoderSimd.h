// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENTROPY_COEFFICIENTDECODERSIMD_H
#define CODEC_ENTROPY_COEFFICIENTDECODERSIMD_H

#include "cpu/Kernels.h"

namespace prores {

/// Installs the form of DecodeComponents() for `level`, which decodes several components
/// alternately.
void InstallCoefficientDecoderKernels(CpuLevel level, Kernels& kernels);

}  // namespace prores

#endif  // CODEC_ENTROPY_COEFFICIENTDECODERSIMD_H
