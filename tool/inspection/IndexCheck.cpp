// SPDX-License-Identifier: BSD-2-Clause
#include "inspection/IndexCheck.h"

#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "container/IndexedStretches.h"
#include "container/TaggedFileReader.h"
#include "report/TextTable.h"

namespace vixprores {
namespace {

// What became of the packets of a track.
struct TrackCount {
  std::int64_t written = 0;
  std::int64_t indexed = 0;
  std::int64_t displaced = 0;  // indexed, but at another time
  // Between the clock of the index and that of the tags, by the first packet that both know.
  std::optional<double> lead = {};
};

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
  const double lead = *seconds - static_cast<double>(packet.tag.time) * tick;
  if (!count.lead) count.lead = lead;
  // Clocks of files are finer than that, and what is damaged is off by more.
  constexpr double kTolerance = 1e-3;
  if (std::abs(lead - *count.lead) > kTolerance) ++count.displaced;
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

void CheckPackets(const std::string& path, TaggedFileReader& tags,
                  std::vector<std::string>& faults) {
  const IndexedStretches index(path);
  std::map<std::uint32_t, TrackCount> counts;
  while (const auto packet = tags.PassPacket()) {
    AddPacket(counts[packet->tag.track], *packet, tags.GetTick(packet->tag.track), index);
  }
  for (const auto& [track, count] : counts) {
    const bool isWhole = count.indexed == count.written && count.displaced == 0;
    if (!isWhole) faults.push_back(Describe(track, count));
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

std::vector<std::string> FindIndexFaults(const std::string& path, FrameReader& reader) {
  auto file = std::make_unique<InputFile>(path);
  if (!TaggedFileReader::CanRead(*file)) return {};
  std::vector<std::string> faults;
  TaggedFileReader tags(std::move(file));
  CheckPackets(path, tags, faults);
  CheckTimecode(reader.GetTimecode(), tags.GetTimecode(), faults);
  if (SideTracks* const side = reader.GetSideTracks()) {
    CheckMetadata(side->GetMetadata(), tags.GetSideTracks()->GetMetadata(), faults);
  }
  return faults;
}

}  // namespace vixprores
