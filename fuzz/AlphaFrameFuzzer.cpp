// SPDX-License-Identifier: BSD-2-Clause
// Damages or replaces the alpha of slices of valid 4444 frames. Requires that the colours stay,
// that the alpha is what the tests' model decodes or opaque, and that the damaged slices are
// counted. The first byte selects the frame, the second one the level (bits 0 to 2), the pixel
// format (bit 3) and the bits of alpha that are decoded (bit 4). Edits follow: slice, kind, and its
// arguments.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "CodecPictures.h"
#include "Encoding.h"
#include "FrameParts.h"
#include "FuzzInput.h"
#include "ReferenceCodec.h"

namespace {

constexpr int kMostEdits = 16;
constexpr std::size_t kMostAlphaBytes = 8192;  // more than 8 macroblocks need; a slice has room
constexpr std::uint32_t kOpaque = 65535;

/// Fills a picture of kWPRPixelFormatB64a with smooth colours, and alpha with flat parts, steps,
/// slopes and noise, so that all forms of its code appear.
void Draw(PackedPicture& picture) {
  const PixelBufferRecord& record = picture.Record();
  std::uint32_t noise = 1;
  for (std::uint32_t y = 0; y < record.height; ++y) {
    for (std::uint32_t x = 0; x < record.width; ++x) {
      noise = noise * 1664525 + 1013904223;
      const std::uint32_t alphas[] = {kOpaque, x * 900 + y * 100, noise >> 16, x / 5 * 3000};
      const std::uint32_t samples[] = {alphas[(x / 16 + y / 8) % 4], 30000 + x * 100, y * 700,
                                       40000};
      std::uint8_t* const pixel =
          picture.Content().data() + std::size_t{y} * record.rowBytes + std::size_t{8} * x;
      for (std::size_t i = 0; i < 4; ++i) {
        prores::WriteU16(pixel + 2 * i, static_cast<std::uint16_t>(samples[i]));
      }
    }
  }
}

/// A frame, and its colours as they decode.
struct Base {
  Base(std::uint8_t encoding, std::uint32_t width, std::uint32_t height)
      : parts(MakeFrame(EncoderChoice(encoding), width, height)), colours{Decoded(0), Decoded(1)} {}

  static Bytes MakeFrame(const EncoderChoice& choice, std::uint32_t width, std::uint32_t height) {
    PackedPicture source(kWPRPixelFormatB64a, width, height);
    Draw(source);
    WPREncoderHandle const encoder = WPROpenEncoder(1, nullptr);
    const EncodedFrame frame =
        Encode(encoder, choice, source.Record(), MaxFrameBytes(choice, source.Record(), 0));
    WPRCloseEncoder(encoder);
    Require(frame.result == kWPRSuccess);
    return frame.bytes;
  }

  Bytes Decoded(std::size_t format) const {
    PackedPicture picture(kFormats[2 + format], parts.header.width, parts.header.height);
    WPRDecoderHandle const decoder = WPROpenDecoder(1, nullptr);
    Require(picture.Decode(decoder, parts.Assemble()) == kWPRSuccess);
    WPRCloseDecoder(decoder);
    return picture.Content();
  }

  FrameParts parts;
  Bytes colours[2];  ///< in kWPRPixelFormatY416 and kWPRPixelFormatB64a; their alpha is not used
};

const std::vector<Base>& Bases() {
  // EncoderChoice: b64a of 4444 or XQ with 16 or 8 bits of alpha, progressive or interlaced.
  static const auto& bases =
      *new std::vector<Base>{{0xa1, 48, 20}, {0x63, 48, 20},  {0xa9, 34, 36}, {0x6b, 34, 36},
                             {0xa3, 16, 16}, {0x61, 130, 16}, {0xa1, 2, 3}};
  return bases;
}

void Edit(Bytes& alpha, FuzzInput& input) {
  switch (input.Byte() % 5) {
    case 0:  // changes bits
      if (const std::size_t at = input.Word(); !alpha.empty()) {
        alpha[at % alpha.size()] ^= input.Byte();
      }
      break;
    case 1:  // cuts the end
      alpha.resize(std::min<std::size_t>(alpha.size(), input.Word()));
      break;
    case 2: {  // replaces all
      alpha = input.Take(input.Byte());
      break;
    }
    case 3: {  // inserts
      const std::size_t at = input.Word();
      const Bytes more = input.Take(input.Byte());
      if (alpha.size() + more.size() > kMostAlphaBytes) break;
      alpha.insert(alpha.begin() + static_cast<std::ptrdiff_t>(at % (alpha.size() + 1)),
                   more.begin(), more.end());
      break;
    }
    default:
      alpha.clear();
  }
}

/// Alpha of a frame as it must be decoded.
struct Expected {
  explicit Expected(const FrameParts& frame)
      : width(frame.header.width), samples(std::size_t{width} * frame.header.height) {
    const int bits = frame.header.alphaType == prores::AlphaType::k8Bit ? 8 : 16;
    for (const FrameParts::Slice& slice : frame.slices) Add(slice, bits);
  }

