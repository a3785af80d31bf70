// SPDX-License-Identifier: BSD-2-Clause
#include "container/MovVendor.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "bitstream/BigEndian.h"
#include "run/Errors.h"

namespace vixprores {
namespace {

using vix::MakeFourCC;

// An atom of the file: 32-bit size and type, or size 1, type and 64-bit size; then its contents.
struct Atom {
  vix::FourCC type;
  std::int64_t contents;  ///< position of the first byte behind size and type
  std::int64_t end;       ///< position behind the last byte
};

// The way to the sample descriptions.
constexpr vix::FourCC kPath[] = {MakeFourCC("moov"), MakeFourCC("trak"), MakeFourCC("mdia"),
                                 MakeFourCC("minf"), MakeFourCC("stbl"), MakeFourCC("stsd")};
constexpr std::int64_t kDescriptionsHeader = 8;  // of "stsd": version, flags and count
constexpr std::int64_t kVendorInEntry = 12;      // behind the size and type of the entry

vix::FourCC ReadType(const std::uint8_t* bytes) {
  return __builtin_bswap32(prores::ReadU32(bytes));
}

std::optional<Atom> ReadAtom(const OutputFile& file, std::int64_t position) {
  std::array<std::uint8_t, 16> bytes{};
  const std::size_t found = file.ReadAt(position, bytes);
  if (found < 8) return std::nullopt;
  const bool isLong = prores::ReadU32(bytes.data()) == 1;
  const auto size = isLong && found == bytes.size()
                        ? static_cast<std::int64_t>(prores::ReadU64(bytes.data() + 8))
                        : std::int64_t{prores::ReadU32(bytes.data())};
  const std::int64_t header = isLong ? 16 : 8;
  if (size < header) return std::nullopt;
  return Atom{ReadType(bytes.data() + 4), position + header, position + size};
}

std::optional<Atom> FindAtom(const OutputFile& file, vix::FourCC type, std::int64_t position,
                             std::int64_t end) {
  while (position < end) {
    const auto atom = ReadAtom(file, position);
    if (!atom || atom->type == type) return atom;
    position = atom->end;
  }
  return std::nullopt;
}

}  // namespace

void SetMovVendor(OutputFile& file, vix::FourCC sampleEntry, vix::FourCC vendor) {
  std::optional<Atom> atom = Atom{0, 0, file.GetSize()};
  for (const vix::FourCC type : kPath) {
    if (atom) atom = FindAtom(file, type, atom->contents, atom->end);
  }
  if (atom) atom = FindAtom(file, sampleEntry, atom->contents + kDescriptionsHeader, atom->end);
  if (!atom) throw Failure(file.GetName() + ": the index just written cannot be found");

  std::array<std::uint8_t, 4> bytes{};
  prores::WriteU32(bytes.data(), __builtin_bswap32(vendor));
  file.Seek(atom->contents + kVendorInEntry);
  file.Write(bytes);
}

}  // namespace vixprores
