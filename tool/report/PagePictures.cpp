// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

#include "base/Limits.h"
#include "base/Text.h"
#include "report/Pages.h"

namespace vixprores {
namespace {

constexpr std::uint32_t kTile = 30;
// Size of the part that is shown pixel by pixel: whole tiles.
constexpr RgbSize kPart{16 * kTile, 9 * kTile};
// Greatest height of a picture, in widths of the widest picture of its kind.
constexpr std::uint32_t kMostHeights = 2;

bool IsDrawable(const StreamFormat& format) {
  return std::uint64_t{format.width} * format.height <= kMostPagePixels;
}

RgbSize SizeOnPage(const StreamFormat& format, std::uint32_t widest) {
  const RgbSize size = DisplaySize(format, widest);
  const std::uint32_t highest = kMostHeights * widest;
  if (size.height <= highest) return size;
  return DisplaySize(format, std::max(1U, size.width * highest / size.height));
}

RgbPicture Draw(PictureSource& source, const NumberedFrame& frame, RgbSize size) {
  const auto packed = source.Decode(frame, 0).bytes;
  return ToRgb(source.GetPictureFormat(), {packed->GetData(), packed->GetSize()}, size);
}

// Returns text like "Largest and coarsest frame".
std::string NameOf(const std::vector<std::string>& reasons) {
  std::string name = Join(reasons, " and ");
  name.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(name.front())));
  return name + " frame";
}

// Squared errors of the whole tiles of two pictures. The remainders at the right and lower edges
// are ignored.
struct TileErrors {
  TileErrors(const RgbPicture& a, const RgbPicture& b)
      : columns(a.width / kTile), rows(a.height / kTile), errors(std::size_t{columns} * rows) {
    for (std::uint32_t y = 0; y < rows * kTile; ++y) {
      for (std::uint32_t column = 0; column < columns; ++column) {
        errors[std::size_t{y / kTile} * columns + column] +=
            ErrorOfRow(a.At(column * kTile, y), b.At(column * kTile, y));
      }
    }
  }

  static double ErrorOfRow(const std::uint8_t* a, const std::uint8_t* b) {
    int sum = 0;
    for (std::uint32_t i = 0; i < 3 * kTile; ++i) {
      const int error = int{a[i]} - int{b[i]};
      sum += error * error;
    }
    return sum;
  }

  double SumOfPart(std::uint32_t left, std::uint32_t top) const {
    double sum = 0;
    for (std::uint32_t row = top; row < top + kPart.height / kTile; ++row) {
      const double* const first = errors.data() + std::size_t{row} * columns + left;
      sum = std::accumulate(first, first + kPart.width / kTile, sum);
    }
    return sum;
  }

  std::uint32_t columns;
  std::uint32_t rows;
  std::vector<double> errors;
};

// Position in pixels.
struct Place {
  std::uint32_t left = 0;
  std::uint32_t top = 0;
};

Place FindWorstPart(const RgbPicture& a, const RgbPicture& b) {
  const TileErrors tiles(a, b);
  Place worst;
  double most = -1;
  for (std::uint32_t top = 0; top + kPart.height / kTile <= tiles.rows; ++top) {
    for (std::uint32_t left = 0; left + kPart.width / kTile <= tiles.columns; ++left) {
      const double error = tiles.SumOfPart(left, top);
      if (error <= most) continue;
      most = error;
      worst = {left * kTile, top * kTile};
    }
  }
  return worst;
}

RgbPicture Cut(const RgbPicture& picture, const Place& place) {
  RgbPicture part(kPart.width, kPart.height);
  for (std::uint32_t y = 0; y < kPart.height; ++y) {
    std::copy_n(picture.At(place.left, place.top + y), 3 * kPart.width, part.At(0, y));
  }
  return part;
}

}  // namespace

MappedFrame MapFrame(PictureSource& source, const NumberedFrame& frame, std::string name) {
  const StreamFormat& format = source.GetPictureFormat();
  MappedFrame mapped{
      std::move(name), frame.number, std::nullopt,
      LayOutSlices(ReadFrameStructure({frame.data->GetData(), frame.data->GetSize()}))};
  if (IsDrawable(format)) mapped.picture = Draw(source, frame, SizeOnPage(format, kWidestMap));
  return mapped;
}

std::vector<MappedFrame> MapFrames(PictureSource& source, const NotableFrames& frames) {
  std::vector<MappedFrame> mapped;
  for (const auto& [reasons, frame] : frames.List()) {
    mapped.push_back(MapFrame(source, frame, NameOf(reasons)));
  }
  return mapped;
}

WorstPictures DrawWorst(PictureSource& reference, PictureSource& distorted, const WorstPair& pair) {
  // Use one size for both pictures, even if their pixel aspects differ.
  const StreamFormat& format = distorted.GetPictureFormat();
  WorstPictures worst;
  worst.number = pair.distorted.number;
  if (!IsDrawable(format)) return worst;
  const RgbSize size = SizeOnPage(format, kWidestPicture);
  worst.reference = Draw(reference, pair.reference, size);
  worst.distorted = Draw(distorted, pair.distorted, size);
  const RgbSize full = DisplaySize(format, std::nullopt);
  if (full.width <= kWidestPicture || full.height < kPart.height) return worst;
  const RgbPicture fullReference = Draw(reference, pair.reference, full);
  const RgbPicture fullDistorted = Draw(distorted, pair.distorted, full);
  const Place place = FindWorstPart(fullReference, fullDistorted);
  worst.referencePart = Cut(fullReference, place);
  worst.distortedPart = Cut(fullDistorted, place);
  return worst;
}

}  // namespace vixprores
