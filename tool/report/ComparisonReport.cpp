// SPDX-License-Identifier: BSD-2-Clause
#include "report/ComparisonReport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "base/Text.h"

namespace vixprores {
namespace {

constexpr std::size_t kListedWorst = 5;

struct PartName {
  const char* text;
  const char* key;
};
// The first ComparedDepth::CountParts() of them are compared.
constexpr std::array<PartName, FrameQuality::kParts> kParts{
    {{"Y", "y"}, {"Cb", "cb"}, {"Cr", "cr"}, {"all", "all"}, {"alpha", "alpha"}}};

std::string DecibelsText(double value) {
  return std::isinf(value) ? "identical" : Fixed(value, 2);
}

// Returns `value` with its unit, unless all frames are identical.
std::string DecibelsTextOf(const Spread& psnr, double value) {
  return psnr.GetCount() == 0 ? "identical" : Fixed(value, 2);
}

std::string PartsText(const Comparison& comparison) {
  TextTable table("lrrrrr");
  table.Add({"", "PSNR (dB)", "mean of frames", "lowest", "SSIM", "lowest"});
  for (std::size_t i = 0; i < comparison.depth.CountParts(); ++i) {
    const PartQuality& part = comparison.parts[i];
    table.Add({kParts[i].text, DecibelsText(part.PsnrOfMeanError()),
               DecibelsTextOf(part.GetPsnr(), part.GetPsnr().GetMean()),
               DecibelsTextOf(part.GetPsnr(), part.GetPsnr().GetMin()),
               Fixed(part.GetSsim().GetMean(), 5), Fixed(part.GetSsim().GetMin(), 5)});
  }
  return table.ToText(2);
}

std::string WorstText(const Comparison& comparison) {
  const auto worst = comparison.FindWorst(kListedWorst);
  if (worst.empty()) return {};
  const std::size_t parts = comparison.depth.CountParts();
  TextTable table("rl" + std::string(parts + 1, 'r'));
  std::vector<std::string> headings{"frame", "timecode", "PSNR Y"};
  for (std::size_t part = 1; part < parts; ++part) headings.emplace_back(kParts[part].text);
  headings.emplace_back("SSIM all");
  table.Add(headings);
  for (const std::size_t i : worst) {
    const ComparedFrame& frame = comparison.frames[i];
    std::vector<std::string> cells{
        std::to_string(frame.number),
        comparison.timecode ? (*comparison.timecode + frame.number).ToText() : "-"};
    for (std::size_t part = 0; part < parts; ++part) {
      cells.push_back(DecibelsText(comparison.PsnrOf(frame, part)));
    }
    cells.push_back(Fixed(frame.quality.parts[FrameQuality::kAll].ssim, 5));
    table.Add(cells);
  }
  return "\nWorst frames:\n" + table.ToText(2);
}

std::string FramesText(const Comparison& comparison) {
  std::string text = Count(std::ssize(comparison.frames), "frame") + " compared in " +
                     std::to_string(comparison.depth.colours) + " bits";
  if (comparison.distorted.picture.is444) text += " of 4:4:4";
  if (comparison.identical == std::ssize(comparison.frames)) return text + ", all identical";
  return text + ", " + std::to_string(comparison.identical) + " identical";
}

// Lists the damaged frames: their decoded pictures differ from the encoded ones.
std::string DamageText(const ComparedVideo& video) {
  constexpr std::size_t kMostLines = 10;
  const auto& damage = video.damage;
  if (damage.empty()) return {};
  std::string text = "\nDamaged frames of " + PrintableLine(video.name) + ":\n";
  for (std::size_t i = 0; i < std::min(damage.size(), kMostLines); ++i) {
    text += "  " + PrintableLine(Describe(damage[i])) + "\n";
  }
  if (damage.size() <= kMostLines) return text;
  return text + "  and " + std::to_string(damage.size() - kMostLines) +
         " more, which --json lists\n";
}

// Returns text like "ProRes 422 HQ, 1920x1080, progressive, 25 fps".
std::string FormatText(const StreamFormat& format) {
  return DescribeCode(format.code) + ", " + DescribeSize(format.width, format.height) + ", " +
         Describe(format.fieldOrder) + ", " + RateText(format.rate);
}

JsonValue DamageJson(const std::vector<DamagedPicture>& damage) {
  JsonValue json = JsonValue::array();
  for (const DamagedPicture& each : damage) {
    JsonValue entry = PlaceJson(each.place);
    entry["what"] = each.what;
    json.push_back(std::move(entry));
  }
  return json;
}

JsonValue DecibelsJson(double value) {
  return std::isinf(value) ? JsonValue() : JsonValue(value);
}

JsonValue VideoJson(const ComparedVideo& video) {
  return {{"input", video.name},
          {"name", DescribeCode(video.format.code)},
          {"width", video.format.width},
          {"height", video.format.height},
          {"rate", RateJson(video.format.rate)},
          {"bits", SampleBits(video.picture)},
          {"damage", DamageJson(video.damage)}};
}

JsonValue PsnrJson(const PartQuality& part) {
  const Spread& psnr = part.GetPsnr();
  const bool isIdentical = psnr.GetCount() == 0;
  return {{"identical", isIdentical},
          {"ofMeanSquaredError", DecibelsJson(part.PsnrOfMeanError())},
          {"meanOfFrames", isIdentical ? JsonValue() : JsonValue(psnr.GetMean())},
          {"min", isIdentical ? JsonValue() : JsonValue(psnr.GetMin())}};
}

}  // namespace

std::string ComparisonText(const Comparison& comparison) {
  TextTable videos("lll");
  for (const auto& [role, video] : {std::pair("reference", &comparison.reference),
                                    std::pair("distorted", &comparison.distorted)}) {
    videos.Add({role, video->name, FormatText(video->format)});
  }
  return videos.ToText(0) + FramesText(comparison) + "\n\n" + PartsText(comparison) +
         WorstText(comparison) + DamageText(comparison.reference) +
         DamageText(comparison.distorted);
}

JsonValue SummaryJson(const Comparison& comparison) {
  JsonValue json;
  json["command"] = "compare";
  json["status"] = "done";
  json["reference"] = VideoJson(comparison.reference);
  json["distorted"] = VideoJson(comparison.distorted);
  json["bits"] = comparison.depth.colours;
  json["offset"] = comparison.offset;
  json["framesCompared"] = comparison.frames.size();
  json["identicalFrames"] = comparison.identical;
  json["identical"] = comparison.identical == std::ssize(comparison.frames);
  for (std::size_t i = 0; i < comparison.depth.CountParts(); ++i) {
    json["psnr"][kParts[i].key] = PsnrJson(comparison.parts[i]);
  }
  for (std::size_t i = 0; i < comparison.depth.CountParts(); ++i) {
    const Spread& ssim = comparison.parts[i].GetSsim();
    json["ssim"][kParts[i].key] = {{"mean", ssim.GetMean()}, {"min", ssim.GetMin()}};
  }
  json["worstFrames"] = JsonValue::array();
  for (const std::size_t i : comparison.FindWorst(kListedWorst)) {
    json["worstFrames"].push_back(comparison.frames[i].number);
  }
  return json;
}

JsonValue FrameJson(const Comparison& comparison, const ComparedFrame& frame) {
  JsonValue json;
  json["frame"] = frame.number;
  json["timecode"] = TimecodeJson(comparison.timecode, frame.number);
  json["identical"] = frame.quality.IsIdentical();
  for (std::size_t i = 0; i < comparison.depth.CountParts(); ++i) {
    json["psnr"][kParts[i].key] = DecibelsJson(comparison.PsnrOf(frame, i));
  }
  for (std::size_t i = 0; i < comparison.depth.CountParts(); ++i) {
    json["ssim"][kParts[i].key] = frame.quality.parts[i].ssim;
  }
  json["bytes"] = OrNull(frame.bytes);
  return json;
}

void WriteComparisonJson(const Comparison& comparison, const TextSink& write) {
  WriteWithList(write, SummaryJson(comparison), "frames", comparison.frames.size(),
                [&](std::size_t i) { write(Dump(FrameJson(comparison, comparison.frames[i]))); });
  write("\n");
}

}  // namespace vixprores
