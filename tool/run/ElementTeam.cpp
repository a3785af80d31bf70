// SPDX-License-Identifier: BSD-2-Clause
#include "run/ElementTeam.h"

#include <algorithm>
#include <thread>

namespace vixprores {

ThreadShares ShareThreads(int threads, std::optional<std::int64_t> frames) {
  const auto processors = static_cast<int>(std::thread::hardware_concurrency());
  const std::int64_t available = std::max(1, threads == 0 ? processors : threads);
  const std::int64_t elements = std::clamp<std::int64_t>(frames.value_or(available), 1, available);
  return {static_cast<unsigned>(elements), static_cast<int>(available / elements)};
}

ElementTeam::ElementTeam(const MakeElement& make, const StreamFormat& input,
                         const ThreadShares& shares) {
  elements_.reserve(shares.elements);
  while (elements_.size() < shares.elements) {
    elements_.emplace_back(make(shares.threadsEach), input);
  }
}

}  // namespace vixprores
