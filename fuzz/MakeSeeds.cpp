// SPDX-License-Identifier: BSD-2-Clause
// Writes the seed corpora below the given folder: small frames of every kind of the format, made by
// the tests' model, each after the bytes of its fuzz target's options.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "ReferenceCodec.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::ptrdiff_t kPrefixBytes = 8;

void Append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

void Write(const std::filesystem::path& folder, const std::string& name, const Bytes& bytes) {
  std::filesystem::create_directories(folder);
  std::ofstream file(folder / name, std::ios::binary);
  for (const std::uint8_t byte : bytes) file.put(static_cast<char>(byte));
  if (!file.flush()) throw std::filesystem::filesystem_error("cannot write", folder / name, {});
}

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

/// Returns a frame in the format of the element fuzzer: 16-bit size, then the bytes.
Bytes Sized(const Bytes& frame) {
  Bytes sized{static_cast<std::uint8_t>(frame.size() >> 8),
              static_cast<std::uint8_t>(frame.size())};
  Append(sized, frame);
  return sized;
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
  // Channel, family, size, stored size, scan mode, chroma, matrix, rate, variant.
  const Bytes proRes{1, 1, 0, 1, 0, 0, 2, 0, 0, 0, 3};
  const auto decode = [&](std::uint8_t element, const char* name, const Bytes& parameters,
                          const NamedFrame& frame) {
    Bytes seed{element};
    Append(seed, parameters);
    Append(seed, proRes);
    for (int i = 0; i < 2; ++i) {
      Append(seed, {5, 0});
      Append(seed, Sized(frame.bytes));
    }
    Append(seed, other);
    Append(seed, release);
    Write(folder, name, seed);
  };
  decode(2, "decode_422", noParameters, frames[0]);
  decode(2, "decode_422_with_parameters", decoderParameters, frames[2]);
  decode(4, "decode_4444", noParameters, frames[6]);
  decode(6, "decode_4444_without_driver", noParameters, frames[5]);
  const auto encode = [&](std::uint8_t element, const char* name, std::uint8_t format) {
    const Bytes raw{1, 1, 0, 2, 0, 0, 0, 0, format};
    Bytes seed{element, 0, 0, 1, 1};
    Append(seed, raw);
    // A sample with the same description and bytes of one value.
    Append(seed, {5, 3});
    Append(seed, raw);
    Append(seed, {0x40, 0x00, 0x90});
    Write(folder, name, seed);
  };
  encode(1, "encode_uyvy", 0);
  encode(1, "encode_v210", 1);
  encode(3, "encode_y416", 2);
  encode(5, "encode_b64a_without_driver", 3);
}

