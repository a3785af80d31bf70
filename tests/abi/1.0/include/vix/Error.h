// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_ERROR_H
#define VIX_ERROR_H

#include <stdexcept>

#include "vix/Export.h"

namespace vix {

/// Error of the framework. what() returns the constructor's text unchanged.
class VIX_API VIXRuntimeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace vix

#endif  // VIX_ERROR_H
