// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_FOURCCTEXT_H
#define CORE_FOURCCTEXT_H

#include <string>

#include "vix/Types.h"

namespace vix {

/// The four characters of a code; a dot stands for one that cannot be printed.
std::string FourCCCharacters(FourCC code);

/// A code as messages show it: characters and number, for example `"UYVY" (0x59565955)`.
std::string FourCCText(FourCC code);

}  // namespace vix

#endif  // CORE_FOURCCTEXT_H
