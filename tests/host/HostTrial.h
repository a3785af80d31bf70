// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_HOST_HOSTTRIAL_H
#define TESTS_HOST_HOSTTRIAL_H

/// @file
/// Parts of a host that changes everything at random: settings and streams, frame memory, and
/// samples that it keeps.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "Streams.h"
#include "vix/Buffers.h"

namespace vix::test {

/// What one frame is processed with.
struct TrialSettings {
  Shape shape;
  ProResCodecVariant variant = ProResCodecVariant::Standard;
  FourCC fourcc = kFourCC_V210;  ///< of the decoded pictures
  bool skipField = false;

  bool operator==(const TrialSettings&) const = default;
};

/// A sequence of settings, in which some of them change now and then.
class RandomSettings {
 public:
  explicit RandomSettings(std::uint32_t seed) : random_(seed) {}

  /// Returns the settings of the next frame.
  const TrialSettings& Next();
  /// Returns true once in `times`, on average.
  bool Chance(unsigned times) { return Below(times) == 0; }
  /// Returns a number from 0 to `end` - 1.
  unsigned Below(unsigned end) { return static_cast<unsigned>(random_() % end); }

 private:
  std::mt19937 random_;
  TrialSettings settings_;
};

/// Memory of the host for any number of drivers, which counts its bytes. Each third picture has
/// another stride.
class CountedMemory {
 public:
  static constexpr std::uint32_t kPadding = 96;  ///< bytes after each row of such a picture

  FrameMemoryCallbacks GetCallbacks();
  std::size_t GetLiveBytes() const { return liveBytes_; }

 private:
  FrameMemory Allocate(const FrameMemoryRequest& request);
  void Release(std::uint8_t* data);

  std::atomic<std::size_t> liveBytes_ = 0;
  std::atomic<unsigned> allocations_ = 0;
};

/// A sample with what it must be.
struct TrialSample {
  Container container;
  TrialSettings settings;
  unsigned number = 0;
  bool isPicture = false;  ///< false = an encoded frame

  /// Expects that description, bytes and picture are right.
  void Check() const;
};

}  // namespace vix::test

#endif  // TESTS_HOST_HOSTTRIAL_H
