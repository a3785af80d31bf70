// SPDX-License-Identifier: BSD-2-Clause
// vixprores: encodes, decodes and examines ProRes video through the elements of the plug-in.
#include <cstdio>
#include <exception>
#include <string>

#include "commandline/CommandLine.h"
#include "commands/Commands.h"
#include "commands/Version.h"
#include "run/Errors.h"
#include "run/Interrupt.h"

namespace vixprores {
namespace {

int Main(int argc, const char* const* argv) {
  try {
    const auto commands = AllCommands();
    const Request request = ParseCommandLine(commands, DescribeBuild, argc, argv);
    if (!request.command) return std::fputs(request.text.c_str(), stdout) < 0 ? kExitFailed : 0;
    InstallSignalHandlers();
    return request.command->run();
  } catch (const UsageError& error) {
    PrintError(std::string(error.what()) +
               "\n'vixprores help COMMAND' lists what a command takes.");
    return kExitWrongUse;
  } catch (const std::exception& error) {
    PrintError(error.what());
    return kExitFailed;
  }
}

}  // namespace
}  // namespace vixprores

int main(int argc, char** argv) {
  return vixprores::Main(argc, argv);
}
