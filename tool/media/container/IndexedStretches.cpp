// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/IndexedStretches.h"

#include <algorithm>
#include <memory>
#include <new>
#include <span>

#include "base/Errors.h"
#include "media/container/Libav.h"

extern "C" {
#include <libavutil/rational.h>
}

namespace vixprores {
namespace {

struct Closer {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
using Demuxer = std::unique_ptr<AVFormatContext, Closer>;

Demuxer OpenMov(const InputFile& file, LibavStream& bytes) {
  AVFormatContext* context = avformat_alloc_context();
  if (!context) throw std::bad_alloc();
  context->pb = bytes.Get();
  // Frees the context when it fails.
  const int result = avformat_open_input(&context, nullptr, av_find_input_format("mov"), nullptr);
  Demuxer demuxer(result >= 0 ? context : nullptr);
  bytes.Rethrow();
  if (demuxer) return demuxer;
  throw Failure(file.GetName() + ": its index cannot be read: " + ExplainLibavError(result));
}

bool IsMedia(const AVStream& stream) {
  const AVMediaType type = stream.codecpar->codec_type;
  return type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO;
}

}  // namespace

IndexedStretches::IndexedStretches(const std::string& path) {
  InputFile file(path);
  LibavStream bytes(file);
  const Demuxer demuxer = OpenMov(file, bytes);
  for (AVStream* stream : std::span(demuxer->streams, demuxer->nb_streams)) {
    if (!IsMedia(*stream)) continue;
    const double tick = av_q2d(stream->time_base);
    for (int i = 0; i < avformat_index_get_entries_count(stream); ++i) {
      const AVIndexEntry& entry = *avformat_index_get_entry(stream, i);
      stretches_.push_back(
          {entry.pos, entry.pos + entry.size, static_cast<double>(entry.timestamp) * tick});
    }
  }
  std::ranges::stable_sort(stretches_, {}, &Stretch::begin);
}

std::optional<double> IndexedStretches::FindTime(std::int64_t begin, std::int64_t bytes) const {
  const auto first = std::ranges::lower_bound(stretches_, begin, {}, &Stretch::begin);
  std::int64_t reached = begin;
  for (auto next = first; reached < begin + bytes; ++next) {
    if (next == stretches_.end() || next->begin != reached) return std::nullopt;
    reached = next->end;
  }
  return reached == begin + bytes ? std::optional(first->time) : std::nullopt;
}

}  // namespace vixprores
