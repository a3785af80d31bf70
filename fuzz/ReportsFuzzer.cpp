// SPDX-License-Identifier: BSD-2-Clause
// Reports arbitrary names, labels and numbers. JSON must hold the same texts, pages must have the
// elements of their template alone, and nothing may control the terminal.
#include <algorithm>
#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "CapturedOutput.h"
#include "FuzzInput.h"
#include "Require.h"
#include "base/Text.h"
#include "report/InspectionReport.h"
#include "report/Pages.h"
#include "report/Report.h"
#include "run/RunReport.h"

namespace vixprores {
extern const std::array<std::string_view, 3> kPageParts;
}  // namespace vixprores

namespace {

using namespace vixprores;
using Json = nlohmann::ordered_json;

// Invents values of reports.
class Invention {
 public:
  Invention(const std::uint8_t* data, std::size_t size) : input_(data, size) {}

  std::string Text() {
    const auto bytes = input_.Take(input_.Byte() % 32);
    return {bytes.begin(), bytes.end()};
  }
  std::int64_t Number() {
    const auto value = static_cast<std::int64_t>(input_.Word());
    return input_.Byte() < 224 ? value : (value - 0x8000) * (INT64_C(1) << 40);
  }
  double Seconds() { return static_cast<double>(Number()) / 1000; }
  bool Choice() { return (input_.Byte() & 1) != 0; }
  StreamFormat Format() {
    StreamFormat format;
    format.width = input_.Word();
    format.height = input_.Word();
    format.rate = {static_cast<int>(input_.Word()), static_cast<int>(input_.Byte()) + 1};
    format.colour = Colour{input_.Byte(), input_.Byte(), input_.Byte()};
    return format;
  }
  FramePlace Place() { return {Number(), Number(), std::nullopt, Number()}; }
  int Count() { return input_.Byte() % 4; }

 private:
  FuzzInput input_;
};

StreamStatistics InventStream(Invention& invent) {
  StreamStatistics stream;
  stream.name = invent.Text();
  stream.note = invent.Text();
  stream.failure = invent.Text();
  stream.format = invent.Format();
  if (invent.Choice()) stream.container = invent.Format();
  if (invent.Choice()) stream.timecode = Timecode::Find(invent.Text(), {25, 1});
  for (int count = invent.Count(); count > 0; --count)
    stream.metadata[invent.Text()] = invent.Text();
  for (int count = invent.Count(); count > 0; --count) {
    stream.changes.push_back({"property", invent.Number(), invent.Text(), invent.Text()});
  }
  for (int count = invent.Count(); count > 0; --count) {
    FrameStatistics frame;
    frame.number = invent.Number();
    frame.fault = invent.Text();
    frame.bytes = static_cast<std::size_t>(std::max<std::int64_t>(invent.Number(), 0));
    frame.isThere = invent.Choice();
    frame.quantisers.Add(invent.Count());
    stream.bytes.Add(static_cast<double>(frame.bytes));
    stream.frames.push_back(std::move(frame));
  }
  return stream;
}

RunReport InventRun(Invention& invent) {
  RunReport report;
  report.command = "encode";
  report.status = static_cast<RunReport::Status>(invent.Count());
  report.message = invent.Text();
  report.input = invent.Text();
  report.output = invent.Text();
  report.timecode = invent.Text();
  report.source = report.result = invent.Format();
  report.frames = invent.Number();
  report.seconds = invent.Seconds();
  for (int count = invent.Count(); count > 0; --count) {
    report.damage.push_back({invent.Place(), invent.Text(),
                             static_cast<FrameDamage::Treatment>(invent.Count()), invent.Text()});
    report.soundDamage.push_back({SoundDamage::Kind::Missing, SoundDamage::Treatment::LeftOut, 0,
                                  invent.Seconds(), invent.Seconds()});
  }
  return report;
}

void RequirePrintable(std::string_view text) {
  Require(text == PrintableText(text));
}

// Returns the JSON, which must not control a terminal that it is printed on.
Json Parse(std::string_view text) {
  RequirePrintable(text);
  const Json json = Json::parse(text, nullptr, false);
  Require(!json.is_discarded());
  return json;
}

// Requires the text as it was, except for bytes that are not UTF-8.
void RequireText(const Json& json, const std::string& text) {
  using Handler = Json::error_handler_t;
  const auto dump = [&text](Handler handler) { return Json(text).dump(-1, ' ', false, handler); };
  if (dump(Handler::ignore) == dump(Handler::replace)) Require(json.get<std::string>() == text);
}

void CheckPage(std::string_view page) {
  for (std::size_t part = 0; part < kPageParts.size(); ++part) {
    Require(page.starts_with(kPageParts[part]));
    page.remove_prefix(kPageParts[part].size());
    const auto data = page.substr(0, page.find('<'));
    if (part + 1 < kPageParts.size()) Require(Json::accept(data));
    page.remove_prefix(data.size());
  }
  Require(page.empty());
}

void CheckInspection(const StreamStatistics& stream) {
  std::string json;
  WriteInspectionJson(stream, [&json](std::string_view text) { json += text; });
  const Json parsed = Parse(json);
  RequireText(parsed["input"], stream.name);
  Require(parsed["frames"].size() == stream.frames.size());
  std::string text;
  WriteInspectionText(stream, [&text](std::string_view part) { text += part; });
  RequirePrintable(text);
  CheckPage(InspectionPage(stream, {}));
}

void CheckRun(const RunReport& report) {
  Parse(SummaryJson(report));
  Parse(BatchJson({report, report}));
  Parse(ProgressJson(report, std::nullopt));
  RequireText(Parse(ErrorJson(report.message))["error"], report.message);
  CapturedOutput errors(stderr);
  PrintText(stderr, SummaryLine(report));
  PrintText(stderr, BatchTable({report}));
  PrintText(stderr, ProgressText(report, report.frames));
  PrintDamage(report);
  RequirePrintable(errors.GetText());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Invention invent(data, size);
  invent.Choice() ? CheckInspection(InventStream(invent)) : CheckRun(InventRun(invent));
  return 0;
}
