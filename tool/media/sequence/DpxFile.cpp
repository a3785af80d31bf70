// SPDX-License-Identifier: BSD-2-Clause
#include "media/sequence/DpxFile.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

#include "base/Errors.h"
#include "format/Values.h"
#include "media/InputFile.h"

namespace vixprores {
namespace {

constexpr std::size_t kHeaderBytes = 1664;       // without the optional parts
constexpr std::size_t kWholeHeaderBytes = 2048;  // with those of film and television
constexpr float kMostRate = 1000;

// Words of a file in its own byte order.
struct ByteOrder {
  bool isSwapped;  ///< with respect to this machine, which is little-endian

  std::uint32_t Read32(const std::uint8_t* bytes) const {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return isSwapped ? __builtin_bswap32(word) : word;
  }
  std::uint16_t Read16(const std::uint8_t* bytes) const {
    std::uint16_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return isSwapped ? __builtin_bswap16(word) : word;
  }
};

std::optional<ByteOrder> FindByteOrder(std::span<const std::uint8_t> file) {
  const std::string_view magic(reinterpret_cast<const char*>(file.data()), 4);
  if (magic == "SDPX") return ByteOrder{true};
  if (magic == "XPDS") return ByteOrder{false};
  return std::nullopt;
}

constexpr std::uint32_t kUndefined = 0xFFFFFFFF;

// Size of a picture and place of its pixels.
struct Layout {
  std::uint32_t width;
  std::uint32_t height;
  std::uint32_t offset;
};

// Returns the layout of a file of the usual kind: one element of RGB from the top left, unsigned,
// 10 bits filled to 32 by method A, not compressed, without padding.
std::optional<Layout> FindLayout(std::span<const std::uint8_t> header, ByteOrder order) {
  const std::uint8_t* const bytes = header.data();
  const std::uint32_t offset = order.Read32(bytes + 4);
  const auto isAbsent = [&](std::size_t place) {
    const std::uint32_t value = order.Read32(bytes + place);
    return value == 0 || value == kUndefined;
  };
  const bool hasOwnOffset = order.Read32(bytes + 808) == offset || isAbsent(808);
  const bool isUsual = order.Read16(bytes + 768) == 0 && order.Read16(bytes + 770) == 1 &&
                       isAbsent(780) && bytes[800] == 50 && bytes[803] == 10 &&
                       order.Read16(bytes + 804) == 1 && order.Read16(bytes + 806) == 0 &&
                       isAbsent(812) && isAbsent(816);
  const Layout layout{order.Read32(bytes + 772), order.Read32(bytes + 776), offset};
  const auto isSide = [](std::uint32_t side) { return 0 < side && side <= kLargestSide; };
  if (!isUsual || !hasOwnOffset || !isSide(layout.width) || !isSide(layout.height)) return {};
  return offset < kHeaderBytes ? std::nullopt : std::optional(layout);
}

// Colours of a transfer and of a colorimetric code.
struct DpxColour {
  ImageLight light = ImageLight::Video;
  int primaries = 2;
  int transfer = 2;
};
// By code, from 0.
constexpr DpxColour kColours[] = {
    {},                          // defined by the user
    {ImageLight::Log, 2, 2},     // printing density
    {ImageLight::Linear, 2, 2},  // linear
    {ImageLight::Log, 2, 2},     // logarithmic
    {},                          // video of an unspecified kind
    {ImageLight::Video, 1, 1},   // SMPTE ST 274
    {ImageLight::Video, 1, 1},   // ITU-R BT.709
    {ImageLight::Video, 5, 6},   // ITU-R BT.601, 625 lines
    {ImageLight::Video, 6, 6},   // ITU-R BT.601, 525 lines
    {ImageLight::Video, 6, 6},   // NTSC
    {ImageLight::Video, 5, 6},   // PAL
};

DpxColour FindColour(std::uint8_t code) {
  return code < std::size(kColours) ? kColours[code] : DpxColour();
}

// Reads transfer and colorimetric codes. Writers without labels store the transfer code for linear
// in both, although no colorimetric code has its value.
void ReadColours(const std::uint8_t* header, ImageHeader& labels) {
  constexpr std::uint8_t kLinear = 2;
  const std::uint8_t transfer = header[801];
  const std::uint8_t colorimetric = header[802];
  if (transfer == kLinear && colorimetric == kLinear) return;
  labels.light = FindColour(transfer).light;
  labels.transfer = FindColour(transfer).transfer;
  labels.primaries = FindColour(colorimetric).primaries;
}

// Converts "YYYY:MM:DD:HH:MM:SS" with nothing or the zone of UTC after it to ISO 8601. A local time
// of an unknown zone is no label.
std::string ReadCreationTime(std::string_view text) {
  constexpr std::string_view kForm = "0000:00:00:00:00:00";
  text = text.substr(0, text.find('\0'));
  if (text.size() < kForm.size()) return {};
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    const bool isDigit = '0' <= text[i] && text[i] <= '9';
    if (kForm[i] == ':' ? text[i] != ':' : !isDigit) return {};
  }
  std::string_view zone = text.substr(kForm.size());
  if (zone.starts_with(':')) zone.remove_prefix(1);
  if (!zone.empty() && zone != "Z" && zone != "UTC" && zone != "GMT") return {};
  std::string iso(text.substr(0, kForm.size()));
  iso[4] = iso[7] = '-';
  iso[10] = 'T';
  return iso + "Z";
}

// Reads the labels of all parts of a header.
void ReadLabels(std::span<const std::uint8_t> header, ByteOrder order, ImageHeader& labels) {
  constexpr std::array<int, 4> kOrientations{1, 2, 4, 3};  // of rows, in codes of Exif
  const std::uint8_t* const bytes = header.data();
  const std::uint16_t orientation = order.Read16(bytes + 768);
  if (orientation < kOrientations.size()) labels.orientation = kOrientations.at(orientation);
  if (kOrientations.size() <= orientation && orientation < 2 * kOrientations.size()) {
    throw Failure(labels.path + ": stores its picture in columns (orientation " +
                  std::to_string(orientation) + "); convert it to one that is stored in rows");
  }
  ReadColours(bytes, labels);
  labels.creationTime =
      ReadCreationTime(std::string_view(reinterpret_cast<const char*>(bytes + 136), 24));
  const std::string_view reel(reinterpret_cast<const char*>(bytes + 1556), 32);
  if (bytes[1556] != 0xFF) labels.reel = reel.substr(0, reel.find('\0'));
  const std::uint32_t horizontal = order.Read32(bytes + 1628);
  const std::uint32_t vertical = order.Read32(bytes + 1632);
  const bool isKnown = horizontal != kUndefined && vertical != kUndefined && vertical > 0;
  // The ratio of the sampling distances, which is width to height.
  if (isKnown && horizontal > 0) labels.pixelAspect = static_cast<double>(horizontal) / vertical;
  if (order.Read32(bytes + 4) < kWholeHeaderBytes || header.size() < kWholeHeaderBytes) return;
  for (const std::size_t place : {std::size_t{1724}, std::size_t{1940}}) {
    const auto rate = std::bit_cast<float>(order.Read32(bytes + place));
    if (labels.rate == 0 && rate >= 1 && rate <= kMostRate) labels.rate = static_cast<double>(rate);
  }
  const std::uint32_t timecode = order.Read32(bytes + 1920);
  if (timecode != kUndefined) labels.timecode = timecode;
}

void UnpackRow(const std::uint8_t* pixels, ByteOrder order, int row, AVFrame& picture) {
  const auto plane = [&](int index) {
    return reinterpret_cast<std::uint16_t*>(picture.data[index] +
                                            std::ptrdiff_t{row} * picture.linesize[index]);
  };
  std::uint16_t* const green = plane(0);
  std::uint16_t* const blue = plane(1);
  std::uint16_t* const red = plane(2);
  for (int x = 0; x < picture.width; ++x) {
    const std::uint32_t word = order.Read32(pixels + std::ptrdiff_t{4} * x);
    red[x] = static_cast<std::uint16_t>(word >> 22);
    green[x] = static_cast<std::uint16_t>(word >> 12 & 1023);
    blue[x] = static_cast<std::uint16_t>(word >> 2 & 1023);
  }
}

}  // namespace

