// SPDX-License-Identifier: BSD-2-Clause
#ifndef SRC4444_STREAMS_H
#define SRC4444_STREAMS_H

/// @file
/// What both elements do with configurations, descriptions and containers. Failures are reported as
/// Diagnostics.h describes.

#include <cstdint>
#include <memory>
#include <string>

#include "vix/Buffers.h"
#include "vix/Parameters.h"
#include "vix/Samples.h"
#include "vix/StreamDescription.h"

namespace vix::prores4444 {

/// Parameters of both elements.
inline constexpr const char* kAlphaBits = "AlphaBits";
inline constexpr const char* kNumThreads = "NumThreads";

/// Value of "AlphaBits" that leaves the choice to the element.
inline constexpr std::int32_t kAutomaticAlpha = -1;

/// Declares "NumThreads".
void AddThreads(IParametersCollectionPrototype& schema);

/// Returns "AlphaBits": 0, 8, 16 or kAutomaticAlpha. Fails for any other value.
std::int32_t ReadAlphaBits(const IParametersCollectionInstance& config);
/// Returns "NumThreads", 0 = automatic. Fails for a negative value.
std::int32_t ReadThreads(const IParametersCollectionInstance& config);

/// Returns the description of the only stream of a container, which is not null. Fails for none,
/// several, and one of another codec family.
std::shared_ptr<const IVideoParameters> ReadOnlyStream(const IInfoContainer* container,
                                                       VCodecFamily family);
/// Returns the only sample of a container, which is not null. Fails for none and several.
std::shared_ptr<const IVideoSample> ReadOnlySample(const ISampleContainer* container);

/// Copies the thirteen properties that descriptions of every codec family have.
void CopyProperties(const IVideoParameters& source, IVideoParameters& target);

/// Creates an allocator that reuses the memory of released blocks.
std::shared_ptr<IMemoryBlockAllocator> CreateRecycler();

/// Returns what a failed call of the codec library returned, for messages.
std::string ResultText(std::int32_t result);

}  // namespace vix::prores4444

#endif  // SRC4444_STREAMS_H
