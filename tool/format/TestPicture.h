// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_TESTPICTURE_H
#define TOOL_FORMAT_TESTPICTURE_H

#include <cstdint>
#include <span>
#include <vector>

#include "format/StreamFormat.h"

namespace vixprores {

/// Draws frames that load a codec like camera pictures: soft shading, hard edges of moving objects,
/// texture of varying strength with more coarse than fine detail, and grain. The same arguments
/// give the same frames everywhere. May be used by any thread.
class TestPicture {
 public:
  TestPicture();

  /// Draws a planar picture, PlanarBytes() bytes as PlanarPicture.h describes them. The fields of
  /// an interlaced format are half a frame apart in time.
  void Draw(const StreamFormat& format, std::uint32_t frame, std::span<std::uint8_t> planar) const;

 private:
  /// Numbers on a square that repeats in both directions.
  class Tile {
   public:
    /// Adds smooth noise in [-amplitude, amplitude] with details of `cell` samples.
    void AddNoise(std::uint32_t cell, std::int32_t amplitude, std::uint32_t seed);
    std::int32_t At(std::uint32_t x, std::uint32_t y) const {
      return values_[(y % kSide) * kSide + x % kSide];
    }

   private:
    static constexpr std::uint32_t kSide = 1024;
    std::vector<std::int16_t> values_ = std::vector<std::int16_t>(kSide * kSide);
  };

  struct Plane;
  void DrawPlane(const StreamFormat& format, std::uint32_t frame, const Plane& plane,
                 std::uint8_t* samples) const;
  std::int32_t SampleAt(const Plane& plane, std::uint32_t x, std::uint32_t y,
                        std::uint32_t time) const;

  Tile things_;  ///< the sign changes at their outlines
  Tile texture_;
  Tile strength_;  ///< of the texture
  Tile grain_;
};

/// Returns the number of different pictures for that many frames, which repeat in a cycle: too many
/// for caches, and few enough for memory.
std::uint32_t CountTestPictures(std::uint32_t frames, std::uint32_t frameBytes);

}  // namespace vixprores

#endif  // TOOL_FORMAT_TESTPICTURE_H
