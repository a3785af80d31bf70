// SPDX-License-Identifier: BSD-2-Clause
// vixprores: encodes, decodes and examines ProRes video through the elements of the plug-in.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "cli/Command.h"
#include "cli/Commands.h"
#include "report/Report.h"

namespace vixprores {
namespace {

// Freed when memory runs out for the first time, so that the process ends in good order: the JSON
// library, for one, allocates memory in destructors.
constexpr std::size_t kMemoryReserve = 256 << 10;
std::atomic<void*> memoryReserve = nullptr;

void FreeMemoryReserve() {
  void* const reserve = memoryReserve.exchange(nullptr);
  if (!reserve) throw std::bad_alloc();
  std::free(reserve);
}

void KeepMemoryReserve() {
  memoryReserve = std::malloc(kMemoryReserve);
  std::set_new_handler(FreeMemoryReserve);
}

// Reports lost output as a failure, even if the command succeeded.
int FlushOutput(int exitCode) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return exitCode;
  PrintError("cannot write to standard output; the output is incomplete");
  return kExitFailed;
}

// Reports usage errors as JSON too when --json was given.
Request Parse(const std::vector<Command>& commands, const std::vector<const char*>& words) {
  try {
    return ParseCommandLine(commands, DescribeBuild, static_cast<int>(words.size()), words.data());
  } catch (const UsageError& error) {
    const bool wantsJson = std::ranges::find(words, std::string("--json")) != words.end();
    if (wantsJson) std::puts(ErrorJson(error.what()).c_str());
    throw;
  }
}

std::string HelpHint(const std::vector<const char*>& words) {
  const auto names = NamesOf(AllCommands());
  const bool namesCommand = words.size() > 1 && std::ranges::find(names, words[1]) != names.end();
  return namesCommand ? "Run 'vixprores help " + std::string(words[1]) + "' for its options."
                      : "Run 'vixprores help COMMAND' for the options of a command.";
}

int Main(int argc, const char* const* argv) {
  KeepMemoryReserve();
  const std::vector<const char*> words(argv, argv + argc);
  try {
    const auto commands = AllCommands();
    const Request request = Parse(commands, words);
    if (!request.command) {
      std::fputs(request.text.c_str(), stdout);
      return FlushOutput(kExitDone);
    }
    InstallSignalHandlers();
    const int exitCode = FlushOutput(request.command->run());
    EndBySignal();
    return exitCode;
  } catch (const UsageError& error) {
    PrintError(error.what() + ("\n" + HelpHint(words)));
    return FlushOutput(kExitWrongUse);
  } catch (...) {
    PrintError(DescribeException(words.size() > 1 ? words[1] : "vixprores"));
    EndBySignal();
    return kExitFailed;
  }
}

}  // namespace
}  // namespace vixprores

int main(int argc, char** argv) {
  try {
    return vixprores::Main(argc, argv);
  } catch (const std::exception& error) {
    // Out of memory while an error was being printed.
    std::fprintf(stderr, "vixprores: %s\n", error.what());
    return vixprores::kExitFailed;
  }
}
