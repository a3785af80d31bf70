// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_STREAMFORMAT_H
#define TOOL_FORMAT_STREAMFORMAT_H

/// @file
/// Format of a video stream, whatever it is stored in, and names of its colour code points (ISO/IEC
/// 23091-2).

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "format/HdrLabels.h"
#include "format/RawFormat.h"
#include "vix/RgbMatrix.h"
#include "vix/Types.h"

namespace vixprores {

/// A fraction; the denominator of a valid one is positive.
using Rational = vix::EditRate;

/// Returns the fraction in lowest terms. Both parts must be positive.
Rational Reduce(Rational value);

enum class FieldOrder { Unknown, Progressive, TopFirst, BottomFirst };

/// Code values of luma: 16 to 235 of 8 bits (limited) or 0 to 255 (full).
enum class ColourRange { Unknown, Limited, Full };

/// Code point of primaries, transfer or matrix that are unspecified.
inline constexpr int kUnspecifiedColour = 2;

/// Code points of ISO/IEC 23091-2.
struct Colour {
  int primaries = kUnspecifiedColour;
  int transfer = kUnspecifiedColour;
  int matrix = kUnspecifiedColour;
  ColourRange range = ColourRange::Unknown;

  bool IsSpecified() const {
    return primaries != kUnspecifiedColour || transfer != kUnspecifiedColour ||
           matrix != kUnspecifiedColour;
  }
  friend bool operator==(const Colour&, const Colour&) = default;
};

/// Returns the matrix that video of unknown colours has, as a code point: BT.709 from 720 lines on,
/// BT.601 below.
int UsualMatrix(std::uint32_t height);
/// Returns the matrix that pictures become RGB with, or come from RGB with.
/// @param stated code point; unspecified (2) and RGB (0) stand for UsualMatrix()
const vix::RgbMatrix& RgbMatrixFor(int stated, std::uint32_t height);

/// Format of one video stream, uncompressed or ProRes.
struct StreamFormat {
  /// That of a RawFormat ("V210") if the stream is uncompressed, else the sample entry code of the
  /// ProRes variant ("apcn"); 0 = a ProRes container does not state it.
  vix::FourCC code = 0;
  std::uint32_t width = 0;      ///< pixels
  std::uint32_t height = 0;     ///< lines of a whole frame
  Rational rate{0, 1};          ///< frames per second; constant throughout the stream
  std::int64_t start = 0;       ///< time of the first frame, in frames
  Rational sampleAspect{0, 1};  ///< width to height of a pixel; 0 = unknown
  FieldOrder fieldOrder = FieldOrder::Unknown;
  Colour colour;
  bool is444 = false;     ///< chroma for every pixel
  int alphaBits = 0;      ///< 8 or 16 bits of an alpha channel that counts; 0 = none
  bool isPadded = false;  ///< width and height may be rounded up to macroblocks, as in MXF
  /// Rotation and mirroring by players, as in a .mov: columns a b u, c d v, x y w of a matrix in
  /// fixed point (16.16, last column 2.30); nullopt = none.
  std::optional<std::array<std::int32_t, 9>> displayMatrix = std::nullopt;
  std::optional<MasteringDisplay> masteringDisplay = std::nullopt;
  std::optional<ContentLight> contentLight = std::nullopt;

  bool IsRaw() const { return FindRawFormat(code) != nullptr; }
  bool HasAlpha() const { return alphaBits > 0; }
  bool IsInterlaced() const {
    return fieldOrder == FieldOrder::TopFirst || fieldOrder == FieldOrder::BottomFirst;
  }
  /// Returns the bytes of one uncompressed frame. Throws a VIXRuntimeError above 32 bits.
  std::uint32_t FrameBytes() const;
};

/// Clears the row padding of an uncompressed frame, which files would contain as it was in memory.
void ClearRowPadding(const StreamFormat& format, std::uint8_t* frame);

/// Other words for names: the word in lower case, and the name.
using Synonyms = std::vector<std::pair<std::string, std::string>>;

/// Returns the name that a word stands for, or the word itself.
std::string FindSynonym(const Synonyms& synonyms, const std::string& word);

/// A ProRes variant with its names.
struct ProResVariant {
  const char* option;  ///< on the command line, and in lists of expected properties
  const char* name;    ///< for messages
  vix::FourCC code;    ///< of the sample entry
  /// The closest variant of the host contract.
  vix::ProResCodecVariant variant;
  int profile;  ///< number in containers without four-character codes
  bool is4444;  ///< 4:4:4 with 12 bits, perhaps with alpha; else 4:2:2 with 10 bits
};

/// Returns the variant with that four-character code, or null.
const ProResVariant* FindProResVariant(vix::FourCC code);
/// Returns the variant with that number (ProResVariant::profile), or null.
const ProResVariant* FindProResProfile(int profile);
/// Returns the variant with that option name, or null.
const ProResVariant* FindProResVariant(const std::string& option);

/// Returns true if that is the code of a variant or a packed format of 4444, which elements of
/// their own encode and decode.
bool IsOf4444(vix::FourCC code);

/// Returns the option names of all variants, and other words for them.
std::vector<std::string> VariantNames();
const Synonyms& VariantSynonyms();
/// Returns other words for "top" and "bottom".
const Synonyms& FieldSynonyms();

/// Returns "V210", "ProRes 422 HQ", or the four characters of a code without a name.
std::string DescribeCode(vix::FourCC code);
/// Returns "progressive", "top field first", ...
std::string Describe(FieldOrder order);
/// Returns "1920x1080".
std::string DescribeSize(std::uint32_t width, std::uint32_t height);
/// Returns "25" or "30000/1001".
std::string Describe(Rational value);
/// Returns text like "16 bits"; "none" for 0.
std::string AlphaName(int bits);

enum class ColourProperty { Primaries, Transfer, Matrix };

/// Returns the names of usual combinations: "bt709", "bt601-525", "bt601-625", "bt2020",
/// "bt2020-pq", "bt2020-hlg", and "unspecified".
std::vector<std::string> ColourPresets();
/// Returns other words for them.
const Synonyms& ColourSynonyms();
/// Returns the combination of that name, one of ColourPresets(), with unknown range.
Colour FindColourPreset(const std::string& name);

/// Returns the names of the code points of a property.
std::vector<std::string> ColourCodeNames(ColourProperty property);
/// Returns the code point of that name, one of ColourCodeNames().
int FindColourCode(ColourProperty property, const std::string& name);

/// Returns a code point with its name: "1 (bt709)", "unspecified", or the number alone.
std::string DescribeColourCode(ColourProperty property, int code);

/// Returns the name of the combination, "bt709", or of each code point: "bt2020/pq/9".
std::string Describe(const Colour& colour);

}  // namespace vixprores

#endif  // TOOL_FORMAT_STREAMFORMAT_H
