// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_CPU_TARGETS_H
#define CODEC_CPU_TARGETS_H

/// @file
/// Instruction sets that a source of SIMD kernels is compiled for, by Highway's foreach_target.h:
///
///     #undef HWY_TARGET_INCLUDE
///     #define HWY_TARGET_INCLUDE "folder/File.cpp"  // itself
///     #include "cpu/Targets.h"
///     #include <hwy/foreach_target.h>
///     #include <hwy/highway.h>
///
///     #if HWY_TARGET != HWY_STATIC_TARGET
///     HWY_BEFORE_NAMESPACE();
///     namespace prores::HWY_NAMESPACE {
///     // the kernels, with vectors as wide as the target's
///     }  // namespace prores::HWY_NAMESPACE
///     HWY_AFTER_NAMESPACE();
///     #endif
///
///     #if HWY_ONCE
///     // XyzFor(CpuLevel), which selects a form of Xyz() with ForLevel()
///     #endif
///
/// The plain forms serve the static target, that of the compiler's flags.

// One target for each SIMD CpuLevel; AVX-512 without VBMI2 takes the AVX2 forms. Highway gives
// better targets lower bits, so the last term disables those that newer versions have above
// AVX3_DL.
#define HWY_WANT_AVX3_DL
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3 | (HWY_AVX3_DL - 1))
#define HWY_DISABLE_PCLMUL_AES
#define HWY_DISABLE_F16C

#endif  // CODEC_CPU_TARGETS_H
