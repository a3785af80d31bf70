// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_EXPORT_H
#define VIX_EXPORT_H

/// Exports a symbol from its shared library.
#define VIX_API __attribute__((visibility("default")))

#endif  // VIX_EXPORT_H