namespace {

// Returns fewer bytes if the file is shorter.
std::vector<std::uint8_t> ReadStart(const std::string& path) {
  InputFile file(path);
  std::vector<std::uint8_t> bytes(kWholeHeaderBytes);
  bytes.resize(file.Read(bytes));
  return bytes;
}

}  // namespace

void ReadDpxLabels(ImageHeader& header) {
  const auto bytes = ReadStart(header.path);
  const auto order = bytes.size() < kHeaderBytes ? std::nullopt : FindByteOrder(bytes);
  if (order) ReadLabels(bytes, *order, header);
}

std::optional<ImageHeader> ReadUsualDpxHeader(const std::string& path) {
  const auto bytes = ReadStart(path);
  if (bytes.size() < kHeaderBytes) return std::nullopt;
  const auto order = FindByteOrder(bytes);
  const auto layout = order ? FindLayout(bytes, *order) : std::nullopt;
  if (!layout) return std::nullopt;
  ImageHeader header;
  header.path = path;
  header.width = layout->width;
  header.height = layout->height;
  header.channels = 3;
  header.bits = 10;
  ReadLabels(bytes, *order, header);
  return header;
}

bool ReadUsualDpx(const std::string& path, const ImageHeader& first,
                  std::vector<std::uint8_t>& bytes, AVFrame& picture) {
  static_assert(std::endian::native == std::endian::little);
  const std::size_t expected = std::size_t{4} * first.width * first.height;
  InputFile file(path);
  const auto size = static_cast<std::size_t>(file.GetSize().value_or(0));
  if (size < kHeaderBytes || size > 2 * (expected + kHeaderBytes)) return false;
  bytes.resize(size);
  if (file.Read(bytes) < size) return false;
  const auto order = FindByteOrder(bytes);
  const auto layout = order ? FindLayout(bytes, *order) : std::nullopt;
  const bool isSame = layout && layout->width == first.width && layout->height == first.height &&
                      first.channels == 3;
  if (!isSame || layout->offset > size || expected > size - layout->offset) return false;
  const std::size_t stride = std::size_t{4} * first.width;
  for (int row = 0; row < picture.height; ++row) {
    UnpackRow(bytes.data() + layout->offset + static_cast<std::size_t>(row) * stride, *order, row,
              picture);
  }
  return true;
}

}  // namespace vixprores
