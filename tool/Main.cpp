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

// A report that did not get through is a failure, however the work went.
int FlushOutput(int exitCode) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return exitCode;
  PrintError("standard output: cannot be written; what it was to tell is lost");
  return kExitFailed;
}

int Main(int argc, const char* const* argv) {
  try {
    const auto commands = AllCommands();
    const Request request = ParseCommandLine(commands, DescribeBuild, argc, argv);
    if (!request.command) {
      std::fputs(request.text.c_str(), stdout);
      return FlushOutput(kExitDone);
    }
    InstallSignalHandlers();
    return FlushOutput(request.command->run());
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
