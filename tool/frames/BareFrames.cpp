// SPDX-License-Identifier: BSD-2-Clause
#include "frames/BareFrames.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "bitstream/BigEndian.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/PictureHeader.h"
#include "frames/FrameHeaders.h"

namespace vixprores {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kBarePrefixBytes = 8;
constexpr std::array<std::uint8_t, 4> kFrameIdentifier{'i', 'c', 'p', 'f'};

bool HasPrefix(Bytes sample) {
  return sample.size() >= kBarePrefixBytes &&
         std::ranges::equal(sample.subspan(4, kFrameIdentifier.size()), kFrameIdentifier);
}

std::shared_ptr<vix::IBuffer> MakeFrame(const FramePool& pool, std::initializer_list<Bytes> parts) {
  std::size_t bytes = kBarePrefixBytes;
  for (const Bytes part : parts) bytes += part.size();
  auto frame = pool.MakeFrame(static_cast<std::uint32_t>(bytes));
  std::uint8_t* end = frame->GetData();
  prores::WriteU32(end, static_cast<std::uint32_t>(bytes));
  end = std::ranges::copy(kFrameIdentifier, end + 4).out;
  for (const Bytes part : parts) end = std::ranges::copy(part, end).out;
  return frame;
}

// A parsed bare sample.
struct BareSample {
  prores::FrameHeader header;
  Bytes headerBytes;
  std::vector<Bytes> pictures;  // complete ones
};

// Returns nullopt if the sample does not start with a frame header.
std::optional<BareSample> TakeApart(Bytes sample) {
  if (sample.size() < 2) return std::nullopt;
  // The parser of the header expects the prefix.
  const std::size_t headerBytes = prores::ReadU16(sample.data());
  std::vector<std::uint8_t> prefixed(4);
  prefixed.insert(prefixed.end(), kFrameIdentifier.begin(), kFrameIdentifier.end());
  const Bytes start = sample.first(std::min(headerBytes, sample.size()));
  prefixed.insert(prefixed.end(), start.begin(), start.end());
  const auto header = ParseHeader(prefixed);
  if (!header) return std::nullopt;

  BareSample parts{*header, start, {}};
  Bytes rest = sample.subspan(headerBytes);
  prores::PictureHeader picture;
  while (parts.pictures.size() < prores::PictureCount(header->interlaceMode) &&
         prores::ParsePictureHeader(rest, picture) == prores::Status::kSuccess) {
    parts.pictures.push_back(rest.first(picture.pictureBytes));
    rest = rest.subspan(picture.pictureBytes);
  }
  return parts;
}

bool IsField(const vix::IBuffer& sample) {
  const auto parts = TakeApart(BytesOf(sample));
  return parts && parts->header.interlaceMode != prores::InterlaceMode::kProgressive &&
         parts->pictures.size() == 1;
}

}  // namespace

SampleLayout FindLayout(const vix::IBuffer& first, const vix::IBuffer* second) {
  if (HasPrefix(BytesOf(first)) || !TakeApart(BytesOf(first))) return SampleLayout::Standard;
  const bool areFields = IsField(first) && (!second || IsField(*second));
  return areFields ? SampleLayout::BareFields : SampleLayout::BareFrames;
}

std::shared_ptr<vix::IBuffer> BareFrames::AddPrefix(const vix::IBuffer& sample) const {
  return MakeFrame(pool_, {BytesOf(sample)});
}

std::shared_ptr<vix::IBuffer> BareFrames::Join(const vix::IBuffer& first,
                                               const vix::IBuffer& second) const {
  const auto one = TakeApart(BytesOf(first));
  const auto two = TakeApart(BytesOf(second));
  if (!one || !two || one->pictures.empty() || two->pictures.empty()) {
    return MakeFrame(pool_, {BytesOf(first), BytesOf(second)});
  }
  return MakeFrame(pool_, {one->headerBytes, one->pictures.front(), two->pictures.front()});
}

}  // namespace vixprores
