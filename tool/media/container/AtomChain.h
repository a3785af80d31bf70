// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_ATOMCHAIN_H
#define TOOL_MEDIA_CONTAINER_ATOMCHAIN_H

#include <cstdint>
#include <optional>

#include "media/InputFile.h"

namespace vixprores {

/// Where a .mov stops being one atom behind the other, each of them whole: the position of the
/// first one that is cut off or none at all. None for a whole file.
std::optional<std::int64_t> FindBrokenAtom(const InputFile& file);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_ATOMCHAIN_H
