// SPDX-License-Identifier: BSD-2-Clause
// Recovers an arbitrary file by its packet tags, and compares its index with them. Every frame must
// be one that its tag describes, in order; silence must not exceed what the sound justifies.
#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "FuzzInput.h"
#include "Require.h"
#include "ScratchFile.h"
#include "TagRepair.h"
#include "base/Errors.h"
#include "frames/FrameHeaders.h"
#include "recovery/TaggedFileReader.h"
#include "run/OpenInput.h"

namespace {

using vixprores::PacketTag;

// The packets of a file by what their tags state.
struct Written {
  std::multimap<std::int64_t, std::uint64_t> frames;  ///< checksums by time
  std::int64_t soundBytes = 0;
  std::int64_t soundPackets = 0;

  explicit Written(const vixprores::InputFile& file) {
    vixprores::TagScanner tags(file);
    while (const auto found = tags.Next()) {
      const PacketTag& tag = found->tag;
      if (tag.track == PacketTag::kVideo) frames.emplace(tag.time, tag.packetHash);
      if (tag.track < PacketTag::kFirstSound) continue;
      soundBytes += tag.packetBytes;
      ++soundPackets;
    }
  }

  bool Holds(std::int64_t time, std::uint64_t hash) const {
    const auto [begin, end] = frames.equal_range(time);
    return std::any_of(begin, end, [hash](const auto& frame) { return frame.second == hash; });
  }
};

// Returns the most bytes of silence that the sound may grow by, in all tracks.
std::int64_t LargestGrowth(const vixprores::MovieContent& content, const Written& written) {
  std::int64_t bytes = written.soundBytes;
  for (const vixprores::SoundTrack& track : content.sound) {
    bytes += std::int64_t{track.SampleBytes()} * track.parameters->sample_rate * 16;
  }
  return bytes;
}

void ReadPackets(const std::string& path) {
  vixprores::TaggedFileReader reader(std::make_unique<vixprores::InputFile>(path));
  const Written written(reader.GetFile());
  std::int64_t next = INT64_MIN;
  std::int64_t soundBytes = 0;
  while (const auto item = reader.Read()) {
    for (const vixprores::SoundPacket& sound : item->sound) {
      Require(sound.track < reader.GetContent().sound.size());
      soundBytes += sound.packet->size;
    }
    if (!item->frame) continue;
    Require(item->time >= next);
    next = item->time + 1;
    Require(written.Holds(item->time, vixprores::HashPacket(vixprores::BytesOf(*item->frame))));
  }
  Require(soundBytes <= written.soundBytes + LargestGrowth(reader.GetContent(), written));
  for (const auto& damage : reader.GetSoundDamage()) Require(!Describe(damage).empty());
}

template <typename Read>
void Try(const Read& read) {
  try {
    read();
  } catch (const vixprores::Failure&) {
    // The file is damaged too much.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const std::uint32_t choice = input.Word();
  auto bytes = input.Rest();
  TagRepair(bytes, choice).RepairAll();
  const ScratchFile file(bytes.data(), bytes.size());
  const std::string path = file.GetPath();
  if (!HasPacketTags(vixprores::InputFile(path))) return 0;
  Try([&] { ReadPackets(path); });
  Try([&] {
    for (const std::string& fault : FindIndexFaults(path, *vixprores::OpenProRes(path, {}))) {
      Require(!fault.empty());
    }
  });
  return 0;
}
