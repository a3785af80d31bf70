// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_COMMANDLINE_COMMANDLINE_H
#define TOOL_COMMANDLINE_COMMANDLINE_H

#include <optional>
#include <string>
#include <variant>

#include "commandline/Values.h"
#include "format/StreamFormat.h"
#include "io/FrameReader.h"

namespace vixprores {

/// What every command knows.
struct HostOptions {
  std::optional<std::string> plugin;  ///< path of the plug-in; none = search
  bool verbose = false;               ///< log records and container messages on standard error
};

/// How much of the machine is used.
struct MachineOptions {
  int threads = 0;                 ///< 0 = one per processor
  std::optional<std::string> cpu;  ///< level of instructions; none = as the environment says
};

/// What encode and decode share.
struct TranscodeOptions : HostOptions, MachineOptions {
  std::string input;   ///< "-" = standard input
  std::string output;  ///< "-" = standard output
  std::optional<FrameRange> frames;
  bool overwrite = false;
  bool json = false;   ///< the summary as JSON
  bool quiet = false;  ///< neither progress nor summary nor notes
};

struct EncodeOptions : TranscodeOptions {
  const ProResVariant* variant = nullptr;
  std::optional<HeadlessFormat> headless;
};

struct DecodeOptions : TranscodeOptions {
  vix::FourCC fourcc = vix::kFourCC_V210;
  bool skipField = false;
};

struct BenchOptions : HostOptions, MachineOptions {
  const ProResVariant* variant = nullptr;
  vix::FourCC fourcc = vix::kFourCC_V210;
  PictureSize size{1920, 1080};
  bool interlaced = false;
  int frames = 24;  ///< of a pass; of many only some are different pictures
  bool json = false;
};

struct ElementsOptions : HostOptions {};

/// A text that was asked for instead of work.
struct TextOnly {
  std::string text;
};

using Command = std::variant<EncodeOptions, DecodeOptions, BenchOptions, ElementsOptions, TextOnly>;

/// Understands a command line. Anything wrong with it is a UsageError that says what, and which
/// help to read.
Command ParseCommandLine(int argc, const char* const* argv);

}  // namespace vixprores

#endif  // TOOL_COMMANDLINE_COMMANDLINE_H
