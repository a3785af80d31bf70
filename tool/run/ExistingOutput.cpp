// SPDX-License-Identifier: BSD-2-Clause
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/ColourNames.h"
#include "media/sound/SideTracks.h"
#include "run/FrameSource.h"
#include "run/OpenInput.h"
#include "run/Transcode.h"

namespace vixprores {
namespace {

namespace fs = std::filesystem;
using FrameCount = std::optional<std::int64_t>;

// Returns true if the counts differ by more than the frames that may have been dropped.
bool Differ(const FrameCount& found, const FrameCount& wanted, DamagePolicy onDamage) {
  if (!found || !wanted) return false;
  return onDamage == DamagePolicy::Skip ? *found > *wanted : *found != *wanted;
}

std::string DescribePictures(const StreamFormat& format) {
  return DescribeSize(format.width, format.height) + " " + DescribeCode(format.code);
}

bool HasPictures(const StreamFormat& found, const StreamFormat& wanted) {
  const bool isOfKind = found.code == wanted.code || found.code == 0;  // 0 = not in the container
  return isOfKind && found.width == wanted.width && found.height == wanted.height;
}

std::string CompareHeadless(const std::string& path, const TranscodePlan& plan,
                            const FrameCount& frames) {
  const std::uint32_t frameBytes = plan.content.video.FrameBytes();
  const auto bytes = static_cast<std::int64_t>(fs::file_size(path));
  const bool isWhole = bytes % frameBytes == 0;
  if (isWhole && !Differ(bytes / frameBytes, frames, plan.onDamage)) return {};
  return std::to_string(bytes) + " bytes instead of " +
         (frames ? std::to_string(*frames) : "whole") + " frames of " + std::to_string(frameBytes);
}

// Properties of a stream and its other tracks as texts to be compared. Empty = the container cannot
// store the property.
using Labels = std::array<std::string, 7>;

// Describes the aspect in whole pixels: some containers are no more precise.
std::string DescribeDisplay(const StreamFormat& format) {
  const auto [width, height] = format.sampleAspect;
  if (width <= 0) return {};
  const double wide = static_cast<double>(format.width) * width / height;
  return "shown " + DescribeSize(static_cast<std::uint32_t>(std::lround(wide)), format.height);
}

Labels DescribeLabels(const StreamFormat& format, const std::optional<Timecode>& timecode,
                      std::size_t soundTracks) {
  const bool isFull = format.colour.range == ColourRange::Full;
  return {"colour " + Describe(format.colour),
          isFull ? "full range" : "limited range",
          Describe(format.fieldOrder),
          Describe(format.rate) + " fps",
          DescribeDisplay(format),
          timecode ? "timecode " + timecode->ToText() : "no timecode",
          Count(static_cast<std::int64_t>(soundTracks), "sound track")};
}

Labels LabelsOf(FrameReader& reader) {
  const SideTracks* const side = reader.GetSideTracks();
  return DescribeLabels(reader.GetFormat(), reader.GetDescription().timecode,
                        side ? side->GetSound().size() : 0);
}

Labels LabelsOf(const TranscodePlan& plan) {
  const StreamFormat kept = KeptFormat(plan.output, plan.content.video);
  Labels labels = DescribeLabels(kept, plan.content.timecode, plan.content.sound.size());
  if (!plan.output.keepsColourRange) labels[1].clear();
  if (kept.fieldOrder == FieldOrder::Unknown) labels[2].clear();
  if (!plan.output.keepsTimecode) labels[5].clear();
  return labels;
}

std::string CompareLabels(const Labels& found, const Labels& wanted) {
  std::string is;
  std::string should;
  for (std::size_t i = 0; i < found.size(); ++i) {
    if (found[i].empty() || wanted[i].empty() || found[i] == wanted[i]) continue;
    is += (is.empty() ? "" : ", ") + found[i];
    should += (should.empty() ? "" : ", ") + wanted[i];
  }
  return is.empty() ? std::string() : is + " instead of " + should;
}

std::string CompareFrames(const std::string& path, const TranscodePlan& plan,
                          const FrameCount& frames) {
  const StreamFormat& wanted = plan.content.video;
  const auto reader = wanted.IsRaw() ? OpenRawVideo(path, std::nullopt) : OpenProRes(path);
  if (!HasPictures(reader->GetFormat(), wanted)) {
    return DescribePictures(reader->GetFormat()) + " instead of " + DescribePictures(wanted);
  }
  const auto found = reader->GetDescription().frames;
  if (Differ(found, frames, plan.onDamage)) {
    return std::to_string(*found) + " frames instead of " + std::to_string(*frames);
  }
  return CompareLabels(LabelsOf(*reader), LabelsOf(plan));
}

// Returns how the file differs from the plan's output; empty = it matches.
std::string FindDifference(const std::string& path, const TranscodePlan& plan,
                           const FrameCount& frames) {
  try {
    return plan.output.kind == OutputKind::Headless ? CompareHeadless(path, plan, frames)
                                                    : CompareFrames(path, plan, frames);
  } catch (const std::runtime_error& unreadable) {
    return unreadable.what();
  }
}

}  // namespace

bool IsMadeAlready(const TranscodeOptions& options, const TranscodePlan& plan) {
  if (!fs::exists(options.output)) return false;
  const FrameCount frames = CountFrames(*plan.reader, options.frames);
  const std::string difference = FindDifference(options.output, plan, frames);
  if (difference.empty()) return true;
  throw Failure(options.output + ": exists, but differs from the output of " +
                plan.reader->GetName() + " (found " + difference + "); --overwrite replaces it");
}

}  // namespace vixprores
