// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_SPREAD_H
#define TOOL_FRAMES_SPREAD_H

#include <algorithm>
#include <cstdint>

namespace vixprores {

/// Smallest, mean and largest of numbers that come one by one.
class Spread {
 public:
  void Add(double value) {
    min_ = count_ == 0 ? value : std::min(min_, value);
    max_ = count_ == 0 ? value : std::max(max_, value);
    sum_ += value;
    ++count_;
  }

  /// Adds the numbers of another one.
  void Merge(const Spread& other) {
    if (other.count_ == 0) return;
    min_ = count_ == 0 ? other.min_ : std::min(min_, other.min_);
    max_ = count_ == 0 ? other.max_ : std::max(max_, other.max_);
    sum_ += other.sum_;
    count_ += other.count_;
  }

  std::int64_t GetCount() const { return count_; }
  // All 0 while there is no number.
  double GetMin() const { return min_; }
  double GetMax() const { return max_; }
  double GetMean() const { return count_ > 0 ? sum_ / static_cast<double>(count_) : 0; }

 private:
  double min_ = 0;
  double max_ = 0;
  double sum_ = 0;
  std::int64_t count_ = 0;
};

}  // namespace vixprores

#endif  // TOOL_FRAMES_SPREAD_H
