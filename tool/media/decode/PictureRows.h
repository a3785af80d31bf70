// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_PICTUREROWS_H
#define TOOL_MEDIA_DECODE_PICTUREROWS_H

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "format/StreamFormat.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

namespace vixprores {

/// Properties that decide how a picture is converted; the code points are those of libavutil.
struct PictureKind {
  AVPixelFormat format;
  int width, height;
  bool isFull;
  bool isInterlaced;
  int matrix, primaries, transfer, siting;

  friend bool operator==(const PictureKind&, const PictureKind&) = default;
};

PictureKind KindOf(const AVFrame& picture);

/// Returns where chroma of such pictures is sited; one of the six places that libavutil names.
AVChromaLocation ChromaSitingOf(const PictureKind& kind);

/// The layout of decoded pictures, and their rows as plain samples, whatever the layout. Reads
/// integer formats of up to 16 bits: YCbCr of any subsampling, grey, RGB and palettes, with or
/// without alpha. May be used by several threads at once.
class PictureRows {
 public:
  /// @throws Failure that names the format and the filter that would convert it, if it is not read
  PictureRows(AVPixelFormat format, const std::string& inputName);

  bool IsRgb() const { return isRgb_; }
  bool IsGrey() const { return isGrey_; }
  bool HasAlpha() const { return (layout_.flags & AV_PIX_FMT_FLAG_ALPHA) != 0; }
  /// Bits of the deepest component of colour.
  unsigned GetDepth() const { return depth_; }
  /// Bits of alpha; 0 = none.
  unsigned GetAlphaDepth() const;
  /// Binary logarithms of the pixels across and down that share a chroma sample.
  unsigned GetSubsampleW() const { return layout_.log2_chroma_w; }
  unsigned GetSubsampleH() const { return layout_.log2_chroma_h; }
  /// Returns true if every component has a plane of its own with samples of one byte, or of two in
  /// the order of this machine, with nothing to shift.
  bool IsPlanar() const { return isPlanar_; }

  /// Reads the first samples of a row. Components: red, green, blue or Y, Cb, Cr; the chroma of
  /// grey pictures is neutral. RGB is scaled to 16 bits.
  /// @param row of the component, within the picture
  void Read(const AVFrame& picture, unsigned component, int row,
            std::span<std::uint16_t> samples) const;
  /// Reads the first alpha samples of a row, scaled to 16 bits; 65535, opaque, if there is none.
  void ReadAlpha(const AVFrame& picture, int row, std::span<std::uint16_t> samples) const;
  /// Returns true if no pixel of the picture is transparent, not even partly.
  bool IsOpaque(const AVFrame& picture) const;

 private:
  void ReadComponent(const AVFrame& picture, unsigned component, int row,
                     std::span<std::uint16_t> samples) const;
  void ReadBytes(const AVFrame& picture, const AVComponentDescriptor& component, int row,
                 std::span<std::uint16_t> samples) const;
  static void ReadPalette(const AVFrame& picture, unsigned component, int row,
                          std::span<std::uint16_t> samples);
  bool HasPalette() const { return (layout_.flags & AV_PIX_FMT_FLAG_PAL) != 0; }
  unsigned DepthOf(unsigned component) const;

  const AVPixFmtDescriptor& layout_;
  bool isRgb_;
  bool isGrey_;
  bool isPlanar_;
  unsigned depth_;
};

/// Converts rows of RGB to Y'CbCr of limited range, all in 16 bits and in integers, so that results
/// are the same on all machines. Equal components give exactly neutral chroma.
class RgbMatrix {
 public:
  explicit RgbMatrix(const vix::RgbMatrix& weights);

  /// @param rgb   three rows of equal length
  /// @param ycbcr three rows of that length; may be the same memory
  void Convert(const std::array<const std::uint16_t*, 3>& rgb,
               const std::array<std::uint16_t*, 3>& ycbcr, std::size_t count) const;

 private:
  struct Row {
    std::int32_t red, green, blue, offset;
  };
  std::array<Row, 3> rows_{};
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_PICTUREROWS_H
