// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_FOURCCTEXT_H
#define CORE_FOURCCTEXT_H

#include <string>

#include "vix/Types.h"

namespace vix {

/// Returns the four characters of a code, with a dot for each that is not printable ASCII.
std::string FourCCCharacters(FourCC code);

/// Returns characters and number of a code for messages, for example `"UYVY" (0x59565955)`.
std::string FourCCText(FourCC code);

}  // namespace vix

#endif  // CORE_FOURCCTEXT_H
