// SPDX-License-Identifier: BSD-2-Clause
#include "format/PlanarPicture.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "base/Errors.h"

namespace vixprores {
namespace {

constexpr std::size_t kLargestPicture = UINT32_MAX - 64;  // leaves room for a Y4M header line

// The packed formats have the components of a row in the order Cb Y Cr Y. Pack() and Unpack()
// handle one group: the fewest pixels that fill whole words.

// One byte per sample.
struct Uyvy {
  using Sample = std::uint8_t;
  static constexpr std::size_t kPixels = 2;
  static constexpr std::size_t kBytes = 4;

  static void Pack(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr,
                   std::uint8_t* packed) {
    packed[0] = *cb;
    packed[1] = y[0];
    packed[2] = *cr;
    packed[3] = y[1];
  }

  static void Unpack(const std::uint8_t* packed, std::uint8_t* y, std::uint8_t* cb,
                     std::uint8_t* cr) {
    *cb = packed[0];
    y[0] = packed[1];
    *cr = packed[2];
    y[1] = packed[3];
  }
};

// Three samples in each little-endian 32-bit word, from the lowest bits up. Samples may be
// unaligned.
struct V210 {
  using Sample = std::uint16_t;
  static constexpr std::size_t kPixels = 6;
  static constexpr std::size_t kBytes = 16;
  static constexpr std::uint32_t kLargest = 1023;

  static void Pack(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr,
                   std::uint8_t* packed) {
    StoreWord(packed, Load(cb, 0), Load(y, 0), Load(cr, 0));
    StoreWord(packed + 4, Load(y, 1), Load(cb, 1), Load(y, 2));
    StoreWord(packed + 8, Load(cr, 1), Load(y, 3), Load(cb, 2));
    StoreWord(packed + 12, Load(y, 4), Load(cr, 2), Load(y, 5));
  }

  static void Unpack(const std::uint8_t* packed, std::uint8_t* y, std::uint8_t* cb,
                     std::uint8_t* cr) {
    LoadWord(packed, cb, y, cr);
    LoadWord(packed + 4, y + 2, cb + 2, y + 4);
    LoadWord(packed + 8, cr + 2, y + 6, cb + 4);
    LoadWord(packed + 12, y + 8, cr + 4, y + 10);
  }

 private:
  static std::uint32_t Load(const std::uint8_t* samples, std::size_t index) {
    Sample sample;
    std::memcpy(&sample, samples + index * sizeof sample, sizeof sample);
    return std::min<std::uint32_t>(sample, kLargest);
  }

  static void StoreWord(std::uint8_t* packed, std::uint32_t low, std::uint32_t middle,
                        std::uint32_t high) {
    const std::uint32_t word = low | middle << 10 | high << 20;
    std::memcpy(packed, &word, sizeof word);
  }

  static void Store(std::uint8_t* sample, std::uint32_t value) {
    const auto narrow = static_cast<Sample>(value & kLargest);
    std::memcpy(sample, &narrow, sizeof narrow);
  }

  static void LoadWord(const std::uint8_t* packed, std::uint8_t* low, std::uint8_t* middle,
                       std::uint8_t* high) {
    std::uint32_t word;
    std::memcpy(&word, packed, sizeof word);
    Store(low, word);
    Store(middle, word >> 10);
    Store(high, word >> 20);
  }
};

template <typename Format>
constexpr std::size_t kSampleBytes = sizeof(typename Format::Sample);

// Returns the row advanced by a whole number of groups.
template <typename Format, typename Byte>
PlanarRow<Byte> Advance(const PlanarRow<Byte>& row, std::size_t groups) {
  const std::size_t chroma = groups * Format::kPixels / 2 * kSampleBytes<Format>;
  return {row.y + 2 * chroma, row.cb + chroma, row.cr + chroma};
}

// Samples of one group.
template <typename Format>
struct Group {
  static constexpr std::size_t kLumaBytes = Format::kPixels * kSampleBytes<Format>;

