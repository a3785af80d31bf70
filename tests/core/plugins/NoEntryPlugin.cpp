// SPDX-License-Identifier: BSD-2-Clause
// A library that is no plug-in.
#include "vix/Export.h"

extern "C" VIX_API void NotTheEntry(const char*) {}
