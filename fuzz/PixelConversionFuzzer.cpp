// SPDX-License-Identifier: BSD-2-Clause
// Converts pictures of arbitrary size, strides, alignment and content between all pixel formats,
// and requires what the tests' model gives, the same in place where that is allowed, untouched
// bytes between rows, and errors without a change for wrong arguments. Options: formats (3 bits
// each), width and height, slack of rows, alignment, fault.
#include <vix/vix.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include "FuzzInput.h"
#include "ReferencePixels.h"
#include "Require.h"

namespace {

using vix::PixelFormat;
using vix::test::kAllFormats;
using Bytes = std::vector<std::uint8_t>;

/// A picture whose planes have memory of their own that ends with their last row.
class Planes {
 public:
  /// @param slack bytes between rows. @param shift bytes before the first row.
  Planes(PixelFormat format, std::uint32_t width, std::uint32_t height, std::size_t slack,
         std::size_t shift, std::uint8_t fill) {
    picture_.format = format;
    picture_.width = width;
    picture_.height = height;
    const auto rowBytes = vix::test::ReferenceRowBytes(format, width);
    Require(vix::GetPixelPlanes(format) ==
            3U - static_cast<unsigned>(std::count(rowBytes.begin(), rowBytes.end(), 0U)));
    for (std::size_t i = 0; i < rowBytes.size() && rowBytes[i] != 0; ++i) {
      Require(vix::GetPixelRowBytes(format, i, width) == rowBytes[i]);
      const std::size_t stride = rowBytes[i] + slack;
      memory_[i].assign(shift + stride * (height - 1) + rowBytes[i], fill);
      picture_.planes[i] = {memory_[i].data() + shift, stride};
    }
  }
  // The picture has the addresses of the memory.
  Planes(const Planes&) = delete;
  Planes& operator=(const Planes&) = delete;

  vix::PixelPicture& Picture() { return picture_; }
  const std::array<Bytes, vix::kMaxPixelPlanes>& Memory() const { return memory_; }

  /// Fills all bytes with repetitions of `pattern`.
  void Fill(const Bytes& pattern) {
    std::size_t next = 0;
    for (Bytes& plane : memory_) {
      for (std::uint8_t& byte : plane) byte = pattern[next++ % pattern.size()];
    }
  }

 private:
  std::array<Bytes, vix::kMaxPixelPlanes> memory_;
  vix::PixelPicture picture_;
};

/// Formats that share their memory layout, so that a picture may be converted in place.
bool IsPossibleInPlace(PixelFormat from, PixelFormat to) {
  constexpr std::pair<PixelFormat, PixelFormat> kPairs[] = {{PixelFormat::UYVY, PixelFormat::YUY2},
                                                            {PixelFormat::I210, PixelFormat::I216}};
  return from == to || std::ranges::any_of(kPairs, [&](const auto& pair) {
           return (pair.first == from && pair.second == to) ||
                  (pair.first == to && pair.second == from);
         });
}

/// Makes a pair of arguments wrong. Returns false if `fault` stands for none.
bool Spoil(vix::PixelPicture& picture, std::uint8_t fault) {
  switch (fault) {
    case 1:
      picture.planes[0].data = nullptr;
      return true;
    case 2:
      picture.planes[0].stride = vix::GetPixelRowBytes(picture.format, 0, picture.width) - 1;
      return true;
    case 3:
      ++picture.width;
      return true;
    case 4:
      picture.height = 0;
      return true;
    case 5:
      picture.format = PixelFormat{vix::kFourCC_Y416};
      return true;
    default:
      return false;
  }
}

void RequireRefusal(vix::PixelPicture source, vix::PixelPicture destination, bool spoilsSource,
                    std::uint8_t fault) {
  Spoil(spoilsSource ? source : destination, fault);
  try {
    ConvertPixels(source, destination);
    Require(false);
  } catch (const vix::VIXError& error) {
    Require(error.GetCode() == vix::ErrorCode::BadArgument);
  }
}

/// Clears the padding of a raw picture whose last row ends with its memory.
void ClearPadding(vix::FourCC fourcc, std::uint32_t width, std::uint32_t height) {
  const std::uint32_t stride =
      vix::RawVideoUtils::GetStrides(fourcc, vix::VideoChroma::C422, width, height).at(0);
  Bytes picture(vix::RawVideoUtils::GetFrameBytes(fourcc, vix::VideoChroma::C422, width, height),
                0xa5);
  Require(picture.size() == std::size_t{stride} * height);
  vix::RawVideoUtils::ClearRowPadding(fourcc, width, height, stride, picture.data());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const std::uint8_t formats = input.Byte();
  const PixelFormat from = kAllFormats[formats & 7], to = kAllFormats[formats >> 3 & 7];
  const std::uint32_t width = input.Byte() + 1U, height = input.Byte() % 4 + 1U;
  const std::uint8_t slack = input.Byte(), shift = input.Byte(), fault = input.Byte();
  Bytes pattern = input.Rest();
  pattern.push_back(0x9c);

  Planes source(from, width, height, slack & 15, shift & 15, 0);
  source.Fill(pattern);
  Planes expected(to, width, height, slack >> 4, shift >> 4, 0x3c);
  Planes converted(to, width, height, slack >> 4, shift >> 4, 0x3c);
  if (fault >= 1 && fault <= 10) {
    RequireRefusal(source.Picture(), converted.Picture(), fault % 2 == 0, (fault + 1) / 2);
    Require(converted.Memory() == expected.Memory());
    return 0;
  }
  vix::test::ReferenceConvert(source.Picture(), expected.Picture());
  ConvertPixels(source.Picture(), converted.Picture());
  Require(converted.Memory() == expected.Memory());
  if (IsPossibleInPlace(from, to)) {
    vix::PixelPicture same = source.Picture();
    same.format = to;
    ConvertPixels(source.Picture(), same);
    Planes again(to, width, height, slack >> 4, shift >> 4, 0x3c);
    ConvertPixels(same, again.Picture());  // only copies
    Require(again.Memory() == expected.Memory());
  }
  ClearPadding(static_cast<vix::FourCC>(from), width, height);
  return 0;
}