  std::array<std::uint8_t, kLumaBytes> y{};
  std::array<std::uint8_t, kLumaBytes / 2> cb{};
  std::array<std::uint8_t, kLumaBytes / 2> cr{};
};

// `__restrict` lets the compiler vectorise the loops over groups.
template <typename Format>
void PackGroups(std::size_t groups, const std::uint8_t* __restrict y,
                const std::uint8_t* __restrict cb, const std::uint8_t* __restrict cr,
                std::uint8_t* __restrict packed) {
  constexpr std::size_t kLumaBytes = Group<Format>::kLumaBytes;
  for (std::size_t group = 0; group < groups; ++group) {
    const std::size_t chroma = group * kLumaBytes / 2;
    Format::Pack(y + group * kLumaBytes, cb + chroma, cr + chroma, packed + group * Format::kBytes);
  }
}

template <typename Format>
void UnpackGroups(std::size_t groups, const std::uint8_t* __restrict packed,
                  std::uint8_t* __restrict y, std::uint8_t* __restrict cb,
                  std::uint8_t* __restrict cr) {
  constexpr std::size_t kLumaBytes = Group<Format>::kLumaBytes;
  for (std::size_t group = 0; group < groups; ++group) {
    const std::size_t chroma = group * kLumaBytes / 2;
    Format::Unpack(packed + group * Format::kBytes, y + group * kLumaBytes, cb + chroma,
                   cr + chroma);
  }
}

template <typename Format>
void PackRow(std::size_t width, const PlanarRow<const std::uint8_t>& row,
             std::span<std::uint8_t> packed) {
  constexpr std::size_t kBytes = kSampleBytes<Format>;
  const std::size_t groups = width / Format::kPixels;
  const std::size_t rest = width % Format::kPixels;
  PackGroups<Format>(groups, row.y, row.cb, row.cr, packed.data());
  std::size_t used = groups * Format::kBytes;
  if (rest > 0) {
    const auto source = Advance<Format>(row, groups);
    Group<Format> last;
    std::memcpy(last.y.data(), source.y, rest * kBytes);
    std::memcpy(last.cb.data(), source.cb, (rest + 1) / 2 * kBytes);
    std::memcpy(last.cr.data(), source.cr, (rest + 1) / 2 * kBytes);
    if (rest % 2 == 1) std::copy_n(&last.y[(rest - 1) * kBytes], kBytes, &last.y[rest * kBytes]);
    Format::Pack(last.y.data(), last.cb.data(), last.cr.data(), packed.data() + used);
    used += Format::kBytes;
  }
  std::fill(packed.data() + used, packed.data() + packed.size(), std::uint8_t{0});
}

template <typename Format>
void UnpackRow(std::size_t width, const std::uint8_t* packed, const PlanarRow<std::uint8_t>& row) {
  constexpr std::size_t kBytes = kSampleBytes<Format>;
  const std::size_t groups = width / Format::kPixels;
  const std::size_t rest = width % Format::kPixels;
  UnpackGroups<Format>(groups, packed, row.y, row.cb, row.cr);
  if (rest == 0) return;
  const auto target = Advance<Format>(row, groups);
  Group<Format> last;
  Format::Unpack(packed + groups * Format::kBytes, last.y.data(), last.cb.data(), last.cr.data());
  std::memcpy(target.y, last.y.data(), rest * kBytes);
  std::memcpy(target.cb, last.cb.data(), (rest + 1) / 2 * kBytes);
  std::memcpy(target.cr, last.cr.data(), (rest + 1) / 2 * kBytes);
}

bool Has10Bits(const StreamFormat& format) {
  return format.code == vix::kFourCC_V210;
}

std::size_t ChromaWidth(const StreamFormat& format) {
  return (std::size_t{format.width} + 1) / 2;
}

template <typename Byte>
PlanarRow<Byte> FindRow(const StreamFormat& format, std::span<Byte> planar, std::size_t row) {
  const std::size_t sampleBytes = Has10Bits(format) ? 2 : 1;
  const std::size_t lumaRow = format.width * sampleBytes;
  const std::size_t chromaRow = ChromaWidth(format) * sampleBytes;
  Byte* const cb = planar.data() + lumaRow * format.height + chromaRow * row;
  return {planar.data() + lumaRow * row, cb, cb + chromaRow * format.height};
}

}  // namespace

unsigned SampleBits(const StreamFormat& format) {
  return Has10Bits(format) ? 10 : 8;
}

std::uint32_t PlanarBytes(const StreamFormat& format) {
  const std::size_t rowSamples = format.width + 2 * ChromaWidth(format);
  const std::size_t bytes = rowSamples * format.height * (Has10Bits(format) ? 2 : 1);
  if (bytes > kLargestPicture) {
    throw Failure("Y4M pictures of " + DescribeSize(format.width, format.height) + " have " +
                  std::to_string(bytes) + " bytes each, more than 32 bits of them");
  }
  return static_cast<std::uint32_t>(bytes);
}

void PackPicture(const StreamFormat& format, std::span<const std::uint8_t> planar,
                 std::span<std::uint8_t> packed) {
  const auto packRow = Has10Bits(format) ? PackRow<V210> : PackRow<Uyvy>;
  const std::size_t stride = packed.size() / format.height;
  for (std::size_t row = 0; row < format.height; ++row) {
    packRow(format.width, FindRow(format, planar, row), packed.subspan(row * stride, stride));
  }
}

void UnpackPicture(const StreamFormat& format, std::span<const std::uint8_t> packed,
                   std::span<std::uint8_t> planar) {
  for (std::size_t row = 0; row < format.height; ++row) {
    UnpackRow(format, packed, row, FindRow(format, planar, row));
  }
}

void UnpackRow(const StreamFormat& format, std::span<const std::uint8_t> packed, std::size_t row,
               const PlanarRow<std::uint8_t>& samples) {
  const auto unpackRow = Has10Bits(format) ? UnpackRow<V210> : UnpackRow<Uyvy>;
  const std::size_t stride = packed.size() / format.height;
  unpackRow(format.width, packed.data() + row * stride, samples);
}

void SamplePicture::Load(const StreamFormat& format, std::span<const std::uint8_t> packed,
                         unsigned bits) {
  width_ = format.width;
  height_ = format.height;
  const std::size_t bytes = PlanarBytes(format);
  if (Has10Bits(format)) {
    samples_.resize(bytes / sizeof(std::uint16_t));
    UnpackPicture(format, packed, {reinterpret_cast<std::uint8_t*>(samples_.data()), bytes});
    return;
  }
  planar_.resize(bytes);
  UnpackPicture(format, packed, planar_);
  samples_.resize(bytes);
  std::ranges::transform(planar_, samples_.begin(), [shift = bits - 8](std::uint8_t sample) {
    return static_cast<std::uint16_t>(sample << shift);
  });
}

SamplePlane SamplePicture::GetPlane(std::size_t plane) const {
  const std::size_t chromaWidth = (width_ + 1) / 2;
  if (plane == 0) return {samples_.data(), width_, height_};
  return {samples_.data() + (width_ + (plane - 1) * chromaWidth) * height_, chromaWidth, height_};
}

}  // namespace vixprores
