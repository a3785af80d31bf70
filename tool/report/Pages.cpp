// SPDX-License-Identifier: BSD-2-Clause
#include "report/Pages.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/RgbPicture.h"
#include "report/ComparisonReport.h"
#include "report/InspectionReport.h"
#include "report/VerificationReport.h"

extern "C" {
#include <libavutil/base64.h>
}

namespace vixprores {

// The parts of a page before the report, between the report and the page's own data, and after
// both. Generated from report/pages by cmake/EmbedPages.cmake.
extern const std::array<std::string_view, 3> kPageParts;

namespace {

// In a script element '<' must not start a tag or a comment.
std::string MakePage(const std::string& report, const std::string& extra) {
  std::string page(kPageParts[0]);
  page += Replace(report, "<", "\\u003c");
  page += kPageParts[1];
  page += Replace(extra, "<", "\\u003c");
  page += kPageParts[2];
  return page;
}

struct ShownFrames {
  std::size_t group = 1;             // frames per shown frame
  std::vector<std::size_t> indices;  // ascending
};

// Chooses the frames that a page shows.
// @param notability rates a frame; the frame with the highest value represents its group
template <typename Frame, typename Notability, typename HasFault>
ShownFrames ChooseFrames(const std::vector<Frame>& frames, const Notability& notability,
                         const HasFault& hasFault) {
  ShownFrames shown;
  shown.group = std::max<std::size_t>(1, (frames.size() + kMostPageGroups - 1) / kMostPageGroups);
  for (std::size_t begin = 0; begin < frames.size(); begin += shown.group) {
    const auto first = frames.begin() + static_cast<std::ptrdiff_t>(begin);
    const auto end =
        first + static_cast<std::ptrdiff_t>(std::min(shown.group, frames.size() - begin));
    const auto most = std::max_element(
        first, end, [&](const Frame& a, const Frame& b) { return notability(a) < notability(b); });
    const auto faulty = std::find_if(first, end, hasFault);
    for (const auto& frame : {std::min(most, faulty), std::max(most, faulty)}) {
      const auto index = static_cast<std::size_t>(frame - frames.begin());
      if (frame != end && (shown.indices.empty() || shown.indices.back() != index)) {
        shown.indices.push_back(index);
      }
    }
  }
  return shown;
}

ShownFrames ChooseFrames(const std::vector<FrameStatistics>& frames) {
  return ChooseFrames(
      frames, [](const FrameStatistics& frame) { return frame.bytes; },
      [](const FrameStatistics& frame) { return !frame.fault.empty(); });
}

// Truncates a list to its first elements.
void Cut(JsonValue& list) {
  if (list.size() > kMostPageRows) list.erase(list.begin() + kMostPageRows, list.end());
}

JsonValue PictureJson(const std::optional<RgbPicture>& picture) {
  if (!picture) return {};
  const std::vector<std::uint8_t> png = EncodePng(*picture);
  std::string base64(AV_BASE64_SIZE(png.size()), '\0');
  if (av_base64_encode(base64.data(), static_cast<int>(base64.size()), png.data(),
                       static_cast<int>(png.size())) == nullptr) {
    throw Failure("a picture is too large for the page");
  }
  base64.pop_back();  // the terminating null
  return {{"source", "data:image/png;base64," + base64},
          {"width", picture->width},
          {"height", picture->height}};
}

// Returns null if there is nothing to draw, or too much.
JsonValue GridJson(const SliceGrid& grid) {
  if (grid.Count() == 0 || grid.Count() > kMostPageSlices) return {};
  JsonValue json;
  json["rows"] = grid.rows;
  json["rowLines"] = grid.rowLines;
  json["macroblocks"] = grid.macroblocks;
  // The picture may end inside the last macroblocks.
  json["shownRows"] = grid.rows + grid.lastRowShare - 1;
  json["shownMacroblocks"] = grid.macroblocks + grid.lastMacroblockShare - 1;
  json["columns"] = JsonValue::array();
  for (const auto& span : grid.columns) {
    json["columns"].push_back({span.firstMacroblock, span.macroblocks});
  }
  json["quantisers"] = grid.quantisers;
  json["bytes"] = grid.bytes;
  return json;
}

JsonValue MapsJson(const std::vector<MappedFrame>& frames,
                   const std::optional<Timecode>& timecode) {
  JsonValue json = JsonValue::array();
  for (const MappedFrame& frame : frames) {
    json.push_back({{"name", frame.name},
                    {"frame", frame.number},
                    {"timecode", TimecodeJson(timecode, frame.number)},
                    {"picture", PictureJson(frame.picture)},
                    {"grid", GridJson(frame.grid)},
                    {"slices", frame.grid.Count()}});
  }
  return json;
}

JsonValue DamageMapsJson(const std::vector<DamageMap>& maps) {
  JsonValue json = JsonValue::array();
  for (const DamageMap& map : maps) {
    JsonValue entry = {{"frame", map.place.number},
                       {"timecode", PlaceJson(map.place)["timecode"]},
                       {"grid", GridJson(map.grid)},
                       {"slices", map.damaged.size()},
                       {"damaged", JsonValue::array()}};
    if (!entry["grid"].is_null()) {
      for (const DamagedSlice& slice : map.damaged) {
        for (const std::size_t cell : map.grid.FindCells(slice.row, slice.span)) {
          entry["damaged"].push_back({cell, slice.picture + 1});
        }
      }
    }
    json.push_back(std::move(entry));
  }
  return json;
}

JsonValue WorstJson(const WorstPictures& worst, const std::optional<Timecode>& timecode) {
  return {{"frame", worst.number},
          {"timecode", TimecodeJson(timecode, worst.number)},
          {"reference", PictureJson(worst.reference)},
          {"distorted", PictureJson(worst.distorted)},
          {"referencePart", PictureJson(worst.referencePart)},
          {"distortedPart", PictureJson(worst.distortedPart)}};
}

// Returns the sizes of the frames as columns, which are shorter than objects.
JsonValue SizesJson(const StreamStatistics& stream, const ShownFrames& shown) {
  JsonValue json;
  for (const char* column : {"frames", "counts", "timecodes", "bytes", "faulty"}) {
    json[column] = JsonValue::array();
  }
  for (const std::size_t i : shown.indices) {
    const FrameStatistics& frame = stream.frames[i];
    if (!frame.fault.empty()) json["faulty"].push_back(json["frames"].size());
    json["frames"].push_back(frame.number);
    json["counts"].push_back(frame.count);
    json["timecodes"].push_back(TimecodeJson(stream.timecode, frame.number));
    json["bytes"].push_back(frame.isThere ? JsonValue(frame.bytes) : JsonValue());
  }
  return json;
}

}  // namespace

std::span<const std::uint8_t> AsBytes(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string InspectionPage(const StreamStatistics& stream, const std::vector<MappedFrame>& frames) {
  const ShownFrames shown = ChooseFrames(stream.frames);
  JsonValue report = SummaryJson(stream);
  report["frames"] = JsonValue::array();
  for (const std::size_t i : shown.indices) {
    report["frames"].push_back(FrameJson(stream, stream.frames[i]));
  }
  const JsonValue extra = {{"group", shown.group}, {"maps", MapsJson(frames, stream.timecode)}};
  return MakePage(Dump(report), Dump(extra));
}

std::string ComparisonPage(const Comparison& comparison, const std::optional<WorstPictures>& worst,
                           const std::vector<MappedFrame>& mapped,
                           const std::optional<std::uint32_t>& target) {
  const ShownFrames shown = ChooseFrames(
      comparison.frames,
      [&](const ComparedFrame& frame) { return -comparison.PsnrOf(frame, FrameQuality::kAll); },
      [](const ComparedFrame&) { return false; });
  JsonValue report = SummaryJson(comparison);
  Cut(report["reference"]["damage"]);
  Cut(report["distorted"]["damage"]);
  report["frames"] = JsonValue::array();
  for (const std::size_t i : shown.indices) {
    report["frames"].push_back(FrameJson(comparison, comparison.frames[i]));
  }
  const JsonValue extra = {{"group", shown.group},
                           {"targetBytes", OrNull(target)},
                           {"hasAlpha", comparison.distorted.format.HasAlpha()},
                           {"fieldOrders",
                            {{"reference", Describe(comparison.reference.format.fieldOrder)},
                             {"distorted", Describe(comparison.distorted.format.fieldOrder)}}},
                           {"damaged",
                            {{"reference", comparison.reference.damage.size()},
                             {"distorted", comparison.distorted.damage.size()}}},
                           {"worst", worst ? WorstJson(*worst, comparison.timecode) : JsonValue()},
                           {"maps", MapsJson(mapped, comparison.timecode)}};
  return MakePage(Dump(report), Dump(extra));
}

void VerificationPage::Add(const Verification& file, const std::optional<VerifiedStream>& stream) {
  isIntact_ = isIntact_ && file.IsIntact();
  JsonValue report = SummaryJson(file);
  Cut(report["soundDamage"]);
  report["damage"] = JsonValue::array();
  JsonValue slices = JsonValue::array();
  for (const DamagedFrame& frame : file.damage) {
    if (slices.size() == kMostPageRows) break;
    report["damage"].push_back(DamageJson(frame, kMostNamedSlices));
    slices.push_back(frame.check.slices.size());
  }
  report["indexFaults"] = file.index;
  reports_.push_back(Dump(report));

  JsonValue extra = {{"stream", nullptr},
                     {"damaged", file.damage.size()},
                     {"slices", std::move(slices)},
                     {"soundDamaged", file.soundDamage.size()}};
  if (stream) {
    const ShownFrames shown = ChooseFrames(stream->statistics.frames);
    extra["stream"] = SummaryJson(stream->statistics);
    extra["group"] = shown.group;
    extra["sizes"] = SizesJson(stream->statistics, shown);
    extra["maps"] = DamageMapsJson(stream->maps);
  }
  extras_.push_back(Dump(extra));
}

std::string VerificationPage::Finish() const {
  return MakePage(R"({"command":"verify","intact":)" + std::string(isIntact_ ? "true" : "false") +
                      ",\"files\":[" + Join(reports_, ",") + "]}",
                  "{\"files\":[" + Join(extras_, ",") + "]}");
}

}  // namespace vixprores
