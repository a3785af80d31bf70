// SPDX-License-Identifier: BSD-2-Clause
#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "Colours.h"
#include "Images.h"

namespace vixprores::images {
namespace {

using OIIO::ImageOutput;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

// How a format is written.
struct Writing {
  std::string_view format;  ///< extension
  TypeDesc::BASETYPE type;
  int bits;
  const char* compression;  ///< null = the library's choice
  bool keepsAlpha;
};

constexpr Writing kWritings[] = {
    {"exr", TypeDesc::HALF, 16, "zips", true},      {"dpx", TypeDesc::UINT16, 10, nullptr, false},
    {"tif", TypeDesc::UINT16, 16, "lzw", true},     {"tiff", TypeDesc::UINT16, 16, "lzw", true},
    {"png", TypeDesc::UINT16, 16, nullptr, true},   {"jpg", TypeDesc::UINT8, 8, "jpeg:95", false},
    {"jpeg", TypeDesc::UINT8, 8, "jpeg:95", false}, {"tga", TypeDesc::UINT8, 8, nullptr, true},
};

const Writing& FindWriting(const std::string& format) {
  const auto* const found = std::ranges::find(kWritings, format, &Writing::format);
  if (found == std::end(kWritings)) throw std::runtime_error("cannot be written as ." + format);
  return *found;
}

// Packs "HH:MM:SS:FF" as binary-coded decimals (SMPTE ST 12-1).
std::array<std::uint32_t, 2> PackTimecode(const std::string& text) {
  std::uint32_t bits = 0;
  for (const std::size_t place : {0U, 3U, 6U, 9U}) {
    bits = bits << 8 |
           static_cast<std::uint32_t>((text.at(place) - '0') * 16 + (text.at(place + 1) - '0'));
  }
  constexpr std::uint32_t kDropFrame = 0x40;
  return {text[8] == ';' ? bits | kDropFrame : bits, 0};
}

// Returns the rate as a fraction: rates a thousandth below a whole one have the denominator 1001.
std::array<int, 2> ToFraction(double rate) {
  const int whole = static_cast<int>(std::ceil(rate - 1e-6));
  if (std::abs(rate - whole) < 1e-3) return {whole, 1};
  return {whole * 1000, 1001};
}

ImageSpec Describe(const Writing& writing, const ImagePixels& pixels, const ImageTarget& target) {
  ImageSpec spec(static_cast<int>(pixels.width), static_cast<int>(pixels.height), pixels.channels,
                 writing.type);
  if (writing.format != "exr") spec.attribute("oiio:UnassociatedAlpha", 1);
  spec.attribute("oiio:BitsPerSample", writing.bits);
  if (writing.compression) spec.attribute("compression", writing.compression);
  spec.attribute("jpeg:subsampling", "4:4:4");
  spec.attribute("PixelAspectRatio", static_cast<float>(target.pixelAspect));
  spec.attribute("Software", "vixprores");
  if (!target.reel.empty()) {
    spec.attribute(writing.format == "dpx" ? "dpx:InputDevice" : "reelName", target.reel);
  }
  const bool hasTime = writing.format == "dpx" || writing.format == "exr";
  if (hasTime && target.rate > 0) {
    spec.attribute("FramesPerSecond", OIIO::TypeRational, ToFraction(target.rate).data());
    spec.attribute("dpx:FrameRate", static_cast<float>(target.rate));
    spec.attribute("dpx:TemporalFrameRate", static_cast<float>(target.rate));
  }
  if (hasTime && !target.timecode.empty()) {
    spec.attribute("smpte:TimeCode", OIIO::TypeTimeCode, PackTimecode(target.timecode).data());
  }
  return spec;
}

// Rounds samples to fewer bits and repeats these below, since the library only cuts samples off.
void RoundSamples(int bits, std::vector<std::uint16_t>& samples) {
  const unsigned most = (1U << bits) - 1;
  for (std::uint16_t& sample : samples) {
    const unsigned code = (sample * most + 32767) / 65535;
    sample = static_cast<std::uint16_t>(code << (16 - bits) | code >> (2 * bits - 16));
  }
}

/// @param transform null = none
std::vector<float> Convert(const ColourTransform* transform, const ImagePixels& pixels,
                           const std::vector<std::uint16_t>& samples) {
  std::vector<float> picture(samples.size());
  std::ranges::transform(samples, picture.begin(),
                         [](std::uint16_t sample) { return static_cast<float>(sample) / 65535; });
  if (transform) {
    Apply(*transform, picture.data(), pixels.width, pixels.height, pixels.channels);
  }
  return picture;
}

void MultiplyByAlpha(std::vector<float>& picture) {
  for (std::size_t i = 0; i < picture.size(); i += 4) {
    for (std::size_t c = 0; c < 3; ++c) picture[i + c] *= picture[i + 3];
  }
}

// Keeps what is written in memory. The library's own files do not report every failed write.
class FileInMemory : public OIIO::Filesystem::IOProxy {
 public:
  FileInMemory() : IOProxy("", Write) {}

  const char* proxytype() const override { return "memory"; }
  size_t write(const void* bytes, size_t count) override {
    const size_t written = pwrite(bytes, count, m_pos);
    m_pos += static_cast<std::int64_t>(written);
    return written;
  }
  size_t pwrite(const void* bytes, size_t count, std::int64_t position) override {
    const auto begin = static_cast<size_t>(position);
    try {
      if (bytes_.size() < begin + count) bytes_.resize(begin + count);
    } catch (const std::bad_alloc&) {  // must not pass through libraries in C
      isShortOfMemory_ = true;
      return 0;
    }
    const auto* const first = static_cast<const std::uint8_t*>(bytes);
    std::copy_n(first, count, bytes_.begin() + position);
    return count;
  }
  size_t size() const override { return bytes_.size(); }

  std::vector<std::uint8_t> Take() {
    if (isShortOfMemory_) throw std::bad_alloc();
    return std::move(bytes_);
  }

 private:
  std::vector<std::uint8_t> bytes_;
  bool isShortOfMemory_ = false;
};

}  // namespace

bool KeepsAlpha(const std::string& name) {
  return FindWriting(FormatOf(name)).keepsAlpha;
}

std::vector<std::uint8_t> EncodeImage(const std::string& name, const ColourTransform* transform,
                                      const ImagePixels& pixels, const ImageTarget& target) {
  const std::string format = FormatOf(name);
  const Writing& writing = FindWriting(format);
  const auto output = ImageOutput::create(format);
  const auto check = [&output](bool isDone) {
    if (!isDone) throw std::runtime_error("cannot be written: " + output->geterror());
  };
  if (!output) throw std::runtime_error("cannot be written as ." + format);
  FileInMemory file;
  check(output->set_ioproxy(&file));
  check(output->open(name, Describe(writing, pixels, target)));
  const auto* const first = static_cast<const std::uint16_t*>(pixels.samples);
  const std::size_t count =
      std::size_t{pixels.width} * pixels.height * static_cast<std::size_t>(pixels.channels);
  std::vector<std::uint16_t> samples(first, first + count);
  const bool isPremultiplied = format == "exr" && pixels.channels == 4;
  if (transform || isPremultiplied) {
    std::vector<float> picture = Convert(transform, pixels, samples);
    if (isPremultiplied) MultiplyByAlpha(picture);
    check(output->write_image(TypeDesc::FLOAT, picture.data()));
  } else {
    if (writing.bits == 10) RoundSamples(writing.bits, samples);
    check(output->write_image(TypeDesc::UINT16, samples.data()));
  }
  check(output->close());
  return file.Take();
}

}  // namespace vixprores::images
