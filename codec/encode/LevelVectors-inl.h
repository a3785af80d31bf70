// SPDX-License-Identifier: BSD-2-Clause
// Included once for each target, see cpu/Targets.h.
#if defined(CODEC_ENCODE_LEVELVECTORS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef CODEC_ENCODE_LEVELVECTORS_INL_H
#undef CODEC_ENCODE_LEVELVECTORS_INL_H
#else
#define CODEC_ENCODE_LEVELVECTORS_INL_H
#endif

/// @file
/// Vectors of the component encoder: one 16-bit lane for each level.

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Tag = hn::ScalableTag<std::int16_t>;
using UnsignedTag = hn::RebindToUnsigned<Tag>;
using Tag32 = hn::Repartition<std::uint32_t, Tag>;
using Tag64 = hn::Repartition<std::uint64_t, Tag>;
using Vec = hn::Vec<Tag>;
using Vec32 = hn::Vec<Tag32>;
using Vec64 = hn::Vec<Tag64>;
constexpr std::size_t kLanes = hn::MaxLanes(Tag());

inline Vec Set(int value) {
  return hn::Set(Tag(), static_cast<std::int16_t>(value));
}

}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#endif  // CODEC_ENCODE_LEVELVECTORS_INL_H
