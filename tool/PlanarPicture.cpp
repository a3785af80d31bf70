// SPDX-License-Identifier: BSD-2-Clause
#include "PlanarPicture.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "Errors.h"

namespace vixprores {
namespace {

// Both packed formats hold the components of a row in the order Cb Y Cr Y: "UYVY" one a byte,
// "V210" three in each little-endian 32-bit word, from the lowest bits up.
constexpr std::size_t kComponentsPerPair = 4;
constexpr std::size_t kComponentsPerWord = 3;
constexpr std::uint32_t kLargest10Bit = 1023;
// What a frame is written as has a header line in front.
constexpr std::size_t kLargestPicture = UINT32_MAX - 64;

struct Geometry {
  explicit Geometry(const StreamFormat& format)
      : width(format.width), chromaWidth((width + 1) / 2), height(format.height) {}

  std::size_t Samples() const { return (width + 2 * chromaWidth) * height; }

  std::size_t width;
  std::size_t chromaWidth;
  std::size_t height;
};

template <typename Sample>
struct PlanarRow {
  explicit PlanarRow(const Geometry& geometry)
      : y(geometry.width), cb(geometry.chromaWidth), cr(geometry.chromaWidth) {}

  std::vector<Sample> y, cb, cr;
};

// Copies the parts of one row from or to the planes; `copy(plane bytes offset, samples)`.
template <typename Sample, typename Copy>
void ForEachPart(const Geometry& geometry, std::size_t row, PlanarRow<Sample>& parts,
                 const Copy& copy) {
  const std::size_t cbPlane = geometry.width * geometry.height;
  const std::size_t crPlane = cbPlane + geometry.chromaWidth * geometry.height;
  copy(row * geometry.width * sizeof(Sample), parts.y);
  copy((cbPlane + row * geometry.chromaWidth) * sizeof(Sample), parts.cb);
  copy((crPlane + row * geometry.chromaWidth) * sizeof(Sample), parts.cr);
}

template <typename Sample>
void Interleave(const PlanarRow<Sample>& parts, Sample* components) {
  const std::size_t wholePairs = parts.y.size() / 2;
  for (std::size_t pair = 0; pair < wholePairs; ++pair, components += kComponentsPerPair) {
    components[0] = parts.cb[pair];
    components[1] = parts.y[2 * pair];
    components[2] = parts.cr[pair];
    components[3] = parts.y[2 * pair + 1];
  }
  if (wholePairs < parts.cb.size()) {
    components[0] = parts.cb.back();
    components[1] = components[3] = parts.y.back();
    components[2] = parts.cr.back();
  }
}

template <typename Sample>
void Deinterleave(const Sample* components, PlanarRow<Sample>& parts) {
  for (std::size_t pair = 0; pair < parts.cb.size(); ++pair) {
    parts.cb[pair] = components[kComponentsPerPair * pair];
    parts.cr[pair] = components[kComponentsPerPair * pair + 2];
  }
  for (std::size_t x = 0; x < parts.y.size(); ++x) parts.y[x] = components[2 * x + 1];
}

void PackComponents(std::span<const std::uint8_t> components, std::uint8_t* row) {
  std::memcpy(row, components.data(), components.size());
}

void UnpackComponents(const std::uint8_t* row, std::span<std::uint8_t> components) {
  std::memcpy(components.data(), row, components.size());
}

void PackComponents(std::span<const std::uint16_t> components, std::uint8_t* row) {
  const auto limited = [&components](std::size_t index) {
    return std::min<std::uint32_t>(components[index], kLargest10Bit);
  };
  for (std::size_t index = 0; index < components.size(); index += kComponentsPerWord, row += 4) {
    const std::uint32_t word = limited(index) | limited(index + 1) << 10 | limited(index + 2) << 20;
    std::memcpy(row, &word, sizeof word);
  }
}

void UnpackComponents(const std::uint8_t* row, std::span<std::uint16_t> components) {
  for (std::size_t index = 0; index < components.size(); index += kComponentsPerWord, row += 4) {
    std::uint32_t word;
    std::memcpy(&word, row, sizeof word);
    for (std::size_t i = 0; i < kComponentsPerWord; ++i) {
      components[index + i] = static_cast<std::uint16_t>(word >> 10 * i & kLargest10Bit);
    }
  }
}

// Components that a row of `stride` bytes has room for, padding included.
template <typename Sample>
std::size_t ComponentsPerRow(std::size_t stride) {
  return sizeof(Sample) == 1 ? stride : stride / 4 * kComponentsPerWord;
}

template <typename Sample>
void Pack(const Geometry& geometry, std::span<const std::uint8_t> planar,
          std::span<std::uint8_t> packed) {
  const std::size_t stride = packed.size() / geometry.height;
  PlanarRow<Sample> parts(geometry);
  std::vector<Sample> components(ComponentsPerRow<Sample>(stride));
  for (std::size_t row = 0; row < geometry.height; ++row) {
    ForEachPart(geometry, row, parts, [planar](std::size_t offset, std::vector<Sample>& samples) {
      std::memcpy(samples.data(), &planar[offset], samples.size() * sizeof(Sample));
    });
    Interleave(parts, components.data());
    PackComponents(std::span<const Sample>(components), &packed[row * stride]);
  }
}

template <typename Sample>
void Unpack(const Geometry& geometry, std::span<const std::uint8_t> packed,
            std::span<std::uint8_t> planar) {
  const std::size_t stride = packed.size() / geometry.height;
  PlanarRow<Sample> parts(geometry);
  std::vector<Sample> components(ComponentsPerRow<Sample>(stride));
  for (std::size_t row = 0; row < geometry.height; ++row) {
    UnpackComponents(&packed[row * stride], std::span<Sample>(components));
    Deinterleave(components.data(), parts);
    ForEachPart(geometry, row, parts, [planar](std::size_t offset, std::vector<Sample>& samples) {
      std::memcpy(&planar[offset], samples.data(), samples.size() * sizeof(Sample));
    });
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
  const auto pack = Has10Bits(format) ? Pack<std::uint16_t> : Pack<std::uint8_t>;
  pack(Geometry(format), planar, packed);
}

void UnpackPicture(const StreamFormat& format, std::span<const std::uint8_t> packed,
                   std::span<std::uint8_t> planar) {
  const auto unpack = Has10Bits(format) ? Unpack<std::uint16_t> : Unpack<std::uint8_t>;
  unpack(Geometry(format), packed, planar);
}

}  // namespace vixprores
