// SPDX-License-Identifier: BSD-2-Clause
#include "format/RawFormat.h"

#include <algorithm>
#include <iterator>

namespace vixprores {
namespace {

constexpr RawFormat kRawFormats[] = {
    {vix::kFourCC_UYVY,
     "uyvy",
     "UYVY",
     false,
     true,
     8,
     "planar 4:2:2 in 8 bits",
     {0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80}},
    {vix::kFourCC_V210,
     "v210",
     "V210",
     false,
     true,
     10,
     "planar 4:2:2 in 10 bits",
     {0x00, 0x02, 0x08, 0x20, 0x00, 0x02, 0x08, 0x20}},
    {vix::kFourCC_Y416,
     "y416",
     "Y416",
     true,
     false,
     12,
     "planar 4:4:4 in 12 bits",
     {0xFF, 0xFF, 0x00, 0x80, 0x00, 0x80, 0x00, 0x80}},
    {vix::kFourCC_b64A,
     "b64a",
     "b64A",
     true,
     true,
     0,
     nullptr,
     {0xFF, 0xFF, 0x80, 0x00, 0x80, 0x00, 0x80, 0x00}},
};

}  // namespace

const RawFormat* FindRawFormat(vix::FourCC code) {
  const auto* const found = std::ranges::find(kRawFormats, code, &RawFormat::code);
  return found == std::end(kRawFormats) ? nullptr : found;
}

std::span<const RawFormat> RawFormats() {
  return kRawFormats;
}

}  // namespace vixprores
