// SPDX-License-Identifier: BSD-2-Clause
// Writes the seed corpora below the given folder: small frames of every kind of the format, made by
// the tests' model, each after the bytes of its fuzz target's options.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "ReferenceCodec.h"
#include "Seeds.h"

namespace {

constexpr std::ptrdiff_t kPrefixBytes = 8;

struct NamedFrame {
  std::string name;
  Bytes bytes;
};

reference::StreamSpec Spec(int width, int height, int interlaceMode) {
  reference::StreamSpec spec;
  spec.width = width;
  spec.height = height;
  spec.interlaceMode = interlaceMode;
  return spec;
}

reference::Matrix Slope() {
  reference::Matrix matrix{};
  for (int i = 0; i < 64; ++i) matrix[static_cast<std::size_t>(i)] = 2 + i / 8 * 3 + i % 8 * 2;
  return matrix;
}

std::vector<NamedFrame> MakeFrames() {
  const reference::Source source = reference::NaturalSource(1);
  std::vector<NamedFrame> frames;
  const auto add = [&](const char* name, const reference::StreamSpec& spec) {
    frames.push_back({name, reference::MakeStream(spec, source).bytes});
  };
  add("progressive", Spec(48, 32, 0));
  add("one_pixel", Spec(1, 1, 0));
  add("top_field_first", Spec(34, 35, 1));
  add("bottom_field_first", Spec(34, 35, 2));

  auto spec = Spec(50, 18, 0);
  spec.log2SliceSize = 0;
  spec.quantizationIndex = [](int slice) { return 1 + slice * 60; };
  add("narrow_slices", spec);
  spec = Spec(40, 20, 0);
  spec.chroma444 = true;
  spec.lumaMatrix = Slope();
  spec.chromaMatrix = Slope();
  add("444_with_matrices", spec);
  spec.alphaType = 2;
  spec.log2SliceSize = 1;
  add("444_with_alpha16", spec);
  spec = Spec(32, 64, 1);
  spec.alphaType = 1;
  add("422_with_alpha8_interlaced", spec);
  spec = Spec(32, 33, 1);
  spec.equalFieldRows = true;
  add("fields_with_equal_rows", spec);
  spec = Spec(32, 16, 0);
  spec.extraFrameHeaderBytes = 5;
  spec.extraPictureHeaderBytes = 3;
  spec.extraSliceHeaderBytes = 3;
  spec.trailingZeroBytes = 5;
  spec.picturePaddingBytes = 4;
  spec.framePaddingBytes = 9;
  add("long_headers_and_padding", spec);
  return frames;
}

void WriteDecoderSeeds(const std::filesystem::path& folder, const std::vector<NamedFrame>& frames) {
  constexpr std::size_t kDeepFormat = 0x10;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const auto write = [&](const std::string& name, std::size_t choice) {
      // Each level, and rows with and without slack.
      const std::size_t levelAndSlack = i % 4 | i % 3 << 3;
      Bytes seed{static_cast<std::uint8_t>(choice), static_cast<std::uint8_t>(levelAndSlack)};
      Append(seed, frames[i].bytes);
      Write(folder, name, seed);
    };
    write(frames[i].name, i % 8);
    const std::size_t alphaBits = i % 3 << 5, matrix = i % 2 << 7;
    write(frames[i].name + "_to_444", i % 8 | kDeepFormat | alphaBits | matrix);
  }
}

void WriteInspectionSeeds(const std::filesystem::path& folder,
                          const std::vector<NamedFrame>& frames) {
  for (std::size_t i = 0; i < frames.size(); ++i) {
    Bytes seed{static_cast<std::uint8_t>(i * 27)};
    const Bytes& frame = frames[i].bytes;
    Append(seed, i % 3 == 2 ? Bytes(frame.begin() + kPrefixBytes, frame.end()) : frame);
    Write(folder, frames[i].name, seed);
  }
}

