// SPDX-License-Identifier: BSD-2-Clause
#include <chrono>
#include <cstdio>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/Options.h"
#include "format/OutputFormat.h"
#include "media/FrameWriter.h"
#include "media/sound/SoundCopy.h"
#include "recovery/TaggedFileReader.h"
#include "report/Report.h"
#include "run/Elements.h"
#include "run/Host.h"

namespace vixprores {
namespace {

struct RecoverOptions {
  std::string input;
  std::string output;
  bool overwrite = false;
  bool json = false;
  bool quiet = false;
};

Command Describe(RecoverOptions& options) {
  Command command;
  command.name = "recover";
  command.summary = "Make a whole file of what a killed run or a full disk left";
  command.description =
      "A .mov that this program writes can be read at any time, also where the program, the "
      "machine or the disk gave up: 'NAME.part-NUMBER' is the file that was being written. All "
      "whole frames are copied, with the sound, the timecode and the metadata beside them; nothing "
      "is encoded anew.\n\n"
      "A whole file whose index is damaged is recovered in the same way.";
  command.usages = {"[OPTION]... INPUT OUTPUT"};
  command.arguments = {{"INPUT", "the file that was being written"},
                       {"OUTPUT", "name that ends in .mov, .mkv or .mxf"}};
  command.takeArguments = TakeWords({"INPUT", "OUTPUT"}, {options.input, options.output});
  command.groups = {{"Run",
                     {Flag("--overwrite", options.overwrite, "replace an existing output"),
                      Flag("--json", options.json, "the summary as JSON"),
                      Flag("--quiet", options.quiet, "no summary")}}};
  command.examples = {{"vixprores recover output.mov.part-1234 output.mov", "A killed run."}};
  return command;
}

std::shared_ptr<const vix::IVideoSample> MakeSample(const vix::IVideoInfo& info,
                                                    std::shared_ptr<vix::IBuffer> frame,
                                                    std::int64_t time, Rational rate) {
  return vix::CreateVideoSample(info.GetVideoParameters(), nullptr, std::move(frame),
                                {{time, time + 1, rate}}, {});
}

// Writes frames; where some are lost the one before stands in, as a stream without holes is what
// players and sound go by.
class FrameCopy {
 public:
  FrameCopy(const StreamFormat& video, FrameWriter& writer, RunReport& report)
      : info_(DescribeStream(video)), rate_(video.rate), writer_(writer), report_(report) {}

  void Write(const std::shared_ptr<vix::IBuffer>& frame, std::int64_t time) {
    if (last_) {
      for (++lastTime_; lastTime_ < time; ++lastTime_) WriteAt(last_, lastTime_);
    }
    WriteAt(frame, time);
    last_ = frame;
    lastTime_ = time;
  }

 private:
  void WriteAt(const std::shared_ptr<vix::IBuffer>& frame, std::int64_t time) {
    writer_.Write(MakeSample(*info_, frame, time, rate_));
    report_.resultBytes += frame->GetSize();
    ++report_.frames;
  }

  std::shared_ptr<const vix::IVideoInfo> info_;
  Rational rate_;
  FrameWriter& writer_;
  RunReport& report_;
  std::shared_ptr<vix::IBuffer> last_;
  std::int64_t lastTime_ = 0;
};

// Returns the time behind the last frame, in frames.
std::int64_t Copy(TaggedFileReader& reader, FrameWriter& writer, RunReport& report) {
  FrameCopy frames(reader.GetFormat(), writer, report);
  SoundCopy sound(reader.GetSideTracks(), std::nullopt);
  std::int64_t end = 0;
  while (const auto frame = reader.Read()) {
    if (InterruptRequested()) throw Interrupted();
    for (SoundPacket& packet : sound.Take()) writer.WriteSound(std::move(packet));
    frames.Write(frame->data, frame->number);
    end = frame->number + 1;
  }
  for (SoundPacket& packet : sound.TakeRest()) writer.WriteSound(std::move(packet));
  return end;
}

std::unique_ptr<TaggedFileReader> Open(const std::string& path) {
  auto file = std::make_unique<InputFile>(path);
  if (!TaggedFileReader::CanRead(*file)) {
    throw Failure(file->GetName() + ": is no .mov that this program began to write to a file");
  }
  return std::make_unique<TaggedFileReader>(std::move(file));
}

// A frame stands in for those that are lost behind the first and before the last one.
void ReportLostFrames(const TaggedFileReader& reader, std::int64_t end, RunReport& report) {
  using Treatment = FrameDamage::Treatment;
  const std::int64_t begin = end - report.frames;
  for (const LostFrames& lost : reader.GetLostFrames()) {
    const bool isReplaced = lost.place.number >= begin && lost.place.number < end;
    report.damage.push_back(
        {lost.place, lost.what, isReplaced ? Treatment::Replaced : Treatment::LeftOut});
    report.damagedFrames += lost.place.count;
  }
}

void Recover(const RecoverOptions& options, RunReport& report) {
  const auto start = std::chrono::steady_clock::now();
  const OutputFormat& output = FindProResOutput(options.output);
  const auto reader = Open(options.input);
  if (reader->ReadsFrom(options.output)) {
    throw Failure(options.output + ": is the input itself; name another output");
  }
  const SideTracks& side = *reader->GetSideTracks();
  const InputDescription& source = reader->GetDescription();
  const MovieContent content{source.format, source.timecode, side.GetSound(), source.metadata,
                             reader->GetCompressor()};
  report.source = report.result = content.video;
  report.soundTracks = content.sound.size();
  if (content.timecode) report.timecode = content.timecode->ToText();
  OutputFile file(options.output, options.overwrite);
  const auto writer = MakeFrameWriter(file, output, content);
  const std::int64_t end = Copy(*reader, *writer, report);
  if (report.frames == 0) throw Failure(reader->GetName() + ": holds no whole frame");
  writer->Finish();
  file.Commit();
  report.status = RunReport::Status::Done;
  report.output = options.output;
  report.outputBytes = file.GetSize();
  ReportLostFrames(*reader, end, report);
  report.soundDamage = reader->GetSoundDamage();
  report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

int Run(const RecoverOptions& options) {
  SetUpMessages({});
  RunReport report;
  report.command = "recover";
  report.input = options.input;
  Recover(options, report);
  PrintDamage(report);
  if (report.damagedFrames > 0) {
    PrintNote(options.input + ": " + Count(report.damagedFrames, "damaged frame") +
              "; in place of a replaced one the one before stands");
  }
  if (options.json) {
    std::fprintf(options.output == "-" ? stderr : stdout, "%s\n", SummaryJson(report).c_str());
  } else if (!options.quiet) {
    PrintText(stderr, SummaryLine(report) + "\n" + options.input +
                          " is kept; it can be removed once the output is seen to be good\n");
  }
  return kExitDone;
}

}  // namespace

Command MakeRecoverCommand() {
  return BindOptions(Describe, Run);
}

}  // namespace vixprores
