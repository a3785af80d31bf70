// SPDX-License-Identifier: BSD-2-Clause
#ifndef FUZZ_FRAMEPARTS_H
#define FUZZ_FRAMEPARTS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "CodecPictures.h"
#include "Require.h"
#include "bitstream/BigEndian.h"
#include "bitstream/FrameHeader.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/PictureHeader.h"
#include "bitstream/SliceHeader.h"
#include "bitstream/SliceLayout.h"
#include "bitstream/SliceTable.h"

/// A valid frame in parts, so that a part can be replaced and the frame stays valid around it.
struct FrameParts {
  /// A slice and its place.
  struct Slice {
    prores::PictureGeometry picture;
    std::uint32_t row;  ///< macroblock row of the picture
    prores::SliceSpan span;
    Bytes head;  ///< slice header and colours
    Bytes alpha;
  };
  struct Picture {
    prores::PictureHeader header;
    std::size_t slices;  ///< their number
  };

  /// @param frame a frame as WPREncodeFrame() writes it.
  explicit FrameParts(const Bytes& frame) {
    std::span<const std::uint8_t> rest;
    Require(ParseFrameHeader(frame, header, rest) == prores::Status::kSuccess);
    headerBytes.assign(frame.begin(), frame.end() - static_cast<std::ptrdiff_t>(rest.size()));
    for (unsigned i = 0; i < PictureCount(header.interlaceMode); ++i) AddPicture(i, rest);
  }

  Bytes Assemble() const {
    Bytes frame = headerBytes;
    auto slice = slices.begin();
    for (const Picture& picture : pictures) {
      const std::size_t begin = frame.size();
      const std::size_t tableBegin = begin + prores::PictureHeader::kWrittenBytes;
      frame.resize(tableBegin + picture.slices * prores::kSliceTableEntryBytes);
      for (std::size_t i = 0; i < picture.slices; ++i, ++slice) {
        prores::WriteU16(frame.data() + tableBegin + i * prores::kSliceTableEntryBytes,
                         static_cast<std::uint16_t>(slice->head.size() + slice->alpha.size()));
        frame.insert(frame.end(), slice->head.begin(), slice->head.end());
        frame.insert(frame.end(), slice->alpha.begin(), slice->alpha.end());
      }
      prores::PictureHeader written = picture.header;
      written.pictureBytes = static_cast<std::uint32_t>(frame.size() - begin);
      WritePictureHeader(written, frame.data() + begin);
    }
    prores::WriteFramePrefix(static_cast<std::uint32_t>(frame.size()), frame.data());
    frame.shrink_to_fit();
    return frame;
  }

  prores::FrameHeader header;
  Bytes headerBytes;
  std::vector<Picture> pictures;
  std::vector<Slice> slices;  ///< of all pictures

 private:
  void AddPicture(unsigned index, std::span<const std::uint8_t>& rest) {
    prores::PictureHeader pictureHeader;
    Require(ParsePictureHeader(rest, pictureHeader) == prores::Status::kSuccess);
    const auto geometry = prores::GeometryOf(header.height, header.interlaceMode, index);
    const prores::SliceLayout layout(header.width, pictureHeader.log2SliceWidth);
    std::vector<prores::SliceRow> rows(geometry.MacroblockRows());
    Require(LocateSliceRows(rest.first(pictureHeader.pictureBytes), pictureHeader,
                            layout.SlicesPerRow(), rows) == prores::Status::kSuccess);
    rest = rest.subspan(pictureHeader.pictureBytes);
    for (std::uint32_t row = 0; row < rows.size(); ++row) {
      for (std::uint32_t i = 0; i < layout.SlicesPerRow(); ++i) {
        AddSlice(geometry, row, layout[i], TakeSlice(rows[row]));
      }
    }
    pictures.push_back({pictureHeader, rows.size() * layout.SlicesPerRow()});
  }

  void AddSlice(const prores::PictureGeometry& picture, std::uint32_t row, prores::SliceSpan span,
                std::span<const std::uint8_t> bytes) {
    prores::SliceHeader slice;
    Require(ParseSliceHeader(bytes, slice));
    std::size_t head = slice.headerBytes;
    for (const std::uint16_t component : slice.componentBytes) head += component;
    const auto alpha = bytes.begin() + static_cast<std::ptrdiff_t>(head);
    slices.push_back({picture, row, span, {bytes.begin(), alpha}, {alpha, bytes.end()}});
  }
};

#endif  // FUZZ_FRAMEPARTS_H
