// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_ELEMENTS_H
#define TOOL_RUN_ELEMENTS_H

/// @file
/// Runs a stream through elements of the plug-in: frames go in as buffers and come out as samples.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "format/StreamFormat.h"
#include "frames/FrameHeaders.h"
#include "vix/Buffers.h"
#include "vix/ElementDriver.h"
#include "vix/Samples.h"
#include "vix/StreamDescription.h"

namespace vixprores {

/// Returns the host's description of a stream.
std::shared_ptr<const vix::IVideoInfo> DescribeStream(const StreamFormat& format);

/// Creates and configures the ProRes encoder of the registry; `threads` threads share a frame.
vix::ElementDriver MakeProResEncoder(const ProResVariant& variant, int threads);

/// Creates and configures the ProRes decoder of the registry. `fourcc` is "UYVY" or "V210".
vix::ElementDriver MakeProResDecoder(vix::FourCC fourcc, bool skipField);

/// Distribution of threads over the elements of one stream.
struct ThreadShares {
  unsigned elements;  ///< frames that are processed side by side
  int threadsEach;    ///< threads that share one frame
};

/// Distributes `threads` threads (0 = one per processor). Threads share a frame only if there are
/// fewer frames than threads: whole frames need no waiting.
/// @param frames frames of the stream; nullopt = unknown, assumed to be many
ThreadShares ShareThreads(int threads, std::optional<std::int64_t> frames);

/// Result of an element for one frame.
struct ElementOutput {
  std::shared_ptr<const vix::IVideoSample> sample;  ///< null = the frame cannot be decoded
  std::uint32_t damagedSlices = 0;                  ///< concealed by the decoder
  std::string fault = {};  ///< of the frame, to follow its number; empty = none
};

/// Elements that work in parallel on the frames of one stream.
class ElementTeam {
 public:
  /// Makes a configured element that uses `threads` threads for a frame.
  using MakeElement = std::function<vix::ElementDriver(int threads)>;

  /// Makes the elements and defines `input` as the input stream of each.
  ElementTeam(const MakeElement& make, const StreamFormat& input, const ThreadShares& shares);

  unsigned GetSize() const { return static_cast<unsigned>(elements_.size()); }
  /// Returns the number of frames to keep in memory: two for each element, so that it works on one
  /// while the other waits to be written.
  std::size_t GetMostInFlight() const { return 2 * elements_.size(); }

  /// Runs one of the elements on one frame. Each element may be used by one thread at a time.
  /// @param number of the frame in the output, from 0; sets the frame's time
  /// @throws VIXRuntimeError if the element fails
  ElementOutput Process(unsigned element, std::shared_ptr<const vix::IBuffer> frame,
                        std::int64_t number);
  /// Does the same for an encoder; returns its failure as a fault.
  ElementOutput Encode(unsigned element, std::shared_ptr<const vix::IBuffer> frame,
                       std::int64_t number);
  /// Does the same for a decoder whose pictures have `pictureBytes` bytes; returns what is wrong
  /// with a frame that is damaged or cannot be decoded as a fault.
  /// @param header of the frame; nullopt = invalid
  ElementOutput Decode(unsigned element, const std::shared_ptr<const vix::IBuffer>& frame,
                       const std::optional<ParsedHeader>& header, std::int64_t number,
                       std::uint32_t pictureBytes);

 private:
  std::vector<vix::ElementDriver> elements_;
  int threadsEach_;
  StreamFormat input_;
  std::shared_ptr<const vix::IVideoInfo> info_;
};

}  // namespace vixprores

#endif  // TOOL_RUN_ELEMENTS_H
