// SPDX-License-Identifier: BSD-2-Clause
#include "frames/BareFrames.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "bitstream/FrameHeader.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/PictureHeader.h"

namespace vixprores {
namespace {

using Bytes = std::span<const std::uint8_t>;

std::shared_ptr<vix::IBuffer> MakeFrame(const FramePool& pool, std::initializer_list<Bytes> parts) {
  std::size_t bytes = prores::kFramePrefixBytes;
  for (const Bytes part : parts) bytes += part.size();
  auto frame = pool.MakeFrame(static_cast<std::uint32_t>(bytes));
  prores::WriteFramePrefix(static_cast<std::uint32_t>(bytes), frame->GetData());
  std::uint8_t* end = frame->GetData() + prores::kFramePrefixBytes;
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
  BareSample parts;
  Bytes rest;
  if (prores::ParseBareFrameHeader(sample, parts.header, rest) != prores::Status::kSuccess) {
    return std::nullopt;
  }
  parts.headerBytes = sample.first(sample.size() - rest.size());
  prores::PictureHeader picture;
  while (parts.pictures.size() < prores::PictureCount(parts.header.interlaceMode) &&
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
  if (prores::HasFramePrefix(BytesOf(first)) || !TakeApart(BytesOf(first)))
    return SampleLayout::Standard;
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
