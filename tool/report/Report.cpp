// SPDX-License-Identifier: BSD-2-Clause
#include "report/Report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/StreamFormat.h"
#include "media/InputFile.h"
#include "report/Json.h"

namespace vixprores {
namespace {

std::string ClockTime(double seconds) {
  const auto whole = static_cast<std::int64_t>(std::ceil(seconds));
  std::string text(32, '\0');
  const int length = std::snprintf(
      text.data(), text.size(), "%lld:%02lld:%02lld", static_cast<long long>(whole / 3600),
      static_cast<long long>(whole / 60 % 60), static_cast<long long>(whole % 60));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

// Describes what the samples of the output look like.
std::string Samples(const RunReport& report) {
  if (report.isImages) return "RGB images";
  if (!report.isPlanar) return DescribeCode(report.result.code);
  return FindRawFormat(report.result.code)->planarName;
}

std::string Labels(const RunReport& report) {
  std::string rate = ", " + Describe(report.result.rate) + " fps";
  if (!report.isLabelled) return rate;
  return ", " + Describe(report.result.fieldOrder) + rate + ", colour " +
         Describe(report.result.colour);
}

// Describes sound and timecode.
std::string Beside(const RunReport& report) {
  std::string text;
  if (report.soundTracks > 0) {
    text += ", " + Count(static_cast<std::int64_t>(report.soundTracks), "sound track");
  }
  if (!report.timecode.empty()) text += ", timecode " + report.timecode;
  return text;
}

const char* ToWord(RunReport::Status status) {
  return WordOf(status, {"done", "skipped", "interrupted", "failed"});
}

const char* ToWord(FieldOrder order) {
  return WordOf(order, {"unknown", "progressive", "top", "bottom"});
}

const char* ToWord(FrameDamage::Treatment treatment) {
  return WordOf(treatment, {"stopped at", "left out", "concealed", "replaced", "kept as decoded",
                            "made opaque there"});
}

std::string CountDamage(const std::vector<FrameDamage>& damage) {
  std::int64_t frames = 0;
  for (const FrameDamage& each : damage) frames += each.place.count;
  if (frames == 0) return {};
  return ", " + std::to_string(frames) + " damaged in the input";
}

nlohmann::ordered_json ToJson(const FrameDamage& damage) {
  nlohmann::ordered_json json = PlaceJson(damage.place);
  json["what"] = damage.what;
  json["treatment"] = ToWord(damage.treatment);
  if (!damage.input.empty()) json["input"] = damage.input;
  return json;
}

void AddTreatedSoundDamage(const std::vector<SoundDamage>& damage, nlohmann::ordered_json& json) {
  AddSoundDamage(damage, json);
  for (std::size_t i = 0; i < damage.size(); ++i) {
    json["soundDamage"][i]["treatment"] = ToWord(damage[i].treatment);
  }
}

}  // namespace

std::string Describe(const FrameDamage& damage) {
  return Describe(damage.place) + ": " + Inflect(damage.what, damage.place.count) + "; " +
         ToWord(damage.treatment);
}

namespace {

std::string Decibels(double psnr) {
  return std::isinf(psnr) ? "identical" : Fixed(psnr, 2) + " dB";
}

std::string QualityLine(const EncodingQuality& quality) {
  return "\nverified: PSNR " + Decibels(quality.psnr[EncodingQuality::kAll]) + " (Y " +
         Decibels(quality.psnr[0]) + ", Cb " + Decibels(quality.psnr[1]) + ", Cr " +
         Decibels(quality.psnr[2]) +
         (quality.alphaPsnr ? ", alpha " + Decibels(*quality.alphaPsnr) : "") + "), worst frame " +
         std::to_string(quality.worstFrame) + " (" + Decibels(quality.worstPsnr) + ")";
}

// JSON has no infinity.
nlohmann::ordered_json JsonNumber(double value) {
  return std::isinf(value) ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(value);
}

nlohmann::ordered_json ToJson(const EncodingQuality& quality) {
  nlohmann::ordered_json psnr = {{"y", JsonNumber(quality.psnr[0])},
                                 {"cb", JsonNumber(quality.psnr[1])},
                                 {"cr", JsonNumber(quality.psnr[2])},
                                 {"all", JsonNumber(quality.psnr[EncodingQuality::kAll])}};
  if (quality.alphaPsnr) psnr["alpha"] = JsonNumber(*quality.alphaPsnr);
  return {{"psnr", std::move(psnr)},
          {"worstFrame", quality.worstFrame},
          {"worstPsnr", JsonNumber(quality.worstPsnr)}};
}

}  // namespace

std::string SummaryLine(const RunReport& report) {
  return PrintableLine(report.output) + ": " + Count(report.frames, "frame") +
         CountDamage(report.damage) + ", " +
         DescribeSize(report.result.width, report.result.height) + " " + Samples(report) +
         Labels(report) + Beside(report) + ", " +
         Fixed(static_cast<double>(report.outputBytes) / 1e6, 1) + " MB, ProRes at " +
         Fixed(report.MegabitsPerSecond(), 1) + " Mb/s, in " + Fixed(report.seconds, 1) + " s (" +
         Fixed(report.FramesPerSecond(), 1) + " fps, " + Fixed(report.RealTimeFactor(), 2) +
         "x real time)" + (report.quality ? QualityLine(*report.quality) : "");
}

namespace {

void AddLabels(const RunReport& report, nlohmann::ordered_json& json) {
  if (!report.isLabelled) {
    for (const char* label : {"fieldOrder", "sampleAspect", "colour"}) json[label] = nullptr;
    return;
  }
  json["fieldOrder"] = ToWord(report.result.fieldOrder);
  const Rational aspect = report.result.sampleAspect;
  json["sampleAspect"] =
      aspect.numerator > 0 ? nlohmann::ordered_json(Describe(aspect)) : nlohmann::ordered_json();
  json["colour"] = {{"primaries", report.result.colour.primaries},
                    {"transfer", report.result.colour.transfer},
                    {"matrix", report.result.colour.matrix}};
}

nlohmann::ordered_json ToJson(const RunReport& report) {
  nlohmann::ordered_json json;
  json["command"] = report.command;
  json["status"] = ToWord(report.status);
  if (!report.message.empty()) json["message"] = report.message;
  json["input"] = report.input;
  if (!report.output.empty()) {
    json["output"] = report.output;
    json["outputBytes"] = report.outputBytes;
  }
  json["frames"] = report.frames;
  if (report.resumedFrames > 0) json["resumedFrames"] = report.resumedFrames;
  for (const InputPart& part : report.parts) {
    json["parts"].push_back(
        {{"input", part.input}, {"first", part.first}, {"frames", part.frames}});
  }
  if (report.result.width > 0) {
    json["sourceFormat"] = DescribeCode(report.source.code);
    json["resultFormat"] = DescribeCode(report.result.code);
    json["width"] = report.result.width;
    json["height"] = report.result.height;
    json["rate"] = Describe(report.result.rate);
    if (!report.result.IsRaw()) json["alpha"] = AlphaName(report.result.alphaBits);
    AddLabels(report, json);
    json["soundTracks"] = report.soundTracks;
    if (!report.timecode.empty()) json["timecode"] = report.timecode;
  }
  json["sourceBytes"] = report.sourceBytes;
  json["resultBytes"] = report.resultBytes;
  if (report.quality) json["verification"] = ToJson(*report.quality);
  for (const FrameDamage& damage : report.damage) json["damage"].push_back(ToJson(damage));
  if (report.damagedFrames > 0) json["damagedFrames"] = report.damagedFrames;
  if (!report.soundDamage.empty()) AddTreatedSoundDamage(report.soundDamage, json);
  json["seconds"] = report.seconds;
  json["framesPerSecond"] = report.FramesPerSecond();
  json["realTimeFactor"] = report.RealTimeFactor();
  json["megabitsPerSecond"] = report.MegabitsPerSecond();
  return json;
}

std::string TableRow(const std::string& status, std::int64_t frames, std::int64_t bytes,
                     double framesPerSecond, const std::string& input) {
  constexpr std::size_t kStatus = 13;
  const auto right = [](const std::string& text, std::size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
  };
  return status + std::string(kStatus - status.size(), ' ') + right(std::to_string(frames), 9) +
         right(Fixed(static_cast<double>(bytes) / 1e6, 1), 12) +
         right(Fixed(framesPerSecond, 1), 9) + "  " + input + "\n";
}

}  // namespace

std::string SummaryJson(const RunReport& report) {
  return Dump(ToJson(report));
}

std::string BatchJson(const std::vector<RunReport>& reports) {
  auto json = nlohmann::ordered_json::array();
  for (const RunReport& report : reports) json.push_back(ToJson(report));
  return Dump(json);
}

std::string BatchTable(const std::vector<RunReport>& reports) {
  std::string text = "status          frames          MB      fps  input\n";
  std::int64_t frames = 0;
  std::int64_t bytes = 0;
  std::size_t there = 0;
  for (const RunReport& report : reports) {
    text += TableRow(ToWord(report.status), report.frames, report.outputBytes,
                     report.FramesPerSecond(), PrintableLine(report.input));
    frames += report.frames;
    bytes += report.outputBytes;
    if (report.HasOutput()) ++there;
  }
  return text + std::to_string(there) + " of " + std::to_string(reports.size()) + " are there; " +
         Count(frames, "frame") + ", " + Fixed(static_cast<double>(bytes) / 1e6, 1) +
         " MB written\n";
}

std::string ErrorJson(const std::string& message) {
  return Dump({{"error", message}});
}

void PrintDamage(const RunReport& report) {
  for (const FrameDamage& damage : report.damage) {
    if (damage.treatment == FrameDamage::Treatment::Stopped) continue;  // the message reports it
    const std::string& input = damage.input.empty() ? report.input : damage.input;
    PrintError(NameOfInput(input) + ": " + Describe(damage));
  }
  if (report.soundDamage.empty()) return;
  for (const SoundDamage& damage : FirstOf(report.soundDamage)) {
    PrintError(NameOfInput(report.input) + ": " + Describe(damage) + ", " +
               ToWord(damage.treatment));
  }
  PrintError(NameOfInput(report.input) + ": " + SumUp(report.soundDamage));
}

std::string ProgressText(const RunReport& report, std::optional<std::int64_t> total) {
  std::string text = "frame " + std::to_string(report.frames);
  if (total) text += "/" + std::to_string(*total);
  text += "  " + Fixed(report.FramesPerSecond(), 1) + " fps  " + Fixed(report.RealTimeFactor(), 2) +
          "x  " + Fixed(report.MegabitsPerSecond(), 1) + " Mb/s";
  if (total && report.frames > 0) {
    const auto left = static_cast<double>(*total - report.frames);
    text += "  " + ClockTime(RunReport::Ratio(left, report.FramesPerSecond())) + " left";
  }
  return text;
}

std::string ProgressJson(const RunReport& report, std::optional<std::int64_t> total) {
  nlohmann::ordered_json json;
  json["input"] = report.input;
  json["frames"] = report.frames;
  if (total) json["total"] = *total;
  json["seconds"] = report.seconds;
  json["framesPerSecond"] = report.FramesPerSecond();
  json["realTimeFactor"] = report.RealTimeFactor();
  json["megabitsPerSecond"] = report.MegabitsPerSecond();
  return Dump(json);
}

}  // namespace vixprores
