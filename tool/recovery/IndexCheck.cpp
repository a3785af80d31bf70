// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "media/container/MovFile.h"
#include "recovery/TaggedFileReader.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/rational.h>
}

namespace vixprores {
namespace {

constexpr std::int64_t kTagBytes = PacketTag::kBytes;

bool IsSameTime(double a, double b) {
  return std::abs(a - b) <= 2e-3;  // edit lists count milliseconds
}

// Bytes that the index points to: a packet or a part of one.
struct Stretch {
  std::int64_t begin = 0;
  std::int64_t end = 0;
  double time = 0;  // in seconds
  std::size_t stream = 0;
};

struct DemuxerCloser {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};

// Returns the video and sound that the index points to, by offset.
std::vector<Stretch> ReadIndex(InputFile& file) {
  LibavStream bytes(file);
  AVFormatContext* context = avformat_alloc_context();
  if (!context) throw std::bad_alloc();
  context->pb = bytes.Get();
  const MemoryWatch memory;
  // Frees the context when it fails.
  const int result = avformat_open_input(&context, nullptr, av_find_input_format("mov"), nullptr);
  const std::unique_ptr<AVFormatContext, DemuxerCloser> demuxer(result >= 0 ? context : nullptr);
  bytes.Rethrow();
  memory.Check();
  if (!demuxer) {
    throw Failure(file.GetName() + ": its index cannot be read: " + ExplainLibavError(result));
  }
  std::vector<Stretch> stretches;
  for (std::size_t i = 0; i < demuxer->nb_streams; ++i) {
    AVStream* const stream = demuxer->streams[i];
    const AVMediaType type = stream->codecpar->codec_type;
    if (type != AVMEDIA_TYPE_VIDEO && type != AVMEDIA_TYPE_AUDIO) continue;
    for (int number = 0; number < avformat_index_get_entries_count(stream); ++number) {
      const AVIndexEntry& entry = *avformat_index_get_entry(stream, number);
      stretches.push_back({entry.pos, entry.pos + entry.size,
                           static_cast<double>(entry.timestamp) * av_q2d(stream->time_base), i});
    }
  }
  std::ranges::stable_sort(stretches, {}, &Stretch::begin);
  return stretches;
}

// Returns the time of the packet with exactly these bytes, in one stretch or several; nullopt if
// the index does not cover all of it.
std::optional<double> FindTime(const std::vector<Stretch>& index, std::int64_t begin,
                               std::int64_t bytes) {
  const auto first = std::ranges::lower_bound(index, begin, {}, &Stretch::begin);
  std::int64_t reached = begin;
  for (auto next = first; reached < begin + bytes; ++next) {
    if (next == index.end() || next->begin != reached) return std::nullopt;
    reached = next->end;
  }
  return bytes > 0 && reached == begin + bytes ? std::optional(first->time) : std::nullopt;
}

// Packets of a track by their state in the index.
struct TrackCount {
  std::int64_t written = 0;
  std::int64_t indexed = 0;
  std::int64_t displaced = 0;  // indexed, but at another time

  bool IsComplete() const { return indexed == written && displaced == 0; }
};
using TrackCounts = std::map<std::uint32_t, TrackCount>;

// A tagged file with its description and its index.
struct TaggedFile {
  std::unique_ptr<InputFile> file;
  MovieContent content;
  std::int64_t begin;  // first byte after the description
  std::vector<Stretch> index;

