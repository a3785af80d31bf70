// SPDX-License-Identifier: BSD-2-Clause
// Runs commands of the program on an arbitrary file. They must end with a regular exit code or
// message; texts must not control the terminal, and JSON must be valid.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "CapturedOutput.h"
#include "CommandLines.h"
#include "FuzzInput.h"
#include "Require.h"
#include "ScratchFile.h"
#include "TagRepair.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "run/Host.h"

namespace {

constexpr CommandLine kLines[] = {
    {vixprores::MakeInspectCommand, "inspect --json INPUT"},
    {vixprores::MakeInspectCommand, "inspect --slices INPUT"},
    {vixprores::MakeInspectCommand, "inspect --scan --rate 25 --json INPUT"},
    {vixprores::MakeInspectCommand, "inspect --html - INPUT"},
    {vixprores::MakeVerifyCommand, "verify --json --threads 1 INPUT"},
    {vixprores::MakeVerifyCommand, "verify --scan --rate 24 --threads 1 INPUT"},
    {vixprores::MakeCopyCommand, "copy --json INPUT -"},
    {vixprores::MakeCopyCommand, "copy --frames 1- --timecode 10:00:00:00 --on-error skip INPUT -"},
    {vixprores::MakeCopyCommand,
     "copy --on-error skip --add-audio-file INPUT --audio-offset -0.02 INPUT -"},
    {vixprores::MakeCopyCommand, "copy --in-place --title text --color bt709 INPUT"},
    {vixprores::MakeRecoverCommand, "recover --json INPUT -"},
    {vixprores::MakeDecodeCommand, "decode --json --threads 1 --on-error conceal INPUT -"},
    {vixprores::MakeDecodeCommand,
     "decode --threads 1 --scan --rate 30000/1001 --on-error skip INPUT -"},
    {vixprores::MakeEncodeCommand,
     "encode --json --threads 1 --on-error conceal --audio pcm24 INPUT -"},
    {vixprores::MakeCompareCommand, "compare --json --threads 1 INPUT INPUT"},
};
// Larger pictures take long, and add nothing.
constexpr std::size_t kMostBytes = 1 << 15;

bool IsPrintable(std::string_view text) {
  return text == vixprores::PrintableText(text);
}

void CheckOutput(bool isJson, std::string_view output) {
  if (isJson && !output.empty()) Require(nlohmann::json::accept(output));
  if (!isJson) Require(IsPrintable(output));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  // Keeps the plug-ins loaded.
  static const auto plugins = vixprores::LoadProResPlugins({});
  return dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO) < 0 ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const CommandLine& line = kLines[input.Byte() % std::size(kLines)];
  const std::uint32_t choice = input.Word();
  auto bytes = input.Take(kMostBytes);
  TagRepair(bytes, choice).RepairAll();
  const ScratchFile file(bytes.data(), bytes.size());
  CapturedOutput output(stdout);
  CapturedOutput errors(stderr);
  const int exitCode = ParsedLine(line, file.GetPath()).Run();
  Require(exitCode == vixprores::kExitDone || exitCode == vixprores::kExitFailed);
  const bool isJson = std::string_view(line.words).find("--json") != std::string_view::npos;
  CheckOutput(isJson, output.GetText());
  if (!isJson) Require(IsPrintable(errors.GetText()));
  return 0;
}
