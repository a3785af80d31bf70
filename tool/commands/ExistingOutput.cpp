// SPDX-License-Identifier: BSD-2-Clause
#include "commands/ExistingOutput.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "commands/FrameSource.h"
#include "io/FrameReader.h"
#include "run/Errors.h"

namespace vixprores {
namespace {

namespace fs = std::filesystem;
using FrameCount = std::optional<std::int64_t>;

// Frames that are skipped are not in the output.
bool IsAnother(const FrameCount& found, const FrameCount& wanted, DamagePolicy onDamage) {
  if (!found || !wanted) return false;
  return onDamage == DamagePolicy::Skip ? *found > *wanted : *found != *wanted;
}

std::string DescribePictures(const StreamFormat& format) {
  return DescribeSize(format.width, format.height) + " " + DescribeCode(format.code);
}

bool HasPictures(const StreamFormat& found, const StreamFormat& wanted) {
  const bool isOfKind = found.code == wanted.code || found.code == 0;  // not every container tells
  return isOfKind && found.width == wanted.width && found.height == wanted.height;
}

std::string CompareHeadless(const std::string& path, const TranscodePlan& plan,
                            const FrameCount& frames) {
  const std::uint32_t frameBytes = plan.content.video.FrameBytes();
  const auto bytes = static_cast<std::int64_t>(fs::file_size(path));
  const bool isWhole = bytes % frameBytes == 0;
  if (isWhole && !IsAnother(bytes / frameBytes, frames, plan.onDamage)) return {};
  return std::to_string(bytes) + " bytes instead of " +
         (frames ? std::to_string(*frames) : "whole") + " frames of " + std::to_string(frameBytes);
}

std::string CompareFrames(const std::string& path, const TranscodePlan& plan,
                          const FrameCount& frames) {
  const StreamFormat& wanted = plan.content.video;
  const auto reader = wanted.IsRaw() ? OpenRawVideo(path, std::nullopt) : OpenProRes(path);
  if (!HasPictures(reader->GetFormat(), wanted)) {
    return DescribePictures(reader->GetFormat()) + " instead of " + DescribePictures(wanted);
  }
  const auto found = reader->GetFrameCount();
  if (!IsAnother(found, frames, plan.onDamage)) return {};
  return std::to_string(*found) + " frames instead of " + std::to_string(*frames);
}

// How the file differs from what would be made; empty = not at all.
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
  throw Failure(options.output + " exists, but is not what would be made of " +
                plan.reader->GetName() + ": found " + difference + "; --overwrite replaces it");
}

}  // namespace vixprores
