// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/AtomChain.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "bitstream/BigEndian.h"

namespace vixprores {
namespace {

// The size of an atom by its header, which may be cut off; 0 = that is none.
std::int64_t ReadSize(const std::array<std::uint8_t, 16>& header, std::size_t found,
                      std::int64_t left) {
  const auto isPrintable = [](std::uint8_t byte) { return std::isprint(byte) != 0; };
  if (found < 8 || !std::all_of(header.begin() + 4, header.begin() + 8, isPrintable)) return 0;
  const std::uint32_t size = prores::ReadU32(header.data());
  if (size == 0) return left;  // up to the end
  if (size != 1) return size >= 8 ? std::int64_t{size} : 0;
  const std::uint64_t longSize = found < 16 ? 0 : prores::ReadU64(header.data() + 8);
  return longSize >= 16 && longSize <= INT64_MAX ? static_cast<std::int64_t>(longSize) : 0;
}

}  // namespace

std::optional<std::int64_t> FindBrokenAtom(const InputFile& file) {
  const std::int64_t end = file.GetSize().value_or(0);
  std::int64_t position = 0;
  while (position < end) {
    std::array<std::uint8_t, 16> header{};
    const std::size_t found = file.ReadAt(position, header);
    const std::int64_t size = ReadSize(header, found, end - position);
    if (size == 0 || size > end - position) return position;
    position += size;
  }
  return std::nullopt;
}

}  // namespace vixprores
