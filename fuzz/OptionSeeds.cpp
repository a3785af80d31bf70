// SPDX-License-Identifier: BSD-2-Clause
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "ReferenceCodec.h"
#include "Seeds.h"

namespace {

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

/// Writes conversions from each format to the next ones.
void WriteConversionSeeds(const std::filesystem::path& folder) {
  for (unsigned i = 0; i < 16; ++i) {
    const unsigned from = i % 8, to = (i + (i < 8 ? 1 : 4)) % 8;
    const Bytes seed{static_cast<std::uint8_t>(from | to << 3),
                     static_cast<std::uint8_t>(i * 11),  // width - 1
                     static_cast<std::uint8_t>(i),
                     static_cast<std::uint8_t>(i * 5),  // slack
                     static_cast<std::uint8_t>(i * 7),  // alignment
                     static_cast<std::uint8_t>(i == 15 ? 3 : 0),
                     0x01,
                     0xff,
                     0x80,
                     0x7f,
                     0x00};
    Write(folder, "from_" + std::to_string(from) + "_to_" + std::to_string(to), seed);
  }
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

void WriteSeedsWithoutFrames(const std::filesystem::path& corpus) {
  WriteEncoderSeeds(corpus / "FrameEncoder");
  WriteRoundTripSeeds(corpus / "RoundTrip");
  WriteCallSeeds(corpus / "HostApi");
  WriteConversionSeeds(corpus / "PixelConversion");
  WriteAlphaSeeds(corpus / "AlphaFrame");
  WriteSliceSeeds(corpus / "SliceData");
}
