// SPDX-License-Identifier: BSD-2-Clause
#include "frames/FrameStructure.h"

#include <algorithm>
#include <optional>

#include "bitstream/BigEndian.h"
#include "bitstream/SliceTable.h"

namespace vixprores {
namespace {

std::string Explain(prores::Status status, const std::string& part) {
  switch (status) {
    case prores::Status::kTruncated:
      return "the frame ends inside its " + part;
    case prores::Status::kUnsupported:
      return "the " + part + " has an unknown bitstream version";
    default:
      return "the " + part + " is inconsistent";
  }
}

// Returns why the frame header is invalid.
std::string ExplainHeader(std::span<const std::uint8_t> frame) {
  prores::FrameHeader header;
  std::span<const std::uint8_t> pictures;
  return Explain(prores::ParseFrameHeader(frame, header, pictures), "frame header");
}

void AddSlices(prores::SliceRow row, std::uint32_t number, const prores::SliceLayout& layout,
               const std::uint8_t* frame, PictureStructure& picture) {
  for (std::uint32_t i = 0; i < picture.slicesPerRow; ++i) {
    SliceStructure slice{number, i, layout[i], static_cast<std::size_t>(row.data - frame),
                         prores::TakeSlice(row)};
    slice.intact = prores::ParseSliceHeader(slice.bytes, slice.header);
    picture.slices.push_back(slice);
  }
}

// Parses the picture at the front of `pictures` and removes it. Returns its fault.
std::string ReadPicture(unsigned index, std::span<const std::uint8_t> frame,
                        std::span<const std::uint8_t>& pictures, FrameStructure& structure) {
  const std::string name = "picture " + std::to_string(index + 1);
  const prores::FrameHeader& header = structure.header;
  PictureStructure picture;
  picture.offset = static_cast<std::size_t>(pictures.data() - frame.data());
  auto status = prores::ParsePictureHeader(pictures, picture.header);
  if (status != prores::Status::kSuccess) return Explain(status, "header of " + name);
  const auto bytes = pictures.first(picture.header.pictureBytes);
  pictures = pictures.subspan(bytes.size());

  const prores::SliceLayout layout(header.width, picture.header.log2SliceWidth);
  picture.geometry = prores::GeometryOf(header.height, header.interlaceMode, index);
  picture.slicesPerRow = layout.SlicesPerRow();
  picture.rows = prores::CodedMacroblockRows(header.height, header.interlaceMode, index,
                                             picture.slicesPerRow, picture.header.sliceCount);
  std::vector<prores::SliceRow> rows;
  status = prores::Status::kBadHeader;
  if (prores::FitsSliceTable(bytes, picture.header, picture.slicesPerRow, picture.rows)) {
    rows.resize(picture.rows);
    status = prores::LocateSliceRows(bytes, picture.header, picture.slicesPerRow, rows);
  }
  if (status == prores::Status::kSuccess) {
    // The table was checked: each slice has at least the bytes of a header in the picture.
    picture.slices.reserve(std::size_t{picture.rows} * picture.slicesPerRow);
    for (std::uint32_t row = 0; row < picture.rows; ++row) {
      AddSlices(rows[row], row, layout, frame.data(), picture);
    }
  }
  structure.pictures.push_back(std::move(picture));
  return status == prores::Status::kSuccess ? std::string()
                                            : Explain(status, "slice table of " + name);
}

// Returns the part of the last of `count` units of `size` that `length` fills.
double ShareOfLast(std::uint32_t length, std::uint32_t count, std::uint32_t size) {
  const double rest = length - (count - 1.0) * size;
  return std::clamp(rest / size, 0.0, 1.0);
}

// Sets the columns from the picture with the most columns. Slice widths are powers of two, so that
// each of its slices lies inside one slice of the other picture.
void SetColumns(const FrameStructure& frame, SliceGrid& grid) {
  const auto& finest = *std::ranges::max_element(frame.pictures, {}, [](const auto& picture) {
    return picture.slices.empty() ? 0 : picture.slicesPerRow;
  });
  if (finest.slices.empty()) return;
  for (std::uint32_t i = 0; i < finest.slicesPerRow; ++i) {
    grid.columns.push_back(finest.slices[i].span);
  }
  grid.macroblocks = grid.columns.back().firstMacroblock + grid.columns.back().macroblocks;
}

void AddToGrid(const SliceStructure& slice, SliceGrid& grid, std::vector<unsigned>& intact) {
  for (const std::size_t cell : grid.FindCells(slice.row, slice.span)) {
    const double share = static_cast<double>(grid.columns[cell % grid.columns.size()].macroblocks) /
                         slice.span.macroblocks;
    grid.bytes[cell] += static_cast<double>(slice.bytes.size()) * share;
    if (!slice.intact) continue;
    grid.quantisers[cell] += slice.header.quantizationIndex;
    ++intact[cell];
  }
}

}  // namespace

std::size_t FrameStructure::CountDamagedSlices() const {
  std::ptrdiff_t count = 0;
  for (const PictureStructure& picture : pictures) {
    count += std::ranges::count(picture.slices, false, &SliceStructure::intact);
  }
  return static_cast<std::size_t>(count);
}

FrameStructure ReadFrameStructure(std::span<const std::uint8_t> frame,
                                  const std::optional<ParsedHeader>& header) {
  FrameStructure structure;
  if (!header) {
    structure.fault = ExplainHeader(frame);
    return structure;
  }
  structure.header = *header;
  structure.hasHeader = true;
  structure.statedBytes = prores::ReadU32(frame.data());
  auto pictures = frame.subspan(header->headerBytes);
  for (unsigned i = 0; i < prores::PictureCount(structure.header.interlaceMode); ++i) {
    structure.fault = ReadPicture(i, frame, pictures, structure);
    if (!structure.fault.empty()) break;
  }
  return structure;
}

std::vector<std::size_t> SliceGrid::FindCells(std::uint32_t row,
                                              const prores::SliceSpan& span) const {
  std::vector<std::size_t> cells;
  if (row >= rows) return cells;
  const auto* const end = columns.data() + columns.size();
  const auto* column = std::ranges::lower_bound(columns.data(), end, span.firstMacroblock, {},
                                                &prores::SliceSpan::firstMacroblock);
  for (; column < end && column->firstMacroblock < span.firstMacroblock + span.macroblocks;
       ++column) {
    cells.push_back(row * columns.size() + static_cast<std::size_t>(column - columns.data()));
  }
  return cells;
}

SliceGrid LayOutSlices(const FrameStructure& frame) {
  SliceGrid grid;
  if (!frame.pictures.empty()) SetColumns(frame, grid);
  if (grid.columns.empty()) return grid;
  for (const PictureStructure& picture : frame.pictures) {
    grid.rows = std::max(grid.rows, picture.geometry.MacroblockRows());
  }
  if (grid.Count() > kMostGridCells) return {};
  grid.rowLines = prores::kMacroblockSize * frame.pictures.front().geometry.lineStep;
  grid.lastRowShare = ShareOfLast(frame.header.height, grid.rows, grid.rowLines);
  grid.lastMacroblockShare =
      ShareOfLast(frame.header.width, grid.macroblocks, prores::kMacroblockSize);
  grid.quantisers.resize(grid.Count());
  grid.bytes.resize(grid.Count());
  std::vector<unsigned> intact(grid.Count());
  for (const PictureStructure& picture : frame.pictures) {
    for (const SliceStructure& slice : picture.slices) AddToGrid(slice, grid, intact);
  }
  for (std::size_t i = 0; i < grid.Count(); ++i) {
    if (intact[i] > 0) grid.quantisers[i] /= intact[i];
  }
  return grid;
}

}  // namespace vixprores
