// SPDX-License-Identifier: BSD-2-Clause
// Parses arbitrary command lines, and arbitrary values of every option. Nothing runs. What is
// wrong must be reported as wrong use, in a message that fits on some lines.
#include <cstdint>
#include <string>
#include <vector>

#include "FuzzInput.h"
#include "Require.h"
#include "base/Errors.h"
#include "base/Text.h"
#include "cli/Command.h"
#include "cli/Commands.h"
#include "format/Values.h"

namespace {

using namespace vixprores;

constexpr Command (*kCommands[])() = {MakeEncodeCommand, MakeDecodeCommand,  MakeCopyCommand,
                                      MakePlanCommand,   MakeJoinCommand,    MakeSubmitCommand,
                                      MakeStatusCommand, MakeInspectCommand, MakeCompareCommand,
                                      MakeVerifyCommand, MakeRecoverCommand, MakeThumbsCommand,
                                      MakeBenchCommand};

void CheckMessage(const std::string& message, const std::string& given) {
  Require(!message.empty() && message.size() < 4 * given.size() + 4096);
}

void Parse(const Command& command, const std::vector<std::string>& words) {
  std::vector<const char*> line{"vixprores", command.name.c_str()};
  for (const std::string& word : words) line.push_back(word.c_str());
  const Request request = ParseCommandLine(
      {command}, [] { return std::string("version"); }, static_cast<int>(line.size()), line.data());
  Require(request.command || !request.text.empty());
}

void ParseValue(const Command& command, std::uint8_t place, const std::string& value) {
  const auto options = OptionsOf(command);
  const Option& option = *options[place % options.size()];
  Parse(command, {option.value.empty() ? option.name : option.name + "=" + value, "in", "out"});
}

// What is accepted must be positive, and accepted again as it is printed: an error ends the run as
// a fault.
void CheckRate(Rational rate) noexcept {
  Require(rate.numerator > 0 && rate.denominator > 0);
  const std::string text = std::to_string(rate.numerator) + "/" + std::to_string(rate.denominator);
  Require(ParseRate(text) == rate);
}

void CheckAspect(Rational aspect) noexcept {
  Require(aspect.numerator > 0 && aspect.denominator > 0);
  const std::string text =
      std::to_string(aspect.numerator) + ":" + std::to_string(aspect.denominator);
  Require(ParseAspect(text) == aspect);
}

void CheckValue(const std::string& text) {
  if (text.find(':') == std::string::npos) {
    CheckRate(ParseRate(text));
  } else {
    CheckAspect(ParseAspect(text));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const std::uint8_t choice = input.Byte();
  const std::uint8_t place = input.Byte();
  const auto bytes = input.Rest();
  const std::string text(bytes.begin(), bytes.end());
  try {
    const auto makeCommand = kCommands[choice / 3 % std::size(kCommands)];
    if (choice % 3 == 0) ParseValue(makeCommand(), place, text);
    if (choice % 3 == 1) Parse(makeCommand(), Split(text, ' '));
    if (choice % 3 == 2) CheckValue(text);
  } catch (const UsageError& error) {
    CheckMessage(error.what(), text);
  }
  return 0;
}
