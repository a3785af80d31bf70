// SPDX-License-Identifier: BSD-2-Clause
#include "report/VerificationPage.h"

#include <utility>
#include <vector>

#include "base/Text.h"
#include "recovery/IndexCheck.h"
#include "report/HtmlChart.h"
#include "report/HtmlPictures.h"
#include "report/InspectionPage.h"
#include "report/InspectionReport.h"
#include "report/VerificationReport.h"

namespace vixprores {
namespace {

// "intact"; of others what is wrong with the whole of the file
std::string OutcomeOf(const Verification& file) {
  if (file.IsIntact()) return "intact";
  if (file.error.empty()) return "damaged";
  return file.frames == 0 ? "not verified" : "not verified to its end";
}

HtmlMark MarkOf(bool isIntact) {
  return isIntact ? HtmlMark::Good : HtmlMark::Bad;
}

HtmlTable::Row SummaryRow(const Verification& file) {
  const HtmlMark mark = MarkOf(file.IsIntact());
  return {{file.file, std::to_string(file.frames), std::to_string(file.damagedFrames),
           SymbolOf(mark) + OutcomeOf(file)},
          mark};
}

std::string Join(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) all += (all.empty() ? "" : "; ") + text;
  return all;
}

HtmlTable DamageTable(const Verification& file) {
  HtmlTable table{
      "Damaged frames", {"Frame", "Timecode", "Byte in the file", "Faults", "Damaged slices"}, {}};
  for (const auto& [place, check] : file.damage) {
    if (table.rows.size() == kMostTableRows) break;
    table.rows.push_back({{DescribeNumbers(place.number, place.count),
                           place.timecode ? place.timecode->ToText() : std::string(),
                           place.offset ? std::to_string(*place.offset) : std::string(),
                           Join(check.faults), DescribeSlices(check.slices)}});
  }
  return table;
}

void AddIndex(HtmlPart& part, const Verification& file) {
  if (file.index.empty()) return;
  part.AddSubheading("Damaged index");
  for (const std::string& fault : file.index) part.AddParagraph(DescribeIndexFault(fault));
}

void AddDamage(HtmlPart& part, const Verification& file) {
  if (file.damage.empty()) return;
  part.AddSubheading("Damaged frames");
  part.AddTable(DamageTable(file));
  if (file.damage.size() <= kMostTableRows) return;
  part.AddParagraph("These are the first ones; 'vixprores verify --json' lists all of them.");
}

void AddMaps(HtmlPart& part, const std::vector<DamageMap>& maps) {
  if (maps.empty()) return;
  part.AddSubheading("Where the damaged slices are");
  part.AddParagraph("The slices of the first " + Count(std::ssize(maps), "frame") +
                    " with damaged ones. The two fields of a frame are shown together.");
  part.Add("<div class=\"maps\">\n");
  for (const auto& [place, grid, damaged] : maps) {
    std::string name = "Frame " + std::to_string(place.number);
    if (place.timecode) name += " (" + place.timecode->ToText() + ")";
    part.Add(
        DamageMapHtml(name + ": " + Count(std::ssize(damaged), "damaged slice"), grid, damaged));
  }
  part.Add("</div>\n");
}

}  // namespace

void VerificationPage::Add(const Verification& file, const std::optional<VerifiedStream>& stream) {
  summary_.rows.push_back(SummaryRow(file));
  frames_ += file.frames;
  damagedFrames_ += file.damagedFrames;
  intactFiles_ += file.IsIntact() ? 1 : 0;
  files_.AddHeading(file.file);
  if (!file.error.empty()) files_.AddParagraph(file.error);
  if (!file.note.empty()) files_.AddParagraph(file.note);
  if (!stream) return;
  const StreamStatistics& statistics = stream->statistics;
  files_.AddParagraph(DescribeStream(statistics));
  if (const auto properties = CompareProperties(statistics); !properties.empty()) {
    files_.AddTable(PropertiesTable(properties));
  }
  if (!statistics.frames.empty()) files_.AddSubheading("Frame by frame");
  files_.Add(ChartHtml(SizeChart(statistics, "damaged")));
  AddIndex(files_, file);
  AddDamage(files_, file);
  AddMaps(files_, stream->maps);
}

std::string VerificationPage::Title() const {
  if (summary_.rows.size() == 1) return summary_.rows.front().cells.front();
  return "Verification of " + std::to_string(summary_.rows.size()) + " files";
}

std::string VerificationPage::Finish() const {
  const auto files = std::ssize(summary_.rows);
  HtmlPage page(Title(), Count(files, "file") + " checked for damage, frame by frame");
  page.AddFigures(
      {{"Files", std::to_string(files)},
       {"Intact files", std::to_string(intactFiles_), MarkOf(intactFiles_ == files)},
       {"Frames", std::to_string(frames_)},
       {"Damaged frames", std::to_string(damagedFrames_), MarkOf(damagedFrames_ == 0)}});
  page.AddHeading("Files");
  page.AddTable(summary_);
  page.Add(files_.GetHtml());
  return page.Finish();
}

}  // namespace vixprores
