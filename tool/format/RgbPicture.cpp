// SPDX-License-Identifier: BSD-2-Clause
#include "format/RgbPicture.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <zimg++.hpp>

#include "base/Errors.h"
#include "base/Limits.h"
#include "base/RowRing.h"
#include "format/PlanarPicture.h"

namespace vixprores {
namespace {

constexpr std::size_t kPlanes = RowRing::kPlanes;
constexpr unsigned kY416Bits = 16;

zimgxx::zimage_format DescribeSource(const StreamFormat& format) {
  zimgxx::zimage_format source;
  const bool isDeep = IsOf4444(format.code);
  // 4:2:2 pictures have an even width.
  source.width = isDeep ? format.width : (format.width + 1) / 2 * 2;
  source.active_region.width = format.width;
  source.height = format.height;
  source.depth = isDeep ? kY416Bits : SampleBits(format);
  source.pixel_type = source.depth > 8 ? ZIMG_PIXEL_WORD : ZIMG_PIXEL_BYTE;
  source.subsample_w = isDeep ? 0 : 1;
  source.color_family = ZIMG_COLOR_YUV;
  // The library uses the same code points.
  source.matrix_coefficients = static_cast<zimg_matrix_coefficients_e>(
      RgbMatrixFor(format.colour.matrix, format.height).coded);
  source.pixel_range =
      format.colour.range == ColourRange::Full ? ZIMG_RANGE_FULL : ZIMG_RANGE_LIMITED;
  return source;
}

zimgxx::zimage_format DescribeTarget(RgbSize size) {
  zimgxx::zimage_format target;
  target.width = size.width;
  target.height = size.height;
  target.depth = 8;
  target.pixel_type = ZIMG_PIXEL_BYTE;
  target.color_family = ZIMG_COLOR_RGB;
  target.matrix_coefficients = ZIMG_MATRIX_RGB;
  target.pixel_range = ZIMG_RANGE_FULL;
  return target;
}

// Sets the cubic Hermite filter: it does not ring, and of all filters of the library it is the
// closest to the mean of the area. A full-size picture keeps its luma.
zimgxx::zfilter_graph_builder_params DescribeFilter() {
  zimgxx::zfilter_graph_builder_params filter;
  filter.resample_filter = filter.resample_filter_uv = ZIMG_RESIZE_BICUBIC;
  filter.filter_param_a = filter.filter_param_a_uv = 0;
  filter.filter_param_b = filter.filter_param_b_uv = 0;
  return filter;
}

// The greys, in 16 bits, behind transparent pixels: 220 and 245 of 8 bits of RGB.
class Checkerboard {
 public:
  // @param picture size of the pixels that At() counts
  // @param shown   size that the squares have their width in
  Checkerboard(RgbSize picture, RgbSize shown, bool isFullRange)
      : picture_(picture), shown_(shown), isFullRange_(isFullRange) {}

  std::uint16_t At(std::uint32_t x, std::uint32_t y) const {
    const std::uint64_t column = std::uint64_t{x} * shown_.width / picture_.width / kSquare;
    const std::uint64_t row = std::uint64_t{y} * shown_.height / picture_.height / kSquare;
    const std::uint32_t grey = (column + row) % 2 == 0 ? kLight : kDark;
    const std::uint32_t code = isFullRange_ ? grey << 8 : (16 << 8) + (grey << 8) * 219 / 255;
    return static_cast<std::uint16_t>(code);
  }

 private:
  static constexpr std::uint32_t kSquare = 16;  // pixels
  static constexpr std::uint32_t kLight = 245;
  static constexpr std::uint32_t kDark = 220;

  RgbSize picture_;
  RgbSize shown_;
  bool isFullRange_;
};

// Unpacks a row of "Y416". Lays pixels with alpha over the board.
void UnpackDeepRow(const StreamFormat& format, std::span<const std::uint8_t> packed,
                   std::uint32_t row, const Checkerboard& board,
                   const std::array<std::uint16_t*, kPlanes>& samples) {
  constexpr std::uint64_t kWhole = 0xFFFF;
  constexpr std::uint16_t kNeutral = 0x8000;
  using Pixel = std::array<std::uint16_t, 1 + kPlanes>;  // alpha, Y, Cb, Cr
  for (std::uint32_t x = 0; x < format.width; ++x) {
    Pixel pixel{};
    std::memcpy(pixel.data(), packed.data() + (std::size_t{row} * format.width + x) * sizeof pixel,
                sizeof pixel);
    const std::uint64_t alpha = format.HasAlpha() ? pixel[0] : kWhole;
    for (std::size_t plane = 0; plane < kPlanes; ++plane) {
      const std::uint64_t behind = alpha == kWhole ? 0 : (plane == 0 ? board.At(x, row) : kNeutral);
      const std::uint64_t sum = pixel[1 + plane] * alpha + behind * (kWhole - alpha);
      samples[plane][x] = static_cast<std::uint16_t>((sum + kWhole / 2) / kWhole);
    }
  }
}

// The packed picture that zimg reads row by row.
struct PackedRows {
  const StreamFormat& format;
  std::span<const std::uint8_t> packed;
  const RowRing& ring;
  Checkerboard board;

