// SPDX-License-Identifier: BSD-2-Clause
#include "report/ComparisonReport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/Text.h"
#include "report/PlaceJson.h"
#include "report/TextTable.h"

namespace vixprores {
namespace {

using Json = nlohmann::ordered_json;

struct PartName {
  const char* text;
  const char* key;
};
constexpr std::array<PartName, SamplePicture::kPlanes + 1> kParts{
    {{"Y", "y"}, {"Cb", "cb"}, {"Cr", "cr"}, {"all", "all"}}};

std::string Decibels(double value) {
  return std::isinf(value) ? "identical" : Fixed(value, 2);
}

// Of the frames that are not identical, if any.
std::string DecibelsOf(const Spread& psnr, double value) {
  return psnr.GetCount() == 0 ? "identical" : Fixed(value, 2);
}

std::string PartsText(const Comparison& comparison) {
  TextTable table("lrrrrr");
  table.Add({"", "PSNR (dB)", "mean of frames", "lowest", "SSIM", "lowest"});
  for (std::size_t i = 0; i < kParts.size(); ++i) {
    const PartQuality& part = comparison.parts[i];
    table.Add({kParts[i].text, Decibels(part.PsnrOfMeanError()),
               DecibelsOf(part.GetPsnr(), part.GetPsnr().GetMean()),
               DecibelsOf(part.GetPsnr(), part.GetPsnr().GetMin()),
               Fixed(part.GetSsim().GetMean(), 5), Fixed(part.GetSsim().GetMin(), 5)});
  }
  return table.ToText(2);
}

std::string WorstText(const Comparison& comparison) {
  const auto worst = comparison.FindWorst(kListedWorst);
  if (worst.empty()) return {};
  TextTable table("rlrrrrr");
  table.Add({"frame", "timecode", "PSNR Y", "Cb", "Cr", "all", "SSIM all"});
  for (const std::size_t i : worst) {
    const ComparedFrame& frame = comparison.frames[i];
    table.Add({std::to_string(frame.number),
               comparison.timecode ? (*comparison.timecode + frame.number).ToText() : "-",
               Decibels(comparison.PsnrOf(frame, 0)), Decibels(comparison.PsnrOf(frame, 1)),
               Decibels(comparison.PsnrOf(frame, 2)), Decibels(comparison.PsnrOf(frame, 3)),
               Fixed(frame.quality.parts[FrameQuality::kAll].ssim, 5)});
  }
  return "\nWorst frames:\n" + table.ToText(2);
}

std::string FramesText(const Comparison& comparison) {
  std::string text = Count(std::ssize(comparison.frames), "frame") + " compared in " +
                     std::to_string(comparison.bits) + " bits";
  if (comparison.identical == std::ssize(comparison.frames)) return text + ", all identical";
  return text + ", " + std::to_string(comparison.identical) + " identical";
}

// The pictures that were compared although they are not what was encoded.
std::string DamageText(const Comparison& comparison) {
  constexpr std::size_t kMostLines = 10;
  std::string text;
  for (const ComparedVideo* video : {&comparison.reference, &comparison.distorted}) {
    const auto& damage = video->damage;
    if (damage.empty()) continue;
    text += "\nDamaged frames of " + video->name + ":\n";
    for (std::size_t i = 0; i < std::min(damage.size(), kMostLines); ++i) {
      text += "  " + Describe(damage[i]) + "\n";
    }
    if (damage.size() <= kMostLines) continue;
    text += "  and " + std::to_string(damage.size() - kMostLines) + " more, which --json lists\n";
  }
  return text;
}

Json DamageJson(const std::vector<DamagedPicture>& damage) {
  Json json = Json::array();
  for (const DamagedPicture& each : damage) {
    Json entry = PlaceJson(each.place);
    entry["what"] = each.what;
    json.push_back(std::move(entry));
  }
  return json;
}

Json DecibelsJson(double value) {
  return std::isinf(value) ? Json() : Json(value);
}

Json VideoJson(const ComparedVideo& video) {
  return {{"input", video.name},
          {"name", DescribeCode(video.format.code)},
          {"width", video.format.width},
          {"height", video.format.height},
          {"rate", Describe(video.format.rate)},
          {"bits", SampleBits(video.picture)},
          {"damage", DamageJson(video.damage)}};
}

Json PsnrJson(const PartQuality& part) {
  const Spread& psnr = part.GetPsnr();
  const bool isIdentical = psnr.GetCount() == 0;
  return {{"ofMeanSquaredError", DecibelsJson(part.PsnrOfMeanError())},
          {"meanOfFrames", isIdentical ? Json() : Json(psnr.GetMean())},
          {"min", isIdentical ? Json() : Json(psnr.GetMin())}};
}

Json FrameJson(const Comparison& comparison, const ComparedFrame& frame) {
  Json json;
  json["frame"] = frame.number;
  json["timecode"] =
      comparison.timecode ? Json((*comparison.timecode + frame.number).ToText()) : Json();
  json["identical"] = frame.quality.IsIdentical();
  for (std::size_t i = 0; i < kParts.size(); ++i) {
    json["psnr"][kParts[i].key] = DecibelsJson(comparison.PsnrOf(frame, i));
  }
  for (std::size_t i = 0; i < kParts.size(); ++i) {
    json["ssim"][kParts[i].key] = frame.quality.parts[i].ssim;
  }
  json["bytes"] = frame.bytes ? Json(*frame.bytes) : Json();
  return json;
}

}  // namespace

std::string DescribePsnr(double decibels) {
  return std::isinf(decibels) ? "identical" : Fixed(decibels, 2) + " dB";
}

std::string DescribeVideo(const ComparedVideo& video) {
  return DescribeCode(video.format.code) + ", " +
         DescribeSize(video.format.width, video.format.height) + ", " +
         Describe(video.format.fieldOrder) + ", " + Describe(video.format.rate) + " fps";
}

std::string ComparisonText(const Comparison& comparison) {
  TextTable videos("lll");
  for (const auto& [role, video] : {std::pair("reference", &comparison.reference),
                                    std::pair("distorted", &comparison.distorted)}) {
    videos.Add({role, video->name, DescribeVideo(*video)});
  }
  return videos.ToText(0) + FramesText(comparison) + "\n\n" + PartsText(comparison) +
         WorstText(comparison) + DamageText(comparison);
}

std::string ComparisonJson(const Comparison& comparison) {
  Json json;
  json["command"] = "compare";
  json["status"] = "done";
  json["reference"] = VideoJson(comparison.reference);
  json["distorted"] = VideoJson(comparison.distorted);
  json["bits"] = comparison.bits;
  json["framesCompared"] = comparison.frames.size();
  json["identicalFrames"] = comparison.identical;
  json["identical"] = comparison.identical == std::ssize(comparison.frames);
  for (std::size_t i = 0; i < kParts.size(); ++i) {
    json["psnr"][kParts[i].key] = PsnrJson(comparison.parts[i]);
  }
  for (std::size_t i = 0; i < kParts.size(); ++i) {
    const Spread& ssim = comparison.parts[i].GetSsim();
    json["ssim"][kParts[i].key] = {{"mean", ssim.GetMean()}, {"min", ssim.GetMin()}};
  }
  json["worstFrames"] = Json::array();
  for (const std::size_t i : comparison.FindWorst(kListedWorst)) {
    json["worstFrames"].push_back(comparison.frames[i].number);
  }
  json["frames"] = Json::array();
  for (const ComparedFrame& frame : comparison.frames) {
    json["frames"].push_back(FrameJson(comparison, frame));
  }
  // File names need not be UTF-8, JSON texts must be.
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace vixprores
