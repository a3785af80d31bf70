// SPDX-License-Identifier: BSD-2-Clause
#include "report/VerificationReport.h"

#include <algorithm>
#include <iterator>

#include "base/Text.h"

namespace vixprores {
namespace {

JsonValue SliceJson(const DamagedSlice& slice) {
  return {{"picture", slice.picture + 1},
          {"row", slice.row},
          {"slice", slice.index},
          {"offsetInFrame", slice.offset}};
}

JsonValue ShortfallsJson(const std::vector<Shortfall>& shortfalls) {
  JsonValue json = JsonValue::array();
  for (const auto& [property, found, expected] : shortfalls) {
    json.push_back({{"property", property}, {"found", found}, {"expected", expected}});
  }
  return json;
}

// Returns text like "picture 1 row 2 slice 1, picture 2 row 0 slice 3 and 5 more".
std::string SlicesText(const std::vector<DamagedSlice>& slices) {
  std::string text;
  for (std::size_t i = 0; i < std::min(slices.size(), kMostNamedSlices); ++i) {
    text += (i == 0 ? "picture " : ", picture ") + std::to_string(slices[i].picture + 1) + " row " +
            std::to_string(slices[i].row) + " slice " + std::to_string(slices[i].index);
  }
  if (slices.size() <= kMostNamedSlices) return text;
  return text + " and " + std::to_string(slices.size() - kMostNamedSlices) + " more";
}

void WriteDamage(const DamagedFrame& frame, const TextSink& write) {
  WriteWithList(write, DamageJson(frame, 0), "slices", frame.check.slices.size(),
                [&](std::size_t i) { write(Dump(SliceJson(frame.check.slices[i]))); });
}

void WriteFile(const Verification& file, const TextSink& write) {
  WriteWithList(write, SummaryJson(file), "damage", file.damage.size(),
                [&](std::size_t i) { WriteDamage(file.damage[i], write); },
                {{"indexFaults", file.index}});
}

}  // namespace

std::string DescribeDamage(const DamagedFrame& frame) {
  const std::string what = Inflect(frame.check.Describe(), frame.place.count);
  std::string text = Describe(frame.place) + ": " + PrintableLine(what);
  if (frame.check.slices.empty()) return text;
  return text + " (" + SlicesText(frame.check.slices) + ")";
}

std::string DescribeShortfall(const Shortfall& shortfall) {
  return shortfall.property + " is " + PrintableLine(shortfall.found) + ", expected " +
         PrintableLine(shortfall.expected);
}

std::string DescribeOutcome(const Verification& file) {
  const std::string name = PrintableLine(file.file);
  if (!file.error.empty() && file.frames == 0) return name + ": not verified";
  const std::string frames = name + ": " + Count(file.frames, "frame");
  const auto unmet = std::ssize(file.shortfalls);
  const std::string shortfalls = !file.isExpected ? ""
                                 : unmet == 0     ? ", as expected"
                                                  : ", " + Count(unmet, "unmet expectation");
  if (file.IsIntact()) return frames + ", intact" + shortfalls;
  std::string text = frames + ", " + std::to_string(file.damagedFrames) + " damaged";
  if (!file.soundDamage.empty()) text += ", " + SumUp(file.soundDamage);
  if (!file.index.empty()) text += ", index damaged";
  if (!file.error.empty()) text += ", not verified to its end";
  return text + shortfalls;
}

JsonValue SummaryJson(const Verification& file) {
  JsonValue json;
  json["file"] = file.file;
  json["intact"] = file.IsIntact();
  if (!file.error.empty()) json["error"] = file.error;
  if (!file.note.empty()) json["note"] = file.note;
  if (file.isExpected) json["shortfalls"] = ShortfallsJson(file.shortfalls);
  json["frames"] = file.frames;
  json["damagedFrames"] = file.damagedFrames;
  AddSoundDamage(file.soundDamage, json);
  return json;
}

JsonValue DamageJson(const DamagedFrame& frame, std::size_t mostSlices) {
  JsonValue json = PlaceJson(frame.place);
  json["faults"] = frame.check.faults;
  if (mostSlices == 0) return json;
  json["slices"] = JsonValue::array();
  for (const DamagedSlice& slice : frame.check.slices) {
    if (json["slices"].size() == mostSlices) break;
    json["slices"].push_back(SliceJson(slice));
  }
  return json;
}

void WriteVerificationJson(const std::vector<Verification>& files, const TextSink& write) {
  const bool isIntact = std::ranges::all_of(files, &Verification::IsIntact);
  WriteWithList(write, {{"command", "verify"}, {"intact", isIntact}}, "files", files.size(),
                [&](std::size_t i) { WriteFile(files[i], write); });
}

}  // namespace vixprores
