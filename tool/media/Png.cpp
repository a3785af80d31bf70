// SPDX-License-Identifier: BSD-2-Clause
#include "media/Png.h"

#include <png.h>

#include <string>

#include "base/Errors.h"

namespace vixprores {

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
