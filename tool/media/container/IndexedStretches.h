// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_INDEXEDSTRETCHES_H
#define TOOL_MEDIA_CONTAINER_INDEXEDSTRETCHES_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vixprores {

/// The stretches of a file that the index of its container leads to, for video and sound.
class IndexedStretches {
 public:
  /// Refuses, with a Failure, what is no container.
  explicit IndexedStretches(const std::string& path);

  /// The time in seconds of what begins exactly there and has so many bytes, be it in several
  /// stretches. None where the index does not lead to all of it.
  std::optional<double> FindTime(std::int64_t begin, std::int64_t bytes) const;

 private:
  struct Stretch {
    std::int64_t begin = 0;
    std::int64_t end = 0;
    double time = 0;
  };

  std::vector<Stretch> stretches_;  ///< by where they begin
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_INDEXEDSTRETCHES_H
