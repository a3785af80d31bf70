// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_FRAMETIMECHECK_H
#define TOOL_MEDIA_CONTAINER_FRAMETIMECHECK_H

#include <cstdint>
#include <optional>
#include <string>

#include "base/Errors.h"
#include "format/FramePlace.h"
#include "format/StreamFormat.h"

extern "C" {
#include <libavutil/rational.h>
}

namespace vixprores {

/// Checks that the frames of a track come at a constant rate. Times count ticks of the track;
/// clocks of containers are coarser than frame rates, so that times are off by up to one tick.
class FrameTimeCheck {
 public:
  /// A frame that comes at another time than the rate requires.
  struct Deviation {
    std::int64_t number = 0;  ///< of the frame
    std::int64_t time = 0;
    std::int64_t expected = 0;
    std::int64_t missing = 0;  ///< whole frames that are left out before it
    bool isAccepted = false;
  };

  /// @param name name of the input, for messages
  FrameTimeCheck(const std::string& name, FrameTimes times) : name_(name), times_(times) {}

  /// Sets rate and clock of the track.
  /// @param first time of the first frame
  void Start(Rational rate, AVRational tick, std::int64_t first);

  FrameTimes GetTreatment() const { return times_; }
  /// Compares the time of a frame with the rate; nullopt = it is on time.
  std::optional<Deviation> Compare(std::int64_t number, std::int64_t time) const;
  /// Does the same for the next frame that is read. Later frames are expected relative to an odd
  /// one.
  std::optional<Deviation> Take(std::int64_t number, std::int64_t time);
  /// Passes a frame that was not read, with the given time.
  void Skip(std::int64_t number, std::int64_t time);
  /// Returns the number of accepted frames at odd times so far.
  std::int64_t CountUneven() const { return uneven_; }
  FrameTimeFailure MakeFailure(const Deviation& deviation,
                               std::optional<std::int64_t> offset) const;

 private:
  std::int64_t Expect(std::int64_t number) const;
  bool IsAbout(std::int64_t time, std::int64_t expected) const;
  std::int64_t CountMissing(std::int64_t time, std::int64_t expected) const;

  const std::string& name_;
  FrameTimes times_;
  Rational rate_{0, 1};
  AVRational tick_{0, 1};
  std::int64_t first_ = 0;
  std::int64_t uneven_ = 0;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_FRAMETIMECHECK_H
