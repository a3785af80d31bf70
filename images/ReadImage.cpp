// SPDX-License-Identifier: BSD-2-Clause
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "Channels.h"
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

std::optional<std::uint32_t> ReadTimecode(const ImageSpec& spec) {
  const auto* const value = spec.find_attribute("smpte:TimeCode", OIIO::TypeTimeCode);
  if (!value) return std::nullopt;
  return *static_cast<const std::uint32_t*>(value->data());
}

// Returns the rate of frames; 0 = unknown.
double ReadRate(const ImageSpec& spec) {
  constexpr double kMostRate = 1000;
  const char* const name = "FramesPerSecond";
  double rate = static_cast<double>(spec.get_float_attribute(name));
  if (const auto* const value = spec.find_attribute(name, OIIO::TypeRational)) {
    const auto* const parts = static_cast<const int*>(value->data());
    rate = parts[1] > 0 ? static_cast<double>(parts[0]) / parts[1] : 0;
  }
  return rate >= 1 && rate <= kMostRate ? rate : 0;
}

// How the shown picture comes from the stored one.
struct Turning {
  bool swapsSides, mirrorsColumns, mirrorsRows;
};
// By code of Exif, from 1.
constexpr std::array<Turning, 8> kTurnings{{{false, false, false},
                                            {false, true, false},
                                            {false, true, true},
                                            {false, false, true},
                                            {true, false, false},
                                            {true, false, true},
                                            {true, true, true},
                                            {true, true, false}}};

// Returns the orientation that the file states. The library turns .tga pictures itself.
int ReadOrientation(const ImageSpec& spec, const std::string& format) {
  const int orientation = spec.get_int_attribute("Orientation", 1);
  const bool isKnown = 1 <= orientation && orientation <= std::ssize(kTurnings);
  return isKnown && format != "tga" ? orientation : 1;
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

// Returns text like "96x64 pixels with 3 channels of 10 bits".
std::string DescribePicture(const ImageHeader& image) {
  return std::to_string(image.width) + "x" + std::to_string(image.height) + " pixels with " +
         std::to_string(image.channels) + (image.channels == 1 ? " channel" : " channels") +
         " of " + std::to_string(image.bits) + " bits" + (image.isFloat ? " (floating point)" : "");
}

ImageHeader DescribePixels(const ImageSpec& spec, const Window& window, const std::string& format) {
  ImageHeader header;
  header.width = static_cast<std::uint32_t>(window.width);
  header.height = static_cast<std::uint32_t>(window.height);
  header.channels = spec.nchannels;
  header.bits =
      spec.get_int_attribute("oiio:BitsPerSample", static_cast<int>(8 * spec.format.basesize()));
  header.isFloat = spec.format.is_floating_point();
  header.hasAlpha = FindAlpha(spec) >= 0;
  // Other readers return straight colours, as Open() asks for.
  header.isPremultiplied = spec.alpha_channel >= 0 &&
                           (format == "exr" || format == "tif" || format == "tiff") &&
                           spec.get_int_attribute("oiio:UnassociatedAlpha", 0) == 0;
  return header;
}

void CheckSame(const ImageSpec& spec, const Window& window, const ImageHeader& first) {
  const std::string found = DescribePicture(DescribePixels(spec, window, FormatOf(first.path)));
  const std::string expected = DescribePicture(first);
  if (found == expected) return;
  throw std::runtime_error("differs from " + first.path + " (found " + found + ", expected " +
                           expected + ")");
}

template <typename Sample>
constexpr Sample kOpaque = std::numeric_limits<Sample>::max();
template <>
constexpr float kOpaque<float> = 1;

std::size_t CountPixels(const Window& window) {
  return static_cast<std::size_t>(window.width) * static_cast<std::size_t>(window.height);
}

// Copies stored samples to their place in the picture, grey to three components.
template <typename Sample>
void Place(std::span<const Sample> stored, const ImageSpec& spec, const Window& window,
           const ChannelSelection& selection, int channels, Sample* picture) {
  const int first = std::max(0, -window.x);
  const int end = std::min(spec.width, window.width - window.x);
  for (int row = std::max(0, -window.y); row < std::min(spec.height, window.height - window.y);
       ++row) {
    const std::size_t stride =
        static_cast<std::size_t>(spec.width) * static_cast<std::size_t>(selection.count);
    const Sample* const from = stored.data() + static_cast<std::size_t>(row) * stride;
    Sample* const to = picture + static_cast<std::size_t>(row + window.y) *
                                     static_cast<std::size_t>(window.width * channels);
    for (int x = first; x < end; ++x) {
      for (int c = 0; c < channels; ++c) {
        const int place = selection.places.at(static_cast<std::size_t>(c));
        to[channels * (x + window.x) + c] =
            place >= 0 ? from[selection.count * x + place] : kOpaque<Sample>;
      }
    }
  }
}

template <typename Sample>
void Turn(const std::vector<Sample>& stored, const Window& window, const Turning& turning,
          int channels, Sample* picture) {
  const int columns = turning.swapsSides ? window.height : window.width;
  const int rows = turning.swapsSides ? window.width : window.height;
  for (int y = 0; y < rows; ++y) {
    for (int x = 0; x < columns; ++x) {
      int column = turning.swapsSides ? y : x;
      int row = turning.swapsSides ? x : y;
      if (turning.mirrorsColumns) column = window.width - 1 - column;
      if (turning.mirrorsRows) row = window.height - 1 - row;
      const auto place = static_cast<std::ptrdiff_t>(row) * window.width + column;
      picture = std::copy_n(stored.begin() + channels * place, channels, picture);
    }
  }
}

template <typename Sample>
void ReadSamples(ImageInput& input, TypeDesc type, const Window& window, int orientation,
                 int channels, Sample* picture) {
  const auto samples = CountPixels(window) * static_cast<std::size_t>(channels);
  if (orientation != 1) {
    std::vector<Sample> turned(samples);
    ReadSamples(input, type, window, 1, channels, turned.data());
    return Turn(turned, window, kTurnings.at(static_cast<std::size_t>(orientation) - 1), channels,
                picture);
  }
  const ImageSpec& spec = input.spec();
  const ChannelSelection selection = SelectChannels(spec, channels);
  const bool isInOrder = selection.count == channels && selection.places[2] == 2 &&
                         (channels == 3 || selection.places[3] == 3);
  const bool isWhole = window.x == 0 && window.y == 0 && window.width == spec.width &&
                       window.height == spec.height && isInOrder;
  std::vector<Sample> stored;
  if (!isWhole) {
    stored.resize(static_cast<std::size_t>(spec.width) * static_cast<std::size_t>(spec.height) *
                  static_cast<std::size_t>(selection.count));
  }
  if (!input.read_image(0, 0, selection.begin, selection.begin + selection.count, type,
                        isWhole ? picture : stored.data())) {
    throw std::runtime_error("cannot be read: " + ReasonOf(input));
  }
  if (isWhole) return;
  std::fill_n(picture, samples, Sample{});
  Place<Sample>(stored, spec, window, selection, channels, picture);
}

// Divides colours by alpha; where alpha is 0, they stay.
template <typename Sample>
void DivideByAlpha(Sample* picture, std::size_t pixels) {
  for (Sample* pixel = picture; pixel != picture + 4 * pixels; pixel += 4) {
    const auto alpha = static_cast<float>(pixel[3]);
    if (!(alpha > 0) || pixel[3] == kOpaque<Sample>) continue;
    for (int c = 0; c < 3; ++c) {
      const float colour = static_cast<float>(pixel[c]) * kOpaque<Sample> / alpha;
      if constexpr (std::is_integral_v<Sample>) {
        pixel[c] = static_cast<Sample>(std::min<float>(colour + 0.5F, kOpaque<Sample>));
      } else {
        pixel[c] = colour;
      }
    }
  }
}

// Reads the picture, straight.
template <typename Sample>
void ReadStraight(ImageInput& input, TypeDesc type, const Window& window, const ImageHeader& first,
                  int channels, Sample* picture) {
  ReadSamples(input, type, window, first.orientation, channels, picture);
  if (channels == 4 && first.isPremultiplied) DivideByAlpha(picture, CountPixels(window));
}

std::uint16_t ToSixteenBits(float value) {
  constexpr float kMost = 65535;
  if (!(value > 0)) return 0;                  // not a number, too
  const float rounded = value * kMost + 0.5F;  // once the fraction is cut off
  return static_cast<std::uint16_t>(std::min(rounded, kMost));
}

void ReadConverted(ImageInput& input, const Window& window, const ImageHeader& first,
                   const ColourTransform& transform, const ImagePixels& pixels) {
  std::vector<float> picture(CountPixels(window) * static_cast<std::size_t>(pixels.channels));
  ReadStraight(input, TypeDesc::FLOAT, window, first, pixels.channels, picture.data());
  Apply(transform, picture.data(), pixels.width, pixels.height, pixels.channels);
  std::ranges::transform(picture, static_cast<std::uint16_t*>(pixels.samples), ToSixteenBits);
}

}  // namespace

