// SPDX-License-Identifier: BSD-2-Clause
#include "report/StillsReport.h"

#include <nlohmann/json.hpp>

#include "base/Text.h"

namespace vixprores {
namespace {

using Json = nlohmann::ordered_json;

// "frame 12", "frames 12 to 228"
std::string FramesText(const std::vector<StillReport>& stills) {
  const std::string first = std::to_string(stills.front().number);
  if (stills.size() == 1) return "frame " + first;
  return "frames " + first + " to " + std::to_string(stills.back().number);
}

Json ToJson(const StillReport& still) {
  Json json;
  json["frame"] = still.number;
  json["timecode"] = still.timecode ? Json(still.timecode->ToText()) : Json();
  json["file"] = still.file.empty() ? Json() : Json(still.file);
  if (still.damage) json["damage"] = still.damage->what;
  return json;
}

}  // namespace

std::string StillsText(const StillsReport& report) {
  const std::string frames = FramesText(report.stills);
  std::string text;
  if (!report.folder.empty()) {
    text = report.folder + ": " + Count(std::ssize(report.stills), "still") + " of " +
           DescribeSize(report.size.width, report.size.height) + ", " + frames;
  }
  if (report.sheet.empty()) return text;
  return text + (text.empty() ? "" : "; ") + report.sheet + ": " +
         Count(std::ssize(report.stills), "picture") + ", " + frames;
}

std::string StillsJson(const StillsReport& report) {
  Json json;
  json["command"] = "thumbs";
  json["status"] = "done";
  json["input"] = report.input;
  json["sheet"] = report.sheet.empty() ? Json() : Json(report.sheet);
  json["stills"] = Json::array();
  for (const StillReport& still : report.stills) json["stills"].push_back(ToJson(still));
  // File names need not be UTF-8, JSON texts must be.
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace vixprores