  void Add(const FrameParts::Slice& slice, int bits) {
    const std::uint32_t columns = slice.span.macroblocks * prores::kMacroblockSize;
    std::vector<int> alpha;
    try {
      if (!slice.alpha.empty()) {
        alpha = reference::DecodeAlpha(slice.alpha, bits,
                                       static_cast<int>(columns * prores::kMacroblockSize));
      }
    } catch (const std::runtime_error&) {
      ++damagedSlices;
    }
    const std::uint32_t top = slice.row * prores::kMacroblockSize;
    const std::uint32_t left = slice.span.firstMacroblock * prores::kMacroblockSize;
    for (std::uint32_t y = 0; y < prores::kMacroblockSize && top + y < slice.picture.lines; ++y) {
      const std::size_t line = slice.picture.firstLine + (top + y) * slice.picture.lineStep;
      for (std::uint32_t x = 0; x < columns && left + x < width; ++x) {
        samples[line * width + left + x] =
            alpha.empty() ? kOpaque
                          : static_cast<std::uint32_t>(alpha[std::size_t{columns} * y + x]) *
                                (bits == 8 ? 257 : 1);
      }
    }
  }

  std::uint32_t width;
  std::vector<std::uint32_t> samples;
  std::int32_t damagedSlices = 0;
};

/// Compares each pixel, of `bits` bits of alpha, with the expected alpha and the colours.
void RequirePixels(const PackedPicture& picture, const Bytes& colours, const Expected& expected,
                   std::int32_t bits) {
  const bool bigEndian = picture.Record().pixelFormat == kWPRPixelFormatB64a;
  const auto* pixel = static_cast<const std::uint8_t*>(picture.Record().baseAddress);
  const std::uint8_t* colour = colours.data();
  for (std::uint32_t alpha : expected.samples) {
    if (bits == kWPRAlpha8) alpha = (alpha + 128) / 257 * 257;
    Require(pixel[bigEndian ? 0 : 1] == alpha >> 8 && pixel[bigEndian ? 1 : 0] == (alpha & 255));
    Require(std::memcmp(pixel + 2, colour + 2, 6) == 0);
    pixel += 8;
    colour += 8;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto& decoders =
      *new std::vector<WPRDecoderHandle>(OpenAtAllLevels(WPROpenDecoder, 1));
  FuzzInput input(data, size);
  const Base& base = Bases()[input.Byte() % Bases().size()];
  const std::uint8_t choice = input.Byte();
  FrameParts frame = base.parts;
  for (int i = 0; i < kMostEdits && input.Left() > 0; ++i) {
    Edit(frame.slices[input.Byte() % frame.slices.size()].alpha, input);
  }

  const std::size_t format = choice >> 3 & 1;
  const DecodeSettingsRecord settings{sizeof settings,
                                      (choice & 0x10) != 0 ? kWPRAlpha8 : kWPRAlpha16, 1};
  WPRDecoderHandle const decoder = decoders[ChooseLevel(choice, decoders.size())];
  Require(WPRSetDecodeSettings(decoder, &settings) == kWPRSuccess);
  PackedPicture picture(kFormats[2 + format], frame.header.width, frame.header.height);
  const Expected expected(frame);
  Require(picture.Decode(decoder, frame.Assemble()) == expected.damagedSlices);
  RequirePixels(picture, base.colours[format], expected, settings.alphaBits);
  return 0;
}