ImageHeader ReadImageHeader(const std::string& path) {
  const auto input = Open(path);
  const ImageSpec& spec = input->spec();
  const std::string format = FormatOf(path);
  const Window window = FindWindow(spec, format);
  ImageHeader header = DescribePixels(spec, window, format);
  header.path = path;
  FindColour(spec);
  const float aspect = spec.get_float_attribute("PixelAspectRatio", 1);
  if (std::isfinite(aspect) && aspect > 0) header.pixelAspect = static_cast<double>(aspect);
  header.light = header.isFloat ? ImageLight::Linear : ImageLight::Video;
  if (format == "cin") header.light = ImageLight::Log;
  if (format == "dpx") return header;  // the program reads its labels
  header.orientation = ReadOrientation(spec, format);
  header.reel = spec.get_string_attribute("reelName");
  header.rate = ReadRate(spec);
  header.timecode = ReadTimecode(spec);
  return header;
}

void ReadImage(const std::string& path, const ImageHeader& first, const ColourTransform* transform,
               const ImagePixels& pixels) {
  const auto input = Open(path);
  const Window window = FindWindow(input->spec(), FormatOf(path));
  CheckSame(input->spec(), window, first);
  CheckEnd(path, FormatOf(path));
  if (transform) return ReadConverted(*input, window, first, *transform, pixels);
  if (pixels.bits == 8) {
    return ReadStraight(*input, TypeDesc::UINT8, window, first, pixels.channels,
                        static_cast<std::uint8_t*>(pixels.samples));
  }
  ReadStraight(*input, TypeDesc::UINT16, window, first, pixels.channels,
               static_cast<std::uint16_t*>(pixels.samples));
}

}  // namespace vixprores::images