  // Returns the unit of the times in the tags of a track in seconds; 0 if there is no such track.
  double TickOf(std::uint32_t track) const {
    if (track == PacketTag::kVideo) return av_q2d(Invert(content.video.rate));
    const std::size_t place = track - PacketTag::kFirstSound;
    return place < content.sound.size() ? av_q2d(content.sound[place].timeBase) : 0;
  }
};

// Counts packets by reading all tags.
TrackCounts CountPackets(const TaggedFile& tagged) {
  TrackCounts counts;
  TagScanner tags(*tagged.file, tagged.begin);
  while (const auto found = tags.Next()) {
    TrackCount& count = counts[found->tag.track];
    ++count.written;
    const auto time = FindTime(tagged.index, found->packet, found->tag.packetBytes);
    if (!time) continue;
    ++count.indexed;
    const double written = static_cast<double>(found->tag.time) * tagged.TickOf(found->tag.track);
    if (!IsSameTime(*time, written)) ++count.displaced;
  }
  return counts;
}

// Joins the stretches to packets. Returns none unless they fill the media: each packet has room for
// exactly its tag before it, and the index follows the last packet.
std::vector<Stretch> JoinPackets(const TaggedFile& tagged) {
  std::vector<Stretch> packets;
  std::int64_t reached = tagged.begin;
  for (const Stretch& stretch : tagged.index) {
    if (stretch.begin == reached + kTagBytes) {
      packets.push_back(stretch);
    } else if (packets.empty() || stretch.begin != reached ||
               stretch.stream != packets.back().stream) {
      return {};
    }
    reached = packets.back().end = stretch.end;
  }
  const auto next = ReadAtom(*tagged.file, reached);
  const bool isIndex = next && next->type == vix::MakeFourCC("moov");
  return isIndex ? packets : std::vector<Stretch>();
}

// Returns the track of a packet; 0 if its tag contradicts the index.
std::uint32_t FindTrack(const TaggedFile& tagged, const Stretch& packet) {
  TagScanner tags(*tagged.file, packet.begin - kTagBytes);
  const auto found = tags.Next(packet.begin);
  const bool isSame = found && found->packet == packet.begin &&
                      found->packet + found->tag.packetBytes == packet.end;
  if (!isSame) return 0;
  const double time = static_cast<double>(found->tag.time) * tagged.TickOf(found->tag.track);
  return IsSameTime(time, packet.time) ? found->tag.track : 0;
}

// Returns the sound of a track; null for another kind of track.
const SoundTrack* FindSound(const std::vector<SoundTrack>& sound, std::uint32_t track) {
  const bool isSound =
      track >= PacketTag::kFirstSound && track - PacketTag::kFirstSound < sound.size();
  return isSound ? &sound[track - PacketTag::kFirstSound] : nullptr;
}

// Returns the track of these packets, all of one stream; 0 if they may not be at the times of their
// tags. The times are accepted if those of the first and the last packet are right, and the times
// between grow evenly: with the number of packets, or with the bytes of uncompressed sound.
std::uint32_t FindEvenTrack(const TaggedFile& tagged, const std::vector<Stretch>& packets) {
  const Stretch& first = packets.front();
  const Stretch& last = packets.back();
  const std::uint32_t track = FindTrack(tagged, first);
  if (track == 0 || FindTrack(tagged, last) != track) return 0;
  const SoundTrack* const sound = FindSound(tagged.content.sound, track);
  const bool countsBytes = sound && sound->SampleBytes() > 0;
  std::vector<double> reached;
  double sum = 0;
  for (const Stretch& packet : packets) {
    reached.push_back(sum);
    sum += countsBytes ? static_cast<double>(packet.end - packet.begin) : 1;
  }
  const double pace = packets.size() > 1 ? (last.time - first.time) / reached.back() : 0;
  for (std::size_t i = 0; i < packets.size(); ++i) {
    if (!IsSameTime(packets[i].time, first.time + reached[i] * pace)) return 0;
  }
  return track;
}

// Returns the tracks of a complete index; nullopt if only the tags show whether it is complete.
std::optional<TrackCounts> FindCompleteTracks(const TaggedFile& tagged) {
  std::map<std::size_t, std::vector<Stretch>> streams;
  for (const Stretch& packet : JoinPackets(tagged)) streams[packet.stream].push_back(packet);
  TrackCounts counts;
  for (const auto& [stream, packets] : streams) {
    const std::uint32_t track = FindEvenTrack(tagged, packets);
    if (track == 0) return std::nullopt;
    counts[track] = {std::ssize(packets), std::ssize(packets), 0};
  }
  return counts.size() == streams.size() && !counts.empty() ? std::optional(counts) : std::nullopt;
}

std::string NameOf(std::uint32_t track) {
  if (track == PacketTag::kVideo) return "the video track";
  return "sound track " + std::to_string(track - PacketTag::kFirstSound + 1);
}

std::string DescribeLoss(std::uint32_t track, const TrackCount& count) {
  const std::string packets = Count(count.written, "packet");
  if (count.indexed == 0) return "lacks " + NameOf(track) + ": " + packets;
  if (count.indexed < count.written) {
    return "leads to " + std::to_string(count.indexed) + " of " + packets + " of " + NameOf(track);
  }
  return "has another time for " + std::to_string(count.displaced) + " of " + packets + " of " +
         NameOf(track);
}

std::string DescribeTrack(const SoundTrack& sound) {
  const AVCodecParameters& parameters = *sound.parameters;
  return std::string(avcodec_get_name(parameters.codec_id)) + ", " +
         std::to_string(parameters.sample_rate) + " Hz, " +
         Count(parameters.ch_layout.nb_channels, "channel");
}

// An index has no tracks without packets. CountPackets() finds all other missing tracks.
void CheckSound(const TrackCounts& counts, const std::vector<SoundTrack>& indexed,
                const std::vector<SoundTrack>& written, std::vector<std::string>& faults) {
  std::vector<std::uint32_t> tracks;
  for (const auto& [track, count] : counts) {
    if (FindSound(written, track)) tracks.push_back(track);
  }
  if (tracks.size() != indexed.size()) return;
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    const std::string is = DescribeTrack(indexed[i]);
    const std::string was = DescribeTrack(*FindSound(written, tracks[i]));
    if (is == was) continue;
    std::string fault = "describes " + NameOf(tracks[i]);
    fault.append(" as ").append(is).append(" where ").append(was).append(" was written");
    faults.push_back(std::move(fault));
  }
}

void CheckTimecode(const std::optional<Timecode>& indexed, const std::optional<Timecode>& written,
                   std::vector<std::string>& faults) {
  if (indexed == written || !written) return;
  faults.push_back("has " + (indexed ? "the timecode " + indexed->ToText() : "no timecode") +
                   " where " + written->ToText() + " was written");
}

// The index cannot store other texts of the description.
void CheckMetadata(const Metadata& indexed, const Metadata& written,
                   std::vector<std::string>& faults) {
  for (const char* const name : {"title", "artist", "comment", "copyright"}) {
    const auto was = written.find(name);
    if (was == written.end()) continue;
    const auto is = indexed.find(name);
    const bool isThere = is != indexed.end() && is->second == was->second;
    if (!isThere) faults.push_back(std::string("lacks the ") + name + " '" + was->second + "'");
  }
}

}  // namespace

