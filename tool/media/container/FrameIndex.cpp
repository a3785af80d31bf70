// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/FrameIndex.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "media/container/MovFile.h"
#include "media/container/TrackDescription.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

// Bytes of the smallest possible frame, 2x2 pixels of UYVY.
constexpr std::int64_t kFewestFrameBytes = 8;
// Number of frames in an .avi whose writer could not seek back.
constexpr std::int64_t kStreamedAviFrames = 0x40000000;

}  // namespace

bool FrameIndex::IsPresent() const {
  return std::strstr(demuxer_.GetContext().iformat->name, "mov") != nullptr &&
         avformat_index_get_entries_count(&stream_) > 0;
}

std::optional<std::int64_t> FrameIndex::CountIndexed() const {
  // With an edit list the index holds both the frames that remain and the hidden ones.
  if (IsPresent()) return avformat_index_get_entries_count(&stream_);
  return stream_.nb_frames > 0 ? std::optional(stream_.nb_frames) : std::nullopt;
}

std::optional<std::int64_t> FrameIndex::CountAnnounced(Rational rate, std::int64_t start) const {
  if (IsPresent()) return CountIndexed();
  const auto& file = demuxer_.GetFile();
  const std::int64_t most = file.GetSize().value_or(INT64_MAX) / kFewestFrameBytes;
  const auto plausible = [&](std::int64_t frames) -> std::optional<std::int64_t> {
    const bool isPlaceholder = IsAvi(demuxer_.GetContext()) && frames == kStreamedAviFrames;
    return frames > 0 && frames <= most && !isPlaceholder ? std::optional(frames) : std::nullopt;
  };
  if (const auto counted = CountIndexed()) return plausible(*counted);
  if (rate.numerator == 0) return std::nullopt;
  const AVRational frame = Invert(rate);
  if (stream_.duration > 0) {
    return plausible(av_rescale_q(stream_.duration, stream_.time_base, frame));
  }
  // These durations start at time 0.
  const auto seconds = FindStatedDuration(demuxer_.GetContext(), stream_);
  const double frames = seconds ? *seconds / av_q2d(frame) : 0;
  if (!(frames > 0 && frames < static_cast<double>(INT64_MAX / 2))) return std::nullopt;
  return plausible(std::llround(frames) - start);
}

std::optional<std::int64_t> FrameIndex::FindTime(std::int64_t frame, Rational rate) const {
  if (!IsPresent() || frame > INT_MAX) return std::nullopt;
  const AVIndexEntry* const first = avformat_index_get_entry(&stream_, 0);
  const AVIndexEntry* const entry = avformat_index_get_entry(&stream_, static_cast<int>(frame));
  if (!first || !entry) return std::nullopt;
  if (rate.numerator == 0) return entry->timestamp;
  const std::int64_t expected =
      av_sat_add64(first->timestamp, av_rescale_q(frame, Invert(rate), stream_.time_base));
  return Distance(entry->timestamp, expected) <= 1 ? std::optional(entry->timestamp) : std::nullopt;
}

bool FrameIndex::LeadsInside(std::int64_t frame) const {
  if (!IsPresent()) return false;
  const std::int64_t end = demuxer_.GetFile().GetSize().value_or(0);
  const int entries = avformat_index_get_entries_count(&stream_);
  for (std::int64_t i = frame; i < entries; ++i) {
    const AVIndexEntry& entry = *avformat_index_get_entry(&stream_, static_cast<int>(i));
    if (entry.pos >= 0 && entry.pos < end) return true;
  }
  return false;
}

void FrameIndex::CheckFragments() const {
  const bool isFragmented = IsPresent() && stream_.nb_frames == 0;
  if (!isFragmented || !demuxer_.GetFile().IsSeekable()) return;
  const auto broken = FindBrokenAtom(demuxer_.GetFile());
  if (!broken) return;
  throw Failure(demuxer_.GetName() + ": is damaged or cut off from byte " +
                std::to_string(*broken) +
                " on, so that what is behind is not found; --scan finds its frames");
}

}  // namespace vixprores
