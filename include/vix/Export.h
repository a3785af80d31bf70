// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_EXPORT_H
#define VIX_EXPORT_H

/// Marks what is visible outside its shared library.
#define VIX_API __attribute__((visibility("default")))

#endif  // VIX_EXPORT_H
