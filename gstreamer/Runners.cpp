// SPDX-License-Identifier: BSD-2-Clause
#include "Runners.h"

namespace vixgst {

PoolRunner& Runners::Select(Implementation implementation) {
  auto& runner = runners_.at(static_cast<std::size_t>(implementation));
  if (!runner) runner = make_(implementation);
  current_ = runner.get();
  return *current_;
}

void Runners::Discard() {
  for (const auto& runner : runners_) {
    if (runner) runner->Discard();
  }
}

void Runners::Stop() {
  current_ = nullptr;
  runners_ = {};
}

std::size_t Runners::GetMostInFlight() const {
  return current_ ? current_->GetPool().GetMostInFlight() : 0;
}

}  // namespace vixgst
