// SPDX-License-Identifier: BSD-2-Clause
#include "cli/TranscodeOptions.h"

#include "base/Errors.h"
#include "base/Text.h"

namespace vixprores {
namespace {

constexpr int kMostJobs = 64;

void CheckTogether(const TranscodeOptions& options) {
  CheckSoundOptions(options);
  if (options.outputDir && !options.output.empty()) {
    throw UsageError("--output and --output-dir contradict each other; remove one of them");
  }
  if (options.outputDir) return;
  if (options.namePattern) throw UsageError("--name needs --output-dir");
  if (options.jobs > 1) throw UsageError("--jobs needs --output-dir");
  if (options.recursive) throw UsageError("--recursive needs --output-dir");
}

}  // namespace

std::function<void(const std::vector<std::string>&)> TakeFiles(TranscodeOptions& options) {
  return [&options](const std::vector<std::string>& words) {
    CheckTogether(options);
    if (!options.outputDir) return TakeInputAndOutput(options.input, options.output, words);
    RefuseEmptyNames("INPUT", words);
    options.inputs = ExpandFolders(words, options.recursive, *options.outputDir);
    options.isOfMany = true;
  };
}

namespace {

Option ColourCodeOption(const std::string& name, ColourProperty property,
                        std::optional<int>& code) {
  Option option{
      name, "NAME", "set this one; names in 'vixprores manual encode'",
      [&code, property](const std::string& text) { code = FindColourCode(property, text); }};
  option.choices = ColourCodeNames(property);
  return option;
}

}  // namespace

std::vector<Option> ColourLabelOptions(StreamOverrides& overrides) {
  Option colour =
      Parsed("--color", "NAME", overrides.colour, FindColourPreset, JoinWords(ColourPresets()));
  colour.choices = ColourPresets();
  colour.aliases = {"--colour"};
  colour.synonyms = ColourSynonyms();
  colour.details =
      "Primaries, transfer and matrix are written into the container and into the header of every "
      "frame. What neither the input nor an option states stays unspecified.";
  return {colour, ColourCodeOption("--primaries", ColourProperty::Primaries, overrides.primaries),
          ColourCodeOption("--transfer", ColourProperty::Transfer, overrides.transfer),
          ColourCodeOption("--matrix", ColourProperty::Matrix, overrides.matrix)};
}

OptionGroup BatchGroup(TranscodeOptions& options) {
  Option folder = Text("--output-dir", "DIR", options.outputDir,
                       "folder of the outputs; existing ones are skipped");
  folder.completion = Completion::Folder;
  folder.details =
      "An output gets its name only when it is complete: run the command again to resume. It skips "
      "existing outputs, unless the input has changed since: its size or time differ from those "
      "noted with the output or, where the file system takes no notes, it is newer than the "
      "output. Another existing output that differs from what would be written (variant, picture "
      "size, number of frames, sound tracks or labels) is an error. --overwrite writes every "
      "output "
      "again. encode resumes an unfinished .mov after its last undamaged frame if input, options "
      "and "
      "program are the same, but not with --filter and not from image sequences.";
  Option name =
      Text("--name", "PATTERN", options.namePattern, "pattern of the output names [{name}.mov]");
  name.details =
      "{name} stands for the input's name without its extension, {number} for its place, from 1, "
      "and in encode {variant} for the variant.";
  Option recursive =
      Flag("--recursive", options.recursive, "take the videos in subfolders of input folders too");
  recursive.details =
      "An input that is a folder stands for the videos in it. Outputs of subfolders go to "
      "subfolders of the same names.";
  Option jobs =
      Number("--jobs", options.jobs, 1, kMostJobs, "number of inputs processed in parallel [1]");
  jobs.shortName = "-j";
  jobs.details =
      "They share the processors, unless --threads sets the threads of each. Frames of one input "
      "are coded in parallel anyway, so this helps if inputs are short or slow to read.";
  return {"Several inputs", {folder, name, recursive, jobs}};
}

Option OnErrorOption(DamagePolicy& policy) {
  using Policy = DamagePolicy;
  Option option =
      Choice<Policy>("--on-error", "WHAT", policy,
                     {{"stop", Policy::Stop}, {"skip", Policy::Skip}, {"conceal", Policy::Conceal}},
                     "at a damaged frame: stop, skip or conceal [stop]");
  option.details =
      "stop ends the run with exit code 1 and keeps the frames before. skip drops damaged frames; "
      "later frames keep their times if the output has times. conceal fills damaged parts from "
      "their surroundings, and repeats the previous frame for one that cannot be decoded or is "
      "missing (decode writes grey if there is none). Slices with damaged alpha become opaque. A "
      "frame without damaged slices, whose checksum differs, is kept as decoded. skip and conceal "
      "list the damaged frames on standard error, with what was done, and end with exit code 0.";
  return option;
}

OptionGroup RunGroup(TranscodeOptions& options) {
  using Kind = ProgressKind;
  Option progress = Choice<Kind>("--progress", "KIND", options.progress,
                                 {{"line", Kind::Line}, {"json", Kind::Json}, {"none", Kind::None}},
                                 "print progress as line, json or none [line]");
  return {"Run",
          {OutputOption(options.output), FramesOption(options.frames), progress,
           OverwriteOption(options.overwrite, "replace an existing output"),
           Flag("--json", options.json, "print the summary as JSON"),
           QuietOption(options.quiet, "print no progress, notes or summary")}};
}

}  // namespace vixprores
