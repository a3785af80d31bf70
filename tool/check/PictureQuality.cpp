// SPDX-License-Identifier: BSD-2-Clause
#include "check/PictureQuality.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace vixprores {
namespace {

constexpr std::size_t kBlock = 4;  // a window is 2 x 2 blocks of this side

// The sum of so many squared errors of 10-bit samples fits 32 bits.
constexpr std::size_t kRun = 2048;

double SumSquaredErrors(const SamplePlane& a, const SamplePlane& b) {
  std::uint64_t sum = 0;
  for (std::size_t begin = 0; begin < a.Count(); begin += kRun) {
    const std::size_t end = std::min(begin + kRun, a.Count());
    std::uint32_t run = 0;
    for (std::size_t i = begin; i < end; ++i) {
      const std::int32_t error = std::int32_t{a.samples[i]} - b.samples[i];
      run += static_cast<std::uint32_t>(error * error);
    }
    sum += run;
  }
  return static_cast<double>(sum);
}

// Sums over two sets of samples, from which their similarity is computed.
struct Moments {
  std::uint64_t a = 0;
  std::uint64_t b = 0;
  std::uint64_t squares = 0;  // of both
  std::uint64_t products = 0;

  void Add(std::uint64_t sampleA, std::uint64_t sampleB) {
    a += sampleA;
    b += sampleB;
    squares += sampleA * sampleA + sampleB * sampleB;
    products += sampleA * sampleB;
  }
};

double Similarity(double sumA, double sumB, double squares, double products, double samples,
                  double peak) {
  const double c1 = 0.01 * peak * 0.01 * peak;
  const double c2 = 0.03 * peak * 0.03 * peak;
  const double meanA = sumA / samples;
  const double meanB = sumB / samples;
  const double degrees = std::max(samples - 1, 1.0);
  const double variances = (squares - samples * (meanA * meanA + meanB * meanB)) / degrees;
  const double covariance = (products - samples * meanA * meanB) / degrees;
  return (2 * meanA * meanB + c1) * (2 * covariance + c2) /
         ((meanA * meanA + meanB * meanB + c1) * (variances + c2));
}

// Moments of a row of blocks, one array for each, so that the loops are vectorised. The moments of
// a block of 10-bit samples fit 32 bits.
class BlockRow {
 public:
  explicit BlockRow(std::size_t width)
      : blocks_(width / kBlock), columns_(blocks_ * kBlock), sums_(4 * blocks_), work_(columns_) {}

  std::size_t GetBlocks() const { return blocks_; }
  // a, b, squares, products
  const std::uint32_t* Get(std::size_t moment) const { return sums_.data() + moment * blocks_; }

  void Load(const SamplePlane& a, const SamplePlane& b, std::size_t blockRow) {
    using Sample = std::uint32_t;
    Sum(a, b, blockRow, 0, [](Sample x, Sample) { return x; });
    Sum(a, b, blockRow, 1, [](Sample, Sample y) { return y; });
    Sum(a, b, blockRow, 2, [](Sample x, Sample y) { return x * x + y * y; });
    Sum(a, b, blockRow, 3, [](Sample x, Sample y) { return x * y; });
  }

 private:
  template <typename Value>
  void Sum(const SamplePlane& a, const SamplePlane& b, std::size_t blockRow, std::size_t moment,
           const Value& value) {
    const std::size_t first = blockRow * kBlock;
    const std::uint16_t* const rowsA[] = {a.Row(first), a.Row(first + 1), a.Row(first + 2),
                                          a.Row(first + 3)};
    const std::uint16_t* const rowsB[] = {b.Row(first), b.Row(first + 1), b.Row(first + 2),
                                          b.Row(first + 3)};
    std::uint32_t* const work = work_.data();
    for (std::size_t x = 0; x < columns_; ++x) {
      work[x] = value(rowsA[0][x], rowsB[0][x]) + value(rowsA[1][x], rowsB[1][x]) +
                value(rowsA[2][x], rowsB[2][x]) + value(rowsA[3][x], rowsB[3][x]);
    }
    std::uint32_t* const sums = sums_.data() + moment * blocks_;
    for (std::size_t i = 0; i < blocks_; ++i) {
      const std::uint32_t* const block = work + i * kBlock;
      sums[i] = block[0] + block[1] + block[2] + block[3];
    }
  }

  std::size_t blocks_;
  std::size_t columns_;
  std::vector<std::uint32_t> sums_;
  std::vector<std::uint32_t> work_;
};

// Returns the sum of the similarities of the windows in two rows of blocks.
double SumWindows(const BlockRow& upper, const BlockRow& lower, double peak) {
  const auto window = [&](std::size_t moment, std::size_t i) {
    const std::uint32_t* const up = upper.Get(moment) + i;
    const std::uint32_t* const low = lower.Get(moment) + i;
    return static_cast<double>(up[0] + up[1] + low[0] + low[1]);
  };
  double sum = 0;
  for (std::size_t i = 0; i + 1 < upper.GetBlocks(); ++i) {
    sum += Similarity(window(0, i), window(1, i), window(2, i), window(3, i), 4 * kBlock * kBlock,
                      peak);
  }
  return sum;
}

double SimilarityOfWhole(const SamplePlane& a, const SamplePlane& b, double peak) {
  Moments moments;
  for (std::size_t i = 0; i < a.Count(); ++i) moments.Add(a.samples[i], b.samples[i]);
  return Similarity(static_cast<double>(moments.a), static_cast<double>(moments.b),
                    static_cast<double>(moments.squares), static_cast<double>(moments.products),
                    static_cast<double>(a.Count()), peak);
}

double MeanSimilarity(const SamplePlane& a, const SamplePlane& b, double peak) {
  if (a.width < 2 * kBlock || a.height < 2 * kBlock) return SimilarityOfWhole(a, b, peak);
  BlockRow upper(a.width);
  BlockRow lower(a.width);
  const std::size_t rows = a.height / kBlock;
  double sum = 0;
  lower.Load(a, b, 0);
  for (std::size_t row = 1; row < rows; ++row) {
    std::swap(upper, lower);
    lower.Load(a, b, row);
    sum += SumWindows(upper, lower, peak);
  }
  return sum / static_cast<double>((rows - 1) * (upper.GetBlocks() - 1));
}

double PeakOf(unsigned bits) {
  return static_cast<double>((1U << bits) - 1);
}

}  // namespace

double ToPsnr(double meanSquaredError, unsigned bits) {
  if (meanSquaredError == 0) return std::numeric_limits<double>::infinity();
  return 10 * std::log10(PeakOf(bits) * PeakOf(bits) / meanSquaredError);
}

FrameQuality MeasureQuality(const SamplePicture& reference, const SamplePicture& distorted,
                            unsigned bits) {
  FrameQuality quality;
  PlaneQuality& all = quality.parts[FrameQuality::kAll];
  all.ssim = 0;
  for (std::size_t i = 0; i < SamplePicture::kPlanes; ++i) {
    const SamplePlane a = reference.GetPlane(i);
    const SamplePlane b = distorted.GetPlane(i);
    PlaneQuality& plane = quality.parts[i];
    plane = {SumSquaredErrors(a, b), a.Count(), 1};
    if (plane.squaredError > 0) plane.ssim = MeanSimilarity(a, b, PeakOf(bits));
    all.squaredError += plane.squaredError;
    all.samples += plane.samples;
    all.ssim += plane.ssim * static_cast<double>(plane.samples);
  }
  all.ssim /= static_cast<double>(all.samples);
  return quality;
}

}  // namespace vixprores
