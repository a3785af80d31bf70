// SPDX-License-Identifier: BSD-2-Clause
#include "vix/Version.h"

#include <cstdint>

namespace vix {

std::uint32_t GetVersion() noexcept {
  return VIX_VERSION_NUMBER;
}

const char* GetVersionText() noexcept {
  return VIX_VERSION_TEXT;
}

}  // namespace vix
