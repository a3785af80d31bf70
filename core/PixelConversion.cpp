// SPDX-License-Identifier: BSD-2-Clause
#include "vix/PixelConversion.h"

#include <algorithm>
#include <string>

#include "FourCCText.h"
#include "cpu/CpuLevel.h"
#include "pixels/FormatRows.h"
#include "vix/Error.h"

namespace vix {
namespace {

[[noreturn]] void Reject(const std::string& text) {
  throw VIXError(ErrorCode::BadArgument, text);
}

std::string NameOf(PixelFormat format) {
  return FourCCCharacters(static_cast<FourCC>(format));
}

std::string SizeOf(std::uint32_t width, std::uint32_t height) {
  return std::to_string(width) + 'x' + std::to_string(height);
}

const pixels::Format& GetFormat(PixelFormat format) {
  const pixels::Format* const found = pixels::FindFormat(format);
  if (found == nullptr) {
    Reject("unknown pixel format " + FourCCText(static_cast<FourCC>(format)) +
           "; allowed are UYVY, YUY2, V210, I422, I210, I216, NV16 and P210");
  }
  return *found;
}

void CheckSize(std::uint32_t width, std::uint32_t height) {
  const auto [least, largest] = std::minmax(width, height);
  if (least >= 1 && largest <= kMaxPixelSize) return;
  Reject("a picture of " + SizeOf(width, height) + " pixels; width and height may be 1 to " +
         std::to_string(kMaxPixelSize));
}

template <typename Byte>
[[noreturn]] void RejectPlane(const char* name, const BasicPixelPicture<Byte>& picture,
                              std::size_t plane, const std::string& problem) {
  Reject("plane " + std::to_string(plane) + " of the " + name + " (" + NameOf(picture.format) +
         ", " + SizeOf(picture.width, picture.height) + ") " + problem);
}

/// @param name of the picture in errors
template <typename Byte>
void CheckPicture(const char* name, const BasicPixelPicture<Byte>& picture) {
  const pixels::Format& format = GetFormat(picture.format);
  CheckSize(picture.width, picture.height);
  for (std::size_t i = 0; i < format.planes; ++i) {
    const auto& plane = picture.planes[i];
    if (plane.data == nullptr) RejectPlane(name, picture, i, "is null; it must point to memory");
    const std::size_t rowBytes = format.RowBytes(i, picture.width);
    if (plane.stride >= rowBytes) continue;
    RejectPlane(name, picture, i,
                "has a stride of " + std::to_string(plane.stride) + " bytes; at least " +
                    std::to_string(rowBytes) + " are needed");
  }
}

template <typename Byte>
BasicPixelPicture<Byte> MakePicture(PixelFormat format, std::uint32_t width, std::uint32_t height,
                                    Byte* data) {
  CheckSize(width, height);
  const pixels::Format& layout = GetFormat(format);
  BasicPixelPicture<Byte> picture{.format = format, .width = width, .height = height};
  for (std::size_t i = 0; i < layout.planes; ++i) {
    picture.planes[i] = {data, layout.RowBytes(i, width)};
    if (data != nullptr) data += picture.planes[i].stride * height;
  }
  return picture;
}

}  // namespace

std::size_t GetPixelPlanes(PixelFormat format) {
  return GetFormat(format).planes;
}

std::size_t GetPixelRowBytes(PixelFormat format, std::size_t plane, std::uint32_t width) {
  CheckSize(width, 1);
  const pixels::Format& layout = GetFormat(format);
  if (plane >= layout.planes) {
    Reject(NameOf(format) + " has no plane " + std::to_string(plane) + "; it has " +
           std::to_string(layout.planes) + ", numbered from 0");
  }
  return layout.RowBytes(plane, width);
}

std::uint64_t GetPixelPictureBytes(PixelFormat format, std::uint32_t width, std::uint32_t height) {
  CheckSize(width, height);
  const pixels::Format& layout = GetFormat(format);
  std::uint64_t bytes = 0;
  for (std::size_t i = 0; i < layout.planes; ++i) {
    bytes += std::uint64_t{layout.RowBytes(i, width)} * height;
  }
  return bytes;
}

PixelPicture MakePixelPicture(PixelFormat format, std::uint32_t width, std::uint32_t height,
                              std::uint8_t* data) {
  return MakePicture(format, width, height, data);
}

ConstPixelPicture MakePixelPicture(PixelFormat format, std::uint32_t width, std::uint32_t height,
                                   const std::uint8_t* data) {
  return MakePicture(format, width, height, data);
}

void ConvertPixels(const ConstPixelPicture& source, const PixelPicture& destination) {
  CheckPicture("source", source);
  CheckPicture("destination", destination);
  if (source.width != destination.width || source.height != destination.height) {
    Reject("the source has " + SizeOf(source.width, source.height) + " pixels, the destination " +
           SizeOf(destination.width, destination.height) + "; the sizes must be equal");
  }
  static const pixels::RowKernels kKernels = pixels::RowKernelsFor(prores::DefaultCpuLevel());
  pixels::ConvertPicture(kKernels, source, destination);
}

}  // namespace vix
