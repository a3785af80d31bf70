// SPDX-License-Identifier: BSD-2-Clause
#include <memory>
#include <string>
#include <utility>

#include "vix/Logging.h"
#include "vix/Registry.h"

namespace vix {
namespace {

class Milestone final : public IMilestone {
 public:
  explicit Milestone(std::string context) : scope_(std::move(context)) {}

 private:
  ContextScope scope_;
};

}  // namespace

std::unique_ptr<IMilestone> CreateMilestone(std::string name) {
  const std::string outer = GetCurrentContextString();
  return std::make_unique<Milestone>(outer.empty() ? std::move(name) : outer + " / " + name);
}

}  // namespace vix
