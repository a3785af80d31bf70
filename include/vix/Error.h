// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_ERROR_H
#define VIX_ERROR_H

#include <stdexcept>

#include "vix/Export.h"

namespace vix {

/// The framework's error. `what()` is the text that it was made from, unchanged.
///
/// It may outlive the plug-in that threw it, as happens when the exception unwinds past the last
/// owner of the plug-in.
class VIX_API VIXRuntimeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  VIXRuntimeError(const VIXRuntimeError&) = default;
  VIXRuntimeError(VIXRuntimeError&&) = default;
  VIXRuntimeError& operator=(const VIXRuntimeError&) = default;
  VIXRuntimeError& operator=(VIXRuntimeError&&) = default;
  // Visible on its own account, since inline functions are hidden otherwise: a plug-in that throws
  // then names the core's destructor, which is still there when the plug-in is not.
  VIX_API ~VIXRuntimeError() override = default;
};

}  // namespace vix

#endif  // VIX_ERROR_H
