// SPDX-License-Identifier: BSD-2-Clause
#include "format/PlanarPicture.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "base/Errors.h"

namespace vixprores {
namespace {

// What a frame is written as has a header line in front.
constexpr std::size_t kLargestPicture = UINT32_MAX - 64;

// Both packed formats hold the components of a row in the order Cb Y Cr Y. The functions take one
// group of pixels, the smallest number that fills whole words.

// One byte each.
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

// Three in each little-endian 32-bit word, from the lowest bits up. Samples need not be aligned.
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

struct Geometry {
  explicit Geometry(const StreamFormat& format)
      : width(format.width), chromaWidth((width + 1) / 2), height(format.height) {}

  std::size_t Samples() const { return (width + 2 * chromaWidth) * height; }

  std::size_t width;
  std::size_t chromaWidth;
  std::size_t height;
};

// The bytes of one row in the planes of a picture.
template <typename Byte>
struct PlanarRow {
  PlanarRow(const Geometry& geometry, std::size_t row, std::size_t sampleBytes, Byte* planes)
      : y(planes + row * geometry.width * sampleBytes),
        cb(planes + (geometry.height * geometry.width + row * geometry.chromaWidth) * sampleBytes),
        cr(cb + geometry.height * geometry.chromaWidth * sampleBytes) {}

  Byte* y;
  Byte* cb;
  Byte* cr;
};

// The pixels behind the last whole group of a row, with room for a whole one.
template <typename Format>
struct LastGroup {
  static constexpr std::size_t kSampleBytes = sizeof(typename Format::Sample);

  explicit LastGroup(const Geometry& geometry)
      : pixels(geometry.width % Format::kPixels),
        chromaBytes((pixels + 1) / 2 * kSampleBytes),
        groups(geometry.width / Format::kPixels) {}

  // Where the row has an odd number of pixels, its last one is repeated.
  void Pack(const PlanarRow<const std::uint8_t>& row, std::uint8_t* packed) {
    std::memcpy(y.data(), row.y + LumaOffset(), pixels * kSampleBytes);
    if (pixels % 2 == 1) {
      const auto end = y.begin() + static_cast<std::ptrdiff_t>(pixels * kSampleBytes);
      std::copy_n(end - kSampleBytes, kSampleBytes, end);
    }
    std::memcpy(cb.data(), row.cb + ChromaOffset(), chromaBytes);
    std::memcpy(cr.data(), row.cr + ChromaOffset(), chromaBytes);
    Format::Pack(y.data(), cb.data(), cr.data(), packed + groups * Format::kBytes);
  }

  void Unpack(const std::uint8_t* packed, const PlanarRow<std::uint8_t>& row) {
    Format::Unpack(packed + groups * Format::kBytes, y.data(), cb.data(), cr.data());
    std::memcpy(row.y + LumaOffset(), y.data(), pixels * kSampleBytes);
    std::memcpy(row.cb + ChromaOffset(), cb.data(), chromaBytes);
    std::memcpy(row.cr + ChromaOffset(), cr.data(), chromaBytes);
  }

  std::size_t LumaOffset() const { return groups * Format::kPixels * kSampleBytes; }
  std::size_t ChromaOffset() const { return LumaOffset() / 2; }

  std::size_t pixels;  // none where the row ends with a whole group
  std::size_t chromaBytes;
  std::size_t groups;  // whole ones in the row
  std::array<std::uint8_t, Format::kPixels * kSampleBytes> y{};
  std::array<std::uint8_t, Format::kPixels / 2 * kSampleBytes> cb{};
  std::array<std::uint8_t, Format::kPixels / 2 * kSampleBytes> cr{};
};

template <typename Format>
void PackGroups(std::size_t groups, const std::uint8_t* __restrict y,
                const std::uint8_t* __restrict cb, const std::uint8_t* __restrict cr,
                std::uint8_t* __restrict packed) {
  constexpr std::size_t kLumaBytes = Format::kPixels * sizeof(typename Format::Sample);
  for (std::size_t group = 0; group < groups; ++group) {
    const std::size_t chroma = group * kLumaBytes / 2;
    Format::Pack(y + group * kLumaBytes, cb + chroma, cr + chroma, packed + group * Format::kBytes);
  }
}

template <typename Format>
void UnpackGroups(std::size_t groups, const std::uint8_t* __restrict packed,
                  std::uint8_t* __restrict y, std::uint8_t* __restrict cb,
                  std::uint8_t* __restrict cr) {
  constexpr std::size_t kLumaBytes = Format::kPixels * sizeof(typename Format::Sample);
  for (std::size_t group = 0; group < groups; ++group) {
    const std::size_t chroma = group * kLumaBytes / 2;
    Format::Unpack(packed + group * Format::kBytes, y + group * kLumaBytes, cb + chroma,
                   cr + chroma);
  }
}

template <typename Format>
void Pack(const Geometry& geometry, std::span<const std::uint8_t> planar,
          std::span<std::uint8_t> packed) {
  const std::size_t stride = packed.size() / geometry.height;
  LastGroup<Format> last(geometry);
  const std::size_t used = (last.groups + (last.pixels > 0 ? 1 : 0)) * Format::kBytes;
  for (std::size_t row = 0; row < geometry.height; ++row) {
    std::uint8_t* const target = packed.data() + row * stride;
    const PlanarRow source(geometry, row, last.kSampleBytes, planar.data());
    PackGroups<Format>(last.groups, source.y, source.cb, source.cr, target);
    if (last.pixels > 0) last.Pack(source, target);
    std::memset(target + used, 0, stride - used);
  }
}

template <typename Format>
void Unpack(const Geometry& geometry, std::span<const std::uint8_t> packed,
            std::span<std::uint8_t> planar) {
  const std::size_t stride = packed.size() / geometry.height;
  LastGroup<Format> last(geometry);
  for (std::size_t row = 0; row < geometry.height; ++row) {
    const std::uint8_t* const source = packed.data() + row * stride;
    const PlanarRow target(geometry, row, last.kSampleBytes, planar.data());
    UnpackGroups<Format>(last.groups, source, target.y, target.cb, target.cr);
    if (last.pixels > 0) last.Unpack(source, target);
  }
}

bool Has10Bits(const StreamFormat& format) {
  return format.code == vix::kFourCC_V210;
}

}  // namespace

std::uint32_t PlanarBytes(const StreamFormat& format) {
  const std::size_t bytes = Geometry(format).Samples() * (Has10Bits(format) ? 2 : 1);
  if (bytes > kLargestPicture) {
    throw Failure("Y4M pictures of " + DescribeSize(format.width, format.height) + " have " +
                  std::to_string(bytes) + " bytes each, more than 32 bits of them");
  }
  return static_cast<std::uint32_t>(bytes);
}

void PackPicture(const StreamFormat& format, std::span<const std::uint8_t> planar,
                 std::span<std::uint8_t> packed) {
  const auto pack = Has10Bits(format) ? Pack<V210> : Pack<Uyvy>;
  pack(Geometry(format), planar, packed);
}

void UnpackPicture(const StreamFormat& format, std::span<const std::uint8_t> packed,
                   std::span<std::uint8_t> planar) {
  const auto unpack = Has10Bits(format) ? Unpack<V210> : Unpack<Uyvy>;
  unpack(Geometry(format), packed, planar);
}

}  // namespace vixprores