  static int Read(void* user, unsigned row, unsigned /*left*/, unsigned /*right*/) {
    const auto& [format, packed, ring, board] = *static_cast<const PackedRows*>(user);
    std::uint8_t* const luma = ring.Row(0, row);
    if (IsOf4444(format.code)) {
      const auto samples = [&ring = ring, row](unsigned plane) {
        return reinterpret_cast<std::uint16_t*>(ring.Row(plane, row));
      };
      UnpackDeepRow(format, packed, row, board, {samples(0), samples(1), samples(2)});
      return 0;
    }
    UnpackRow(format, packed, row, {luma, ring.Row(1, row), ring.Row(2, row)});
    if (format.width % 2 == 1) {
      const std::size_t sampleBytes = SampleBits(format) > 8 ? 2 : 1;
      std::uint8_t* const end = luma + format.width * sampleBytes;
      std::copy_n(end - sampleBytes, sampleBytes, end);
    }
    return 0;
  }
};

// The picture that zimg's rows of red, green and blue are written to.
struct RgbRows {
  RgbPicture& picture;
  const RowRing& ring;

  static int Write(void* user, unsigned row, unsigned left, unsigned right) {
    const auto& [picture, ring] = *static_cast<const RgbRows*>(user);
    for (unsigned plane = 0; plane < kPlanes; ++plane) {
      const std::uint8_t* const samples = ring.Row(plane, row);
      std::uint8_t* const pixels = picture.At(0, row) + plane;
      for (std::size_t x = left; x < right; ++x) pixels[kPlanes * x] = samples[x];
    }
    return 0;
  }
};

// Smaller pictures are not worth asking the system how much memory is in use.
constexpr std::size_t kCheckedBytes = 1U << 20U;

std::size_t CheckedBytes(std::uint32_t width, std::uint32_t height) {
  const std::size_t bytes = std::size_t{3} * width * height;
  if (bytes >= kCheckedBytes) CheckMemory("stills of " + DescribeSize(width, height), bytes);
  return bytes;
}

}  // namespace

RgbPicture::RgbPicture(std::uint32_t pixelsAcross, std::uint32_t lines)
    : width(pixelsAcross), height(lines), pixels(CheckedBytes(pixelsAcross, lines)) {}

Rational ShownAspect(const StreamFormat& format) {
  const Rational& aspect = format.sampleAspect;
  if (aspect.numerator <= 0 || aspect.denominator <= 0) return {1, 1};
  const double stretch = static_cast<double>(aspect.numerator) / aspect.denominator;
  if (stretch > kMostPixelStretch) return {kMostPixelStretch, 1};
  if (stretch < 1.0 / kMostPixelStretch) return {1, kMostPixelStretch};
  return aspect;
}

RgbSize DisplaySize(const StreamFormat& format, std::optional<std::uint32_t> widest) {
  const Rational aspect = ShownAspect(format);
  const double width = static_cast<double>(format.width) * aspect.numerator / aspect.denominator;
  const double scale = widest && *widest < width ? *widest / width : 1;
  const auto round = [](double pixels) {
    return static_cast<std::uint32_t>(std::clamp(std::round(pixels), 1.0, 65535.0));
  };
  return {round(width * scale), round(format.height * scale)};
}

RgbPicture ToRgb(const StreamFormat& format, std::span<const std::uint8_t> packed, RgbSize size) {
  try {
    const auto source = DescribeSource(format);
    const auto target = DescribeTarget(size);
    const auto filter = DescribeFilter();
    const auto graph = zimgxx::FilterGraph::build(source, target, &filter);
    const std::size_t rowBytes = std::size_t{source.width} * (source.depth > 8 ? 2 : 1);
    const RowRing read(rowBytes, graph.get_input_buffering(), source.height);
    const RowRing written(target.width, graph.get_output_buffering(), target.height);
    std::vector<AlignedBytes> scratch = AllocateAligned(graph.get_tmp_size());
    RgbPicture picture(size.width, size.height);
    const Checkerboard board({format.width, format.height}, size,
                             source.pixel_range == ZIMG_RANGE_FULL);
    PackedRows input{format, packed, read, board};
    RgbRows output{picture, written};
    graph.process(read.Get().as_const(), written.Get(), scratch.data(), PackedRows::Read, &input,
                  RgbRows::Write, &output);
    return picture;
  } catch (const zimgxx::zerror& error) {
    if (error.code == ZIMG_ERROR_OUT_OF_MEMORY) throw std::bad_alloc();
    throw Failure(std::string("cannot convert a picture to RGB: ") + error.msg);
  }
}

std::vector<std::uint8_t> EncodePng(const RgbPicture& picture) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = picture.width;
  image.height = picture.height;
  image.format = PNG_FORMAT_RGB;
  std::vector<std::uint8_t> bytes(PNG_IMAGE_PNG_SIZE_MAX(image));
  png_alloc_size_t size = bytes.size();
  if (png_image_write_to_memory(&image, bytes.data(), &size, 0, picture.pixels.data(), 0,
                                nullptr) == 0) {
    const std::string reason = image.message;
    png_image_free(&image);
    throw Failure("cannot write a picture of " + DescribeSize(picture.width, picture.height) +
                  " as PNG: " + reason);
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace vixprores
