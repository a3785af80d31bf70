// SPDX-License-Identifier: BSD-2-Clause
#include "pixel/PlanarStrip.h"

#include <algorithm>

#include "Ensure.h"
#include "cpu/AlignedVector.h"
#include "pixel/PixelFormat.h"

namespace prores {
namespace {

/// Rows that are prefetched ahead: most of them come from memory.
constexpr std::size_t kRowsAhead = 2;

/// Always inlined: g++ may drop calls of a function that only prefetches.
[[gnu::always_inline]] inline void Prefetch(const std::uint8_t* row, std::size_t bytes) {
  for (std::size_t i = 0; i < bytes; i += kVectorAlignment) __builtin_prefetch(row + i);
}

}  // namespace

PlanarStrip::PlanarStrip(std::span<std::uint16_t> samples, ChromaFormat format,
                         std::size_t macroblocks)
    : format_(format),
      macroblocks_(macroblocks),
      planeCount_(format == ChromaFormat::k422 ? kComponents : kComponents + 1) {
  Expect(samples.size() >= Samples(format, macroblocks));
  std::uint16_t* next = samples.data();
  for (unsigned plane = 0; plane < planeCount_; ++plane) {
    planes_[plane] = next;
    next += Stride(plane) * kMacroblockSize;
  }
}

void PlanarStrip::Unpack(const std::uint8_t* row, std::size_t pitch, std::size_t lines,
                         const PixelBufferRecord& source, const RowReader& reader) const {
  Expect(lines >= 1 && lines <= kMacroblockSize && source.width <= macroblocks_ * kMacroblockSize);
  const std::size_t rowBytes = PackedRowBytes(source.pixelFormat, source.width);
  for (std::size_t line = 0; line < lines; ++line) {
    if (line + kRowsAhead < lines) Prefetch(row + (line + kRowsAhead) * pitch, rowBytes);
    PlanarRow planes{Line(0, line), Line(1, line), Line(2, line)};
    if (planeCount_ > kAlphaPlane) planes.alpha = Line(kAlphaPlane, line);
    reader(row + line * pitch, source.width, planes);
  }
  Extend(source.width, lines);
}

/// Fills the columns right of `width` and the lines below `lines`.
void PlanarStrip::Extend(std::size_t width, std::size_t lines) const {
  for (unsigned plane = 0; plane < planeCount_; ++plane) {
    const std::size_t columns = ColumnCount(format_, width, plane);
    const std::size_t covered = ColumnCount(format_, macroblocks_ * kMacroblockSize, plane);
    for (std::size_t line = 0; line < lines; ++line) {
      std::uint16_t* const samples = Line(plane, line);
      std::fill(samples + columns, samples + covered, samples[columns - 1]);
    }
    for (std::size_t line = lines; line < kMacroblockSize; ++line) {
      std::copy_n(Line(plane, lines - 1), Stride(plane), Line(plane, line));
    }
  }
}

}  // namespace prores
