// SPDX-License-Identifier: BSD-2-Clause
// Decodes arbitrary bytes as the header, coefficients and alpha of a slice with the inner functions
// of the codec, which is many times faster than whole frames.
// Bits 0 and 1 of the first byte select what the rest is: three components for the decoder of one
// level (the other bits), compared with the plain decoder; one component, compared with the tests'
// model; alpha, compared likewise; or a slice with its header.
#include <algorithm>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

#include "FuzzInput.h"
#include "Kernels.h"
#include "ReferenceCodec.h"
#include "Require.h"
#include "bitstream/AlphaDecoder.h"
#include "bitstream/CoefficientDecoder.h"
#include "bitstream/SliceHeader.h"
#include "cpu/AlignedVector.h"
#include "cpu/CpuLevel.h"
#include "decode/ComponentDecoder.h"

namespace {

using prores::CodedComponent;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kBlockSamples = 64;
constexpr std::uint32_t kBlocks[] = {2, 4, 8, 16, 32};
constexpr std::uint32_t kAlphaSamples[] = {256, 512, 1024, 2048};  // of 1, 2, 4 or 8 macroblocks

/// The components of a slice and memory for their coefficients.
class Components {
 public:
  Components(const std::vector<Bytes>& data, const std::vector<std::uint32_t>& blocks) {
    std::size_t values = 0;
    for (const std::uint32_t count : blocks) values += RoomFor(count);
    coefficients_.resize(values);
    std::int16_t* next = coefficients_.data();
    for (std::size_t i = 0; i < data.size(); ++i) {
      components_.push_back({.data = data[i], .blocks = blocks[i], .coefficients = next});
      next += RoomFor(blocks[i]);
    }
  }

  void DecodeWith(decltype(&prores::DecodeComponents) decode) { decode(components_); }

  void RequireEqual(const Components& other) const {
    for (std::size_t i = 0; i < components_.size(); ++i) {
      const CodedComponent& one = components_[i];
      const CodedComponent& two = other.components_[i];
      Require(one.intact == two.intact);
      if (!one.intact) continue;
      Require(one.positions == two.positions);
      Require(std::equal(one.coefficients, one.coefficients + one.blocks * kBlockSamples,
                         two.coefficients));
    }
  }

 private:
  static std::size_t RoomFor(std::uint32_t blocks) {
    return std::size_t{blocks} * kBlockSamples + prores::kCoefficientSlack;
  }

  prores::AlignedVector<std::int16_t> coefficients_;
  std::vector<CodedComponent> components_;
};

/// Decodes three components together, because SIMD forms decode several alternately.
void CompareLevels(FuzzInput& input, prores::CpuLevel level) {
  std::vector<Bytes> data;
  std::vector<std::uint32_t> blocks;
  for (int i = 0; i < 3; ++i) {
    blocks.push_back(kBlocks[input.Byte() % std::size(kBlocks)]);
    data.push_back(i < 2 ? input.Take(input.Word()) : input.Rest());
  }
  Components plain(data, blocks), other(data, blocks);
  plain.DecodeWith(prores::DecodeComponents);
  other.DecodeWith(prores::KernelsFor(level).decodeComponents);
  other.RequireEqual(plain);
}

/// Returns the result of a function of the model; nothing if it finds the data damaged.
template <typename Decode>
std::vector<int> TryModel(const Decode& decode) {
  try {
    return decode();
  } catch (const std::runtime_error&) {
    return {};
  }
}

void CompareCoefficients(FuzzInput& input) {
  const std::uint32_t blocks = kBlocks[input.Byte() % std::size(kBlocks)];
  const Bytes data = input.Rest();
  std::vector<std::int16_t> coefficients(std::size_t{blocks} * kBlockSamples);
  const std::uint32_t positions = prores::DecodeCoefficients(data, blocks, coefficients.data());
  const std::vector<int> expected =
      TryModel([&] { return reference::DecodeComponent(data, static_cast<int>(blocks)); });
  // The model accepts -32768 and 32768, which no conforming frame has.
  const bool valid = !expected.empty() && std::ranges::all_of(expected, [](int value) {
    return value >= -INT16_MAX && value <= INT16_MAX;
  });
  Require((positions != 0) == valid);
  if (!valid) return;
  Require(std::ranges::equal(coefficients, expected));
  const auto rest = std::span(expected).subspan(std::size_t{positions} * blocks);
  Require(positions <= kBlockSamples &&
          std::ranges::all_of(rest, [](int value) { return value == 0; }));
}

void CompareAlpha(FuzzInput& input) {
  const std::uint8_t choice = input.Byte();
  const bool isShort = (choice & 1) != 0;
  const std::uint32_t count = kAlphaSamples[choice >> 1 & 3];
  const Bytes data = input.Rest();
  std::vector<std::uint16_t> samples(count);
  const bool intact =
      DecodeAlpha(data, isShort ? prores::AlphaType::k8Bit : prores::AlphaType::k16Bit, samples);
  std::vector<int> expected = TryModel(
      [&] { return reference::DecodeAlpha(data, isShort ? 8 : 16, static_cast<int>(count)); });
  Require(intact == !expected.empty());
  if (!intact) return;
  if (isShort) {
    for (int& sample : expected) sample *= 257;
  }
  Require(std::ranges::equal(samples, expected));
}

void CheckHeader(FuzzInput& input) {
  const Bytes slice = input.Rest();
  prores::SliceHeader header;
  if (!ParseSliceHeader(slice, header)) return;
  std::size_t bytes = header.headerBytes;
  for (const std::uint16_t component : header.componentBytes) bytes += component;
  Require(header.headerBytes >= prores::SliceHeader::kLeastBytes && bytes <= slice.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto levels = static_cast<std::uint8_t>(prores::DetectCpuLevel()) + 1;
  FuzzInput input(data, size);
  const std::uint8_t choice = input.Byte();
  switch (choice & 3) {
    case 0:
      CompareLevels(input, prores::kCpuLevels[static_cast<std::size_t>((choice >> 2) % levels)]);
      break;
    case 1:
      CompareCoefficients(input);
      break;
    case 2:
      CompareAlpha(input);
      break;
    default:
      CheckHeader(input);
  }
  return 0;
}
