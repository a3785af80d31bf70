// SPDX-License-Identifier: BSD-2-Clause
// A plug-in with a dependency that the loader cannot find.
#include "vix/Export.h"

extern "C" int Dependency();

extern "C" VIX_API void RegisterAll(const char*) {
  Dependency();
}
