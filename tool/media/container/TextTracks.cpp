// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/TextTracks.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <new>
#include <span>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Limits.h"
#include "media/InputFile.h"
#include "media/container/Demuxer.h"
#include "media/container/TrackDescription.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

constexpr AVRational kNanosecond{1, 1'000'000'000};
constexpr std::int64_t kPacketOverhead = 400;

// Returns true for a track that holds what the library has read into chapters or timecodes.
bool IsRead(const AVStream& stream) {
  const std::uint32_t tag = stream.codecpar->codec_tag;
  const bool isChapters =
      stream.codecpar->codec_id == AV_CODEC_ID_BIN_DATA && tag == vix::MakeFourCC("text");
  return isChapters || tag == vix::MakeFourCC("tmcd");
}

// Returns the code of a data track, or else the name of its coding.
std::string NameOfData(const AVCodecParameters& parameters) {
  std::string code;
  for (unsigned shift = 0; shift < 32; shift += 8) {
    code += static_cast<char>(parameters.codec_tag >> shift & 0xFFU);
  }
  const bool isPrintable =
      std::ranges::all_of(code, [](unsigned char letter) { return std::isprint(letter) != 0; });
  return isPrintable ? code : avcodec_get_name(parameters.codec_id);
}

// Returns words for a track that no output keeps; empty for others.
std::string NameOfOther(const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  switch (parameters.codec_type) {
    case AVMEDIA_TYPE_VIDEO:
      return IsVideo(stream) ? "" : "cover art";
    case AVMEDIA_TYPE_ATTACHMENT:
      return "attachments";
    case AVMEDIA_TYPE_DATA:
    case AVMEDIA_TYPE_UNKNOWN:
      return IsRead(stream) ? "" : "data (" + NameOfData(parameters) + ")";
    default:
      return {};
  }
}

bool HasDolbyVision(const AVStream& video) {
#if LIBAVFORMAT_VERSION_MAJOR < 61
  return av_stream_get_side_data(&video, AV_PKT_DATA_DOVI_CONF, nullptr) != nullptr;
#else
  const AVCodecParameters& parameters = *video.codecpar;
  return av_packet_side_data_get(parameters.coded_side_data, parameters.nb_coded_side_data,
                                 AV_PKT_DATA_DOVI_CONF) != nullptr;
#endif
}

std::vector<TextTrack> DescribeTexts(const AVFormatContext& context) {
  std::vector<TextTrack> tracks;
  for (const AVStream* stream : std::span(context.streams, context.nb_streams)) {
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_SUBTITLE) continue;
    tracks.push_back({CopyParameters(*stream->codecpar), stream->time_base,
                      ToMetadata(stream->metadata), stream->disposition, stream->index});
  }
  return tracks;
}

std::vector<Chapter> DescribeChapters(const AVFormatContext& context) {
  std::vector<Chapter> chapters;
  for (const AVChapter* chapter : std::span(context.chapters, context.nb_chapters)) {
    const std::int64_t begin = av_rescale_q(chapter->start, chapter->time_base, kNanosecond);
    const std::int64_t end = chapter->end == AV_NOPTS_VALUE
                                 ? begin
                                 : av_rescale_q(chapter->end, chapter->time_base, kNanosecond);
    chapters.push_back({begin, std::max(begin, end), ToMetadata(chapter->metadata)});
  }
  std::ranges::stable_sort(chapters, {}, &Chapter::begin);
  // Some containers state only where chapters begin.
  for (std::size_t i = 0; i + 1 < chapters.size(); ++i) {
    if (chapters[i].end == chapters[i].begin) chapters[i].end = chapters[i + 1].begin;
  }
  return chapters;
}

// Cuts a time and a duration to the span and moves them. Returns false if nothing is left. What has
// no duration counts as long as the least one.
bool Place(const TextSpan& span, AVRational tick, std::int64_t& time, std::int64_t& duration) {
  const auto toTicks = [tick](std::int64_t nanoseconds) {
    return av_rescale_q(nanoseconds, kNanosecond, tick);
  };
  const std::int64_t begin = toTicks(span.begin);
  const std::int64_t end = span.end == INT64_MAX ? INT64_MAX : toTicks(span.end);
  const std::int64_t stop = av_sat_add64(time, std::max<std::int64_t>(duration, 1));
  if (stop <= begin || time >= end) return false;
  const std::int64_t first = std::max(time, begin);
  if (duration > 0) duration = std::min(stop, end) - first;
  time = av_sat_add64(first, toTicks(av_sat_sub64(span.at, span.begin)));
  return true;
}

