// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/MovFile.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <span>

#include "base/Errors.h"
#include "bitstream/BigEndian.h"

namespace vixprores {
namespace {

using vix::MakeFourCC;

// The path to the sample descriptions.
constexpr vix::FourCC kPath[] = {MakeFourCC("moov"), MakeFourCC("trak"), MakeFourCC("mdia"),
                                 MakeFourCC("minf"), MakeFourCC("stbl"), MakeFourCC("stsd")};
constexpr std::int64_t kDescriptionsHeader = 8;  // of "stsd": version, flags and count
constexpr std::int64_t kVendorInEntry = 12;      // after the size and type of the entry

vix::FourCC ReadType(const std::uint8_t* bytes) {
  return __builtin_bswap32(prores::ReadU32(bytes));
}

std::int64_t SizeOf(const InputFile& file) {
  return file.GetSize().value_or(0);
}
std::int64_t SizeOf(const OutputFile& file) {
  return file.GetSize();
}

template <typename File>
std::optional<MovAtom> ReadAtomOf(const File& file, std::int64_t position) {
  std::array<std::uint8_t, 16> bytes{};
  const std::size_t found = file.ReadAt(position, bytes);
  const auto isPrintable = [](std::uint8_t byte) { return std::isprint(byte) != 0; };
  if (found < 8 || !std::all_of(bytes.begin() + 4, bytes.begin() + 8, isPrintable)) {
    return std::nullopt;
  }
  std::uint64_t size = prores::ReadU32(bytes.data());
  const bool isOpen = size == 0;
  std::int64_t header = 8;
  if (size == 1) {
    header = 16;
    size = found == bytes.size() ? prores::ReadU64(bytes.data() + 8) : 0;
  } else if (isOpen) {
    size = static_cast<std::uint64_t>(SizeOf(file) - position);
  }
  const auto most = static_cast<std::uint64_t>(INT64_MAX - position);
  if (size < static_cast<std::uint64_t>(header) || size > most) return std::nullopt;
  return MovAtom{ReadType(bytes.data() + 4), position + header,
                 position + static_cast<std::int64_t>(size), isOpen};
}

std::optional<MovAtom> FindAtom(const OutputFile& file, vix::FourCC type, std::int64_t position,
                                std::int64_t end) {
  while (position < end) {
    const auto atom = ReadAtom(file, position);
    if (!atom || atom->type == type) return atom;
    position = atom->end;
  }
  return std::nullopt;
}

// Returns the atom at the end of a path that starts inside `start`.
std::optional<MovAtom> Follow(const OutputFile& file, std::optional<MovAtom> start,
                              std::span<const vix::FourCC> path) {
  for (const vix::FourCC type : path) {
    if (start) start = FindAtom(file, type, start->contents, start->end);
  }
  return start;
}

void WriteAt(OutputFile& file, std::int64_t position, std::span<const std::uint8_t> bytes) {
  file.Seek(position);
  file.Write(bytes);
}

// Packs three letters into five bits each. Returns 0 unless the text is a language.
std::uint16_t PackLanguage(const std::string& language) {
  if (language.size() != 3) return 0;
  unsigned packed = 0;
  for (const char letter : language) {
    if (letter < 'a' || letter > 'z') return 0;
    packed = packed << 5U | static_cast<unsigned>(letter - 0x60);
  }
  return static_cast<std::uint16_t>(packed);
}

}  // namespace

std::optional<MovAtom> ReadAtom(const InputFile& file, std::int64_t position) {
  return ReadAtomOf(file, position);
}

std::optional<MovAtom> ReadAtom(const OutputFile& file, std::int64_t position) {
  return ReadAtomOf(file, position);
}

std::optional<std::int64_t> FindBrokenAtom(const InputFile& file) {
  const std::int64_t end = SizeOf(file);
  for (std::int64_t position = 0; position < end;) {
    const auto atom = ReadAtom(file, position);
    if (!atom || atom->end > end) return position;
    position = atom->end;
  }
  return std::nullopt;
}

void SetMovVendor(OutputFile& file, vix::FourCC sampleEntry, vix::FourCC vendor) {
  auto atom = Follow(file, MovAtom{0, 0, file.GetSize()}, kPath);
  if (atom) atom = FindAtom(file, sampleEntry, atom->contents + kDescriptionsHeader, atom->end);
  if (!atom) throw Failure(file.GetName() + ": cannot find the index that was just written");

  std::array<std::uint8_t, 4> bytes{};
  prores::WriteU32(bytes.data(), __builtin_bswap32(vendor));
  WriteAt(file, atom->contents + kVendorInEntry, bytes);
}

void SetMovMediaEnd(OutputFile& file, std::int64_t index) {
  // The library reserves eight bytes before the media data for a size of 64 bits.
  const auto spare = FindAtom(file, MakeFourCC("wide"), 0, index);
  const auto media = FindAtom(file, MakeFourCC("mdat"), 0, index);
  const bool isShort = spare && media && media->contents == spare->contents + 8;
  if (!media || (!isShort && media->contents < 16)) {
    throw Failure(file.GetName() + ": cannot find the media that was just written");
  }
  const std::int64_t atom = media->contents - 8;  // of a short header
  if (index - atom <= UINT32_MAX && isShort) {
    std::array<std::uint8_t, 4> size{};
    prores::WriteU32(size.data(), static_cast<std::uint32_t>(index - atom));
    WriteAt(file, atom, size);
    return;
  }
  const std::int64_t start = media->contents - 16;
  std::array<std::uint8_t, 16> header{0, 0, 0, 1, 'm', 'd', 'a', 't'};
  prores::WriteU64(header.data() + 8, static_cast<std::uint64_t>(index - start));
  WriteAt(file, start, header);
}

void SetMovSoundLanguages(OutputFile& file, const std::vector<std::string>& languages) {
  constexpr vix::FourCC kToHandler[] = {MakeFourCC("mdia"), MakeFourCC("hdlr")};
  constexpr vix::FourCC kToMediaHeader[] = {MakeFourCC("mdia"), MakeFourCC("mdhd")};
  constexpr std::int64_t kTypeInHandler = 8;
  constexpr std::int64_t kLanguageInHeader[] = {20, 32};  // by the version of "mdhd"
  const auto movie = FindAtom(file, MakeFourCC("moov"), 0, file.GetSize());
  if (!movie) return;
  std::size_t next = 0;
  for (std::int64_t position = movie->contents; next < languages.size();) {
    const auto track = FindAtom(file, MakeFourCC("trak"), position, movie->end);
    if (!track) return;
    position = track->end;
    const auto handler = Follow(file, track, kToHandler);
    const auto header = Follow(file, track, kToMediaHeader);
    std::array<std::uint8_t, 4> type{};
    std::array<std::uint8_t, 1> version{};
    if (!handler || !header || file.ReadAt(handler->contents + kTypeInHandler, type) < 4) continue;
    if (ReadType(type.data()) != MakeFourCC("soun")) continue;
    const std::uint16_t packed = PackLanguage(languages[next++]);
    if (packed == 0 || file.ReadAt(header->contents, version) == 0) continue;
    const std::array<std::uint8_t, 2> bytes{static_cast<std::uint8_t>(packed >> 8U),
                                            static_cast<std::uint8_t>(packed)};
    WriteAt(file, header->contents + kLanguageInHeader[version[0] == 1 ? 1 : 0], bytes);
  }
}

}  // namespace vixprores
