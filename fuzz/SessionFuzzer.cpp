// SPDX-License-Identifier: BSD-2-Clause
// Decodes and encodes several frames of different size, layout and format with one handle each, and
// requires the results and bytes of fresh handles.
// Bits 0 to 2 of the first byte are the level of all handles, bits 3 to 5 give those of the session
// three threads if they are zero. Steps follow until the input ends: a byte that selects options,
// then a frame to decode (16-bit size and bytes), or size and content of a picture to encode.
#include <cstdint>
#include <memory>

#include "CodecPictures.h"
#include "Encoding.h"
#include "FuzzInput.h"

namespace {

constexpr int kMostSteps = 6;

using Decoder = std::unique_ptr<void, decltype(&WPRCloseDecoder)>;
using Encoder = std::unique_ptr<void, decltype(&WPRCloseEncoder)>;

Decoder OpenDecoder(std::int32_t threads) {
  Decoder decoder(WPROpenDecoder(threads, nullptr), WPRCloseDecoder);
  Require(decoder != nullptr);
  return decoder;
}

Encoder OpenEncoder(std::int32_t threads) {
  Encoder encoder(WPROpenEncoder(threads, nullptr), WPRCloseEncoder);
  Require(encoder != nullptr);
  return encoder;
}

/// The handles of a stream.
struct Session {
  explicit Session(std::int32_t threads)
      : decoder(OpenDecoder(threads)), encoder(OpenEncoder(threads)) {}
  Decoder decoder;
  Encoder encoder;
};

/// What selects how a frame is decoded: bits 0 and 1 the pixel format, bit 2 one field only, bits 3
/// and 4 the bits of alpha, bit 5 the default matrix, bit 6 slack between rows.
struct DecoderChoice {
  explicit DecoderChoice(std::uint8_t byte)
      : format(kFormats[byte & 3]),
        fieldFlag(byte >> 2 & 1),
        settings{sizeof settings, kAlphaBits[(byte >> 3 & 3) % 3], (byte & 0x20) != 0 ? 9U : 1U},
        slack((byte & 0x40) != 0 ? 3 : 0) {}

  std::uint32_t format;
  std::uint8_t fieldFlag;
  DecodeSettingsRecord settings;
  std::uint32_t slack;
};

void CheckDecoding(Session& session, const DecoderChoice& choice, const Bytes& frame) {
  const StatedSize size(frame, choice.fieldFlag != 0);
  if (size.Pixels() > kMostPixels) return;
  const auto decode = [&](WPRDecoderHandle decoder, PackedPicture& destination) {
    Require(WPRSetDecodeSettings(decoder, &choice.settings) == kWPRSuccess);
    const std::int32_t result = destination.Decode(decoder, frame, choice.fieldFlag);
    destination.RequireUntouched(result);
    return result;
  };
  const Decoder fresh = OpenDecoder(1);
  PackedPicture expected(choice.format, size.width, size.height);
  PackedPicture picture(choice.format, size.width, size.height, choice.slack, 0xa5);
  const std::int32_t result = decode(fresh.get(), expected);
  Require(decode(session.decoder.get(), picture) == result);
  Require(result < 0 || picture.HasPixelsOf(expected));
}

/// Encodes a picture and returns the frame; no bytes if the encoder refuses it.
Bytes CheckEncoding(Session& session, const EncoderChoice& choice, std::uint32_t width,
                    std::uint32_t height, const Bytes& pattern) {
  if (width * height > kMostPixels) return {};
  PackedPicture source(choice.format, width, height);
  Fill(source.Content(), pattern);
  const std::uint32_t capacity = MaxFrameBytes(choice, source.Record(), 0);
  const Encoder fresh = OpenEncoder(1);
  const EncodedFrame expected = Encode(fresh.get(), choice, source.Record(), capacity);
  Require(Encode(session.encoder.get(), choice, source.Record(), capacity) == expected);
  return expected.bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const std::uint8_t choice = input.Byte();
  const auto levels = static_cast<std::size_t>(WPRGetHighestProcessorLevel());
  const auto level = static_cast<std::int32_t>(ChooseLevel(choice, levels));
  Require(WPRSetProcessorLevel(kWPRProcessorScalar + level) == kWPRSuccess);
  Session session((choice & 0x38) == 0 ? 3 : 1);
  for (int step = 0; step < kMostSteps && input.Left() > 0; ++step) {
    const std::uint8_t options = input.Byte();
    if ((options & 0x80) == 0) {
      CheckDecoding(session, DecoderChoice(options), input.Take(input.Word()));
      continue;
    }
    const EncoderChoice encoding(input.Byte());
    const std::uint32_t width = input.Byte(), height = input.Byte();
    const Bytes pattern = input.Take(options & 0x0f);
    const Bytes frame = CheckEncoding(session, encoding, width, height, pattern);
    CheckDecoding(session, DecoderChoice(input.Byte()), frame);
  }
  return 0;
}