/// Writes sessions of three neighbouring frames with a picture to encode after the second.
void WriteSessionSeeds(const std::filesystem::path& folder, const std::vector<NamedFrame>& frames) {
  for (std::size_t i = 0; i < frames.size(); ++i) {
    Bytes seed{static_cast<std::uint8_t>(i)};  // the level; three threads in the first sessions
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

void WriteEncoderSeeds(const std::filesystem::path& folder) {
  struct Seed {
    const char* name;
    // Choices, level and threads, width, height, slack of a row, destination, matrix of 4444,
    // content.
    Bytes bytes;
  };
  const Seed seeds[] = {
      {"uyvy_proxy_noise", {0x00, 0, 0, 48, 0, 32, 0, 0}},
      {"v210_hq_noise", {0x07, 1, 0, 50, 0, 34, 0, 0}},
      {"v210_422_interlaced_flat", {0x0d, 2, 0, 64, 0, 36, 16, 0, 0x80}},
      {"uyvy_lt_interlaced_extremes", {0x0a, 3, 0, 33, 0, 18, 3, 0, 0, 255}},
      {"smallest", {0x05, 0, 0, 2, 0, 2, 0, 0, 0x55, 0xaa}},
      {"too_small_destination", {0x07, 9, 0, 80, 0, 48, 0, 200}},
      {"bottom_field_first", {0x11, 0, 0, 48, 0, 32, 0, 0}},
      {"y416_4444_alpha16_noise", {0xa0, 9, 0, 50, 0, 34, 0, 0, 2}},
      {"b64a_xq_alpha8_interlaced_noise", {0x6b, 2, 0, 34, 0, 36, 5, 0, 9}},
      {"b64a_4444_without_alpha", {0x21, 8, 0, 33, 0, 18, 0, 0, 6, 0x80, 0xff, 0x12, 0x34, 0x90}},
      {"y416_xq_alpha16_flat",
       {0xa2, 1, 0, 64, 0, 32, 0, 0, 1, 0, 0x80, 0, 0x40, 0, 0x80, 0, 0x80}},
      {"4444_with_format_of_422", {0x25, 0, 0, 48, 0, 32, 0, 0, 2}},
  };
  for (const Seed& seed : seeds) Write(folder, seed.name, seed.bytes);
}

void WriteRoundTripSeeds(const std::filesystem::path& folder) {
  struct Seed {
    const char* name;
    // Choices, level and decoded format, width, height, bytes missing, matrix, content.
    Bytes bytes;
  };
  const Seed seeds[] = {
      {"proxy_to_uyvy_scalar", {0x00, 0x20, 0, 40, 0, 20, 0, 2}},
      {"lt_to_v210_threads", {0x03, 0x09, 0, 66, 0, 33, 7, 2, 0, 0xff, 0x80}},
      {"422_interlaced_to_y416", {0x0d, 0x32, 0, 64, 0, 36, 200, 2, 0x80}},
      {"hq_to_b64a", {0x07, 0x3b, 0, 35, 0, 17, 1, 9, 1, 2, 3, 4, 5}},
      {"one_by_one", {0x07, 0x21, 0, 1, 0, 1, 0, 2}},
      {"two_by_two", {0x07, 0x22, 0, 2, 0, 2, 255, 2}},
      {"4444_alpha16_to_y416", {0xa0, 0x31, 0, 34, 0, 20, 3, 1}},
      {"xq_alpha8_to_b64a_threads", {0x63, 0x1a, 0, 48, 0, 33, 3, 9, 0, 0xff, 0x12, 0x34, 0x56}},
      {"4444_without_alpha_to_uyvy", {0x21, 0x23, 0, 33, 0, 18, 0, 6}},
      {"xq_alpha16_interlaced_scalar", {0xab, 0x38, 0, 18, 0, 32, 0, 2}},
  };
  for (const Seed& seed : seeds) Write(folder, seed.name, seed.bytes);
}

void WriteAlphaSeeds(const std::filesystem::path& folder) {
  struct Seed {
    const char* name;
    Bytes bytes;  // frame, level and format, then edits: slice, kind, arguments
  };
  const Seed seeds[] = {
      {"unchanged_16_bits", {0, 1}},
      {"unchanged_8_bits", {1, 0x0a}},
      {"unchanged_interlaced", {2, 0x03}},
      {"changed_bits", {3, 0x19, 0, 0, 0, 5, 0x10, 1, 0, 1, 0, 0x80}},
      {"cut", {0, 0x11, 0, 1, 0, 40, 1, 1, 0, 0}},
      {"long_runs", {4, 0x08, 0, 2, 5, 0x87, 0xfe, 0x07, 0xff, 0x80}},
      {"inserted", {5, 0x02, 1, 3, 0, 0, 3, 0xff, 0x00, 0x12}},
      {"removed", {5, 0x1b, 0, 4}},
      {"smallest_frame", {6, 0x01, 0, 0, 0, 1, 1}},
  };
  for (const Seed& seed : seeds) Write(folder, seed.name, seed.bytes);
}

void WriteSliceSeeds(const std::filesystem::path& folder) {
  const auto coefficients = [](int blocks, int most) {
    std::vector<int> values(static_cast<std::size_t>(64 * blocks));
    for (std::size_t i = 0; i < values.size(); i += 1 + i / 16) {
      values[i] = static_cast<int>(i * 37 % static_cast<std::size_t>(2 * most + 1)) - most;
    }
    return values;
  };
  const Bytes small = reference::CodeComponent(coefficients(2, 3), 2);
  const Bytes large = reference::CodeComponent(coefficients(8, 900), 8);
  const auto write = [&](const char* name, Bytes options, const std::vector<Bytes>& parts) {
    for (const Bytes& part : parts) Append(options, part);
    Write(folder, name, options);
  };
  for (unsigned level = 0; level < 4; ++level) {
    const std::string name = "components_at_level_" + std::to_string(level);
    write(name.c_str(), {static_cast<std::uint8_t>(level << 2), 2},
          {Sized(large), {0}, Sized(small), {0}, small});
  }
  write("coefficients_of_2_blocks", {1, 0}, {small});
  write("coefficients_of_8_blocks", {1, 2}, {large});
  std::vector<int> alpha(256);
  for (std::size_t i = 0; i < alpha.size(); ++i) {
    alpha[i] = static_cast<int>(i < 100 ? i / 9 * 21 : i * i % 256);
  }
  write("alpha_of_8_bits", {2, 1}, {reference::CodeAlpha(alpha, 8, reference::AlphaForms::kShort)});
  write("alpha_of_16_bits", {2, 0},
        {reference::CodeAlpha(alpha, 16, reference::AlphaForms::kLong)});
  write("header", {3}, {{0x40, 4, 0, 2, 0, 1, 0, 1, 1, 2, 3, 4, 5}});
}

/// Writes sequences of calls, by their numbers in the target.
void WriteCallSeeds(const std::filesystem::path& folder) {
  const Bytes openEncoder{0, 0, 0, 0}, openDecoder{1, 0, 0, 0};
  const Bytes openRefused{0, 1, 3, 0, 1, 1, 0, 1}, close{2, 0, 3, 0, 2, 1};
  // Handle, EncoderChoice, places of width and height in the table of sizes, content, fault.
  const Bytes encode{9, 0, 0x07, 5, 4, 0, 0xff, 7, 0}, encodeDeep{9, 0, 0xa1, 3, 5, 1, 2, 3, 0};
  const Bytes encodeNull{9, 0, 0x07, 5, 4, 0, 0, 0, 5}, encodeClosed{9, 1, 0x07, 5, 4, 0, 0, 0, 0};
  // Handle, damage, field, format, fault.
  const Bytes decode{10, 0, 0, 0, 1, 0}, decodeDamaged{10, 0, 1, 0, 60, 0x41, 0, 2, 0};
  const Bytes decodeRefused{10, 0, 0, 0, 1, 3};
  // Handle, size of the record, bits of alpha, matrix, null.
  const Bytes setEncoder{4, 0, 0, 16, 0, 9, 0}, setDecoder{5, 0, 1, 8, 0, 9, 0};
  const Bytes setRefused{4, 0, 2, 16, 0, 1, 0, 5, 1, 0, 9, 0, 1, 0};
  const Bytes threads{6, 0, 3}, level{7, 2}, size{8, 3, 5, 7, 0}, hugeSize{8, 5, 7, 7, 0};
  const auto write = [&](const char* name, const std::vector<Bytes>& calls) {
    Bytes seed;
    for (const Bytes& call : calls) Append(seed, call);
    Write(folder, name, seed);
  };
  write("encode_and_decode", {openEncoder, openDecoder, encode, decode, decodeDamaged, close});
  write("settings",
        {openEncoder, setEncoder, setRefused, openDecoder, setDecoder, encodeDeep, decode});
  write("refused",
        {openRefused, encodeNull, encodeClosed, openEncoder, encode, openDecoder, decodeRefused});
  write("threads_and_levels", {threads, level, openEncoder, openDecoder, encode, decode});
  write("sizes", {size, hugeSize});
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
  WriteEncoderSeeds(corpus / "FrameEncoder");
  WriteRoundTripSeeds(corpus / "RoundTrip");
  WriteCallSeeds(corpus / "HostApi");
  WriteAlphaSeeds(corpus / "AlphaFrame");
  WriteSliceSeeds(corpus / "SliceData");
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "make_seeds: %s\n", error.what());
  return 1;
}
