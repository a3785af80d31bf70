// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CHECK_ENCODINGCHECK_H
#define TOOL_CHECK_ENCODINGCHECK_H

#include <memory>

#include "format/StreamFormat.h"
#include "run/Elements.h"
#include "run/Transcode.h"

namespace vixprores {

/// Returns a check that decodes encoded frames and compares them with their sources; frames of 4444
/// in 12 bits, with the alpha that both have.
/// @param source  format of the pictures
/// @param encoded format of the frames
std::unique_ptr<EncodingCheck> MakeEncodingCheck(const StreamFormat& source,
                                                 const StreamFormat& encoded,
                                                 const ThreadShares& shares);

}  // namespace vixprores

#endif  // TOOL_CHECK_ENCODINGCHECK_H
