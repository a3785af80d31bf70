// SPDX-License-Identifier: BSD-2-Clause
// Reads and patches arbitrary files with the program's code about containers: frames with sound and
// texts, files of sound, atoms, corrections of finished files, and journals of interrupted ones.
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "FuzzInput.h"
#include "Require.h"
#include "ScratchFile.h"
#include "base/Errors.h"
#include "bitstream/BigEndian.h"
#include "media/OutputFile.h"
#include "media/container/FilePatch.h"
#include "media/container/MovFile.h"
#include "media/container/MxfFile.h"
#include "media/container/PacketTag.h"
#include "media/container/TextTracks.h"
#include "media/sound/SoundCutter.h"
#include "media/sound/SoundFile.h"
#include "run/OpenInput.h"

namespace {

using namespace vixprores;
using Bytes = std::vector<std::uint8_t>;

constexpr int kMostFrames = 64;

void CountBytes(const std::vector<SoundPacket>& sound, std::size_t tracks) {
  for (const SoundPacket& each : sound) Require(each.track < tracks && each.packet->size >= 0);
}

void ReadFrames(FuzzInput& input) {
  const std::uint8_t choice = input.Byte();
  ProResOptions options;
  options.sameScan = (choice & 1) != 0;
  options.damagedStart = (choice & 2) != 0;
  options.inPlace = (choice & 4) != 0;
  if (choice & 8) options.times = FrameTimes::Evident;
  const Bytes bytes = input.Rest();
  const ScratchFile file(bytes.data(), bytes.size());
  const auto reader = OpenProRes(file.GetPath(), options);
  SideTracks* const sound = reader->GetSideTracks();
  const std::size_t tracks = sound ? sound->GetSound().size() : 0;
  std::optional<TimeSpan> part;
  if (choice & 16) part = TimeSpan{1, 3, 1, {1, 25}};
  SoundCopy copy(sound, part);
  if (choice & 32) reader->SkipTo(1);
  std::int64_t next = 0;
  for (int i = 0; i < kMostFrames; ++i) {
    try {
      const auto frame = reader->Read();
      if (!frame) break;
      Require(frame->number >= next && frame->data);
      next = frame->number + 1;
    } catch (const FrameFailure& failure) {
      Require(failure.GetCount() >= 0);
    }
    CountBytes(copy.Take(), tracks);
  }
  CountBytes(copy.TakeRest(), tracks);
  std::vector<TextTrack> texts = reader->GetDescription().texts.tracks;
  ReadTexts(file.GetPath(), {0, 1'000'000'000, 0}, texts);
}

void ReadSoundFile(FuzzInput& input) {
  const Bytes bytes = input.Rest();
  const ScratchFile file(bytes.data(), bytes.size());
  SoundFile sound(file.GetPath());
  sound.GetTimeReference();
  for (int i = 1; i < kMostFrames; ++i) {
    sound.FollowVideo({i, {1, 25}});
    CountBytes(sound.TakeSound(), sound.GetSound().size());
  }
  CountBytes(sound.ReadSoundUntil(10, {1, 1}), sound.GetSound().size());
}

void WalkAtoms(FuzzInput& input) {
  const auto file = InputFile::OverBytes("input", input.Rest());
  const auto broken = FindBrokenAtom(*file);
  std::int64_t position = 0;
  while (const auto atom = ReadAtom(*file, position)) {
    if (atom->isOpen || atom->end > *file->GetSize()) break;
    Require(atom->contents > position && atom->end >= atom->contents);
    position = atom->end;
  }
  Require(broken.value_or(position) <= *file->GetSize());
}

// A name beside which only this process writes.
std::string ScratchName() {
  return "/dev/shm/vixprores-fuzz-" + std::to_string(getpid());
}

void PatchOutput(FuzzInput& input) {
  const std::uint8_t choice = input.Byte();
  const std::int64_t position = input.Word();
  const Bytes bytes = input.Rest();
  OutputFile file(ScratchName(), false);
  file.Write(bytes);
  if (choice % 4 == 0) SetMovVendor(file, vix::MakeFourCC("apcn"), kVendor);
  if (choice % 4 == 1) SetMovMediaEnd(file, position);
  if (choice % 4 == 2) SetMovSoundLanguages(file, {"eng", "", "deutsch", "fra"});
  if (choice % 4 == 3) SetMxfFields(file, FieldOrder::BottomFirst, 2 * (choice + 1U));
  Require(file.GetSize() == static_cast<std::int64_t>(bytes.size()));
}

void WriteFile(const std::string& path, std::span<const std::uint8_t> bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

// Undoes a patch by a journal whose checksum is right. Either all of it is undone, or nothing.
void Undo(FuzzInput& input) {
  const std::string name = ScratchName();
  const Bytes bytes = input.Take(input.Byte());
  Bytes journal = input.Rest();
  if (journal.size() >= 8) {
    const std::size_t hashed = journal.size() - 8;
    prores::WriteU64(journal.data() + hashed, HashPacket(std::span(journal).first(hashed)));
  }
  WriteFile(name, bytes);
  WriteFile(name + ".undo", journal);
  try {
    UndoPatches(name);
    Require(!IsHalfPatched(name) && std::filesystem::file_size(name) <= bytes.size());
  } catch (const Failure&) {
    Require(IsHalfPatched(name) && std::filesystem::file_size(name) == bytes.size());
  }
}

void RemoveScratch() {
  for (const char* const end : {"", ".undo"}) unlink((ScratchName() + end).c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr void (*kParts[])(FuzzInput&) = {ReadFrames, ReadSoundFile, WalkAtoms, PatchOutput,
                                            Undo};
  FuzzInput input(data, size);
  const auto part = kParts[input.Byte() % std::size(kParts)];
  try {
    part(input);
  } catch (const Failure&) {
    // The file is damaged too much.
  }
  RemoveScratch();
  return 0;
}
