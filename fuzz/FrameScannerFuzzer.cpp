// SPDX-License-Identifier: BSD-2-Clause
// Scans arbitrary bytes for frames. Frames and skipped bytes must add up to the input, and all
// frames of a stream must have its size.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "FuzzInput.h"
#include "Require.h"
#include "base/Errors.h"
#include "frames/FrameHeaders.h"
#include "media/InputFile.h"
#include "recovery/FrameScanner.h"

namespace {

void CheckScanner(std::span<const std::uint8_t> bytes) {
  vixprores::FrameScanner scanner(vixprores::InputFile::OverBytes("input", bytes));
  std::size_t end = 0;
  std::int64_t framesBytes = 0;
  while (const auto found = scanner.Next()) {
    const auto offset = static_cast<std::size_t>(found->offset);
    const auto frame = vixprores::BytesOf(*found->bytes);
    Require(!frame.empty() && offset >= end && offset + frame.size() <= bytes.size());
    Require(std::ranges::equal(frame, bytes.subspan(offset, frame.size())));
    Require(vixprores::ParseHeader(frame).has_value());
    end = offset + frame.size();
    framesBytes += std::ssize(frame);
  }
  const vixprores::SkippedBytes& skipped = scanner.GetSkipped();
  Require(framesBytes + skipped.bytes == std::ssize(bytes));
  Require(skipped.largest <= skipped.bytes && (skipped.places == 0) == (skipped.bytes == 0));
}

void ReadAll(std::span<const std::uint8_t> bytes, bool sameScan) {
  vixprores::ScanReader reader(vixprores::InputFile::OverBytes("input", bytes), sameScan,
                               vixprores::Rational{25, 1});
  for (bool isAtEnd = false; !isAtEnd;) {
    try {
      const auto frame = reader.Read();
      isAtEnd = !frame;
      Require(isAtEnd || (frame->header && frame->header->width == reader.GetFormat().width));
    } catch (const vixprores::FrameFailure&) {
      // The next frame may fit the stream.
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const std::uint8_t choice = input.Byte();
  const auto bytes = input.Rest();
  if (choice % 4 == 0) {
    CheckScanner(bytes);
    return 0;
  }
  try {
    ReadAll(bytes, choice % 4 == 1);
  } catch (const vixprores::Failure&) {
    // There is no frame.
  }
  return 0;
}
