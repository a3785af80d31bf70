// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_PAGES_H
#define TOOL_REPORT_PAGES_H

/// @file
/// Reports as HTML pages: one self-contained file each. A page holds the JSON report of its
/// command, with long lists truncated, and additional data for the page alone, such as pictures;
/// the scripts in report/pages draw both. The pictures are decoded, which requires the plug-in,
/// from frames that were kept.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "check/Verification.h"
#include "check/VideoComparison.h"
#include "format/RgbPicture.h"
#include "frames/StreamStatistics.h"
#include "run/FrameSource.h"

namespace vixprores {

/// Greatest width of a picture on a page, in pixels; wider pictures are scaled down.
inline constexpr std::uint32_t kWidestMap = 640;
inline constexpr std::uint32_t kWidestPicture = 800;

/// A frame that a page shows with its slices.
struct MappedFrame {
  std::string name;  ///< "Largest frame"
  std::int64_t number = 0;
  std::optional<RgbPicture> picture;  ///< nullopt if it is too large to be decoded for a page
  SliceGrid grid;
};

/// The pictures of the frame that differs most, both of the same size.
struct WorstPictures {
  std::int64_t number = 0;
  // nullopt if the pictures are too large to be decoded for a page
  std::optional<RgbPicture> reference;
  std::optional<RgbPicture> distorted;
  // The part that differs most, pixel by pixel; nullopt if the whole pictures are shown in full
  // size.
  std::optional<RgbPicture> referencePart;
  std::optional<RgbPicture> distortedPart;
};

MappedFrame MapFrame(PictureSource& source, const NumberedFrame& frame, std::string name);
std::vector<MappedFrame> MapFrames(PictureSource& source, const NotableFrames& frames);
WorstPictures DrawWorst(PictureSource& reference, PictureSource& distorted, const WorstPair& pair);

/// Most groups of consecutive frames in a chart. For longer streams a page shows the most notable
/// frame and the first frame with a fault of each group.
inline constexpr std::size_t kMostPageGroups = 2400;
/// Most damaged frames and pieces of sound that a page lists.
inline constexpr std::size_t kMostPageRows = 1200;
/// Most slices of a frame that a page draws one by one: the slices of an 8K frame at the smallest
/// slice width.
inline constexpr std::size_t kMostPageSlices = 1U << 17;

/// Returns the page of `inspect`.
std::string InspectionPage(const StreamStatistics& stream, const std::vector<MappedFrame>& frames);

/// Returns the page of `compare`.
/// @param worst  nullopt if all frames are identical
/// @param mapped slices of that frame; empty if the distorted video is not ProRes
/// @param target target size of a ProRes frame in bytes; nullopt = unknown
std::string ComparisonPage(const Comparison& comparison, const std::optional<WorstPictures>& worst,
                           const std::vector<MappedFrame>& mapped,
                           const std::optional<std::uint32_t>& target);

/// Builds the page of `verify`. Keeps the parts of the page, not the data that they are made from.
class VerificationPage {
 public:
  /// @param stream nullopt if the file could not be opened
  void Add(const Verification& file, const std::optional<VerifiedStream>& stream);
  std::string Finish() const;

 private:
  std::vector<std::string> reports_;  // JSON report of each file
  std::vector<std::string> extras_;   // JSON of each file that only the page needs
  bool isIntact_ = true;
};

/// Returns the bytes of a text.
std::span<const std::uint8_t> AsBytes(const std::string& text);

}  // namespace vixprores

#endif  // TOOL_REPORT_PAGES_H
