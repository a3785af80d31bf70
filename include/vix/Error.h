// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_ERROR_H
#define VIX_ERROR_H

#include <stdexcept>

#include "vix/Export.h"

namespace vix {

/// The framework's error. `what()` is the text that it was made from, unchanged.
class VIX_API VIXRuntimeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace vix

#endif  // VIX_ERROR_H
