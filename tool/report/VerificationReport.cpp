// SPDX-License-Identifier: BSD-2-Clause
#include "report/VerificationReport.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/Text.h"
#include "report/PlaceJson.h"
#include "report/SoundDamageJson.h"

namespace vixprores {
namespace {

using Json = nlohmann::ordered_json;

// More of them are told in JSON only.
constexpr std::size_t kSlicesTold = 4;

Json ToJson(const DamagedSlice& slice) {
  return {{"picture", slice.picture + 1},
          {"row", slice.row},
          {"slice", slice.index},
          {"offsetInFrame", slice.offset}};
}

Json ToJson(const DamagedFrame& frame) {
  Json json = PlaceJson(frame.place);
  json["faults"] = frame.check.faults;
  json["slices"] = Json::array();
  for (const DamagedSlice& slice : frame.check.slices) json["slices"].push_back(ToJson(slice));
  return json;
}

Json ToJson(const Verification& file) {
  Json json;
  json["file"] = file.file;
  json["intact"] = file.IsIntact();
  if (!file.error.empty()) json["error"] = file.error;
  if (!file.note.empty()) json["note"] = file.note;
  json["frames"] = file.frames;
  json["damagedFrames"] = file.damagedFrames;
  AddSoundDamage(file.soundDamage, json);
  json["damage"] = Json::array();
  for (const DamagedFrame& frame : file.damage) json["damage"].push_back(ToJson(frame));
  json["indexFaults"] = file.index;
  return json;
}

}  // namespace

std::string DescribeDamage(const DamagedFrame& frame) {
  std::string text = Describe(frame.place) + ": " + frame.check.Describe();
  if (frame.check.slices.empty()) return text;
  return text + " (" + DescribeSlices(frame.check.slices) + ")";
}

std::string DescribeSlices(std::span<const DamagedSlice> slices) {
  std::string text;
  for (const DamagedSlice& slice : slices.first(std::min(slices.size(), kSlicesTold))) {
    text += (text.empty() ? "picture " : ", picture ") + std::to_string(slice.picture + 1) +
            " row " + std::to_string(slice.row) + " slice " + std::to_string(slice.index);
  }
  if (slices.size() <= kSlicesTold) return text;
  return text + " and " + std::to_string(slices.size() - kSlicesTold) + " more";
}

std::string DescribeOutcome(const Verification& file) {
  if (!file.error.empty() && file.frames == 0) return file.file + ": not verified";
  const std::string frames = file.file + ": " + Count(file.frames, "frame");
  if (file.IsIntact()) return frames + ", intact";
  std::string text = frames + ", " + std::to_string(file.damagedFrames) + " damaged";
  if (!file.soundDamage.empty()) text += ", " + SumUp(file.soundDamage);
  if (!file.index.empty()) text += ", index damaged";
  if (!file.error.empty()) text += ", not verified to its end";
  return text;
}

std::string VerificationJson(const std::vector<Verification>& files) {
  Json json;
  json["command"] = "verify";
  json["intact"] = std::ranges::all_of(files, &Verification::IsIntact);
  json["files"] = Json::array();
  for (const Verification& file : files) json["files"].push_back(ToJson(file));
  // File names need not be UTF-8, JSON texts must be.
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace vixprores
