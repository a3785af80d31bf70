// SPDX-License-Identifier: BSD-2-Clause
#include "frames/NotableFrames.h"

#include <algorithm>
#include <array>

namespace vixprores {

void NotableFrames::Add(const NumberedFrame& frame, const FrameStatistics& statistics) {
  if (!statistics.fault.empty()) return;
  const auto bytes = static_cast<double>(statistics.bytes);
  const std::array values{bytes, -bytes, statistics.quantisers.GetMean()};
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (records_[i].frame.data && records_[i].value >= values[i]) continue;
    records_[i].value = values[i];
    records_[i].frame = frame;
  }
}

std::vector<NotableFrames::Notable> NotableFrames::List() const {
  std::vector<Notable> list;
  for (const Record& record : records_) {
    if (!record.frame.data) continue;
    const auto known = std::ranges::find_if(list, [&record](const Notable& notable) {
      return notable.frame.number == record.frame.number;
    });
    if (known != list.end()) {
      known->reasons.emplace_back(record.reason);
    } else {
      list.push_back({{record.reason}, record.frame});
    }
  }
  return list;
}

}  // namespace vixprores
