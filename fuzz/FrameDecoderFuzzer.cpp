// SPDX-License-Identifier: BSD-2-Clause
// Decodes arbitrary bytes as one frame at two CPU levels into pictures of different slack and
// earlier content. Requires equal results and pixels, and untouched bytes around the pixels.
// Two bytes select options. First byte: bits 0 and 4 the pixel format, bit 1 one field only, bit 2
// two threads, bit 3 a destination that does not match the frame, bits 5 and 6 the bits of alpha,
// bit 7 the default matrix. Second byte: bits 0 to 2 the level that is compared with the highest
// one, the other bits the slack of rows.
#include <array>
#include <cstdint>
#include <vector>

#include "CodecPictures.h"
#include "FuzzInput.h"

namespace {

/// Larger pictures only make the fuzzer slow. Unit tests cover extreme sizes.
constexpr std::uint32_t kMaxPixels = 1 << 18;

constexpr std::uint32_t kDefaultMatrices[] = {1, 9};  // BT.709, BT.2020

/// What the first two bytes select.
struct Choice {
  explicit Choice(FuzzInput& input) : Choice{input.Byte(), input.Byte()} {}
  Choice(std::uint8_t first, std::uint8_t second)
      : format(kFormats[(first & 1) | (first >> 3 & 2)]),
        fieldFlag(first >> 1 & 1),
        threads(first >> 2 & 1),
        otherWidth((first & 8) != 0),
        settings{sizeof settings, kAlphaBits[(first >> 5 & 3) % 3], kDefaultMatrices[first >> 7]},
        level(second),
        slack(second >> 3) {}

  std::uint32_t format;
  std::uint8_t fieldFlag;
  std::size_t threads;
  bool otherWidth;
  DecodeSettingsRecord settings;
  std::uint8_t level;
  std::uint32_t slack;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Never destroyed: the handles stay reachable for the leak check at the end.
  static const auto& decoders = *new std::array<std::vector<WPRDecoderHandle>, 2>{
      OpenAtAllLevels(WPROpenDecoder, 1), OpenAtAllLevels(WPROpenDecoder, 2)};
  FuzzInput input(data, size);
  const Choice choice(input);
  const Bytes frame = input.Rest();
  StatedSize picture(frame, choice.fieldFlag != 0);
  if (choice.otherWidth) picture.width ^= 16;
  if (picture.Pixels() > kMaxPixels) return 0;

  const auto decode = [&](WPRDecoderHandle decoder, PackedPicture& destination) {
    Require(WPRSetDecodeSettings(decoder, &choice.settings) == kWPRSuccess);
    const std::int32_t result = destination.Decode(decoder, frame, choice.fieldFlag);
    destination.RequireUntouched(result);
    return result;
  };
  const std::vector<WPRDecoderHandle>& levels = decoders[choice.threads];
  PackedPicture plain(choice.format, picture.width, picture.height);
  PackedPicture other(choice.format, picture.width, picture.height, choice.slack, 0xa5);
  const std::int32_t result = decode(levels.back(), plain);
  Require(decode(levels[ChooseLevel(choice.level, levels.size())], other) == result);
  Require(result < 0 || other.HasPixelsOf(plain));
  return 0;
}
