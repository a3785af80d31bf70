// SPDX-License-Identifier: BSD-2-Clause
// Reads arbitrary bytes as Y4M or as raw frames of any format, and converts the frames. A header
// that is accepted must be read again as it was written.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FuzzInput.h"
#include "Require.h"
#include "base/Errors.h"
#include "format/Values.h"
#include "media/InputFile.h"
#include "media/raw/RawFrameReader.h"
#include "media/raw/WidenedReader.h"
#include "media/raw/Y4m.h"
#include "vix/Error.h"

namespace {

using namespace vixprores;

constexpr vix::FourCC kFormats[] = {vix::kFourCC_UYVY, vix::kFourCC_V210, vix::kFourCC_Y416,
                                    vix::kFourCC_b64A};
constexpr std::uint64_t kLargestPicture = 1 << 16;  // in pixels
constexpr int kMostFrames = 8;

void CheckHeader(const std::vector<std::uint8_t>& bytes) {
  const std::string text(bytes.begin(), bytes.end());
  const StreamFormat format = ParseY4mHeader(text.substr(0, text.find('\n')), "input");
  std::string header = MakeY4mHeader(format);
  Require(header.find('\n') == header.size() - 1);
  header.pop_back();
  const StreamFormat again = ParseY4mHeader(header, "output");
  Require(again.code == format.code && again.width == format.width &&
          again.height == format.height && again.rate == format.rate &&
          again.fieldOrder == format.fieldOrder && again.colour.range == format.colour.range);
}

// Returns a side that --size accepts.
std::uint32_t ChooseSide(FuzzInput& input, std::uint8_t choice) {
  return std::max(kSmallestSide, choice & 8 ? input.Word() : input.Byte() % 64U);
}

std::unique_ptr<FrameReader> Open(FuzzInput& input, std::uint8_t choice) {
  if (choice & 1) {
    const auto bytes = input.Rest();
    CheckHeader(bytes);
    return std::make_unique<Y4mReader>(InputFile::OverBytes("input", bytes));
  }
  RawFrameFormat format;
  format.fourcc = kFormats[input.Byte() % std::size(kFormats)];
  format.width = ChooseSide(input, choice);
  format.height = ChooseSide(input, choice);
  format.rate = {25, 1};
  format.interlaced = (choice & 16) != 0;
  return std::make_unique<RawFrameReader>(InputFile::OverBytes("input", input.Rest()), format);
}

void ReadFrames(FrameReader& reader, bool skips) {
  const StreamFormat& format = reader.GetFormat();
  if (std::uint64_t{format.width} * format.height > kLargestPicture) return;
  const auto convert = reader.GetConversion();
  std::int64_t next = skips && reader.SkipTo(2) ? 2 : 0;
  for (int i = 0; i < kMostFrames; ++i, ++next) {
    const auto frame = reader.Read();
    if (!frame) return;
    Require(frame->number == next);
    const auto data = convert ? convert(frame->data).data : frame->data;
    Require(data && data->GetSize() > 0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const std::uint8_t choice = input.Byte();
  try {
    auto reader = Open(input, choice);
    if (choice & 2) reader = Widen(std::move(reader));
    ReadFrames(*reader, (choice & 4) != 0);
  } catch (const Failure&) {
    // An invalid header, or a truncated frame.
  } catch (const UsageError&) {
    // A container.
  } catch (const vix::VIXRuntimeError&) {
    // A size that has no packed frames.
  }
  return 0;
}
