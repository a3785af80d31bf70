// SPDX-License-Identifier: BSD-2-Clause
#include "cli/Options.h"

#include <utility>

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
  plugin.details =
      "The plug-ins for 4:2:2 and for 4444 are loaded together if they are in one folder.";
  return {"Host",
          {plugin, Flag("--verbose", options.verbose, "print log records on standard error")}};
}

Option MemoryLimitOption(Limits& limits) {
  Option option = Parsed("--limit-memory", "SIZE", limits.memory, ParseByteCount,
                         "use no more memory [3/4 of the machine's]");
  option.details =
      "SIZE is a number of bytes, or of K, M, G or T. The memory limit of a control group counts "
      "as the machine's memory. Checked before pictures are allocated; mapped files do not count.";
  return option;
}

OptionGroup LimitsGroup(Limits& limits) {
  Option size{"--limit-size", "WxH", "refuse inputs with larger pictures [16384x16384]",
              [&limits](const std::string& text) {
                const PictureSize largest = ParseSizeLimit(text);
                limits.width = largest.width;
                limits.height = largest.height;
              }};
  size.details =
      "A damaged or crafted file of a few bytes may claim huge pictures. Frames of another size "
      "than the first one are checked, too.";
  return {"Limits (what a file may ask for)", {size, MemoryLimitOption(limits)}};
}

OptionGroup LimitsWithOutputGroup(Limits& limits) {
  Option output = Parsed("--limit-output", "SIZE", limits.output, ParseByteCount,
                         "stop before an output gets larger [unlimited]");
  output.details =
      "Ends the run with exit code 1 and keeps the frames so far, as after an interruption. Their "
      "index and sound may exceed the limit. The files of an image sequence count together.";
  OptionGroup group = LimitsGroup(limits);
  group.options.push_back(output);
  return group;
}

OptionGroup ScanGroup(ScanOptions& options) {
  Option scan = Flag("--scan", options.scan, "find frames by their headers, in any bytes");
  scan.details =
      "Finds frames by their headers: in files whose index is lost or damaged, in incomplete "
      "files, and in any other bytes.";
  return {"Damaged containers",
          {scan, RateOption(options.rate, "frames per second of a scan [as in the headers]")}};
}

ProResOptions ToProResOptions(const ScanOptions& options) {
  if (options.rate && !options.scan) {
    throw UsageError("--rate is for --scan; a container states its rate");
  }
  return {{}, options.scan, options.rate};
}

Option OutputOption(std::string& output) {
  Option option{"--output", "OUTPUT", "name of the output, instead of the last argument",
                [&output](const std::string& name) {
                  RefuseEmptyNames("OUTPUT", {name});
                  output = name;
                }};
  option.shortName = "-o";
  option.completion = Completion::File;
  return option;
}

void TakeInputAndOutput(std::string& input, std::string& output,
                        const std::vector<std::string>& words) {
  const bool isNamed = !output.empty();
  isNamed ? TakeWords({"INPUT"}, {input})(words)
          : TakeWords({"INPUT", "OUTPUT"}, {input, output})(words);
}

Option OverwriteOption(bool& overwrite, std::string brief) {
  Option option = Flag("--overwrite", overwrite, std::move(brief));
  option.shortName = "-y";
  return option;
}

Option QuietOption(bool& quiet, std::string brief) {
  Option option = Flag("--quiet", quiet, std::move(brief));
  option.shortName = "-q";
  return option;
}

Option RateOption(std::optional<Rational>& rate, std::string brief) {
  Option option = Parsed("--rate", "N[/D]", rate, ParseRate, std::move(brief));
  option.aliases = {"--fps"};
  option.details = "23.976, 29.97, 59.94 and such stand for 24000/1001, 30000/1001, 60000/1001.";
  return option;
}

Option ThreadsOption(int& threads) {
  Option option =
      Number("--threads", threads, 0, kMostThreads, "threads, one frame each [0: all processors]");
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
  return {page, OverwriteOption(options.overwrite, "replace an existing page")};
}

Option VariantOption(const ProResVariant*& variant, const std::string& standard) {
  variant = FindProResVariant(standard);
  Option option{"--variant", "NAME", "proxy, lt, 422, hq, 4444 or 4444xq [" + standard + "]",
                [&variant](const std::string& name) { variant = FindProResVariant(name); }};
  option.choices = VariantNames();
  option.aliases = {"--profile"};
  option.synonyms = VariantSynonyms();
  return option;
}

Option FramesOption(std::optional<FrameRange>& frames) {
  Option option = Parsed("--frames", "FIRST-LAST", frames, ParseFrameRange,
                         "only these frames, from 0 or by timecode; FIRST- goes to the end");
  option.details =
      "Both ends are included. One number selects one frame. A timecode such as 01:00:00:05 "
      "selects "
      "the frame with that label.";
  return option;
}

Option FourCCOption(const std::function<void(vix::FourCC)>& set, const std::string& standard) {
  const std::string brief = kRawFormatNames + (standard.empty() ? "" : " [" + standard + "]");
  Option option{"--fourcc", "CODE", brief,
                [set](const std::string& code) { set(ParseFourCC(code)); }};
  for (const RawFormat& format : RawFormats()) option.choices.emplace_back(format.option);
  return option;
}

}  // namespace vixprores
