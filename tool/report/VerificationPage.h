// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_VERIFICATIONPAGE_H
#define TOOL_REPORT_VERIFICATIONPAGE_H

#include <cstdint>
#include <optional>
#include <string>

#include "check/Verification.h"
#include "report/HtmlPage.h"

namespace vixprores {

/// A page of one or several files that were verified. What it keeps of a file is what it shows.
class VerificationPage {
 public:
  /// @param stream none where the file could not be opened
  void Add(const Verification& file, const std::optional<VerifiedStream>& stream);
  /// The bytes of the page of the files that were added.
  std::string Finish() const;

 private:
  std::string Title() const;

  HtmlTable summary_{"Files", {"File", "Frames", "Damaged", "Outcome"}, {}};
  HtmlPart files_;
  std::int64_t frames_ = 0;
  std::int64_t damagedFrames_ = 0;
  std::int64_t intactFiles_ = 0;
};

}  // namespace vixprores

#endif  // TOOL_REPORT_VERIFICATIONPAGE_H
