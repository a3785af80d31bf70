// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_PAGES_H
#define TOOL_REPORT_PAGES_H

/// @file
/// Reports as HTML pages: one file each, which loads nothing. A page holds the JSON report of its
/// command, with long lists cut, and what only the page needs, such as pictures; the scripts in
/// report/pages draw both.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "check/Verification.h"
#include "check/VideoComparison.h"
#include "report/PagePictures.h"

namespace vixprores {

/// Most groups of consecutive frames in a chart. Of longer streams a page has, for each group, the
/// most notable frame and the first one with a fault.
inline constexpr std::size_t kMostPageGroups = 2400;
/// Most damaged frames and pieces of sound that a page lists.
inline constexpr std::size_t kMostPageRows = 1200;
/// Most slices of a frame that a page draws one by one: those of 8K frames at the smallest slice
/// width.
inline constexpr std::size_t kMostPageSlices = 1U << 17;

/// The page of `inspect`.
std::string InspectionPage(const StreamStatistics& stream, const std::vector<MappedFrame>& frames);

/// The page of `compare`.
/// @param worst  nullopt if all frames are identical
/// @param mapped slices of that frame; empty if the distorted video is not ProRes
/// @param target bytes of a ProRes frame that its encoder aims at; nullopt = unknown
std::string ComparisonPage(const Comparison& comparison, const std::optional<WorstPictures>& worst,
                           const std::vector<MappedFrame>& mapped,
                           const std::optional<std::uint32_t>& target);

/// The page of `verify`. Keeps the parts of the page, not what they are made from.
class VerificationPage {
 public:
  /// @param stream nullopt if the file could not be opened
  void Add(const Verification& file, const std::optional<VerifiedStream>& stream);
  std::string Finish() const;

 private:
  std::vector<std::string> reports_;  // JSON of each file
  std::vector<std::string> extras_;   // JSON of what only the page needs of each file
  bool isIntact_ = true;
};

/// The bytes of a text.
std::span<const std::uint8_t> AsBytes(const std::string& text);

}  // namespace vixprores

#endif  // TOOL_REPORT_PAGES_H
