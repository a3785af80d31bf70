// SPDX-License-Identifier: BSD-2-Clause
// Included once for each target, see cpu/Targets.h.
#if defined(CODEC_CPU_BUTTERFLY_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef CODEC_CPU_BUTTERFLY_INL_H
#undef CODEC_CPU_BUTTERFLY_INL_H
#else
#define CODEC_CPU_BUTTERFLY_INL_H
#endif

/// @file
/// Sum and difference of two vectors, the building block of the transforms.

#include <hwy/highway.h>

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {

template <class V>
struct Crossed {
  V sum;
  V difference;
};

/// The transforms saturate the adders while multipliers are idle. Where multiply-subtract is one
/// operation, which rounds once, the difference is computed with a factor of 1. The bits are the
/// same.
template <class V>
HWY_INLINE Crossed<V> Cross(V a, V b) {
#if HWY_TARGET <= HWY_AVX2
  namespace hn = hwy::HWY_NAMESPACE;
  return {a + b, hn::MulSub(a, hn::Set(hn::DFromV<V>(), 1.0F), b)};
#else
  return {a + b, a - b};
#endif
}

}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#endif  // CODEC_CPU_BUTTERFLY_INL_H
