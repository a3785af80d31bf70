// SPDX-License-Identifier: BSD-2-Clause
#include "commandline/CommandLine.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <utility>

#include "element/CodecEnvironment.h"
#include "run/Errors.h"

namespace vixprores {
namespace {

constexpr int kMostThreads = 256;
constexpr int kMostBenchFrames = 10000;
constexpr const char* kExamples = R"(Examples:
  vixprores encode --variant hq input.mov output.mov
  vixprores encode --fourcc UYVY --size 1920x1080 --rate 30000/1001 frames.uyvy output.mov
  ffmpeg -i input -f yuv4mpegpipe -pix_fmt yuv422p10le -strict -1 - | vixprores encode - output.mov
  vixprores decode input.mov output.y4m
  vixprores decode --fourcc UYVY --frames 0-99 input.mov - | consumer
  vixprores bench --size 3840x2160 --threads 2
Exit codes: 0 done, 1 failed, 2 wrong use.)";

// The options of a headless input as they stand on the command line.
struct HeadlessOptions {
  std::string fourcc, size, rate;
  bool interlaced = false;

  bool AnyGiven() const { return !fourcc.empty() || !size.empty() || !rate.empty() || interlaced; }
};

std::string RequireCpuLevel(const std::string& text) {
  if (auto name = ParseCpuLevelName(text)) return *std::move(name);
  throw UsageError("'" + text + "' is no CPU level; the levels are " + CpuLevelNames());
}

void AddHostOptions(CLI::App& command, HostOptions& options) {
  command.add_option("--plugin", options.plugin, "Plug-in to load, instead of the installed one")
      ->type_name("PATH");
  command.add_flag("--verbose", options.verbose, "Show log records on standard error");
}

void AddMachineOptions(CLI::App& command, MachineOptions& options) {
  command
      .add_option("--threads", options.threads,
                  "Threads to code with, each on a frame of its own; up to " +
                      std::to_string(kMostThreads) +
                      ", 0 = one per processor. Two frames per thread are in memory")
      ->check(CLI::Range(0, kMostThreads).description(""))
      ->type_name("N");
  command
      .add_option_function<std::string>(
          "--cpu", [&options](const std::string& level) { options.cpu = RequireCpuLevel(level); },
          "Instructions to use at most: " + CpuLevelNames() + "; the output is always the same")
      ->type_name("LEVEL");
}

void AddVariantOption(CLI::App& command, const ProResVariant*& variant, const char* standard) {
  variant = FindProResVariant(standard);
  command
      .add_option_function<std::string>(
          "--variant", [&variant](const std::string& name) { variant = FindProResVariant(name); },
          std::string("proxy, lt, 422 or hq; ") + standard + " when not given")
      ->check(CLI::IsMember({"proxy", "lt", "422", "hq"}).description(""))
      ->type_name("NAME");
}

void AddFourCCOption(CLI::App& command, vix::FourCC& fourcc) {
  command
      .add_option_function<std::string>(
          "--fourcc", [&fourcc](const std::string& code) { fourcc = ParseFourCC(code); },
          "Pixel format: UYVY (8 bits) or V210 (10 bits); V210 when not given")
      ->type_name("CODE");
}

void AddTranscodeOptions(CLI::App& command, TranscodeOptions& options, const char* input,
                         const char* output) {
  command.add_option("INPUT", options.input, input)->required()->type_name("");
  command.add_option("OUTPUT", options.output, output)->required()->type_name("");
  command
      .add_option_function<std::string>(
          "--frames",
          [&options](const std::string& text) { options.frames = ParseFrameRange(text); },
          "Only these frames, numbered from 0, both included")
      ->type_name("FIRST-LAST");
  command.add_flag("--overwrite", options.overwrite, "Replace an existing output");
  command.add_flag("--json", options.json, "Print the summary as JSON");
  command.add_flag("--quiet", options.quiet, "Print neither progress nor notes nor summary");
  AddMachineOptions(command, options);
  AddHostOptions(command, options);
}

void AddEncode(CLI::App& app, EncodeOptions& options, HeadlessOptions& headless) {
  CLI::App& command = *app.add_subcommand("encode", "Encode uncompressed 4:2:2 video to ProRes");
  AddTranscodeOptions(command, options,
                      "Container (mov, avi, mxf, mkv, nut) with v210 or UYVY video, Y4M (4:2:2, "
                      "8 or 10 bits), or headless frames; - for standard input",
                      "File to write: .mov, .mkv or .mxf");
  AddVariantOption(command, options.variant, "422");
  const char* const group = "Headless input (frames and nothing else)";
  command.add_option("--fourcc", headless.fourcc, "Pixel format: UYVY or V210")
      ->type_name("CODE")
      ->group(group);
  command.add_option("--size", headless.size, "Size of the pictures")
      ->type_name("WxH")
      ->group(group);
  command.add_option("--rate", headless.rate, "Frames per second")
      ->type_name("N[/D]")
      ->group(group);
  command.add_flag("--interlaced", headless.interlaced, "Two fields a frame, top field first")
      ->group(group);
}

void AddDecode(CLI::App& app, DecodeOptions& options) {
  CLI::App& command = *app.add_subcommand("decode", "Decode ProRes to uncompressed 4:2:2 video");
  AddTranscodeOptions(command, options, "Container with a ProRes track; - for standard input",
                      "File to write: .mov, .avi, .nut or .y4m; headless frames under any other "
                      "name; - for standard output");
  AddFourCCOption(command, options.fourcc);
  command.add_flag("--skip-field", options.skipField,
                   "Decode only the first field of interlaced frames, at half height; progressive "
                   "frames stay whole");
}

void AddBench(CLI::App& app, BenchOptions& options) {
  CLI::App& command =
      *app.add_subcommand("bench", "Measure how fast frames are encoded and decoded in memory");
  AddVariantOption(command, options.variant, "hq");
  AddFourCCOption(command, options.fourcc);
  command
      .add_option_function<std::string>(
          "--size", [&options](const std::string& size) { options.size = ParsePictureSize(size); },
          "Size of the pictures; 1920x1080 when not given")
      ->type_name("WxH");
  command.add_flag("--interlaced", options.interlaced, "Two fields a frame, top field first");
  command
      .add_option("--frames", options.frames,
                  "Frames of a pass, 24 when not given; of many only some are different pictures, "
                  "512 MiB at most")
      ->check(CLI::Range(1, kMostBenchFrames).description(""))
      ->type_name("N");
  AddMachineOptions(command, options);
  command.add_flag("--json", options.json, "Print the figures as JSON");
  AddHostOptions(command, options);
}

std::optional<HeadlessFormat> ToHeadlessFormat(const HeadlessOptions& options) {
  if (!options.AnyGiven()) return std::nullopt;
  if (options.fourcc.empty() || options.size.empty() || options.rate.empty()) {
    throw UsageError(
        "headless frames need all three of --fourcc, --size and --rate; other inputs "
        "none of them, nor --interlaced");
  }
  const PictureSize size = ParsePictureSize(options.size);
  return HeadlessFormat{ParseFourCC(options.fourcc), size.width, size.height,
                        ParseRate(options.rate), options.interlaced};
}

[[noreturn]] void RefuseCommand(const std::string& name) {
  throw UsageError("there is no command '" + name +
                   "'; the commands are encode, decode, bench, elements and help");
}

std::string HelpOf(const CLI::App& app, const std::string& command) {
  if (command.empty()) return app.help();
  const auto found = app.get_subcommands(
      [&command](const CLI::App* candidate) { return candidate->check_name(command); });
  if (found.empty()) RefuseCommand(command);
  return found.front()->help(app.get_name());
}

}  // namespace

