// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_PIXELCONVERSION_H
#define VIX_PIXELCONVERSION_H

/// @file
/// Conversion between the packed formats of the elements and the planar formats of other programs.
/// All formats are 4:2:2, so "Y416" and "b64A" are not among them: each pair of pixels shares one
/// Cb and one Cr sample.

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "vix/Export.h"
#include "vix/Types.h"

namespace vix {

/// Memory layout of an uncompressed 4:2:2 picture. The values are four-character codes, so that the
/// FourCC of a raw description converts with a cast.
///
/// Words are little-endian and need no alignment. Rows of chroma samples have half the width of the
/// picture, rounded up.
enum class PixelFormat : FourCC {
  /// One plane, 8 bits, bytes Cb Y Cr Y for two pixels. An odd width is rounded up.
  UYVY = kFourCC_UYVY,
  /// One plane, 8 bits, bytes Y Cb Y Cr for two pixels. An odd width is rounded up.
  YUY2 = MakeFourCC("YUY2"),
  /// One plane, 10 bits, three samples in each 32-bit word from the low bits up, in the order
  /// Cb Y Cr Y; six pixels in 16 bytes. Rows are padded to a multiple of 128 bytes (48 pixels).
  V210 = kFourCC_V210,
  /// Planes Y, Cb, Cr of bytes.
  I422 = MakeFourCC("I422"),
  /// Planes Y, Cb, Cr of 16-bit words with 10 bits in the low bits.
  I210 = MakeFourCC("I210"),
  /// Planes Y, Cb, Cr of 16-bit words, all bits used.
  I216 = MakeFourCC("I216"),
  /// Planes Y and CbCr (alternating) of bytes.
  NV16 = MakeFourCC("NV16"),
  /// Planes Y and CbCr (alternating) of 16-bit words with 10 bits in the high bits.
  P210 = MakeFourCC("P210"),
};

/// Largest number of planes of a format.
inline constexpr std::size_t kMaxPixelPlanes = 3;
/// Largest width and height of a picture.
inline constexpr std::uint32_t kMaxPixelSize = 65535;

/// A picture in memory of the caller. It owns nothing.
template <typename Byte>
struct BasicPixelPicture {
  /// Rows of one plane. Bytes from the end of a row to the next one belong to the caller.
  struct Plane {
    Byte* data = nullptr;    ///< first byte of the first row, at any address
    std::size_t stride = 0;  ///< bytes from one row to the next, at least GetPixelRowBytes()
  };

  PixelFormat format = PixelFormat::UYVY;       ///< layout of the planes
  std::uint32_t width = 0;                      ///< pixels of a row, 1 to kMaxPixelSize
  std::uint32_t height = 0;                     ///< rows, 1 to kMaxPixelSize
  std::array<Plane, kMaxPixelPlanes> planes{};  ///< the format uses the first ones

  /// Returns the rows from `first` on. The rows must be part of the picture.
  BasicPixelPicture Rows(std::uint32_t first, std::uint32_t count) const {
    BasicPixelPicture part = *this;
    part.height = count;
    for (Plane& plane : part.planes) {
      if (plane.data != nullptr) plane.data += first * plane.stride;
    }
    return part;
  }

  /// Converts a picture to write to a picture to read, as pointers convert.
  // NOLINTNEXTLINE(google-explicit-constructor)
  operator BasicPixelPicture<const std::uint8_t>() const requires(!std::is_const_v<Byte>) {
    BasicPixelPicture<const std::uint8_t> picture{format, width, height, {}};
    for (std::size_t i = 0; i < planes.size(); ++i) {
      picture.planes[i] = {planes[i].data, planes[i].stride};
    }
    return picture;
  }
};

/// A picture to write.
using PixelPicture = BasicPixelPicture<std::uint8_t>;
/// A picture to read.
using ConstPixelPicture = BasicPixelPicture<const std::uint8_t>;

/// Returns the number of planes: 1 to kMaxPixelPlanes.
/// @throws VIXError (BadArgument) if the format is unknown
VIX_API std::size_t GetPixelPlanes(PixelFormat format);

/// Returns the bytes of one row of a plane, padding of "V210" included. For "UYVY" and "V210" it is
/// the stride of RawVideoUtils::GetStrides().
/// @param plane number from 0 on
/// @throws VIXError (BadArgument) if the format or the plane is unknown or the width not allowed
VIX_API std::size_t GetPixelRowBytes(PixelFormat format, std::size_t plane, std::uint32_t width);

/// Returns the bytes of a picture whose planes follow each other and whose rows have
/// GetPixelRowBytes() bytes each.
/// @throws VIXError (BadArgument) if the format is unknown or the size not allowed
VIX_API std::uint64_t GetPixelPictureBytes(PixelFormat format, std::uint32_t width,
                                           std::uint32_t height);

/// Describes a picture of GetPixelPictureBytes() bytes that starts at `data`.
/// @throws VIXError (BadArgument) if the format is unknown or the size not allowed
VIX_API PixelPicture MakePixelPicture(PixelFormat format, std::uint32_t width, std::uint32_t height,
                                      std::uint8_t* data);
/// Describes a picture to read likewise.
VIX_API ConstPixelPicture MakePixelPicture(PixelFormat format, std::uint32_t width,
                                           std::uint32_t height, const std::uint8_t* data);

/// Converts `source` to the format of `destination`, which has the same size. Colours do not
/// change.
///
/// - More bits: samples are shifted left; the new low bits are zero.
/// - Fewer bits: samples are rounded to the nearest value, halves up, and limited to the maximum.
/// - Samples of "I210" above 1023 count as 1023. The low 6 bits of "P210" are ignored when reading
///   and cleared when writing.
/// - A packed row of odd width ends with a second copy of its last Y sample, which reading ignores.
///   Samples and padding of "V210" after that are ignored when reading and cleared when writing.
///
/// Writes GetPixelRowBytes() bytes of each row and nothing between rows; reads no other bytes of
/// `source`. Allocates no memory. The pictures must not overlap, with one exception: between "UYVY"
/// and "YUY2", between "I210" and "I216", and from a format to itself, a picture may be converted
/// in place (the same planes and strides).
///
/// Any number of threads may convert at the same time. To divide a picture among threads, give each
/// of them other Rows() of both pictures. Uses the instruction set of the processor, or a lower one
/// that the environment variable VIX_PRORES_CPU names at the first conversion; the results are the
/// same.
///
/// @throws VIXError (BadArgument) if a format is unknown, a size not allowed, the sizes differ, a
///         plane is null or its stride too small. `destination` is unchanged then.
VIX_API void ConvertPixels(const ConstPixelPicture& source, const PixelPicture& destination);

}  // namespace vix

#endif  // VIX_PIXELCONVERSION_H
