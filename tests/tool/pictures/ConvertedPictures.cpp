// SPDX-License-Identifier: BSD-2-Clause
/// @file
/// Writes the pictures of a video as the program gives them to the encoder: planar 4:2:2 of 10 bits
/// in words, without a header.
///
///     converted_pictures INPUT OUTPUT

#include <cstdint>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <vector>

#include "media/FrameReader.h"
#include "run/OpenInput.h"
#include "vix/PixelConversion.h"

namespace {

using vix::PixelFormat;

// Returns the planes of a packed picture, one after the other.
std::vector<std::uint8_t> Unpack(const vix::IBuffer& packed,
                                 const vixprores::StreamFormat& format) {
  const auto rowBytes = [&](PixelFormat layout, std::size_t plane) {
    return vix::GetPixelRowBytes(layout, plane, format.width);
  };
  const auto layout = static_cast<PixelFormat>(format.code);
  const vix::ConstPixelPicture source{
      layout, format.width, format.height, {{{packed.GetData(), rowBytes(layout, 0)}}}};
  vix::PixelPicture target{PixelFormat::I210, format.width, format.height, {}};
  std::size_t size = 0;
  for (std::size_t plane = 0; plane < 3; ++plane) {
    size += rowBytes(PixelFormat::I210, plane) * format.height;
  }
  std::vector<std::uint8_t> samples(size);
  std::uint8_t* data = samples.data();
  for (std::size_t plane = 0; plane < 3; ++plane) {
    target.planes[plane] = {data, rowBytes(PixelFormat::I210, plane)};
    data += target.planes[plane].stride * format.height;
  }
  vix::ConvertPixels(source, target);
  return samples;
}

void Write(const char* input, const char* output) {
  vixprores::FootageReading reading;
  reading.times = vixprores::FrameTimes::Ignored;
  const auto reader = vixprores::OpenFootage(input, reading);
  const auto convert = reader->GetConversion();
  std::ofstream file(output, std::ios::binary);
  file.exceptions(std::ios::failbit | std::ios::badbit);
  while (auto frame = reader->Read()) {
    const auto packed = convert ? convert(frame->data).data : frame->data;
    if (!packed) throw std::runtime_error("a picture is lost");
    const auto samples = Unpack(*packed, reader->GetFormat());
    file.write(reinterpret_cast<const char*>(samples.data()),
               static_cast<std::streamsize>(samples.size()));
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::cerr << "usage: converted_pictures INPUT OUTPUT\n";
    return 2;
  }
  try {
    Write(arguments[1], arguments[2]);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
