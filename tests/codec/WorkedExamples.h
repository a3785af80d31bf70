// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_WORKEDEXAMPLES_H
#define TESTS_CODEC_WORKEDEXAMPLES_H

/// @file
/// Coded components and frames, worked out codeword by codeword.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// One component: DCs of its blocks, then (run, level) pairs, and its bytes.
struct WorkedComponent {
  const char* name;
  int blocks;
  std::vector<int> dcs;
  std::vector<std::pair<int, int>> runsAndLevels;
  std::vector<std::uint8_t> bytes;
};

inline const std::vector<WorkedComponent> kWorkedComponents{
    // 110100 | +10: 011100 | 011100 | 011100
    {"equal DC steps", 4, {10, 20, 30, 40}, {}, {0xD1, 0xC7, 0x1C}},
    // 110100 | -30: 0001000011 | +55 after a negative step, so S(-55): 0001110101 | +1: 1010
    {"sign of a step relative to the last", 4, {10, -20, 35, 36}, {}, {0xD0, 0x43, 0x1D, 0x68}},
    // 101010 | 1000 | 1 | 011
    {"steps of zero", 4, {5, 5, 5, 6}, {}, {0xAA, 0x2C}},
    // 100000 | 1001 | 0110 | 0110
    {"small steps down", 4, {0, -1, -3, -6}, {}, {0x82, 0x59, 0x80}},
    // 00001001110111 | 1000 | 011 | 11
    {"large first DC", 4, {-300, -300, -299, -300}, {}, {0x09, 0xDE, 0x1E}},
    // 100000 1000 1 1 | 1 1 0 | 1 01 1 | 0000100 0010 0 | 10 1 0
    {"short runs",
     4,
     {0, 0, 0, 0},
     {{0, 1}, {0, -2}, {5, 3}, {0, 1}},
     {0x82, 0x3D, 0x61, 0x09, 0x40}},
    // 100000 1000 1 1 | 1 000000100111 1 | 1 01100 0 | 000001111 100 1 | 101 1 0 | 001 000101 0
    {"long run, large level",
     4,
     {0, 0, 0, 0},
     {{0, -40}, {0, 9}, {16, -1}, {1, 1}, {2, 5}},
     {0x82, 0x38, 0x13, 0xEC, 0x03, 0xE6, 0xC4, 0x50}},
    // 100000 1000 1 1 1 1 1 1 | 1 000111 0 | 0000110 001001 1 | 10 0100 0
    {"eight blocks",
     8,
     {0, 0, 0, 0, 0, 0, 0, 0},
     {{0, 8}, {7, -8}, {0, 3}},
     {0x82, 0x3F, 0x8E, 0x0C, 0x4E, 0x40}},
    // 01000000 | 0001000111 | 1 000100 0 | 01 0100 1
    {"two blocks", 2, {16, -16}, {{0, 5}, {1, -3}}, {0x40, 0x11, 0xE2, 0x14, 0x80}},
};

/// Coefficients of an example in coded order.
inline std::vector<int> CoefficientsOf(const WorkedComponent& example) {
  std::vector<int> coefficients = example.dcs;
  for (const auto& [run, level] : example.runsAndLevels) {
    coefficients.resize(coefficients.size() + static_cast<std::size_t>(run));
    coefficients.push_back(level);
  }
  coefficients.resize(static_cast<std::size_t>(64 * example.blocks));
  return coefficients;
}

/// A progressive 4:2:2 frame of 16 lines: default matrices, quantization_index 4, neutral chroma.
struct WorkedFrame {
  const char* name;
  int width;
  std::vector<std::uint8_t> bytes;
  std::vector<int> firstLine;  // luma at 10 bits, give or take 1
};

inline const std::vector<WorkedFrame> kWorkedFrames{
    {"flat blocks",
     16,
     {0x00, 0x00, 0x00, 0x33, 0x69, 0x63, 0x70, 0x66, 0x00, 0x14, 0x00, 0x00, 0x73,
      0x63, 0x72, 0x61, 0x00, 0x10, 0x00, 0x10, 0x80, 0x00, 0x01, 0x01, 0x01, 0x00,
      0x00, 0x00, 0x40, 0x00, 0x00, 0x00, 0x17, 0x00, 0x01, 0x30, 0x00, 0x0d, 0x30,
      0x04, 0x00, 0x03, 0x00, 0x02, 0xd1, 0xc7, 0x1c, 0x82, 0x00, 0x82, 0x00},
     {517, 517, 517, 517, 517, 517, 517, 517, 522, 522, 522, 522, 522, 522, 522, 522}},
    {"one macroblock with frequencies",
     16,
     {0x00, 0x00, 0x00, 0x38, 0x69, 0x63, 0x70, 0x66, 0x00, 0x14, 0x00, 0x00, 0x73, 0x63,
      0x72, 0x61, 0x00, 0x10, 0x00, 0x10, 0x80, 0x00, 0x01, 0x01, 0x01, 0x00, 0x00, 0x00,
      0x40, 0x00, 0x00, 0x00, 0x1c, 0x00, 0x01, 0x30, 0x00, 0x12, 0x30, 0x04, 0x00, 0x08,
      0x00, 0x02, 0x82, 0x38, 0x13, 0xec, 0x03, 0xe6, 0xc4, 0x50, 0x82, 0x00, 0x82, 0x00},
     {485, 489, 496, 506, 517, 527, 536, 541, 518, 517, 516, 513, 511, 508, 507, 506}},
    {"two macroblocks",
     32,
     {0x00, 0x00, 0x00, 0x36, 0x69, 0x63, 0x70, 0x66, 0x00, 0x14, 0x00, 0x00, 0x73, 0x63,
      0x72, 0x61, 0x00, 0x20, 0x00, 0x10, 0x80, 0x00, 0x01, 0x01, 0x01, 0x00, 0x00, 0x00,
      0x40, 0x00, 0x00, 0x00, 0x1a, 0x00, 0x01, 0x30, 0x00, 0x10, 0x30, 0x04, 0x00, 0x06,
      0x00, 0x02, 0x82, 0x3f, 0x8e, 0x0c, 0x4e, 0x40, 0x82, 0x30, 0x82, 0x30},
     {512, 511, 510, 508, 505, 503, 502, 501, 514, 514, 514, 514, 514, 514, 514, 514,
      512, 512, 512, 512, 512, 512, 512, 512, 512, 512, 512, 512, 512, 512, 512, 512}},
};

#endif  // TESTS_CODEC_WORKEDEXAMPLES_H