std::vector<std::string> FindIndexFaults(const std::string& input, FrameReader& reader) {
  SideTracks* const indexed = reader.GetSideTracks();
  const InputDescription& description = reader.GetDescription();
  const bool isPipe = !description.frames;
  if (!indexed || isPipe) return {};
  // All readers of redirected input share one position, so open it again by its name.
  TaggedFile tagged;
  tagged.file = std::make_unique<InputFile>(input == "-" ? "/dev/stdin" : input);
  const auto first = FindFirstTag(*tagged.file);
  if (!first) return {};
  tagged.content = ReadTaggedDescription(*tagged.file);
  tagged.begin = first->packet + first->tag.packetBytes;
  tagged.index = ReadIndex(*tagged.file);
  const auto complete = FindCompleteTracks(tagged);
  const TrackCounts counts = complete ? *complete : CountPackets(tagged);

  std::vector<std::string> faults;
  for (const auto& [track, count] : counts) {
    if (!count.IsComplete()) faults.push_back(DescribeLoss(track, count));
  }
  CheckSound(counts, indexed->GetSound(), tagged.content.sound, faults);
  CheckTimecode(description.timecode, tagged.content.timecode, faults);
  CheckMetadata(description.metadata, tagged.content.metadata, faults);
  return faults;
}

std::string DescribeIndexFault(const std::string& fault) {
  return "index: " + fault + "; 'vixprores recover' makes a file with a whole one";
}

}  // namespace vixprores
