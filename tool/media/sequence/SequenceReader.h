// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SEQUENCE_SEQUENCEREADER_H
#define TOOL_MEDIA_SEQUENCE_SEQUENCEREADER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/FramePool.h"
#include "media/FrameReader.h"
#include "media/decode/PictureScale.h"
#include "media/sequence/ImageModule.h"
#include "media/sequence/SequenceName.h"

namespace vixprores {

/// Treatment of numbers without a file.
enum class MissingFiles {
  Fail,   ///< an error that lists them
  Hold,   ///< repeats the picture before
  Black,  ///< a black picture; transparent if the files have alpha
};

/// How to read a sequence.
struct SequenceReading {
  std::optional<Rational> rate;  ///< nullopt = that of the files
  bool needsRate = true;         ///< fail if there is none; otherwise it is 0
  bool takesLinear = false;      ///< take scene-linear pictures unconverted, for their labels
  bool turns = true;             ///< apply the orientation that the files state
  std::optional<PictureScale> scale = {};
  MissingFiles missing = MissingFiles::Fail;
  std::optional<ColourSpaces> colours;  ///< nullopt = the files' colours
  int matrix = kUnspecifiedColour;      ///< of Y'CbCr, a code point; unspecified = by height
  bool isDeep = false;                  ///< pictures become "Y416" with alpha, instead of "V210"
  bool keepsAlpha = true;               ///< false = deep pictures become opaque, colours as stored
  std::optional<bool> isPremultiplied;  ///< nullopt = as the files are
};

/// Reads image files as packed 4:2:2 of 10 bits, or 4:4:4 of 16 bits with alpha. Read() only
/// chooses the file; GetConversion() reads it, so that threads read files in parallel. Frame 0 is
/// the first file, and every number up to that of the last file is a frame.
class SequenceReader : public FrameReader {
 public:
  /// @throws Failure if the first file cannot be read, if its rate is unknown, or if it holds
  /// scene-linear pictures that are not to be converted
  SequenceReader(ImageFiles images, const SequenceReading& reading);

  std::optional<NumberedFrame> Read() override;
  bool SkipTo(std::int64_t frame) override;
  void CheckRange(const FrameRange& range) const override;
  FrameConversion GetConversion() const override;
  std::string GetEndNote() const override;

 private:
  class Conversion;

  void Describe(const ImageHeader& header, const SequenceReading& reading);
  void AddNotes(const ImageHeader& header, bool isConverted);
  void NoteFilled(std::int64_t number);

  ImageFiles images_;
  MissingFiles missing_;
  std::shared_ptr<Conversion> conversion_;
  std::int64_t framesRead_ = 0;
  std::vector<FrameRange> filled_;  ///< numbers of missing files that were read as pictures
  FramePool pool_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SEQUENCE_SEQUENCEREADER_H
