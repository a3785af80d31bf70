// SPDX-License-Identifier: BSD-2-Clause
#include "cli/Options.h"

#include "base/Errors.h"
#include "base/Text.h"
#include "run/Host.h"

namespace vixprores {
namespace {

constexpr int kMostThreads = 256;

}  // namespace

OptionGroup HostGroup(HostOptions& options) {
  Option plugin =
      Text("--plugin", "PATH", options.plugin, "load this plug-in instead of the installed one");
  plugin.completion = Completion::File;
  return {"Host",
          {plugin, Flag("--verbose", options.verbose, "print log records on standard error")}};
}

OptionGroup ScanGroup(ScanOptions& options) {
  Option scan = Flag("--scan", options.scan, "find frames by their headers, in any bytes");
  scan.details =
      "Finds frames by their headers: in files whose index is lost or damaged, in incomplete "
      "files, and in any other bytes.";
  Option rate = Parsed("--rate", "N[/D]", options.rate, ParseRate,
                       "frames per second of a scan [as in the headers]");
  return {"Damaged containers", {scan, rate}};
}

ProResOptions ToProResOptions(const ScanOptions& options) {
  if (options.rate && !options.scan) {
    throw UsageError("--rate is for --scan; a container states its rate");
  }
  return {{}, options.scan, options.rate};
}

Option ThreadsOption(int& threads) {
  Option option = Number("--threads", threads, 0, kMostThreads,
                         "number of threads, one frame each [0: all processors]");
  option.details = "Two frames per thread are in memory. The output is the same for every number.";
  return option;
}

OptionGroup MachineGroup(HostOptions& host, MachineOptions& machine) {
  Option cpu = Text("--cpu", "LEVEL", machine.cpu, "processor level: " + JoinWords(CpuLevels()));
  cpu.choices = CpuLevels();
  cpu.details =
      "Uses the instructions of that level only, even if the processor has more. The output is the "
      "same for every level.";
  OptionGroup group = HostGroup(host);
  group.title = "Machine";
  group.options.insert(group.options.begin(), {ThreadsOption(machine.threads), cpu});
  return group;
}

std::vector<Option> PageOptionList(PageOptions& options) {
  Option page = Text("--html", "PAGE", options.page, "write a page with charts and pictures");
  page.completion = Completion::File;
  return {page, Flag("--overwrite", options.overwrite, "replace an existing page")};
}

Option VariantOption(const ProResVariant*& variant, const std::string& standard) {
  variant = FindProResVariant(standard);
  Option option{"--variant", "NAME", "proxy, lt, 422 or hq [" + standard + "]",
                [&variant](const std::string& name) { variant = FindProResVariant(name); }};
  option.choices = {"proxy", "lt", "422", "hq"};
  return option;
}

Option FramesOption(std::optional<FrameRange>& frames) {
  return Parsed("--frames", "FIRST-LAST", frames, ParseFrameRange,
                "only these frames, counted from 0");
}

Option FourCCOption(const std::function<void(vix::FourCC)>& set, const std::string& standard) {
  Option option{"--fourcc", "CODE", "UYVY (8 bits) or V210 (10 bits) [" + standard + "]",
                [set](const std::string& code) { set(ParseFourCC(code)); }};
  option.choices = {"uyvy", "v210"};
  return option;
}

}  // namespace vixprores
