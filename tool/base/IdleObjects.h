// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_IDLEOBJECTS_H
#define TOOL_BASE_IDLEOBJECTS_H

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace vixprores {

/// Objects that threads take for a piece of work and give back for the next one, because they are
/// costly to make. There are as many as were in use at once. May be used by any thread.
template <typename Object>
class IdleObjects {
 public:
  /// Returns an idle object; if there is none, that of `make`.
  template <typename Make>
  std::unique_ptr<Object> Take(const Make& make) {
    {
      const std::lock_guard lock(mutex_);
      if (!idle_.empty()) {
        auto object = std::move(idle_.back());
        idle_.pop_back();
        return object;
      }
    }
    return make();
  }

  void GiveBack(std::unique_ptr<Object> object) {
    const std::lock_guard lock(mutex_);
    idle_.push_back(std::move(object));
  }

 private:
  std::mutex mutex_;
  std::vector<std::unique_ptr<Object>> idle_;
};

}  // namespace vixprores

#endif  // TOOL_BASE_IDLEOBJECTS_H
