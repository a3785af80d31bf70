// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_CODECHOOK_H
#define VIX_CODECHOOK_H

#include <cstdint>
#include <optional>

#include "vix/Export.h"

namespace vix {

/// What a codec library reported of one frame.
struct CodecReport {
  std::int32_t result = 0;          ///< as returned by the library; negative = failure
  std::uint32_t damagedSlices = 0;  ///< decoding: damaged slices, all of them concealed
  std::uint32_t slices = 0;         ///< decoding: slices of the frame; 0 after a failure
};

/// Connects drivers of elements with the codec library that the elements use, which the core does
/// not link. Elements have neither a parameter for the threads of a decoder nor a way to return the
/// library's own result. ProResCodecHook.h implements the hook for libProRes.
///
/// A driver calls both operations on the thread that pushes a frame. Any number of threads may do
/// so at the same time.
class VIX_API ICodecHook {
 public:
  virtual ~ICodecHook() = default;
  /// Called before an element processes a frame.
  /// @param threads threads of codecs that the element opens meanwhile; 0 = the library's default
  virtual void BeginFrame(int threads) = 0;
  /// Called after it, even if the element threw. Must not throw.
  /// @return the last report since BeginFrame(); nullopt if the library was not called
  virtual std::optional<CodecReport> EndFrame() noexcept = 0;
};

}  // namespace vix

#endif  // VIX_CODECHOOK_H
