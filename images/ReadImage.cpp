// SPDX-License-Identifier: BSD-2-Clause
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <vector>

#include "Colours.h"
#include "Images.h"

namespace vixprores::images {
namespace {

using OIIO::ImageInput;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

constexpr int kMostSide = 65535;

// Returns the first line of the library's message.
std::string ReasonOf(const ImageInput& input) {
  const std::string reason = input.geterror();
  return reason.empty() ? "the file is damaged" : reason.substr(0, reason.find('\n'));
}

// Opens a file with the reader of its extension: choosing one by the file's name would interpret
// characters in it.
std::unique_ptr<ImageInput> Open(const std::string& path) {
  auto input = ImageInput::create(FormatOf(path));
  if (!input) throw std::runtime_error("cannot be read: no reader for ." + FormatOf(path));
  ImageSpec asStored;
  asStored.attribute("oiio:UnassociatedAlpha", 1);
  ImageSpec spec;
  if (!input->open(path, spec, asStored)) {
    throw std::runtime_error("cannot be read as ." + FormatOf(path) + ": " + ReasonOf(*input));
  }
  return input;
}

// The picture within the samples that a file stores. An .exr may store more or less than the
// picture; the rest is black.
struct Window {
  int x = 0;  ///< of the first stored column in the picture
  int y = 0;
  int width = 0;  ///< of the picture
  int height = 0;
};

Window FindWindow(const ImageSpec& spec, const std::string& format) {
  Window window{0, 0, spec.width, spec.height};
  if (format == "exr") {
    window = {spec.x - spec.full_x, spec.y - spec.full_y, spec.full_width, spec.full_height};
  }
  const auto isSide = [](int side) { return 0 < side && side <= kMostSide; };
  if (spec.deep || spec.depth > 1 || !isSide(spec.width) || !isSide(spec.height) ||
      !isSide(window.width) || !isSide(window.height)) {
    throw std::runtime_error("holds no flat picture of a usual size");
  }
  return window;
}

// Consecutive channels of a file: three of colour, or one of grey.
struct Channels {
  int begin;
  int count;
};

Channels FindColour(const ImageSpec& spec) {
  const int red = spec.channelindex("R");
  const bool isRgb = red >= 0 && red + 2 < spec.nchannels && spec.channel_name(red + 1) == "G" &&
                     spec.channel_name(red + 2) == "B";
  if (isRgb) return {red, 3};
  const bool hasChroma = spec.channelindex("RY") >= 0;
  const int luma = spec.channelindex("Y");
  if (luma >= 0 && !hasChroma) return {luma, 1};
  if (spec.nchannels <= 2 && !hasChroma) return {0, 1};
  std::string names;
  for (const std::string& name : spec.channelnames) names += (names.empty() ? "" : ", ") + name;
  throw std::runtime_error("has no channels R, G, B (found " + names + ")");
}

std::optional<std::uint32_t> ReadTimecode(const ImageSpec& spec) {
  const auto* const value = spec.find_attribute("smpte:TimeCode", OIIO::TypeTimeCode);
  if (!value) return std::nullopt;
  return *static_cast<const std::uint32_t*>(value->data());
}

// Returns the rate of frames; 0 = unknown.
double ReadRate(const ImageSpec& spec) {
  constexpr double kMostRate = 1000;
  for (const char* name : {"FramesPerSecond", "dpx:FrameRate", "dpx:TemporalFrameRate"}) {
    double rate = spec.get_float_attribute(name);
    if (const auto* const value = spec.find_attribute(name, OIIO::TypeRational)) {
      const auto* const parts = static_cast<const int*>(value->data());
      rate = parts[1] > 0 ? static_cast<double>(parts[0]) / parts[1] : 0;
    }
    if (rate >= 1 && rate <= kMostRate) return rate;
  }
  return 0;
}

// Returns false if the pictures of a .dpx begin before the end of the header's optional parts,
// which the library reads nevertheless.
bool HasWholeHeader(const std::string& path) {
  constexpr std::uint32_t kHeaderBytes = 2048;
  std::array<unsigned char, 8> start{};
  std::ifstream file(path, std::ios::binary);
  file.read(reinterpret_cast<char*>(start.data()), start.size());
  const bool isBigEndian = start[0] == 'S';
  std::uint32_t offset = 0;
  for (std::size_t i = 0; i < 4; ++i) offset = offset << 8 | start.at(isBigEndian ? 4 + i : 7 - i);
  return offset >= kHeaderBytes;
}

// The library pads the rest of a truncated .jpg with grey, without an error.
void CheckEnd(const std::string& path, const std::string& format) {
  if (format != "jpg" && format != "jpeg") return;
  constexpr std::streamoff kMostBytes = 65536;
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  const auto bytes = std::min<std::streamoff>(file.tellg(), kMostBytes);
  std::string end(static_cast<std::size_t>(std::max<std::streamoff>(bytes, 0)), '\0');
  file.seekg(-bytes, std::ios::end);
  file.read(end.data(), bytes);
  if (end.find("\xFF\xD9") == std::string::npos) throw std::runtime_error("is truncated");
}

std::string DescribePicture(std::uint32_t width, std::uint32_t height, int channels) {
  return std::to_string(width) + "x" + std::to_string(height) + " pixels with " +
         std::to_string(channels) + (channels == 1 ? " channel" : " channels");
}

void CheckSame(const Window& window, int channels, const ImageHeader& first) {
  const auto width = static_cast<std::uint32_t>(window.width);
  const auto height = static_cast<std::uint32_t>(window.height);
  if (width == first.width && height == first.height && channels == first.channels) return;
  throw std::runtime_error("differs from the first file (found " +
                           DescribePicture(width, height, channels) + ", expected " +
                           DescribePicture(first.width, first.height, first.channels) + ")");
}

// Copies stored samples to their place in the picture, grey to three components.
template <typename Sample>
void Place(std::span<const Sample> stored, const ImageSpec& spec, const Window& window,
           int channels, Sample* picture) {
  const int first = std::max(0, -window.x);
  const int end = std::min(spec.width, window.width - window.x);
  for (int row = std::max(0, -window.y); row < std::min(spec.height, window.height - window.y);
       ++row) {
    const auto stride = static_cast<std::size_t>(spec.width);
    const Sample* const from =
        stored.data() + static_cast<std::size_t>(row) * stride * static_cast<std::size_t>(channels);
    Sample* const to = picture + static_cast<std::size_t>(row + window.y) *
                                     static_cast<std::size_t>(window.width) * 3;
    for (int x = first; x < end; ++x) {
      for (int c = 0; c < 3; ++c) to[3 * (x + window.x) + c] = from[channels * x + c % channels];
    }
  }
}

template <typename Sample>
void ReadSamples(ImageInput& input, TypeDesc type, const Window& window, Sample* picture) {
  const ImageSpec& spec = input.spec();
  const Channels colour = FindColour(spec);
  const bool isWhole = window.x == 0 && window.y == 0 && window.width == spec.width &&
                       window.height == spec.height && colour.count == 3;
  std::vector<Sample> stored;
  if (!isWhole) {
    stored.resize(static_cast<std::size_t>(spec.width) * static_cast<std::size_t>(spec.height) *
                  static_cast<std::size_t>(colour.count));
  }
  if (!input.read_image(0, 0, colour.begin, colour.begin + colour.count, type,
                        isWhole ? picture : stored.data())) {
    throw std::runtime_error("cannot be read: " + ReasonOf(input));
  }
  if (isWhole) return;
  std::fill_n(picture,
              static_cast<std::size_t>(window.width) * static_cast<std::size_t>(window.height) * 3,
              Sample{});
  Place<Sample>(stored, spec, window, colour.count, picture);
}

std::uint16_t ToSixteenBits(float value) {
  constexpr float kMost = 65535;
  if (!(value > 0)) return 0;                  // not a number, too
  const float rounded = value * kMost + 0.5F;  // once the fraction is cut off
  return static_cast<std::uint16_t>(std::min(rounded, kMost));
}

void ReadConverted(ImageInput& input, const Window& window, const ColourTransform& transform,
                   const ImagePixels& pixels) {
  std::vector<float> picture(std::size_t{pixels.width} * pixels.height * 3);
  ReadSamples(input, TypeDesc::FLOAT, window, picture.data());
  Apply(transform, picture.data(), pixels.width, pixels.height);
  std::ranges::transform(picture, static_cast<std::uint16_t*>(pixels.samples), ToSixteenBits);
}

}  // namespace

ImageHeader ReadImageHeader(const std::string& path) {
  const auto input = Open(path);
  const ImageSpec& spec = input->spec();
  const std::string format = FormatOf(path);
  const Window window = FindWindow(spec, format);
  ImageHeader header;
  header.width = static_cast<std::uint32_t>(window.width);
  header.height = static_cast<std::uint32_t>(window.height);
  header.channels = spec.nchannels;
  header.bits =
      spec.get_int_attribute("oiio:BitsPerSample", static_cast<int>(8 * spec.format.basesize()));
  header.isFloat = spec.format.is_floating_point();
  header.hasAlpha = spec.alpha_channel >= 0;
  FindColour(spec);
  const float aspect = spec.get_float_attribute("PixelAspectRatio", 1);
  if (std::isfinite(aspect) && aspect > 0) header.pixelAspect = static_cast<double>(aspect);
  header.reel = spec.get_string_attribute("reelName", spec.get_string_attribute("dpx:InputDevice"));
  if (format == "dpx" && !HasWholeHeader(path)) return header;
  header.rate = ReadRate(spec);
  header.timecode = ReadTimecode(spec);
  return header;
}

void ReadImage(const std::string& path, const ImageHeader& first, const ColourTransform* transform,
               const ImagePixels& pixels) {
  const auto input = Open(path);
  const Window window = FindWindow(input->spec(), FormatOf(path));
  CheckSame(window, input->spec().nchannels, first);
  CheckEnd(path, FormatOf(path));
  if (transform) return ReadConverted(*input, window, *transform, pixels);
  if (pixels.bits == 8) {
    return ReadSamples(*input, TypeDesc::UINT8, window, static_cast<std::uint8_t*>(pixels.samples));
  }
  ReadSamples(*input, TypeDesc::UINT16, window, static_cast<std::uint16_t*>(pixels.samples));
}

}  // namespace vixprores::images
