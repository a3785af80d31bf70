// SPDX-License-Identifier: BSD-2-Clause
#include "farm/Part.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>
#include <vector>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "media/container/PacketTag.h"
#include "run/Batch.h"
#include "run/OpenInput.h"

namespace vixprores {

std::string PartLabel::ToText() const {
  return chunk.job + " " + std::to_string(chunk.number) + "/" + std::to_string(chunk.count) + " " +
         std::to_string(frames.first) + "-" + std::to_string(frames.last) + " " + state;
}

std::optional<PartLabel> PartLabel::Parse(const std::string& text) {
  const auto words = Split(text, ' ');
  if (words.size() != 4) return std::nullopt;
  const auto place = Split(words[1], '/');
  const auto range = Split(words[2], '-');
  if (place.size() != 2 || range.size() != 2) return std::nullopt;
  const auto number = ParseNumber(place[0], kMostChunks);
  const auto count = ParseNumber(place[1], kMostChunks);
  const auto first = ParseNumber(range[0], kOpenEnd);
  const auto last = ParseNumber(range[1], kOpenEnd);
  if (!number || !count || !first || !last) return std::nullopt;
  return PartLabel{
      {words[0], static_cast<int>(*number), static_cast<int>(*count)}, {*first, *last}, words[3]};
}

std::optional<PartLabel> FindPartLabel(const FrameReader& part) {
  const Metadata& metadata = part.GetDescription().metadata;
  const auto label = metadata.find(PartLabel::kKey);
  return label != metadata.end() ? PartLabel::Parse(label->second) : std::nullopt;
}

std::string FindFault(const FrameReader& part, const NumberedFrame& frame) {
  if (frame.fault.empty() && frame.header) return {};
  return part.GetName() + ": " + Describe(FramePlace{frame.number, 1, {}, frame.offset}) + ": " +
         (frame.fault.empty() ? "has no valid header" : frame.fault);
}

std::string FindDamage(const std::string& part) {
  try {
    const auto reader = OpenProRes(part);
    while (const auto frame = reader->Read()) {
      CheckInterrupt();
      std::string fault = FindFault(*reader, *frame);
      if (!fault.empty()) return fault;
    }
    return {};
  } catch (const Failure& failure) {
    return failure.what();
  }
}

InputState::InputState(std::string input) : input_(std::move(input)), images_(FindImages(input_)) {}

std::string InputState::Of(const FrameRange& frames) const {
  if (!images_) {
    const std::string state = DescribeState(input_);
    return state.empty() ? state : HexHash(state);
  }
  const std::int64_t first = images_->files.front().number + frames.first;
  const std::int64_t last = images_->files.front().number + frames.last;
  std::string states;
  for (auto image = std::ranges::lower_bound(images_->files, first, {}, &NumberedFile::number);
       image != images_->files.end() && image->number <= last; ++image) {
    states += std::to_string(image->number) + " " + DescribeState(image->path) + "\n";
  }
  return HexHash(states);
}

std::string HexHash(std::string_view text) {
  std::array<char, 17> digits{};
  const std::vector<std::uint8_t> bytes(text.begin(), text.end());
  std::snprintf(digits.data(), digits.size(), "%016llx",
                static_cast<unsigned long long>(HashPacket(bytes)));
  return digits.data();
}

}  // namespace vixprores
