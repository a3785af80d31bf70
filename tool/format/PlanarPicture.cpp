// SPDX-License-Identifier: BSD-2-Clause
#include "format/PlanarPicture.h"

#include <algorithm>
#include <string>

#include "base/Errors.h"
#include "format/DeepPicture.h"
#include "vix/PixelConversion.h"

namespace vixprores {
namespace {

constexpr std::size_t kLargestPicture = UINT32_MAX - 64;  // leaves room for a Y4M header line

vix::PixelFormat PlanarFormat(const StreamFormat& format) {
  return SampleBits(format) == 10 ? vix::PixelFormat::I210 : vix::PixelFormat::I422;
}

// Describes a planar picture.
template <typename Byte>
vix::BasicPixelPicture<Byte> Planes(const StreamFormat& format, std::span<Byte> planar) {
  return vix::MakePixelPicture(PlanarFormat(format), format.width, format.height, planar.data());
}

// Describes a packed picture.
template <typename Byte>
vix::BasicPixelPicture<Byte> Packed(const StreamFormat& format, std::span<Byte> packed) {
  return vix::MakePixelPicture(vix::PixelFormat{format.code}, format.width, format.height,
                               packed.data());
}

}  // namespace

unsigned SampleBits(const StreamFormat& format) {
  return FindRawFormat(format.code)->planarBits;
}

std::uint32_t PlanarBytes(const StreamFormat& format) {
  return PlanarBytes(format, SampleBits(format));
}

std::uint32_t PlanarBytes(const StreamFormat& format, unsigned bits) {
  // Sizes that no element accepts are rejected later, with the name of the file.
  const std::size_t width = format.width;
  const std::size_t chromaWidth = IsOf4444(format.code) ? width : (width + 1) / 2;
  const std::size_t bytes = (width + 2 * chromaWidth) * format.height * (bits > 8 ? 2 : 1);
  if (bytes > kLargestPicture) {
    throw Failure("Y4M pictures of " + DescribeSize(format.width, format.height) + " have " +
                  std::to_string(bytes) + " bytes each, more than 32 bits of them");
  }
  return static_cast<std::uint32_t>(bytes);
}

void PackPicture(const StreamFormat& format, std::span<const std::uint8_t> planar,
                 std::span<std::uint8_t> packed) {
  if (IsOf4444(format.code)) return PackDeepPicture(SampleBits(format), planar, packed);
  vix::ConvertPixels(Planes(format, planar), Packed(format, packed));
}

void UnpackPicture(const StreamFormat& format, std::span<const std::uint8_t> packed,
                   std::span<std::uint8_t> planar) {
  if (IsOf4444(format.code)) return UnpackDeepPicture(packed, planar);
  vix::ConvertPixels(Packed(format, packed), Planes(format, planar));
}

void UnpackRow(const StreamFormat& format, std::span<const std::uint8_t> packed, std::uint32_t row,
               const std::array<std::uint8_t*, 3>& samples) {
  vix::PixelPicture planes{
      .format = PlanarFormat(format), .width = format.width, .height = 1, .planes = {}};
  for (std::size_t i = 0; i < samples.size(); ++i) {
    planes.planes[i] = {samples[i], vix::GetPixelRowBytes(planes.format, i, format.width)};
  }
  vix::ConvertPixels(Packed(format, packed).Rows(row, 1), planes);
}

void SamplePicture::Load(const StreamFormat& format, std::span<const std::uint8_t> packed,
                         unsigned bits) {
  width_ = format.width;
  height_ = format.height;
  chromaWidth_ = IsOf4444(format.code) ? width_ : (width_ + 1) / 2;
  if (IsOf4444(format.code)) return LoadDeep(packed);
  if (bits == 8) {
    planar_.resize(PlanarBytes(format));
    UnpackPicture(format, packed, planar_);
    samples_.assign(planar_.begin(), planar_.end());
    return;
  }
  StreamFormat words = format;
  words.code = vix::kFourCC_V210;
  const std::size_t bytes = PlanarBytes(words);
  samples_.resize(bytes / sizeof(std::uint16_t));
  const std::span planar(reinterpret_cast<std::uint8_t*>(samples_.data()), bytes);
  vix::ConvertPixels(Packed(format, packed), Planes(words, planar));
}

void SamplePicture::LoadDeep(std::span<const std::uint8_t> packed) {
  const std::size_t pixels = width_ * height_;
  samples_.resize(kPlanes * pixels);
  UnpackDeepPicture(packed, {reinterpret_cast<std::uint8_t*>(samples_.data()),
                             samples_.size() * sizeof(std::uint16_t)});
  alpha_.resize(pixels);
  UnpackAlpha(packed, alpha_);
}

SamplePlane SamplePicture::GetPlane(std::size_t plane) const {
  if (plane == 0) return {samples_.data(), width_, height_};
  return {samples_.data() + (width_ + (plane - 1) * chromaWidth_) * height_, chromaWidth_, height_};
}

}  // namespace vixprores
