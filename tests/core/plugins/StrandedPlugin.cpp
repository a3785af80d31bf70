// SPDX-License-Identifier: BSD-2-Clause
// A plug-in that needs a library which is not found.
#include "vix/Export.h"

extern "C" int Dependency();

extern "C" VIX_API void RegisterAll(const char*) {
  Dependency();
}
