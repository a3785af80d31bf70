// SPDX-License-Identifier: BSD-2-Clause
// Parses arbitrary text as every kind of value that the command line and files state as text. What
// is accepted must survive being written and parsed again.
#include <cstdint>
#include <string>

#include "FuzzInput.h"
#include "Require.h"
#include "base/Errors.h"
#include "check/Expectations.h"
#include "format/HdrLabels.h"
#include "format/Timecode.h"
#include "format/Values.h"
#include "media/sequence/SequenceName.h"

namespace {

using namespace vixprores;

constexpr Rational kRates[] = {{24, 1}, {25, 1}, {30000, 1001}, {60000, 1001}, {120, 1}, {1, 1}};

// The functions below must not throw: an error at a text of the program's own ends the run as a
// fault.
void CheckSequenceName(const SequenceName& name) noexcept {
  for (const std::int64_t number : {std::int64_t{0}, std::int64_t{1001}, kLargestFileNumber}) {
    const std::string path = name.PathOf(number);
    Require(path.starts_with(name.folder));
    Require(name.NumberIn(path.substr(name.folder.size())) == number);
  }
  Require(ParseSequenceName(name.ToText()) == name);
}

void CheckTimecode(const Timecode& timecode, Rational rate) noexcept {
  Require(Timecode::Find(timecode.ToText(), rate) == timecode);
  Require(timecode.CountFramesTo(timecode.ToText()) == 0);
  Require(timecode + 1 + -1 == timecode);
}

void CheckRange(const FrameRange& range) noexcept {
  const std::string text = Describe(range);
  Require(Describe(ParseFrameRange(text)) == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const std::uint8_t choice = input.Byte();
  const Rational rate = kRates[choice / 8 % std::size(kRates)];
  const auto bytes = input.Rest();
  const std::string text(bytes.begin(), bytes.end());
  try {
    switch (choice % 8) {
      case 0:
        if (const auto name = ParseSequenceName(text)) CheckSequenceName(*name);
        break;
      case 1:
        if (const auto timecode = Timecode::Find(text, rate)) CheckTimecode(*timecode, rate);
        break;
      case 2: {
        const FrameRange range = ParseFrameRange(text);
        CheckRange(range);
        ResolveRange(range, Timecode::Find("10:00:00:00", rate), "input");
        break;
      }
      case 3:
        ParseExpectations(text);
        break;
      case 4:
        ParseRate(text);
        break;
      case 5:
        ParsePictureSize(text);
        break;
      case 6:
        ParseMasteringDisplay(text);
        break;
      default:
        ParseContentLight(text);
        break;
    }
  } catch (const UsageError&) {
    // Rejected text.
  } catch (const Failure&) {
    // A range without frames.
  }
  return 0;
}
