// SPDX-License-Identifier: BSD-2-Clause
#include "report/ComparisonPage.h"

#include <array>
#include <cmath>
#include <utility>

#include "report/ComparisonReport.h"
#include "report/HtmlChart.h"
#include "report/HtmlPictures.h"
#include "report/TextTable.h"

namespace vixprores {
namespace {

constexpr std::size_t kAll = FrameQuality::kAll;
constexpr int kDifferenceGain = 8;

std::string TimecodeOf(const Comparison& comparison, std::int64_t frame) {
  return comparison.timecode ? (*comparison.timecode + frame).ToText() : std::string();
}

std::vector<HtmlFigure> Figures(const Comparison& comparison) {
  const PartQuality& all = comparison.parts[kAll];
  const PartQuality& luma = comparison.parts[0];
  const bool isIdentical = comparison.identical == std::ssize(comparison.frames);
  std::vector<HtmlFigure> figures{{"Frames", std::to_string(comparison.frames.size())},
                                  {"Identical", std::to_string(comparison.identical),
                                   isIdentical ? HtmlMark::Good : HtmlMark::None},
                                  {"PSNR, luma", DescribePsnr(luma.PsnrOfMeanError())},
                                  {"PSNR, all", DescribePsnr(all.PsnrOfMeanError())},
                                  {"SSIM, luma", Fixed(luma.GetSsim().GetMean(), 5)},
                                  {"SSIM, all", Fixed(all.GetSsim().GetMean(), 5)}};
  return figures;
}

HtmlTable VideosTable(const Comparison& comparison) {
  HtmlTable table{"The two videos", {"", "File", "Format", "Bits"}, {}};
  for (const auto& [role, video] : {std::pair("Reference", &comparison.reference),
                                    std::pair("Distorted", &comparison.distorted)}) {
    table.rows.push_back(
        {{role, video->name, DescribeVideo(*video), std::to_string(SampleBits(video->picture))}});
  }
  return table;
}

std::string Lowest(const Spread& psnr) {
  return psnr.GetCount() == 0 ? "identical" : Fixed(psnr.GetMin(), 2);
}

std::string Mean(const Spread& psnr) {
  return psnr.GetCount() == 0 ? "identical" : Fixed(psnr.GetMean(), 2);
}

HtmlTable PartsTable(const Comparison& comparison) {
  static constexpr std::array<const char*, 4> kNames{"Y", "Cb", "Cr", "All"};
  HtmlTable table{"Quality by plane",
                  {"Plane", "PSNR of the mean error (dB)", "Mean PSNR of frames", "Lowest PSNR",
                   "Mean SSIM", "Lowest SSIM"},
                  {},
                  true};
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    const PartQuality& part = comparison.parts[i];
    const double psnr = part.PsnrOfMeanError();
    table.rows.push_back({{kNames[i], std::isinf(psnr) ? "identical" : Fixed(psnr, 2),
                           Mean(part.GetPsnr()), Lowest(part.GetPsnr()),
                           Fixed(part.GetSsim().GetMean(), 5), Fixed(part.GetSsim().GetMin(), 5)}});
  }
  return table;
}

HtmlTable FramesTable(const Comparison& comparison) {
  HtmlTable table{
      "Frames", {"Frame", "Timecode", "PSNR Y", "Cb", "Cr", "All", "SSIM Y", "All"}, {}, true};
  for (const ComparedFrame& frame : comparison.frames) {
    HtmlTable::Row row{{std::to_string(frame.number), TimecodeOf(comparison, frame.number)}};
    for (std::size_t part = 0; part <= kAll; ++part) {
      const double psnr = comparison.PsnrOf(frame, part);
      row.cells.push_back(std::isinf(psnr) ? "identical" : Fixed(psnr, 2));
    }
    row.cells.push_back(Fixed(frame.quality.parts[0].ssim, 5));
    row.cells.push_back(Fixed(frame.quality.parts[kAll].ssim, 5));
    table.rows.push_back(std::move(row));
  }
  return table;
}

Chart QualityChart(std::string name, std::string unit, int decimals) {
  Chart chart;
  chart.name = std::move(name);
  chart.unit = std::move(unit);
  chart.decimals = decimals;
  chart.shape = Chart::Shape::Line;
  chart.standing = Chart::Standing::Smallest;
  chart.missing = "identical";
  return chart;
}

Chart PsnrChart(const Comparison& comparison) {
  Chart chart = QualityChart("PSNR of all samples", "dB", 2);
  for (const ComparedFrame& frame : comparison.frames) {
    const double psnr = comparison.PsnrOf(frame, kAll);
    chart.points.push_back({frame.number, TimecodeOf(comparison, frame.number),
                            std::isinf(psnr) ? std::nullopt : std::optional(psnr)});
  }
  return chart;
}

Chart SsimChart(const Comparison& comparison) {
  Chart chart = QualityChart("SSIM of all samples", "1 = identical", 5);
  chart.highest = 1;
  for (const ComparedFrame& frame : comparison.frames) {
    chart.points.push_back(
        {frame.number, TimecodeOf(comparison, frame.number), frame.quality.parts[kAll].ssim});
  }
  return chart;
}

Chart SizeChart(const Comparison& comparison, const std::optional<std::uint32_t>& target) {
  Chart chart;
  chart.name = "Size of each distorted frame";
  chart.unit = "bytes";
  chart.target = target;
  chart.targetName = "target of the variant";
  for (const ComparedFrame& frame : comparison.frames) {
    if (!frame.bytes) continue;
    chart.points.push_back(
        {frame.number, TimecodeOf(comparison, frame.number), static_cast<double>(*frame.bytes)});
  }
  return chart;
}

void AddWorst(HtmlPage& page, const Comparison& comparison, const WorstPictures& worst) {
  std::string name = "Frame " + std::to_string(worst.number);
  if (comparison.timecode) name += " (" + TimecodeOf(comparison, worst.number) + ")";
  page.AddHeading("The worst frame");
  page.AddParagraph("The one with the lowest PSNR of all samples. The pictures are 8 bits of RGB" +
                    std::string(worst.referencePart.width > 0 ? ", scaled down." : "."));
  page.Add(PictureSliderHtml(name, worst.reference, worst.distorted));
  page.Add(PictureHtml(
      "The difference, " + std::to_string(kDifferenceGain) + " times as large, around grey",
      AmplifyDifference(worst.reference, worst.distorted, kDifferenceGain)));
  if (worst.referencePart.width == 0) return;
  page.Add(PictureSliderHtml("The part that differs most, pixel by pixel", worst.referencePart,
                             worst.distortedPart));
}

void AddFrames(HtmlPage& page, const Comparison& comparison,
               const std::optional<std::uint32_t>& target) {
  page.AddHeading("Frame by frame");
  page.Add(ChartHtml(PsnrChart(comparison)));
  page.Add(ChartHtml(SsimChart(comparison)));
  page.Add(ChartHtml(SizeChart(comparison, target)));
  if (comparison.frames.size() <= kMostChartPoints) {
    page.AddFoldedTable("All values", FramesTable(comparison));
  } else {
    page.AddParagraph("'vixprores compare --json' gives the values of every frame.");
  }
}

void AddDamage(HtmlPage& page, const ComparedVideo& video) {
  if (video.damage.empty()) return;
  HtmlTable table{"Damaged frames of " + video.name, {"Frame", "Timecode", "What is wrong"}, {}};
  for (const auto& [place, what] : video.damage) {
    if (table.rows.size() == kMostTableRows) break;
    table.rows.push_back({{std::to_string(place.number),
                           place.timecode ? place.timecode->ToText() : std::string(), what},
                          HtmlMark::Bad});
  }
  page.AddHeading(table.caption);
  page.AddTable(table);
  if (video.damage.size() <= kMostTableRows) return;
  page.AddParagraph("These are the first ones; 'vixprores compare --json' lists all of them.");
}

}  // namespace

std::string ComparisonPage(const Comparison& comparison, const std::optional<WorstPictures>& worst,
                           const std::vector<MappedFrame>& mapped,
                           const std::optional<std::uint32_t>& target) {
  HtmlPage page(comparison.distorted.name, "compared with " + comparison.reference.name);
  page.AddFigures(Figures(comparison));
  page.AddHeading("Quality");
  page.AddTable(PartsTable(comparison));
  page.AddParagraph("In samples of " + std::to_string(comparison.bits) +
                    " bits. Means of decibels leave out identical planes.");
  AddDamage(page, comparison.reference);
  AddDamage(page, comparison.distorted);
  AddFrames(page, comparison, target);
  if (worst) AddWorst(page, comparison, *worst);
  AddSliceMaps(page, mapped, comparison.timecode);
  page.AddHeading("The two videos");
  page.AddTable(VideosTable(comparison));
  return page.Finish();
}

}  // namespace vixprores
