// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_VERSION_H
#define VIX_VERSION_H

/// @file
/// Versions of these headers and of the loaded core. They differ if a program runs with another
/// core than it was built with. Every function may be called from any thread.

#include <cstdint>

#include "vix/Export.h"

/// Version of these headers, a semantic version. The build reads the project's version from here.
/// @{
#define VIX_VERSION_MAJOR 1
#define VIX_VERSION_MINOR 1
#define VIX_VERSION_PATCH 0
/// @}

/// Number of a version, for comparisons: a later version has a higher number.
#define VIX_MAKE_VERSION(major, minor, patch) ((major)*1000000U + (minor)*1000U + (patch))
/// Number of the version of these headers.
#define VIX_VERSION_NUMBER VIX_MAKE_VERSION(VIX_VERSION_MAJOR, VIX_VERSION_MINOR, VIX_VERSION_PATCH)

/// Helpers of VIX_VERSION_TEXT.
/// @{
#define VIX_TEXT_OF_VALUE(value) #value
#define VIX_TEXT_OF(macro) VIX_TEXT_OF_VALUE(macro)
/// @}
/// Text of the version of these headers, for example "1.1.0".
#define VIX_VERSION_TEXT         \
  VIX_TEXT_OF(VIX_VERSION_MAJOR) \
  "." VIX_TEXT_OF(VIX_VERSION_MINOR) "." VIX_TEXT_OF(VIX_VERSION_PATCH)

namespace vix {

/// Returns the number of the loaded core's version. A program that uses calls of 1.2 where they
/// exist compares it with VIX_MAKE_VERSION(1, 2, 0).
VIX_API std::uint32_t GetVersion() noexcept;
/// Returns the text of the loaded core's version, for example "1.1.0".
VIX_API const char* GetVersionText() noexcept;

}  // namespace vix

#endif  // VIX_VERSION_H
