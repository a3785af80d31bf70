// SPDX-License-Identifier: BSD-2-Clause
#include "decode/RowWriter.h"

#include <algorithm>
#include <limits>

#include "bitstream/HeaderCodes.h"
#include "bitstream/SliceLayout.h"
#include "pixel/ChromaFilter.h"

namespace prores {

void RowWriter::Start(const FrameHeader& header, const PixelBufferRecord& destination,
                      unsigned defaultMatrix) {
  destination_ = destination;
  format_ = &GetPixelFormat(destination.pixelFormat);
  packRow_ = kernels_.PackerFor(destination.pixelFormat);
  chroma_ = header.chromaFormat;
  matrix_ = nullptr;
  if (format_->rgb) {
    const bool specified = CodePointOf(header.matrixCoefficients) != kUnspecifiedColour;
    matrix_ = &RgbMatrixOf(specified ? header.matrixCoefficients : defaultMatrix);
  }
  if (HasAlpha() && opaque_.size() < destination.width) {
    opaque_.assign(destination.width, std::numeric_limits<std::uint16_t>::max());
  }
}

void RowWriter::Prepare(ChromaLines& lines) const {
  if (chroma_ == format_->chroma) return;
  const std::size_t columns =
      std::size_t{MacroblocksFor(destination_.width)} * MacroblockColumns(format_->chroma, 1);
  for (auto& line : lines) {
    if (line.size() < columns) line.resize(columns);
  }
}

const SampleDepth& RowWriter::DepthOf(unsigned component) const {
  // Chroma that is filtered for 4:2:2 keeps all its bits until then.
  const bool filtered = component != 0 && chroma_ == ChromaFormat::k444 && !HasAlpha();
  return filtered ? k10Bits : format_->depth;
}

void RowWriter::Write(std::uint32_t row, const std::array<std::uint16_t*, kComponents>& line,
                      std::uint16_t* alpha, ChromaLines& chroma) const {
  PlanarRow planes{line[0], line[1], line[2], alpha};
  if (chroma_ != format_->chroma) {
    planes.cb = chroma[0].data();
    planes.cr = chroma[1].data();
    Resample(line[1], planes.cb);
    Resample(line[2], planes.cr);
  }
  if (matrix_ != nullptr) kernels_.yCbCrToRgb(*matrix_, destination_.width, planes);
  packRow_({planes.luma, planes.cb, planes.cr, alpha != nullptr ? alpha : opaque_.data()},
           destination_.width, RowOf(destination_, row));
}

/// Brings a line of chroma to the sampling of the rows.
void RowWriter::Resample(std::uint16_t* line, std::uint16_t* resampled) const {
  const auto resample =
      format_->chroma == ChromaFormat::k422 ? kernels_.halveChroma : kernels_.doubleChroma;
  resample(line, destination_.width, format_->depth, resampled);
}

}  // namespace prores
