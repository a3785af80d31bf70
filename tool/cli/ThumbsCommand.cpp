// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/Interrupt.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/Options.h"
#include "format/RgbPicture.h"
#include "media/Folders.h"
#include "media/OutputFile.h"
#include "report/ContactSheet.h"
#include "report/Report.h"
#include "run/FrameSource.h"
#include "run/Host.h"
#include "run/OpenInput.h"
#include "run/OrderedRun.h"

namespace vixprores {
namespace {

constexpr int kStills = 10;                 // default
constexpr int kWidestStill = 65535;         // pixels
constexpr std::uint32_t kSheetWidth = 320;  // of a picture on the sheet

struct ThumbsOptions : HostOptions, MachineOptions, ImageOptions {
  std::string input;
  std::optional<std::string> folder;
  std::optional<std::string> sheet;
  std::optional<FrameRange> frames;
  int every = 0;  // 0 = kStills, evenly spread
  int width = 0;  // 0 = unscaled
  bool overwrite = false;
  bool json = false;
  bool quiet = false;
};

bool NamesPng(const std::string& name) {
  const std::string extension = std::filesystem::path(name).extension().string();
  return extension == ".png" || extension == ".PNG";
}

void CheckOutputs(const ThumbsOptions& options) {
  if (!options.folder && !options.sheet) {
    throw UsageError("missing --output-dir DIR or --sheet FILE.png");
  }
  if (options.folder && NamesPng(*options.folder)) {
    throw UsageError("--output-dir: '" + *options.folder +
                     "' names a picture, expected a folder for frame-NUMBER.png; for one file use "
                     "--sheet " +
                     *options.folder);
  }
  if (options.sheet && *options.sheet != "-" && !NamesPng(*options.sheet)) {
    throw UsageError("--sheet: '" + *options.sheet +
                     "' does not end in .png; a sheet is a PNG file");
  }
}

Command DescribeThumbs(ThumbsOptions& options) {
  Command command;
  command.name = "thumbs";
  command.summary = "Write stills of a video as PNG";
  command.description =
      "Stills have square pixels. They are converted to RGB with the matrix and range of the "
      "stream "
      "(if it states no matrix: BT.709 from 720 lines, BT.601 below). PQ, HLG and wide gamuts are "
      "not tone-mapped. Pictures with alpha lie over a checkerboard.";
  command.usages = {"[OPTION]... FILE --output-dir DIR", "[OPTION]... FILE --sheet FILE.png"};
  command.arguments = {{"FILE", "any video, or an image sequence"}};
  command.takeArguments = [&options, take = TakeWords({"FILE"}, {options.input})](
                              const std::vector<std::string>& words) {
    take(words);
    CheckOutputs(options);
  };
  Option folder =
      Text("--output-dir", "DIR", options.folder, "write frame-NUMBER.png into this folder");
  folder.shortName = "-o";
  folder.completion = Completion::Folder;
  Option sheet = Text("--sheet", "FILE.png", options.sheet, "write a contact sheet");
  sheet.completion = Completion::File;
  Option frames = FramesOption(options.frames);
  frames.brief += ", all without --every";
  command.groups = {
      {"Stills",
       {folder, sheet, frames,
        Number("--every", options.every, 1, INT32_MAX, "every Nth frame [10 evenly spread]"),
        Number("--width", options.width, 1, kWidestStill, "scale down to N pixels [320 on sheets]"),
        OverwriteOption(options.overwrite, "replace existing files")}},
      {"Report",
       {Flag("--json", options.json, "print what was written as JSON"),
        QuietOption(options.quiet, "print no summary")}},
      SequenceInputGroup(options.missing, options.colours),
      MachineGroup(options, options),
      LimitsGroup(options.limits)};
  command.examples = {
      {"vixprores thumbs input.mov -o stills", "Write ten stills."},
      {"vixprores thumbs input.mov --every 250 --sheet sheet.png", "Write a contact sheet."}};
  return command;
}

// Numbers of the frames to write.
class Selection {
 public:
  Selection(const ThumbsOptions& options, const FrameReader& reader)
      : first_(options.frames ? ResolveRange(options.frames, reader)->first : 0),
        every_(options.every > 0 ? options.every : 1) {
    if (options.frames || options.every > 0) return;
    const auto count = reader.GetDescription().frames;
    if (!count) {
      throw Failure(reader.GetName() +
                    ": unknown number of frames; select stills with --every or --frames");
    }
    // Use the middle of each tenth, because first and last frames are often black.
    const std::int64_t stills = std::min<std::int64_t>(kStills, *count);
    for (std::int64_t i = 0; i < stills; ++i) {
      spread_.push_back((2 * i + 1) * *count / (2 * stills));
    }
  }

  // Returns the first selected frame from `frame` on; nullopt after the last one.
  std::optional<std::int64_t> From(std::int64_t frame) const {
    if (spread_.empty()) {
      const std::int64_t steps = (std::max(frame, first_) - first_ + every_ - 1) / every_;
      return first_ + steps * every_;
    }
    const auto found = std::ranges::lower_bound(spread_, frame);
    return found == spread_.end() ? std::nullopt : std::optional(*found);
  }

