// SPDX-License-Identifier: BSD-2-Clause
#include "check/OffsetSearch.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <utility>

#include "base/FramePool.h"
#include "base/Interrupt.h"
#include "format/RgbPicture.h"
#include "run/FrameSource.h"
#include "run/OrderedRun.h"

namespace vixprores {
namespace {

constexpr std::int64_t kFrames = 2 * kLargestOffset;  // overlap by half at the largest offset
constexpr std::size_t kFewestPairs = 3;
constexpr RgbSize kSmall{32, 18};
// A match has less than this mean difference of code values, and this share of that without offset.
constexpr double kMostDifference = 8;
constexpr double kMostShare = 1.0 / 3;

double Difference(const SmallPicture& a, const SmallPicture& b) {
  double sum = 0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += std::abs(a[i] - b[i]);
  return sum / static_cast<double>(a.size());
}

// Returns the mean difference at an offset; nullopt if too few pictures overlap.
std::optional<double> Difference(const std::vector<SmallPicture>& reference,
                                 const std::vector<SmallPicture>& distorted, std::int64_t offset) {
  double sum = 0;
  std::size_t pairs = 0;
  for (std::int64_t i = std::max<std::int64_t>(0, -offset); i < std::ssize(reference); ++i) {
    if (i + offset >= std::ssize(distorted)) break;
    const SmallPicture& a = reference[static_cast<std::size_t>(i)];
    const SmallPicture& b = distorted[static_cast<std::size_t>(i + offset)];
    if (a.empty() || a.size() != b.size()) continue;
    sum += Difference(a, b);
    ++pairs;
  }
  return pairs < kFewestPairs ? std::nullopt : std::optional(sum / static_cast<double>(pairs));
}

struct SmallFrame {
  NumberedFrame frame;
  SmallPicture picture;
};

std::vector<SmallPicture> ReadSmallPictures(std::unique_ptr<FrameReader> reader, bool isDeep,
                                            std::int64_t first, int threads) {
  const ThreadShares shares = ShareThreads(threads, kFrames);
  PictureSource source(std::move(reader), shares, isDeep);
  RangeReader frames(source.GetReader(), FrameRange{first});
  std::vector<SmallPicture> pictures;
  std::int64_t read = 0;
  RunEnds<SmallFrame> ends;
  ends.read = [&]() -> std::optional<SmallFrame> {
    if (read++ == kFrames) return std::nullopt;
    auto frame = frames.Read();
    if (!frame) return std::nullopt;
    return SmallFrame{std::move(*frame), {}};
  };
  ends.write = [&](SmallFrame& item, const std::exception_ptr& /*undecodable*/) {
    pictures.push_back(std::move(item.picture));
  };
  ends.stopReading = RequestInterrupt;
  RunInOrder<SmallFrame>(shares.elements, ends, [&](SmallFrame& item, unsigned worker) {
    const auto decoded = source.Decode(item.frame, worker);
    item.picture = ToRgb(source.GetPictureFormat(), BytesOf(*decoded.bytes), kSmall).pixels;
  });
  return pictures;
}

}  // namespace

std::optional<std::int64_t> FindOffset(const std::vector<SmallPicture>& reference,
                                       const std::vector<SmallPicture>& distorted) {
  const auto without = Difference(reference, distorted, 0);
  std::optional<std::int64_t> best;
  double least = without ? std::min(kMostDifference, *without * kMostShare) : kMostDifference;
  for (std::int64_t offset = -kLargestOffset; offset <= kLargestOffset; ++offset) {
    const auto difference = Difference(reference, distorted, offset);
    if (!difference || *difference >= least) continue;
    least = *difference;
    best = offset;
  }
  return best;
}

std::optional<std::int64_t> FindOffset(const ComparedInputs& inputs, std::int64_t first,
                                       int threads) {
  ComparedReaders readers = OpenBoth(inputs);
  const auto read = [&](std::unique_ptr<FrameReader> reader) {
    return ReadSmallPictures(std::move(reader), readers.isDeep, first, threads);
  };
  return FindOffset(read(std::move(readers.reference)), read(std::move(readers.distorted)));
}

}  // namespace vixprores
