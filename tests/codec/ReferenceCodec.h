// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_REFERENCECODEC_H
#define TESTS_CODEC_REFERENCECODEC_H

/// @file
/// A plain and slow model of the format, to compare the library with: a decoder to exact values in
/// double precision, and a writer of any conforming stream. It shares no code or table with the
/// library, so that errors do not cancel.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace reference {

using Matrix = std::array<int, 64>;  // raster order

/// Properties of a stream. The defaults are the plainest frame.
struct StreamSpec {
  int width = 16;
  int height = 16;
  bool chroma444 = false;
  int interlaceMode = 0;
  int alphaType = 0;
  int log2SliceSize = 3;
  std::optional<Matrix> lumaMatrix;    // transmitted if set
  std::optional<Matrix> chromaMatrix;  // transmitted if set
  /// quantization_index of each slice, counted over the whole frame.
  std::function<int(int slice)> quantizationIndex = [](int) { return 4; };
  int extraFrameHeaderBytes = 0;
  int extraPictureHeaderBytes = 0;
  int extraSliceHeaderBytes = 0;  // 2 and more transmit the size of Cr
  int trailingZeroBytes = 0;      // after each component
  int picturePaddingBytes = 0;    // after the last slice of a picture
  int framePaddingBytes = 0;      // after the last picture
  /// Gives both fields the macroblock rows of the taller one.
  bool equalFieldRows = false;
};

/// Sample of component 0..3 (Y, Cb, Cr, alpha) at column x of frame line y: 10 bits, alpha as deep
/// as its type. Called for columns and lines of the picture only.
using Source = std::function<double(int component, int x, int y)>;

/// Smooth content with some noise, deterministic in `seed`.
Source NaturalSource(unsigned seed);

/// Place of a slice.
struct SliceInfo {
  std::size_t offset;
  std::size_t bytes;
  int picture;
  int row;
  int firstMacroblock;
  int macroblocks;
};

struct Stream {
  std::vector<std::uint8_t> bytes;
  std::vector<std::size_t> pictures;  // offset of each picture header
  std::vector<SliceInfo> slices;      // in coded order
};

/// Codes the source at its nearest representable values.
Stream MakeStream(const StreamSpec& spec, const Source& source);

/// Codes the coefficients of one component of a slice, given in coded order.
std::vector<std::uint8_t> CodeComponent(const std::vector<int>& coefficients, int blocks);

/// Inverse of CodeComponent(). @throws std::runtime_error for damaged data.
std::vector<int> DecodeComponent(std::span<const std::uint8_t> bytes, int blocks);

/// Forms of the differences and runs of alpha: always the long ones with a flag after the last
/// sample, or the short ones where they fit and no flag.
enum class AlphaForms { kLong, kShort };

/// Codes the alpha samples of a slice, `bits` bits deep.
std::vector<std::uint8_t> CodeAlpha(const std::vector<int>& samples, int bits, AlphaForms forms);

/// Decodes `count` alpha samples in any form. @throws std::runtime_error for truncated data.
std::vector<int> DecodeAlpha(std::span<const std::uint8_t> bytes, int bits, int count);

/// Orthonormal transform of 64 values in raster order, and its inverse.
std::array<double, 64> ForwardDct(const std::array<double, 64>& samples);
std::array<double, 64> InverseDct(const std::array<double, 64>& coefficients);

/// A decoded frame: the exact result of the inverse transform, neither rounded nor clamped.
struct Image {
  int width = 0;
  int height = 0;
  int chromaWidth = 0;
  std::array<std::vector<double>, 3> values;  // f of (RDD 36, inverse transform), by lines
  std::vector<int> alpha;

  /// Returns the sample at `bits` bits.
  int Sample(int component, int x, int y, int bits) const;

  /// Returns the sample of a 4:2:2 picture at `bits` bits; 4:4:4 chroma is filtered at 10 bits.
  int Sample422(int component, int x, int y, int bits) const;
};

/// Decodes a frame. @throws std::runtime_error for one that does not conform.
Image Decode(std::span<const std::uint8_t> frame);

}  // namespace reference

#endif  // TESTS_CODEC_REFERENCECODEC_H
