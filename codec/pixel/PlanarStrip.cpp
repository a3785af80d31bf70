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

PlanarStrip::PlanarStrip(std::span<std::uint16_t> samples, std::size_t macroblocks)
    : macroblocks_(macroblocks) {
  Expect(samples.size() >= Samples(macroblocks));
  std::uint16_t* plane = samples.data();
  for (unsigned component = 0; component < kComponents; ++component) {
    planes_[component] = plane;
    plane += Stride(component) * kMacroblockSize;
  }
}

void PlanarStrip::Unpack(const std::uint8_t* row, std::size_t pitch, std::size_t lines,
                         const PixelBufferRecord& source, UnpackRow unpackRow) const {
  Expect(lines >= 1 && lines <= kMacroblockSize && source.width <= macroblocks_ * kMacroblockSize);
  const std::size_t rowBytes = PackedRowBytes(source.pixelFormat, source.width);
  for (std::size_t line = 0; line < lines; ++line) {
    if (line + kRowsAhead < lines) Prefetch(row + (line + kRowsAhead) * pitch, rowBytes);
    unpackRow(row + line * pitch, source.width, {Line(0, line), Line(1, line), Line(2, line)});
  }
  Extend(source.width, lines);
}

/// Fills the columns right of `width` and the lines below `lines`.
void PlanarStrip::Extend(std::size_t width, std::size_t lines) const {
  for (unsigned component = 0; component < kComponents; ++component) {
    const std::size_t columns = ColumnCount(width, component);
    const std::size_t covered = ColumnCount(macroblocks_ * kMacroblockSize, component);
    for (std::size_t line = 0; line < lines; ++line) {
      std::uint16_t* const samples = Line(component, line);
      std::fill(samples + columns, samples + covered, samples[columns - 1]);
    }
    for (std::size_t line = lines; line < kMacroblockSize; ++line) {
      std::copy_n(Line(component, lines - 1), Stride(component), Line(component, line));
    }
  }
}

}  // namespace prores
