// SPDX-License-Identifier: BSD-2-Clause
// Runs a command of the program on a small file, then again while an allocation fails. These runs
// must end with a message, or with the output of the first one.
// The first byte selects the command, the next two the allocations that fail first, the fourth one
// how many fail; the rest is the file.
// Allocations that fail: those of C++ code (operator new), and the objects of libav that the
// program's own code makes. Left out, because the libraries of the distribution end the process
// there: parsing of the command line (CLI11 allocates in functions that must not throw), commands
// that write JSON (its destructors allocate), and image files.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "Allocations.h"
#include "CapturedOutput.h"
#include "CommandLines.h"
#include "FuzzInput.h"
#include "Require.h"
#include "ScratchFile.h"
#include "base/Errors.h"
#include "run/Host.h"
#include "vix/Error.h"

namespace {

using prores::test::Allocations;
using prores::test::allocations;
using prores::test::FailingAllocations;

constexpr CommandLine kLines[] = {
    {vixprores::MakeEncodeCommand, "encode --quiet --threads 1 INPUT -"},
    {vixprores::MakeDecodeCommand, "decode --quiet --threads 1 INPUT -"},
    {vixprores::MakeCopyCommand, "copy --quiet INPUT -"},
    {vixprores::MakeRecoverCommand, "recover --quiet INPUT -"},
    {vixprores::MakeVerifyCommand, "verify --quiet --threads 1 INPUT"},
    {vixprores::MakeCompareCommand, "compare --threads 1 INPUT INPUT"},
    {vixprores::MakeDecodeCommand, "decode --quiet --threads 1 --on-error conceal INPUT -"},
    {vixprores::MakeEncodeCommand,
     "encode --quiet --threads 1 --variant 4444 --audio pcm24 --on-error skip INPUT -"},
};
// Larger files take long, and add nothing.
constexpr std::size_t kMostBytes = 1 << 15;
// Runs with failing allocations for each input, which spread over those of the whole run.
constexpr int kRuns = 8;

/// The standard output of the process: a file in memory.
class Output {
 public:
  Output() { Require(dup2(memfd_create("output", MFD_CLOEXEC), STDOUT_FILENO) >= 0); }

  /// Returns what was written since the last call.
  std::vector<std::uint8_t> Take() {
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(lseek(STDOUT_FILENO, 0, SEEK_END)));
    Require(pread(STDOUT_FILENO, bytes.data(), bytes.size(), 0) == std::ssize(bytes));
    Require(ftruncate(STDOUT_FILENO, 0) == 0 && lseek(STDOUT_FILENO, 0, SEEK_SET) == 0);
    return bytes;
  }
};

Output& ProcessOutput() {
  static Output output;
  return output;
}

struct Result {
  int exitCode;
  std::vector<std::uint8_t> output;
  bool hasMessage;
  long allocations;
};

Result Run(const CommandLine& line, const std::string& path, long survived, long failures) {
  CapturedOutput text(stdout);
  CapturedOutput errors(stderr);
  const ParsedLine parsed(line, path);
  const long before = allocations.count;
  int exitCode = vixprores::kExitFailed;
  try {
    const FailingAllocations failing(survived, failures);
    exitCode = parsed.Run();
  } catch (const std::bad_alloc&) {
    vixprores::PrintError(vixprores::DescribeException(path));
  } catch (const vix::VIXRuntimeError&) {
    vixprores::PrintError(vixprores::DescribeException(path));
  }
  return {exitCode, ProcessOutput().Take(), !errors.GetText().empty(), allocations.count - before};
}

void RequireSameOrMessage(const Result& whole, const Result& failing) {
  if (failing.exitCode == vixprores::kExitDone) {
    Require(whole.exitCode == vixprores::kExitDone && failing.output == whole.output);
  } else {
    Require(failing.exitCode == vixprores::kExitFailed && failing.hasMessage);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  // Keeps the plug-ins loaded.
  static const auto plugins = vixprores::LoadProResPlugins({});
  ProcessOutput();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const CommandLine& line = kLines[input.Byte() % std::size(kLines)];
  const long choice = input.Word();
  const long failures = 1 + input.Byte() % 2;
  const auto bytes = input.Take(kMostBytes);
  const ScratchFile file(bytes.data(), bytes.size());
  const Result whole = Run(line, file.GetPath(), Allocations::kNeverFail, 0);
  for (int i = 0; i < kRuns; ++i) {
    const long survived = (choice + i * whole.allocations / kRuns) % (whole.allocations + 1);
    RequireSameOrMessage(whole, Run(line, file.GetPath(), survived, failures));
  }
  return 0;
}
