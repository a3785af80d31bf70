// SPDX-License-Identifier: BSD-2-Clause
#include "report/StillsReport.h"

#include "base/Text.h"
#include "report/Json.h"

namespace vixprores {
namespace {

// Returns text like "frame 12" or "frames 12 to 228".
std::string FramesText(const std::vector<StillReport>& stills) {
  const std::string first = std::to_string(stills.front().number);
  if (stills.size() == 1) return "frame " + first;
  return "frames " + first + " to " + std::to_string(stills.back().number);
}

JsonValue ToJson(const StillReport& still) {
  JsonValue json;
  json["frame"] = still.number;
  json["timecode"] = TimecodeJson(still.timecode, 0);
  json["file"] = still.file.empty() ? JsonValue() : JsonValue(still.file);
  if (still.damage) json["damage"] = still.damage->what;
  return json;
}

}  // namespace

std::string StillsText(const StillsReport& report) {
  const std::string frames = FramesText(report.stills);
  std::string text;
  if (!report.folder.empty()) {
    text = PrintableLine(report.folder) + ": " + Count(std::ssize(report.stills), "still") +
           " of " + DescribeSize(report.size.width, report.size.height) + ", " + frames;
  }
  if (report.sheet.empty()) return text;
  return text + (text.empty() ? "" : "; ") + PrintableLine(report.sheet) + ": " +
         Count(std::ssize(report.stills), "picture") + ", " + frames;
}

std::string StillsJson(const StillsReport& report) {
  JsonValue json;
  json["command"] = "thumbs";
  json["status"] = "done";
  json["input"] = report.input;
  json["sheet"] = report.sheet.empty() ? JsonValue() : JsonValue(report.sheet);
  json["stills"] = JsonValue::array();
  for (const StillReport& still : report.stills) json["stills"].push_back(ToJson(still));
  return Dump(json);
}

}  // namespace vixprores
