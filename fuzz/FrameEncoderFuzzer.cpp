// SPDX-License-Identifier: BSD-2-Clause
// Encodes a picture of arbitrary size, row bytes and content at two CPU levels. Requires equal
// bytes within the promised size, and an error alone where the destination is too small.
// The first byte is an EncoderChoice. Bits 0 to 2 of the second byte are the level that is compared
// with the highest one, bits 3 to 5 give it two threads if they are zero.
#include <array>
#include <cstdint>
#include <vector>

#include "CodecPictures.h"
#include "Encoding.h"
#include "FuzzInput.h"

namespace {

constexpr std::uint32_t kCapacityWithoutSize = 64;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Never destroyed: the handles stay reachable for the leak check at the end.
  static const auto& encoders = *new std::array<std::vector<WPREncoderHandle>, 2>{
      OpenAtAllLevels(WPROpenEncoder, 1), OpenAtAllLevels(WPROpenEncoder, 2)};
  FuzzInput input(data, size);
  const EncoderInput start(input);
  if (start.IsLarge()) return 0;
  auto [choice, level, width, height] = start;
  const std::uint32_t slack = input.Byte();
  const std::uint32_t destinationCut = input.Byte();
  if (choice.deep) choice.settings.matrixCoefficients = input.Byte();

  PackedPicture picture(choice.format, width, height, slack);
  Fill(picture.Content(), input.Rest());
  const std::uint32_t maxBytes = MaxFrameBytes(choice, picture.Record(), kCapacityWithoutSize);
  const std::uint32_t capacity = destinationCut < 128 ? maxBytes : maxBytes / destinationCut;

  const EncodedFrame plain = Encode(encoders[0].back(), choice, picture.Record(), capacity);
  const std::vector<WPREncoderHandle>& others = encoders[(level & 0x38) == 0];
  WPREncoderHandle const other = others[ChooseLevel(level, others.size())];
  Require(Encode(other, choice, picture.Record(), capacity) == plain);
  Require(plain.result != kWPRDestinationTooSmall || capacity < maxBytes);
  return 0;
}