/// Writes calls of elements, and frames in both layouts for the decoder of the first plug-in.
void WriteElementSeeds(const std::filesystem::path& folder, const std::vector<NamedFrame>& frames) {
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const Bytes& standard = frames[i].bytes;
    const Bytes bare(standard.begin() + kPrefixBytes, standard.end());
    Bytes seed{0, static_cast<std::uint8_t>(i % 4)};
    Append(seed, Sized(bare));
    Append(seed, Sized(bare));
    Append(seed, Sized(standard));
    Write(folder, "frames_" + frames[i].name, seed);
  }
  // Calls: 0 parameters, 1 description, 2 output, 3 other, 4 release, 5 sample.
  const Bytes noParameters{0, 0}, decoderParameters{0, 2, 1, 3, 1, 0}, other{3, 1}, release{4, 1};
  // Places of the size in the table of sizes; scan mode, and place of the chroma in that of codes.
  struct Stream {
    std::uint8_t width, height, scanMode, chroma;
  };
  constexpr Stream kProgressive{1, 2, 2, 0}, kFields{3, 4, 1, 0}, k444{5, 6, 2, 4};
  const auto decode = [&](std::uint8_t element, const char* name, const Bytes& calls,
                          const Stream& stream, const NamedFrame& frame) {
    Bytes seed{element};
    Append(seed, calls);
    // Description: channel, family, size, stored size, scan mode, chroma, matrix, rate, variant.
    Append(seed,
           {1, 1, 0, stream.width, stream.height, 0, stream.scanMode, stream.chroma, 0, 0, 3});
    for (int i = 0; i < 2; ++i) {
      Append(seed, {5, 0});
      Append(seed, Sized(frame.bytes));
    }
    Append(seed, other);
    Append(seed, release);
    Write(folder, name, seed);
  };
  const Bytes hostMemory{3, 2, 0, 0}, hostStride{3, 6, 0, 0};
  decode(2, "decode_422", noParameters, kProgressive, frames[0]);
  decode(2, "decode_422_with_parameters", decoderParameters, kFields, frames[2]);
  decode(2, "decode_422_to_memory_of_host", hostStride, kProgressive, frames[0]);
  decode(4, "decode_4444", noParameters, k444, frames[6]);
  decode(4, "decode_4444_to_memory_of_host", hostMemory, k444, frames[6]);
  decode(6, "decode_4444_without_driver", noParameters, k444, frames[5]);
  const auto encode = [&](std::uint8_t element, const char* name, std::uint8_t format,
                          std::uint32_t pictureBytes) {
    const Bytes raw{1, 1, 0, 0, 2, 0, 0, 0, format};
    Bytes seed{element, 0, 0, 1, 1};
    Append(seed, raw);
    // Samples with the same description and bytes of one value: a whole picture, a short one.
    for (const std::uint32_t bytes : {pictureBytes, pictureBytes - 1}) {
      Append(seed, {5, 3});
      Append(seed, raw);
      Append(seed, {static_cast<std::uint8_t>(bytes >> 8), static_cast<std::uint8_t>(bytes), 0x90});
    }
    Write(folder, name, seed);
  };
  // Pictures of 16x16; rows of v210 are padded.
  encode(1, "encode_uyvy", 0, 16 * 32);
  encode(1, "encode_v210", 1, 16 * 128);
  encode(3, "encode_y416", 2, 16 * 128);
  encode(5, "encode_b64a_without_driver", 3, 16 * 128);
}

/// Writes sessions of three neighbouring frames with a picture to encode after the second.
void WriteSessionSeeds(const std::filesystem::path& folder, const std::vector<NamedFrame>& frames) {
  for (std::size_t i = 0; i < frames.size(); ++i) {
    // The level; three threads in every fourth session, as they take several times as long.
    Bytes seed{static_cast<std::uint8_t>(i % 8 | (i % 4 == 0 ? 0 : 8))};
    for (std::size_t step = 0; step < 3; ++step) {
      if (step == 2) {
        // Options with two bytes of content, the encoder's choice, a picture of 48x18, the content,
        // and options to decode the frame.
        const auto type = static_cast<std::uint8_t>(i % 4 << 1 | i % 2 << 3);
        Append(seed, {0x82, type, 48, 18, 0x40, 0xa5, 3});
      }
      seed.push_back(static_cast<std::uint8_t>(i + step * 41) & 0x7f);
      Append(seed, Sized(frames[(i + step) % frames.size()].bytes));
    }
    Write(folder, "from_" + frames[i].name, seed);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_seeds FOLDER\n");
    return 2;
  }
  const std::filesystem::path corpus = argv[1];
  const std::vector<NamedFrame> frames = MakeFrames();
  WriteDecoderSeeds(corpus / "FrameDecoder", frames);
  WriteInspectionSeeds(corpus / "HeaderInspection", frames);
  WriteElementSeeds(corpus / "ElementSession", frames);
  WriteSessionSeeds(corpus / "Session", frames);
  WriteSeedsWithoutFrames(corpus);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "make_seeds: %s\n", error.what());
  return 1;
}
