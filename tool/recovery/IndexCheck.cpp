// SPDX-License-Identifier: BSD-2-Clause
#include "recovery/IndexCheck.h"

#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "base/Text.h"
#include "media/container/IndexedStretches.h"
#include "recovery/TaggedFileReader.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace vixprores {
namespace {

// What became of the packets of a track.
struct TrackCount {
  std::int64_t written = 0;
  std::int64_t indexed = 0;
  std::int64_t displaced = 0;  // indexed, but at another time
};
using TrackCounts = std::map<std::uint32_t, TrackCount>;

std::string NameOf(std::uint32_t track) {
  if (track == PacketTag::kVideo) return "the video track";
  return "sound track " + std::to_string(track - PacketTag::kFirstSound + 1);
}

void AddPacket(TrackCount& count, const TaggedPacket& packet, double tick,
               const IndexedStretches& index) {
  ++count.written;
  const auto seconds = index.FindTime(packet.offset, packet.tag.packetBytes);
  if (!seconds) return;
  ++count.indexed;
  // Edit lists count milliseconds.
  constexpr double kTolerance = 2e-3;
  const double written = static_cast<double>(packet.tag.time) * tick;
  if (std::abs(*seconds - written) > kTolerance) ++count.displaced;
}

std::string Describe(std::uint32_t track, const TrackCount& count) {
  const std::string packets = Count(count.written, "packet");
  if (count.indexed == 0) return "does not know " + NameOf(track) + ": " + packets;
  if (count.indexed < count.written) {
    return "leads to " + std::to_string(count.indexed) + " of " + packets + " of " + NameOf(track);
  }
  return "has another time for " + std::to_string(count.displaced) + " of " + packets + " of " +
         NameOf(track);
}

TrackCounts CountPackets(const std::string& path, TaggedFileReader& tags) {
  const IndexedStretches index(path);
  TrackCounts counts;
  while (const auto packet = tags.PassPacket()) {
    AddPacket(counts[packet->tag.track], *packet, tags.GetTick(packet->tag.track), index);
  }
  return counts;
}

void CheckPackets(const TrackCounts& counts, std::vector<std::string>& faults) {
  for (const auto& [track, count] : counts) {
    const bool isWhole = count.indexed == count.written && count.displaced == 0;
    if (!isWhole) faults.push_back(Describe(track, count));
  }
}

std::string Describe(const SoundTrack& sound) {
  const AVCodecParameters& parameters = *sound.parameters;
  return std::string(avcodec_get_name(parameters.codec_id)) + ", " +
         std::to_string(parameters.sample_rate) + " Hz, " +
         Count(parameters.ch_layout.nb_channels, "channel");
}

std::string DescribeSound(std::uint32_t track, const std::string& is, const std::string& was) {
  return "describes " + NameOf(track) + " as " + is + " where " + was + " was written";
}

// An index has no tracks without packets. Where it lacks others too, this is told already.
void CheckSound(const TrackCounts& counts, const std::vector<SoundTrack>& indexed,
                const std::vector<SoundTrack>& written, std::vector<std::string>& faults) {
  std::vector<std::uint32_t> tracks;
  for (const auto& [track, count] : counts) {
    const bool isDescribed = track - PacketTag::kFirstSound < written.size();
    if (track >= PacketTag::kFirstSound && isDescribed) tracks.push_back(track);
  }
  if (tracks.size() != indexed.size()) return;
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    const std::string is = Describe(indexed[i]);
    const std::string was = Describe(written[tracks[i] - PacketTag::kFirstSound]);
    if (is != was) faults.push_back(DescribeSound(tracks[i], is, was));
  }
}

void CheckTimecode(const std::optional<Timecode>& indexed, const std::optional<Timecode>& written,
                   std::vector<std::string>& faults) {
  if (indexed == written || !written) return;
  faults.push_back("has " + (indexed ? "the timecode " + indexed->ToText() : "no timecode") +
                   " where " + written->ToText() + " was written");
}

// Of the names that the description takes an index has a place only for some.
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
  const bool isPipe = !reader.GetDescription().frames;
  if (!indexed || isPipe) return {};
  // Of redirected input every reader would move the one place; by its name it is opened anew.
  const std::string path = input == "-" ? "/dev/stdin" : input;
  auto file = std::make_unique<InputFile>(path);
  const bool isTagged =
      TaggedFileReader::CanRead(*file) || TaggedFileReader::LacksDescription(*file);
  if (!isTagged) return {};
  std::vector<std::string> faults;
  TaggedFileReader tags(std::move(file));
  const SideTracks& written = *tags.GetSideTracks();
  const TrackCounts counts = CountPackets(path, tags);
  CheckPackets(counts, faults);
  CheckSound(counts, indexed->GetSound(), written.GetSound(), faults);
  CheckTimecode(reader.GetDescription().timecode, tags.GetDescription().timecode, faults);
  CheckMetadata(reader.GetDescription().metadata, tags.GetDescription().metadata, faults);
  return faults;
}

std::string DescribeIndexFault(const std::string& fault) {
  return "index: " + fault + "; 'vixprores recover' makes a file with a whole one";
}

}  // namespace vixprores
