// SPDX-License-Identifier: BSD-2-Clause
// vixprores: encodes and decodes ProRes video through the elements of the plug-in.
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <variant>

#include "commandline/CommandLine.h"
#include "commands/Commands.h"
#include "container/Libav.h"
#include "element/CodecEnvironment.h"
#include "element/PluginSearch.h"
#include "report/Report.h"
#include "run/Errors.h"
#include "run/Interrupt.h"
#include "vix/Logging.h"

namespace vixprores {
namespace {

int PrintError(const std::string& message) {
  std::fprintf(stderr, "vixprores: %s\n", message.c_str());
  return kExitFailed;
}

void PrintLine(std::FILE* stream, const std::string& text) {
  std::fprintf(stream, "%s\n", text.c_str());
}

// A failure's record says no more than the error that is printed at the end; so records are shown
// only to those who ask for them.
void SetUpMessages(const HostOptions& options) {
  SetLibavMessages(options.verbose);
  vix::SetCurrentLoggerWriter(
      vix::CreateLineLoggerWriter([show = options.verbose](vix::LogLevel, const std::string& line) {
        if (show) PrintLine(stderr, line);
      }));
}

void PrintSummary(const TranscodeOptions& options, const RunReport& report) {
  if (options.json) {
    // Standard output may be where the frames go.
    PrintLine(options.output == "-" ? stderr : stdout, SummaryJson(report));
  } else if (!options.quiet && report.status == RunReport::Status::Done) {
    PrintLine(stderr, SummaryLine(report));
  }
}

template <typename Options>
int RunTranscode(const Options& options, const char* command,
                 void (*work)(const Options&, RunReport&)) {
  RunReport report;
  report.command = command;
  report.input = options.input;
  // Outside: an exception of the plug-in needs the plug-in's code until it is dealt with.
  std::shared_ptr<vix::IPlugin> plugin;
  try {
    if (options.cpu) SetCpuLevel(*options.cpu);
    plugin = LoadProResPlugin(options.plugin);
    work(options, report);
  } catch (const UsageError&) {
    throw;
  } catch (const std::bad_alloc&) {
    report.message = "out of memory";
  } catch (const std::exception& error) {
    report.message = error.what();
  }
  if (!report.message.empty()) PrintError(report.message);
  PrintSummary(options, report);
  return report.status == RunReport::Status::Done ? kExitDone : kExitFailed;
}

int Execute(const EncodeOptions& options) {
  return RunTranscode(options, "encode", Encode);
}

int Execute(const DecodeOptions& options) {
  return RunTranscode(options, "decode", Decode);
}

int Execute(const BenchOptions& options) {
  if (options.cpu) SetCpuLevel(*options.cpu);
  const auto plugin = LoadProResPlugin(options.plugin);
  std::fputs(Bench(options).c_str(), stdout);
  return kExitDone;
}

int Execute(const ElementsOptions& options) {
  const auto plugin = LoadProResPlugin(options.plugin);
  std::fputs(DescribeElements().c_str(), stdout);
  return kExitDone;
}

int Execute(const TextOnly& answer) {
  std::fputs(answer.text.c_str(), stdout);
  return kExitDone;
}

int Main(int argc, const char* const* argv) {
  try {
    const Command command = ParseCommandLine(argc, argv);
    InstallSignalHandlers();
    return std::visit(
        [](const auto& options) {
          if constexpr (std::is_base_of_v<HostOptions, std::decay_t<decltype(options)>>) {
            SetUpMessages(options);
          }
          return Execute(options);
        },
        command);
  } catch (const UsageError& error) {
    PrintError(std::string(error.what()) + "\nTry 'vixprores --help' or 'vixprores help COMMAND'.");
    return kExitWrongUse;
  } catch (const std::exception& error) {
    return PrintError(error.what());
  }
}

}  // namespace
}  // namespace vixprores

int main(int argc, char** argv) {
  return vixprores::Main(argc, argv);
}
