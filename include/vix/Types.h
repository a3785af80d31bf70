// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_TYPES_H
#define VIX_TYPES_H

/// @file
/// Value types and enumerations that hosts, elements and plug-ins exchange.

#include <cstdint>

namespace vix {

/// Four-character code of a pixel format, first character in the least significant byte.
using FourCC = std::uint32_t;

/// The code of four characters, for example `MakeFourCC("UYVY")`.
constexpr FourCC MakeFourCC(const char (&text)[5]) {
  FourCC code = 0;
  for (int i = 3; i >= 0; --i) code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}

/// Packed 4:2:2, 8 bits per component, byte order U Y V Y.
inline constexpr FourCC kFourCC_UYVY = MakeFourCC("UYVY");
/// Packed 4:2:2, 10 bits per component, three components in each little-endian 32-bit word.
inline constexpr FourCC kFourCC_V210 = MakeFourCC("V210");
/// Packed 4:4:4 with alpha, 16 bits per component, little-endian, in the order A Y Cb Cr; video
/// range.
inline constexpr FourCC kFourCC_Y416 = MakeFourCC("Y416");
/// RGB with alpha, 16 bits per component, big-endian, in the order A R G B; full range.
inline constexpr FourCC kFourCC_b64A = MakeFourCC("b64A");
static_assert(kFourCC_UYVY == 0x59565955 && kFourCC_V210 == 0x30313256);

/// Kind of element that a factory makes.
enum class ElementFactoryType : std::int32_t {
  VideoDecoder = 9,
  VideoEncoder = 11,
  MemoryBlockAllocator = 23,
};

/// Codec family of a stream description.
enum class VCodecFamily : std::int32_t {
  Raw = 1,     ///< uncompressed; the description is an IVideoParameters_RAW
  ProRes = 2,  ///< ProRes; the description is an IVideoParameters_ProRes
};

/// ProRes 4:2:2 variants in the order of their data rates.
enum class ProResCodecVariant : std::int32_t {
  Proxy = 1,
  LT = 2,
  Standard = 3,  ///< plain "ProRes 422"
  HQ = 4,
};

/// Scan mode of a frame.
enum class ScanMode : std::int32_t {
  Interlaced = 1,  ///< two fields, top field first
  Progressive = 2,
};

/// Chroma sampling. C422 and C444 have the values of the ProRes frame header (RDD 36,
/// chroma_format).
enum class VideoChroma : std::int32_t {
  C422 = 2,
  C444 = 3,
  C4444 = 4,  ///< 4:4:4 with alpha that counts; only of uncompressed pictures
};

/// Class of picture height. A field class is its frame class + 0x10.
enum class VideoResolution : std::int32_t {
  Unrecognised = 0,
  Lines480 = 1,
  Lines576 = 2,
  Lines720 = 3,
  Lines1080 = 4,
  Lines2160 = 5,
  Lines240 = 0x11,
  Lines288 = 0x12,
};

/// Severity of a log record. Lower values are more severe.
enum class LogLevel : std::int32_t {
  Fatal = 1,
  Error = 2,  ///< level of every failure report
  Warning = 3,
  Info = 4,  ///< level of milestones
  Debug = 5,
};

/// Frames per second as a fraction, for example 30000/1001.
struct EditRate {
  std::int32_t numerator = 0;    ///< frames in `denominator` seconds
  std::int32_t denominator = 1;  ///< seconds
  /// Compares the numbers, not the value: 50/2 is not 25/1.
  friend constexpr bool operator==(const EditRate&, const EditRate&) = default;
};
static_assert(sizeof(EditRate) == 8);

/// Time span [begin, end) of a sample, counted in ticks.
struct TimeLimits {
  std::int64_t begin = 0;         ///< first tick
  std::int64_t end = 0;           ///< tick after the last one
  EditRate ticksPerSecond{1, 1};  ///< ticks in one second
  /// Compares the numbers, not the times.
  friend constexpr bool operator==(const TimeLimits&, const TimeLimits&) = default;
};

}  // namespace vix

#endif  // VIX_TYPES_H
