// SPDX-License-Identifier: BSD-2-Clause
#include "media/Png.h"

#include <png.h>

#include <string>

#include "base/Errors.h"

namespace vixprores {
namespace {

std::vector<std::uint8_t> Encode(std::uint32_t width, std::uint32_t height, png_uint_32 format,
                                 std::span<const std::uint8_t> pixels) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = width;
  image.height = height;
  image.format = format;
  std::vector<std::uint8_t> bytes(PNG_IMAGE_PNG_SIZE_MAX(image));
  png_alloc_size_t size = bytes.size();
  if (png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels.data(), 0, nullptr) == 0) {
    const std::string reason = image.message;
    png_image_free(&image);
    throw Failure("cannot write a picture of " + DescribeSize(width, height) +
                  " as PNG: " + reason);
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace

std::vector<std::uint8_t> EncodePng(const RgbPicture& picture) {
  return Encode(picture.width, picture.height, PNG_FORMAT_RGB, picture.pixels);
}

std::vector<std::uint8_t> EncodeTransparentPng(std::uint32_t width, std::uint32_t height,
                                               std::span<const std::uint8_t> pixels) {
  return Encode(width, height, PNG_FORMAT_RGBA, pixels);
}

}  // namespace vixprores