Command ParseCommandLine(int argc, const char* const* argv) {
  CLI::App app("Encodes and decodes ProRes video", "vixprores");
  app.footer(kExamples);
  app.require_subcommand(1);
  app.set_version_flag("--version", "vixprores " VIX_VERSION);
  EncodeOptions encode;
  HeadlessOptions headless;
  AddEncode(app, encode, headless);
  DecodeOptions decode;
  AddDecode(app, decode);
  BenchOptions bench;
  AddBench(app, bench);
  ElementsOptions elements;
  AddHostOptions(
      *app.add_subcommand("elements", "List the registered elements and their parameters"),
      elements);
  std::string helpOn;
  app.add_subcommand("help", "Print the help of a command")
      ->add_option("COMMAND", helpOn, "encode, decode, bench or elements")
      ->type_name("");

  try {
    app.parse(argc, argv);
    if (app.got_subcommand("help")) return TextOnly{HelpOf(app, helpOn)};
    if (app.got_subcommand("elements")) return elements;
    if (app.got_subcommand("decode")) return decode;
    if (app.got_subcommand("bench")) return bench;
    encode.headless = ToHeadlessFormat(headless);
    return encode;
  } catch (const CLI::CallForHelp&) {
    const auto chosen = app.get_subcommands();
    return TextOnly{chosen.empty() ? app.help() : HelpOf(app, chosen.front()->get_name())};
  } catch (const CLI::CallForVersion& version) {
    return TextOnly{std::string(version.what()) + "\n"};
  } catch (const CLI::ParseError& error) {
    const bool namesCommand = argc > 1 && argv[1][0] != '-';
    if (namesCommand && app.get_subcommands().empty()) RefuseCommand(argv[1]);
    throw UsageError(error.what());
  }
}

}  // namespace vixprores
