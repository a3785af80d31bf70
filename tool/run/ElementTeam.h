// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_ELEMENTTEAM_H
#define TOOL_RUN_ELEMENTTEAM_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "run/ElementStream.h"

namespace vixprores {

/// How threads are put to work on one stream.
struct ThreadShares {
  unsigned elements;  ///< frames that are worked on side by side
  int threadsEach;    ///< threads that share one frame
};

/// Shares out `threads` threads (0 = one per processor). Whole frames are the better shares, as
/// nobody waits for anybody; only where there are fewer frames than threads a frame is shared.
/// @param frames of the stream; none = unknown, and many
ThreadShares ShareThreads(int threads, std::optional<std::int64_t> frames);

/// Elements that work side by side on the frames of one stream. Each is used by one thread at a
/// time.
class ElementTeam {
 public:
  /// Makes a configured element that uses `threads` threads for a frame.
  using MakeElement = std::function<vix::ElementDriver(int threads)>;

  /// Makes the elements and defines `input` as the input stream of each.
  ElementTeam(const MakeElement& make, const StreamFormat& input, const ThreadShares& shares);

  unsigned GetSize() const { return static_cast<unsigned>(elements_.size()); }
  /// Frames that are in memory at a time: two for each element keep it at work while another one
  /// waits for its turn to be written.
  std::size_t GetMostInFlight() const { return 2 * elements_.size(); }

  /// As ElementStream::Process(), by one of the elements.
  std::shared_ptr<const vix::IVideoSample> Process(unsigned element,
                                                   std::shared_ptr<const vix::IBuffer> frame,
                                                   std::int64_t number) {
    return elements_.at(element).Process(std::move(frame), number);
  }

 private:
  std::vector<ElementStream> elements_;
};

}  // namespace vixprores

#endif  // TOOL_RUN_ELEMENTTEAM_H
