// SPDX-License-Identifier: BSD-2-Clause
// Encodes a picture, and requires what is promised of the frame: its header, its size, a whole
// frame or an error where the destination has about that size, the same picture and alpha from
// decoders of two CPU levels and several threads, and no damage.
// The first byte is an EncoderChoice. Of the second, bits 0 to 2 are the level of the encoder and
// of the second decoder, bits 3 and 4 the pixel format of the decoded picture, bits 5 to 7 give the
// second decoder three threads if they are zero.
#include <array>
#include <cstdint>
#include <vector>

#include "CodecPictures.h"
#include "Encoding.h"
#include "FuzzInput.h"

namespace {

/// Every handle that the target uses, by level. Never destroyed: the handles stay reachable for the
/// leak check at the end.
struct Handles {
  std::vector<WPREncoderHandle> encoders = OpenAtAllLevels(WPROpenEncoder, 1);
  std::array<std::vector<WPRDecoderHandle>, 2> decoders = {OpenAtAllLevels(WPROpenDecoder, 1),
                                                           OpenAtAllLevels(WPROpenDecoder, 3)};
};

void RequireHeader(const Bytes& frame, const EncoderChoice& choice,
                   const PixelBufferRecord& source) {
  Require(frame.size() > 20);
  std::uint32_t stated = 0;
  for (int i = 0; i < 4; ++i) stated = stated << 8 | frame[static_cast<std::size_t>(i)];
  Require(stated == frame.size());
  const StatedSize size(frame, false);
  Require(size.width == source.width && size.height == source.height);
  Require(std::uint32_t{frame[20]} >> 2 ==
          (choice.deep ? 0x30 : 0x20) + choice.params.interlaceMode);
}

/// Requires a whole frame where it just fits, and an error where it does not.
void RequireCapacity(WPREncoderHandle encoder, const EncoderChoice& choice,
                     const PixelBufferRecord& source, const EncodedFrame& frame,
                     std::uint32_t missing) {
  const auto bytes = static_cast<std::uint32_t>(frame.bytes.size());
  Require(Encode(encoder, choice, source, bytes) == frame);
  const std::uint32_t tooFew = bytes - 1 - missing % bytes;
  Require(Encode(encoder, choice, source, tooFew).result == kWPRDestinationTooSmall);
}

/// Returns the alpha of pixel x, y.
unsigned AlphaAt(const PixelBufferRecord& picture, std::uint32_t x, std::uint32_t y) {
  const auto* const bytes = static_cast<const std::uint8_t*>(picture.baseAddress) +
                            std::size_t{picture.rowBytes} * y + std::size_t{8} * x;
  const bool bigEndian = picture.pixelFormat == kWPRPixelFormatB64a;
  return bytes[bigEndian ? 1 : 0] + 256U * bytes[bigEndian ? 0 : 1];
}

/// Requires the alpha of the source as coded with that many bits.
void RequireAlpha(const PixelBufferRecord& source, const PixelBufferRecord& decoded,
                  std::int32_t bits) {
  for (std::uint32_t y = 0; y < source.height; ++y) {
    for (std::uint32_t x = 0; x < source.width; ++x) {
      unsigned expected = 65535;
      if (bits != kWPRAlphaNone) expected = AlphaAt(source, x, y);
      if (bits == kWPRAlpha8) expected = (expected + 128) / 257 * 257;
      Require(AlphaAt(decoded, x, y) == expected);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto& handles = *new Handles;
  FuzzInput input(data, size);
  const EncoderInput start(input);
  if (start.IsLarge()) return 0;
  auto [choice, decoding, width, height] = start;
  const std::uint32_t missing = input.Byte();
  choice.settings.matrixCoefficients = input.Byte();

  PackedPicture source(choice.format, width, height);
  Fill(source.Content(), input.Rest());
  const std::size_t level = ChooseLevel(decoding, handles.encoders.size());
  WPREncoderHandle const encoder = handles.encoders[level];
  const EncodedFrame frame =
      Encode(encoder, choice, source.Record(), MaxFrameBytes(choice, source.Record(), 0));
  if (frame.result != kWPRSuccess) return 0;
  RequireHeader(frame.bytes, choice, source.Record());
  // The two further frames cost more than all else.
  if (missing % 4 == 0) RequireCapacity(encoder, choice, source.Record(), frame, missing);

  const std::uint32_t format = kFormats[decoding >> 3 & 3];
  PackedPicture plain(format, width, height);
  PackedPicture other(format, width, height, 5, 0xa5);
  Require(plain.Decode(handles.decoders[0].back(), frame.bytes) == kWPRSuccess);
  Require(other.Decode(handles.decoders[(decoding & 0xe0) == 0][level], frame.bytes) ==
          kWPRSuccess);
  other.RequireUntouched(kWPRSuccess);
  Require(other.HasPixelsOf(plain));
  if (choice.deep && (decoding & 0x10) != 0) {
    RequireAlpha(source.Record(), plain.Record(), choice.settings.alphaBits);
  }
  return 0;
}
