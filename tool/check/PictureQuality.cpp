// SPDX-License-Identifier: BSD-2-Clause
#include "check/PictureQuality.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

namespace vixprores {
namespace {

constexpr std::size_t kBlock = 4;  // a window is 2 x 2 blocks of this side
constexpr std::size_t kWindowSamples = 4 * kBlock * kBlock;

// Sums over samples of so many bits. 32 bits are faster where they are enough for the squares of a
// window of both planes.
template <unsigned kBits>
struct Sums {
  static constexpr std::uint64_t kLargestSquare =
      std::uint64_t{(1U << kBits) - 1} * ((1U << kBits) - 1);
  static constexpr bool kFits32Bits = 2 * kWindowSamples * kLargestSquare <= UINT32_MAX;
  using Type = std::conditional_t<kFits32Bits, std::uint32_t, std::uint64_t>;
  // The sum of so many squares fits.
  static constexpr std::size_t kRun =
      std::bit_floor(std::numeric_limits<Type>::max() / kLargestSquare);
};

template <unsigned kBits>
double SumSquaredErrors(const SamplePlane& a, const SamplePlane& b) {
  using Sum = typename Sums<kBits>::Type;
  constexpr std::size_t kRun = Sums<kBits>::kRun;
  std::uint64_t sum = 0;
  for (std::size_t begin = 0; begin < a.Count(); begin += kRun) {
    const std::size_t end = std::min(begin + kRun, a.Count());
    Sum run = 0;
    for (std::size_t i = begin; i < end; ++i) {
      // Modulo the range of the type, the square of a negative error is right, too.
      const Sum error = Sum{a.samples[i]} - Sum{b.samples[i]};
      run += error * error;
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

// Moments of a row of blocks, one array for each, so that the loops are vectorised.
template <typename Moment>
class BlockRow {
 public:
  explicit BlockRow(std::size_t width)
      : blocks_(width / kBlock), columns_(blocks_ * kBlock), sums_(4 * blocks_), work_(columns_) {}

  std::size_t GetBlocks() const { return blocks_; }
  // a, b, squares, products
  const Moment* Get(std::size_t moment) const { return sums_.data() + moment * blocks_; }

  void Load(const SamplePlane& a, const SamplePlane& b, std::size_t blockRow) {
    Sum(a, b, blockRow, 0, [](Moment x, Moment) { return x; });
    Sum(a, b, blockRow, 1, [](Moment, Moment y) { return y; });
    Sum(a, b, blockRow, 2, [](Moment x, Moment y) { return x * x + y * y; });
    Sum(a, b, blockRow, 3, [](Moment x, Moment y) { return x * y; });
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
    Moment* const work = work_.data();
    for (std::size_t x = 0; x < columns_; ++x) {
      work[x] = value(rowsA[0][x], rowsB[0][x]) + value(rowsA[1][x], rowsB[1][x]) +
                value(rowsA[2][x], rowsB[2][x]) + value(rowsA[3][x], rowsB[3][x]);
    }
    Moment* const sums = sums_.data() + moment * blocks_;
    for (std::size_t i = 0; i < blocks_; ++i) {
      const Moment* const block = work + i * kBlock;
      sums[i] = block[0] + block[1] + block[2] + block[3];
    }
  }

  std::size_t blocks_;
  std::size_t columns_;
  std::vector<Moment> sums_;
  std::vector<Moment> work_;
};

// Returns the sum of the similarities of the windows in two rows of blocks.
template <typename Moment>
double SumWindows(const BlockRow<Moment>& upper, const BlockRow<Moment>& lower, double peak) {
  const auto window = [&](std::size_t moment, std::size_t i) {
    const Moment* const up = upper.Get(moment) + i;
    const Moment* const low = lower.Get(moment) + i;
    return static_cast<double>(up[0] + up[1] + low[0] + low[1]);
  };
  double sum = 0;
  for (std::size_t i = 0; i + 1 < upper.GetBlocks(); ++i) {
    sum += Similarity(window(0, i), window(1, i), window(2, i), window(3, i), kWindowSamples, peak);
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

template <unsigned kBits>
double MeanSimilarity(const SamplePlane& a, const SamplePlane& b, double peak) {
  if (a.width < 2 * kBlock || a.height < 2 * kBlock) return SimilarityOfWhole(a, b, peak);
  BlockRow<typename Sums<kBits>::Type> upper(a.width);
  BlockRow<typename Sums<kBits>::Type> lower(a.width);
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

// @tparam kBits the most of a sample
template <unsigned kBits>
PlaneQuality MeasurePlane(const SamplePlane& a, const SamplePlane& b, unsigned bits) {
  PlaneQuality plane{SumSquaredErrors<kBits>(a, b), a.Count(), 1};
  if (plane.squaredError > 0) plane.ssim = MeanSimilarity<kBits>(a, b, PeakOf(bits));
  return plane;
}

}  // namespace

double ToPsnr(double meanSquaredError, unsigned bits) {
  if (meanSquaredError == 0) return std::numeric_limits<double>::infinity();
  return 10 * std::log10(PeakOf(bits) * PeakOf(bits) / meanSquaredError);
}

FrameQuality MeasureQuality(const SamplePicture& reference, const SamplePicture& distorted,
                            const ComparedDepth& depth) {
  const auto measure = depth.colours > 10 ? MeasurePlane<12> : MeasurePlane<10>;
  FrameQuality quality;
  PlaneQuality& all = quality.parts[FrameQuality::kAll];
  all.ssim = 0;
  for (std::size_t i = 0; i < SamplePicture::kPlanes; ++i) {
    const PlaneQuality plane = quality.parts[i] =
        measure(reference.GetPlane(i), distorted.GetPlane(i), depth.colours);
    all.squaredError += plane.squaredError;
    all.samples += plane.samples;
    all.ssim += plane.ssim * static_cast<double>(plane.samples);
  }
  all.ssim /= static_cast<double>(all.samples);
  if (depth.hasAlpha) {
    quality.parts[FrameQuality::kAlpha] = MeasurePlane<ComparedDepth::kAlphaBits>(
        reference.GetAlpha(), distorted.GetAlpha(), ComparedDepth::kAlphaBits);
  }
  return quality;
}

}  // namespace vixprores
