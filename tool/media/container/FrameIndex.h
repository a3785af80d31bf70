// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_FRAMEINDEX_H
#define TOOL_MEDIA_CONTAINER_FRAMEINDEX_H

#include <cstdint>
#include <optional>

#include "media/container/Demuxer.h"

namespace vixprores {

/// What a container states about the frames of one track without reading them: their number, and
/// in a .mov an index of all of them. None of it is believed beyond what the file can hold.
class FrameIndex {
 public:
  /// @param demuxer must outlive this, as its stream
  FrameIndex(const Demuxer& demuxer, AVStream& stream) : demuxer_(demuxer), stream_(stream) {}

  /// Returns true if an index lists all frames.
  bool IsPresent() const;
  /// Number of frames in the index or the header, those included that an edit list hides.
  std::optional<std::int64_t> CountIndexed() const;
  /// The same, or else the number that follows from a stated duration.
  /// @param start time of the first frame, in frames
  std::optional<std::int64_t> CountAnnounced(Rational rate, std::int64_t start) const;
  /// Returns the time of a frame by the index; nullopt if it does not fit the constant rate.
  /// @param rate numerator 0 = any time fits
  std::optional<std::int64_t> FindTime(std::int64_t frame, Rational rate) const;
  /// Returns true if the index leads to bytes of the file for that frame or a later one.
  bool LeadsInside(std::int64_t frame) const;
  /// Throws a Failure if the chain of fragments of a .mov is broken: what is behind is not found.
  void CheckFragments() const;

 private:
  const Demuxer& demuxer_;
  AVStream& stream_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_FRAMEINDEX_H
