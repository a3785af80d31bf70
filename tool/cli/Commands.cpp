// SPDX-License-Identifier: BSD-2-Clause
#include "cli/Commands.h"

#include <iterator>

#include "base/Text.h"
#include "run/Host.h"
#include "vix/Version.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace vixprores {

std::vector<Command> AllCommands() {
  constexpr Command (*kMakers[])() = {
      MakeEncodeCommand,  MakeDecodeCommand,   MakeCopyCommand,    MakePlanCommand,
      MakeJoinCommand,    MakeSubmitCommand,   MakeStatusCommand,  MakeInspectCommand,
      MakeCompareCommand, MakeVerifyCommand,   MakeRecoverCommand, MakeThumbsCommand,
      MakeBenchCommand,   MakeElementsCommand, MakeManualCommand,  MakeCompletionCommand};
  std::vector<Command> commands;
  commands.reserve(std::size(kMakers));
  for (const auto make : kMakers) commands.push_back(make());
  return commands;
}

namespace {

std::string DescribeLibavVersion(unsigned version) {
  return std::to_string(AV_VERSION_MAJOR(version)) + "." +
         std::to_string(AV_VERSION_MINOR(version)) + "." +
         std::to_string(AV_VERSION_MICRO(version));
}

}  // namespace

std::string ProgramVersion() {
  return VIX_VERSION_TEXT;
}

std::string DescribeBuild() {
  return "vixprores " + ProgramVersion() +
         "\n"
         "compiler:    " VIX_COMPILER ", " VIX_BUILD_TYPE
         "\n"
         "libavformat: " +
         DescribeLibavVersion(avformat_version()) + ", built against " +
         DescribeLibavVersion(LIBAVFORMAT_VERSION_INT) +
         "\n"
         "processor:   " +
         JoinWords(AvailableCpuLevels()) + "; in use: " + CpuLevelInUse() + "\n" +
         DescribePlugins();
}

}  // namespace vixprores
