// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_TRANSCODEOPTIONS_H
#define TOOL_RUN_TRANSCODEOPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "format/Values.h"
#include "report/Report.h"
#include "run/OpenInput.h"
#include "run/Options.h"

namespace vixprores {

/// What encode and decode share.
struct TranscodeOptions : HostOptions, MachineOptions {
  std::string input;                       ///< "-" = standard input
  std::string output;                      ///< "-" = standard output
  std::optional<std::string> outputDir;    ///< none = one input
  std::vector<std::string> inputs;         ///< those that go to the output folder
  std::optional<std::string> namePattern;  ///< of the outputs in the folder
  int jobs = 1;                            ///< inputs that are worked on side by side
  bool isOfMany = false;                   ///< one of several inputs of this process
  std::optional<FrameRange> frames;
  bool noAudio = false;
  std::optional<std::vector<std::size_t>> audioTracks;  ///< places from 0; none = all
  bool overwrite = false;
  bool json = false;  ///< the summary as JSON
  ProgressKind progress = ProgressKind::Line;
  bool quiet = false;  ///< neither progress nor summary nor notes
};

/// What the user knows better than the input. Everything that is not set is the input's.
struct StreamOverrides {
  std::optional<Colour> colour;  ///< of a preset
  std::optional<int> primaries, transfer, matrix;
  std::optional<FieldOrder> fields;
  std::optional<Rational> sampleAspect;
  std::optional<Rational> rate;
};

struct EncodeOptions : TranscodeOptions {
  const ProResVariant* variant = nullptr;
  bool verify = false;  ///< decode what was encoded, and compare
  StreamOverrides overrides;
  std::optional<std::string> timecode;
  std::optional<std::string> compressor;
  std::optional<vix::FourCC> vendor;
  std::optional<HeadlessFormat> headless;
};

/// What becomes of a frame of the input that is damaged.
enum class DamagePolicy {
  Stop,     ///< it ends the run; what was written before is kept
  Skip,     ///< it is left out; those behind it keep their times
  Conceal,  ///< what the decoder made of it stays; else it is replaced by the frame before it
};

struct DecodeOptions : TranscodeOptions, ScanOptions {
  vix::FourCC fourcc = vix::kFourCC_V210;
  bool skipField = false;
  DamagePolicy onDamage = DamagePolicy::Stop;
};

/// The commands without their work; `options` must outlive them.
Command DescribeEncode(EncodeOptions& options);
Command DescribeDecode(DecodeOptions& options);

}  // namespace vixprores

#endif  // TOOL_RUN_TRANSCODEOPTIONS_H
