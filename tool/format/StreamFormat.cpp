// SPDX-License-Identifier: BSD-2-Clause
#include "format/StreamFormat.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <numeric>

#include "vix/RawVideoUtils.h"

namespace vixprores {
namespace {

using vix::MakeFourCC;
using Variant = vix::ProResCodecVariant;

// The 4:4:4 variants can only be decoded, and the decoder treats them alike.
constexpr ProResVariant kVariants[] = {
    {"proxy", MakeFourCC("apco"), "ProRes 422 Proxy", Variant::Proxy, 0},
    {"lt", MakeFourCC("apcs"), "ProRes 422 LT", Variant::LT, 1},
    {"422", MakeFourCC("apcn"), "ProRes 422", Variant::Standard, 2},
    {"hq", MakeFourCC("apch"), "ProRes 422 HQ", Variant::HQ, 3},
    {nullptr, MakeFourCC("ap4h"), "ProRes 4444", Variant::HQ, 4},
    {nullptr, MakeFourCC("ap4x"), "ProRes 4444 XQ", Variant::HQ, 5},
};

const ProResVariant* OrNull(const ProResVariant* found) {
  return found == std::end(kVariants) ? nullptr : found;
}

}  // namespace

Rational Reduce(Rational value) {
  const std::int32_t common = std::gcd(value.numerator, value.denominator);
  return {value.numerator / common, value.denominator / common};
}

std::uint32_t StreamFormat::FrameBytes() const {
  return vix::RawVideoUtils::GetFrameBytes(code, vix::VideoChroma::C422, width, height);
}

void ClearRowPadding(const StreamFormat& format, std::uint8_t* frame) {
  if (format.code != vix::kFourCC_V210) return;  // "UYVY" rows have no padding
  constexpr std::size_t kGroupPixels = 6;
  constexpr std::size_t kGroupBytes = 16;
  const std::size_t used = (format.width + kGroupPixels - 1) / kGroupPixels * kGroupBytes;
  const std::size_t stride = format.FrameBytes() / format.height;
  if (used == stride) return;
  for (std::size_t row = 0; row < format.height; ++row) {
    std::memset(frame + row * stride + used, 0, stride - used);
  }
}

const ProResVariant* FindProResVariant(vix::FourCC code) {
  return OrNull(std::ranges::find(kVariants, code, &ProResVariant::code));
}

const ProResVariant* FindProResVariant(const std::string& option) {
  return OrNull(std::ranges::find_if(kVariants, [&option](const ProResVariant& variant) {
    return variant.option && variant.option == option;
  }));
}

std::string DescribeCode(vix::FourCC code) {
  if (const ProResVariant* variant = FindProResVariant(code)) return variant->name;
  if (code == 0) return "ProRes";
  std::string text;
  for (unsigned shift = 0; shift < 32; shift += 8) {
    const char character = static_cast<char>(code >> shift & 0xFF);
    text += character >= ' ' && character <= '~' ? character : '?';
  }
  return text;
}

std::string Describe(FieldOrder order) {
  static constexpr std::array<const char*, 4> kTexts{"unknown field order", "progressive",
                                                     "top field first", "bottom field first"};
  return kTexts.at(static_cast<std::size_t>(order));
}

std::string DescribeSize(std::uint32_t width, std::uint32_t height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

std::string Describe(Rational value) {
  const std::string numerator = std::to_string(value.numerator);
  return value.denominator == 1 ? numerator : numerator + "/" + std::to_string(value.denominator);
}

}  // namespace vixprores