// Reads the packets of some tracks.
class TextReader {
 public:
  TextReader(const std::string& path, const TextSpan& span, std::vector<TextTrack>& tracks)
      : demuxer_(std::make_unique<InputFile>(path), FileFormats::Footage),
        span_(span),
        tracks_(tracks) {
    if (!HasAll()) demuxer_.FindStreamInfo();
    if (!HasAll()) throw Failure(demuxer_.GetName() + ": its subtitles have changed");
    for (AVStream* stream : demuxer_.GetStreams()) {
      stream->discard = FindTrack(stream->index) ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
  }

  // Returns false if the tracks hold too much.
  bool Read() {
    while (bytes_ <= kMostTextBytes) {
      CheckInterrupt();
      Packet packet;
      try {
        packet = demuxer_.Read();
      } catch (const UnreadablePacket&) {
        return true;  // damage of the file is reported where its frames are read
      }
      if (!packet) return true;
      TextTrack* const track = FindTrack(packet->stream_index);
      if (track) Keep(std::move(packet), *track);
    }
    return false;
  }

 private:
  bool HasAll() const {
    const auto streams = demuxer_.GetStreams();
    return std::ranges::all_of(tracks_, [&](const TextTrack& track) {
      if (track.stream == kWithinPictures) return true;
      const auto place = static_cast<std::size_t>(track.stream);
      return place < streams.size() &&
             streams[place]->codecpar->codec_id == track.parameters->codec_id;
    });
  }

  TextTrack* FindTrack(int stream) {
    const auto found = std::ranges::find(tracks_, stream, &TextTrack::stream);
    return found == tracks_.end() ? nullptr : &*found;
  }

  void Keep(Packet packet, TextTrack& track) {
    std::int64_t time = TimeOf(*packet);
    if (time == AV_NOPTS_VALUE || !Place(span_, track.timeBase, time, packet->duration)) return;
    packet->pts = packet->dts = time;
    // Damaged times must not go back: no output takes those.
    if (!track.packets.empty() && track.packets.back()->pts > time) return;
    bytes_ += packet->size + kPacketOverhead;
    track.packets.push_back(std::move(packet));
  }

  Demuxer demuxer_;
  TextSpan span_;
  std::vector<TextTrack>& tracks_;
  std::int64_t bytes_ = 0;
};

}  // namespace

void DescribeOtherTracks(const AVFormatContext& context, const AVStream& video,
                         const TimePoint& begin, InputDescription& description) {
  description.texts = {DescribeTexts(context), DescribeChapters(context)};
  description.begin = av_rescale_q(begin.time, begin.tick, kNanosecond);
  std::vector<std::string>& others = description.others;
  for (const AVStream* stream : std::span(context.streams, context.nb_streams)) {
    std::string name = NameOfOther(*stream);
    if (!name.empty() && std::ranges::find(others, name) == others.end()) {
      others.push_back(std::move(name));
    }
  }
  if (HasDolbyVision(video)) others.emplace_back("Dolby Vision metadata");
}

bool HoldsText(const OutputFormat& output, const TextTrack& track) {
  if (!output.keepsTexts) return false;
  const AVOutputFormat* const muxer = av_guess_format(output.muxer, nullptr, nullptr);
  return muxer &&
         avformat_query_codec(muxer, track.parameters->codec_id, FF_COMPLIANCE_NORMAL) == 1;
}

TextTrack MakeCaptionTrack(Rational rate) {
  const std::shared_ptr<AVCodecParameters> parameters(
      avcodec_parameters_alloc(), [](AVCodecParameters* made) { avcodec_parameters_free(&made); });
  if (!parameters) throw std::bad_alloc();
  parameters->codec_type = AVMEDIA_TYPE_SUBTITLE;
  parameters->codec_id = AV_CODEC_ID_EIA_608;
  return {parameters, Invert(rate), {}, 0, kWithinPictures};
}

std::vector<Chapter> CutChapters(const std::vector<Chapter>& chapters, const TextSpan& span) {
  std::vector<Chapter> kept;
  for (Chapter chapter : chapters) {
    std::int64_t duration = chapter.end - chapter.begin;
    if (!Place(span, kNanosecond, chapter.begin, duration)) continue;
    chapter.end = chapter.begin + duration;
    kept.push_back(std::move(chapter));
  }
  return kept;
}

bool ReadTexts(const std::string& path, const TextSpan& span, std::vector<TextTrack>& tracks) {
  const bool isNeeded = std::ranges::any_of(
      tracks, [](const TextTrack& track) { return track.stream != kWithinPictures; });
  if (!isNeeded) return true;
  return TextReader(path, span, tracks).Read();
}

}  // namespace vixprores
