// SPDX-License-Identifier: BSD-2-Clause
// Reads arbitrary bytes as a video file, decodes its first frames and converts them. The libraries
// behind are not instrumented; the subject is the program's own use of them.
#include <cstdint>
#include <exception>
#include <memory>

#include "FuzzInput.h"
#include "ScratchFile.h"
#include "base/Errors.h"
#include "media/sound/SideTracks.h"
#include "run/OpenInput.h"
#include "vix/Error.h"

namespace {

constexpr int kMostFrames = 4;
constexpr std::uint64_t kMostPixels = 1 << 18;

vixprores::FootageReading ChooseReading(std::uint8_t choice) {
  vixprores::FootageReading reading;
  reading.threads = 1;
  if (choice & 1) reading.times = vixprores::FrameTimes::Evident;
  if (choice & 2) reading.deinterlacing = vixprores::Deinterlacing::Fields;
  if (choice & 4) reading.scale = vixprores::PictureScale{64, 48, 1};
  if (choice & 8) reading.convertRate = vixprores::Rational{30, 1};
  if (choice & 16) reading.convertColour = "bt2020";
  if (choice & 32) reading.keepsRotation = true;
  return reading;
}

void ReadFrames(vixprores::FrameReader& reader) {
  const vixprores::StreamFormat& format = reader.GetFormat();
  if (std::uint64_t{format.width} * format.height > kMostPixels) return;
  const auto convert = reader.GetConversion();
  for (int i = 0; i < kMostFrames; ++i) {
    try {
      const auto frame = reader.Read();
      if (!frame) return;
      if (convert) convert(frame->data);
    } catch (const vixprores::FrameFailure&) {
      // The next frame may be whole.
    }
    if (reader.GetSideTracks()) reader.GetSideTracks()->TakeSound();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const auto reading = ChooseReading(input.Byte());
  const auto bytes = input.Rest();
  const ScratchFile file(bytes.data(), bytes.size());
  try {
    ReadFrames(*vixprores::OpenFootage(file.GetPath(), reading));
  } catch (const vixprores::Failure&) {
    // An unreadable file.
  } catch (const vix::VIXRuntimeError&) {
    // A picture of a size that cannot be packed.
  }
  return 0;
}