 private:
  std::int64_t first_;
  std::int64_t every_;
  std::vector<std::int64_t> spread_;  // empty = every Nth
};

struct Still {
  NumberedFrame frame;
  std::vector<std::uint8_t> png;
  RgbPicture small;  // for the sheet
  std::optional<DamagedPicture> damage;
};

void WriteFile(const std::string& path, std::span<const std::uint8_t> bytes, bool overwrite) {
  OutputFile file(path, overwrite);
  file.Write(bytes);
  file.Commit();
}

void NoteAspect(const PictureSource& source) {
  const Rational aspect = source.GetPictureFormat().sampleAspect;
  const Rational shown = ShownAspect(source.GetPictureFormat());
  if (aspect.numerator <= 0 || aspect == shown) return;
  const auto text = [](Rational value) {
    return std::to_string(value.numerator) + ":" + std::to_string(value.denominator);
  };
  PrintNote(source.GetReader().GetName() + ": pixel aspect " + text(aspect) + " is shown as " +
            text(shown));
}

class StillWriter {
 public:
  StillWriter(const ThumbsOptions& options, PictureSource& source)
      : options_(options),
        source_(source),
        timecode_(source.GetReader().GetDescription().timecode),
        report_{options.input, options.folder.value_or(""), options.sheet.value_or(""), {}, {}},
        size_(DisplaySize(source.GetPictureFormat(), WidthOr(std::nullopt))),
        smallSize_(DisplaySize(source.GetPictureFormat(), WidthOr(kSheetWidth))) {
    report_.size = size_;
    NoteAspect(source);
    if (options.folder) MakeFolder(*options.folder);
  }

  // Draws a still. May be called for different workers at once.
  void Draw(Still& still, unsigned worker) const {
    auto picture = source_.Decode(still.frame, worker);
    const auto bytes = BytesOf(*picture.bytes);
    still.damage = std::move(picture.damage);
    const StreamFormat& format = source_.GetPictureFormat();
    if (options_.folder) still.png = EncodePng(ToRgb(format, bytes, size_));
    if (options_.sheet) still.small = ToRgb(format, bytes, smallSize_);
  }

  void Write(Still& still) {
    StillReport made;
    made.number = source_.GetReader().GetDescription().firstNumber + still.frame.number;
    if (timecode_) made.timecode = *timecode_ + still.frame.number;
    if (options_.folder) {
      made.file = NameOf(made.number);
      WriteFile(made.file, still.png, options_.overwrite);
    }
    if (still.damage) PrintNote(source_.GetReader().GetName() + ": " + Describe(*still.damage));
    made.damage = std::move(still.damage);
    if (options_.sheet) PutOnSheet(std::move(still.small), made);
    report_.stills.push_back(std::move(made));
  }

  const StillsReport& Finish() {
    if (report_.stills.empty()) {
      throw Failure(source_.GetReader().GetName() + ": no frame was selected");
    }
    if (options_.sheet) {
      WriteFile(*options_.sheet, EncodePng(sheet_.Draw()), options_.overwrite);
    }
    return report_;
  }

 private:
  std::optional<std::uint32_t> WidthOr(std::optional<std::uint32_t> otherwise) const {
    return options_.width > 0 ? static_cast<std::uint32_t>(options_.width) : otherwise;
  }

  std::string NameOf(std::int64_t number) const {
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), "frame-%06lld.png", static_cast<long long>(number));
    return (std::filesystem::path(*options_.folder) / name.data()).string();
  }

  void PutOnSheet(RgbPicture picture, const StillReport& still) {
    std::string caption = std::to_string(still.number);
    if (still.timecode) caption += "  " + still.timecode->ToText();
    sheet_.Add(std::move(picture), std::move(caption));
  }

  const ThumbsOptions& options_;
  PictureSource& source_;
  std::optional<Timecode> timecode_;
  StillsReport report_;
  RgbSize size_;
  RgbSize smallSize_;
  ContactSheet sheet_{report_.sheet};
};

int WriteStills(const ThumbsOptions& options) {
  const ThreadShares shares = ShareThreads(options.threads, std::nullopt);
  if (options.sheet) RefuseInputAsOutput(*options.sheet, {options.input});
  auto reader = OpenShownPictures(options.input, ToSequenceReading(options));
  const bool hasAlpha = reader->GetFormat().HasAlpha();
  PictureSource source(std::move(reader), shares, hasAlpha);
  CheckRunMemory(source.GetPictureFormat(), shares, source.GetReader().GetDescription().frames,
                 false);
  const Selection selection(options, source.GetReader());
  RangeReader frames(source.GetReader(), ResolveRange(options.frames, source.GetReader()));
  StillWriter writer(options, source);
  std::int64_t next = 0;  // first frame not yet considered
  RunEnds<Still> ends;
  ends.read = [&]() -> std::optional<Still> {
    const auto wanted = selection.From(next);
    if (!wanted) return std::nullopt;
    frames.SkipTo(*wanted);
    auto frame = frames.Read();
    if (!frame) return std::nullopt;
    next = frame->number + 1;
    return Still{std::move(*frame), {}, {}, {}};
  };
  ends.write = [&](Still& still, const std::exception_ptr& failure) {
    if (failure) std::rethrow_exception(failure);
    writer.Write(still);
  };
  ends.stopReading = RequestInterrupt;
  RunInOrder<Still>(shares.elements, ends,
                    [&](Still& still, unsigned worker) { writer.Draw(still, worker); });
  const StillsReport& report = writer.Finish();
  if (options.json) {
    std::printf("%s\n", StillsJson(report).c_str());
  } else if (!options.quiet) {
    PrintText(stderr, StillsText(report) + "\n");
  }
  return kExitDone;
}

int RunThumbs(const ThumbsOptions& options) {
  SetUpMessages(options);
  if (options.cpu) SetCpuLevel(*options.cpu);
  return RunWithPlugin(options, options.input, [&options] { return WriteStills(options); });
}

}  // namespace

Command MakeThumbsCommand() {
  return BindOptions(DescribeThumbs, RunThumbs);
}

}  // namespace vixprores
