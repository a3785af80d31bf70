// SPDX-License-Identifier: BSD-2-Clause
#ifndef FUZZ_ELEMENTS_H
#define FUZZ_ELEMENTS_H

/// @file
/// Configurations, descriptions and samples for elements, which the input of a target selects.

#include <vix/vix.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "FuzzInput.h"

/// Values of all kinds: allowed ones first, then others.
inline constexpr vix::FourCC kFourCCs[] = {vix::kFourCC_UYVY,
                                           vix::kFourCC_V210,
                                           vix::kFourCC_Y416,
                                           vix::kFourCC_b64A,
                                           vix::MakeFourCC("ap4h"),
                                           vix::MakeFourCC("ap4x"),
                                           0,
                                           vix::MakeFourCC("I420")};
inline constexpr std::int32_t kThreadCounts[] = {1, 2, 0, -1, 4097, INT32_MAX};
inline constexpr std::uint32_t kPictureSizes[] = {16, 48, 32, 34, 35,    40,    20,
                                                  2,  1,  0,  33, 65535, 65536, UINT32_MAX};
inline constexpr std::int32_t kCodes[] = {2, 1, 9, 0, 3, 4, 5, -1, 255, 256};
inline constexpr vix::EditRate kRates[] = {{25, 1}, {30000, 1001}, {0, 1},
                                           {25, 0}, {-1, 1},       {1, INT32_MAX}};

template <typename T, std::size_t N>
T Pick(const T (&values)[N], std::uint8_t choice) {
  return values[choice % N];
}

/// Sets parameters until a byte selects none. Throws for names that the schema lacks and values
/// that it does not allow.
inline void SetParameters(vix::IParametersCollectionInstance& config, FuzzInput& input) {
  for (int i = 0; i < 6; ++i) {
    switch (input.Byte() % 8) {
      case 1:
        config.SetBool("SkipField", input.Byte() & 1);
        break;
      case 2:
        config.SetFourCC("OutputFourCC", Pick(kFourCCs, input.Byte()));
        break;
      case 3:
        config.SetString("Allocator", input.Byte() & 1 ? "ExtBufferAllocator" : "none");
        break;
      case 4:
        config.SetInt("NumThreads", Pick(kThreadCounts, input.Byte()));
        break;
      case 5:
        config.SetInt("AlphaBits", static_cast<std::int8_t>(input.Byte()));
        break;
      case 6:
        config.SetProResCodecVariant("ProResCodecVariant",
                                     static_cast<vix::ProResCodecVariant>(input.Byte() % 6));
        break;
      case 7:
        config.SetFourCC("ProResCodecVariant", Pick(kFourCCs, input.Byte()));
        break;
      default:
        return;
    }
  }
}

/// Returns the description of a stream; null for one choice.
inline std::shared_ptr<vix::IVideoParameters> MakeParameters(FuzzInput& input) {
  const std::uint8_t family = input.Byte();
  if (family % 16 == 15) return nullptr;
  const auto parameters = vix::CreateVideoParameters(family % 2 == 0 ? vix::VCodecFamily::ProRes
                                                                     : vix::VCodecFamily::Raw);
  const std::uint32_t width = Pick(kPictureSizes, input.Byte());
  const std::uint32_t height = Pick(kPictureSizes, input.Byte());
  parameters->SetWidth(width);
  parameters->SetHeight(height);
  const std::uint8_t stored = input.Byte();
  parameters->SetStoredWidth(stored & 1 ? Pick(kPictureSizes, input.Byte()) : width);
  parameters->SetStoredHeight(stored & 2 ? Pick(kPictureSizes, input.Byte()) : height);
  parameters->SetScanMode(static_cast<vix::ScanMode>(input.Byte() % 4));
  parameters->SetVideoProperty1(Pick(kCodes, input.Byte()));
  parameters->SetVideoProperty4(Pick(kCodes, input.Byte()));
  parameters->SetEditRate(Pick(kRates, input.Byte()));
  const std::uint8_t kind = input.Byte();
  if (const auto raw = std::dynamic_pointer_cast<vix::IVideoParameters_RAW>(parameters)) {
    raw->SetFourCC(Pick(kFourCCs, kind));
  } else if (const auto prores =
                 std::dynamic_pointer_cast<vix::IVideoParameters_ProRes>(parameters)) {
    prores->SetProResCodecVariant(static_cast<vix::ProResCodecVariant>(kind % 6));
  }
  return parameters;
}

/// Returns a container of one info; without info, or without parameters, for some choices.
inline std::shared_ptr<vix::IInfoContainer> MakeInfos(FuzzInput& input) {
  const std::uint8_t choice = input.Byte();
  if (choice == 255) return nullptr;
  if (choice == 254) return vix::CreateInfoContainer(nullptr, nullptr);
  const auto channel = choice & 1 ? vix::CreateChannelInfo(nullptr, choice) : nullptr;
  return vix::CreateInfoContainer(vix::CreateVideoInfo(MakeParameters(input), channel, {}, {}),
                                  nullptr);
}

/// Returns a buffer over memory of exactly these bytes.
inline std::shared_ptr<vix::IBuffer> MakeBuffer(std::vector<std::uint8_t> bytes) {
  auto memory = std::make_shared<std::vector<std::uint8_t>>(std::move(bytes));
  memory->shrink_to_fit();
  std::uint8_t* const data = memory->data();
  return vix::CreateBuffer(nullptr, vix::CreateMemoryBlock(data, memory->size(), [memory] {}));
}

/// Returns whether a frame in either layout states more than `most` pixels. Frames too short to
/// state a size do not.
inline bool IsLargerThan(const std::vector<std::uint8_t>& frame, std::uint32_t most) {
  constexpr std::uint8_t kIdentifier[] = {'i', 'c', 'p', 'f'};
  const bool hasPrefix =
      frame.size() >= 8 && std::equal(std::begin(kIdentifier), std::end(kIdentifier), &frame[4]);
  const std::size_t size = hasPrefix ? 16 : 8;
  if (frame.size() < size + 4) return false;
  const std::uint32_t width = std::uint32_t{frame[size]} << 8 | frame[size + 1];
  const std::uint32_t height = std::uint32_t{frame[size + 2]} << 8 | frame[size + 3];
  return std::uint64_t{width} * height > most;
}

#endif  // FUZZ_ELEMENTS_H
