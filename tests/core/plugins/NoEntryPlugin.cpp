// SPDX-License-Identifier: BSD-2-Clause
// A library without the entry of a plug-in.
#include "vix/Export.h"

extern "C" VIX_API void NotTheEntry(const char*) {}
