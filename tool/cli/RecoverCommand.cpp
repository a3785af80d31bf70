// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/Options.h"
#include "format/OutputFormat.h"
#include "format/OutputSound.h"
#include "media/FrameWriter.h"
#include "media/container/PacketTag.h"
#include "recovery/TaggedFileReader.h"
#include "report/Report.h"
#include "run/Elements.h"
#include "run/Host.h"

namespace vixprores {
namespace {

struct RecoverOptions : LimitOptions {
  std::string input;
  std::string output;
  bool overwrite = false;
  bool json = false;
  bool quiet = false;
};

Command DescribeRecover(RecoverOptions& options) {
  Command command;
  command.name = "recover";
  command.summary = "Complete a file that a killed run or a full disk left";
  command.description =
      "Copy all complete frames of a .mov that this program was writing when the program, the "
      "machine or the disk failed, with sound, timecode and metadata. 'NAME.part-NUMBER' is the "
      "file that was being written. Nothing is encoded again.\n\n"
      "Recover a complete file whose index is damaged in the same way.\n\n"
      "A lost frame is replaced by the one before it. A run replaces 3600 frames at most, and as "
      "many again as the file has intact frames; longer gaps stay gaps. Frames and sound whose "
      "times are out of order are left out, and so is a last frame that is truncated. Each loss is "
      "reported.";
  command.usages = {"[OPTION]... INPUT OUTPUT"};
  command.arguments = {{"INPUT", "file that was being written"},
                       {"OUTPUT", ".mov, .mkv or .mxf; - for a .mov on standard output"}};
  command.takeArguments = [&options](const std::vector<std::string>& words) {
    TakeInputAndOutput(options.input, options.output, words);
  };
  command.groups = {{"Run",
                     {OutputOption(options.output),
                      OverwriteOption(options.overwrite, "replace an existing output"),
                      Flag("--json", options.json, "print the summary as JSON"),
                      QuietOption(options.quiet, "print errors only")}},
                    LimitsWithOutputGroup(options.limits)};
  command.examples = {
      {"vixprores recover output.mov.part-1234 output.mov", "Recover a killed run."}};
  return command;
}

// Writes the content of a tagged file. Repeats the frame before lost ones, because players and
// sound rely on a stream without gaps; leaves the gap if too many are lost.
class Copy {
 public:
  Copy(const MovieContent& content, const OutputFile& file, FrameWriter& writer, RunReport& report)
      : info_(DescribeStream(content.video)),
        rate_(content.video.rate),
        file_(file),
        writer_(writer),
        report_(report) {}

  void Write(TaggedItem item) {
    for (SoundPacket& packet : item.sound) writer_.WriteSound(std::move(packet));
    const bool isFilled = item.frame && last_ && limit_.Take(item.time - lastTime_ - 1);
    Report(item.lost, isFilled, item.time);
    if (!item.frame) return;
    while (isFilled && ++lastTime_ < item.time) WriteFrame(last_, lastTime_);
    limit_.CountFrame();
    last_ = std::move(item.frame);
    lastTime_ = item.time;
    WriteFrame(last_, lastTime_);
  }

 private:
  void WriteFrame(const std::shared_ptr<vix::IBuffer>& frame, std::int64_t time) {
    CheckInterrupt();
    CheckOutputSize(file_, frame->GetSize());
    writer_.Write(vix::CreateVideoSample(info_->GetVideoParameters(), nullptr, frame,
                                         {{time, time + 1, rate_}}, {}));
    report_.resultBytes += frame->GetSize();
    ++report_.frames;
  }

  // @param end time of the first frame after them
  void Report(const std::vector<LostFrames>& lost, bool isFilled, std::int64_t end) {
    using Treatment = FrameDamage::Treatment;
    for (const LostFrames& each : lost) {
      const bool isReplaced = isFilled && each.place.number > lastTime_ && each.place.number < end;
      report_.damage.push_back(
          {each.place, each.what, isReplaced ? Treatment::Replaced : Treatment::LeftOut});
      report_.damagedFrames += each.place.count;
    }
  }

  std::shared_ptr<const vix::IVideoInfo> info_;
  Rational rate_;
  const OutputFile& file_;
  FrameWriter& writer_;
  RunReport& report_;
  std::shared_ptr<vix::IBuffer> last_;
  std::int64_t lastTime_ = 0;
  StandInLimit limit_;
};

TaggedFileReader Open(const std::string& path) {
  auto file = std::make_unique<InputFile>(path);
  if (!HasPacketTags(*file)) {
    throw Failure(file->GetName() +
                  ": is not a .mov that this program began to write to a file; "
                  "'vixprores decode --scan' finds the frames of others");
  }
  return TaggedFileReader(std::move(file));
}

void NoteLostProperties(const RecoverOptions& options, const OutputFormat& output,
                        const MovieContent& content) {
  if (options.quiet) return;
  for (const std::string& property : FindLostProperties(output, content)) {
    PrintNote(NameOfOutput(options.output) + ": the output cannot keep the " + property);
  }
}

void Recover(const RecoverOptions& options, RunReport& report) {
  const auto start = std::chrono::steady_clock::now();
  const OutputFormat& output = FindProResOutput(options.output);
  TaggedFileReader reader = Open(options.input);
  RefuseInputAsOutput(options.output, {options.input});
  const MovieContent& content = reader.GetContent();
  CheckStorable(output, content.video);
  CheckSoundStorable(NameOfOutput(options.output), output, content.sound, SoundRemedy::OtherOutput);
  NoteLostProperties(options, output, content);
  report.source = report.result = content.video;
  report.soundTracks = content.sound.size();
  if (content.timecode) report.timecode = content.timecode->ToText();
  OutputFile file(options.output, options.overwrite);
  const auto writer = MakeFrameWriter(file, output, content);
  Copy copy(content, file, *writer, report);
  while (auto item = reader.Read()) copy.Write(std::move(*item));
  if (report.frames == 0) throw Failure(options.input + ": holds no complete frame");
  writer->Finish();
  file.Commit();
  report.status = RunReport::Status::Done;
  report.output = file.GetName();
  report.outputBytes = file.GetSize();
  report.soundDamage = reader.GetSoundDamage();
  report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const std::string note = writer->GetEndNote();
  if (!options.quiet && !note.empty()) PrintNote(note);
}

bool HasReplaced(const RunReport& report) {
  using Treatment = FrameDamage::Treatment;
  return std::ranges::count(report.damage, Treatment::Replaced, &FrameDamage::treatment) > 0;
}

int RunRecover(const RecoverOptions& options) {
  SetUpMessages({});
  RunReport report;
  report.command = "recover";
  report.input = options.input;
  Recover(options, report);
  PrintDamage(report);
  if (report.damagedFrames > 0) {
    PrintNote(options.input + ": " + Count(report.damagedFrames, "damaged frame") +
              (HasReplaced(report) ? "; a replaced frame repeats the one before it" : ""));
  }
  if (options.json) {
    std::fprintf(options.output == "-" ? stderr : stdout, "%s\n", SummaryJson(report).c_str());
  } else if (!options.quiet) {
    PrintText(stderr, SummaryLine(report) + "\n" + options.input +
                          " is kept; remove it once the output is known to be good\n");
  }
  return kExitDone;
}

}  // namespace

Command MakeRecoverCommand() {
  return BindOptions(DescribeRecover, RunRecover);
}

}  // namespace vixprores
