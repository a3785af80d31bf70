// SPDX-License-Identifier: BSD-2-Clause
#include "format/InputFormat.h"

#include <algorithm>
#include <filesystem>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/Values.h"

namespace vixprores {
namespace {

// Name of the input "-" in messages.
constexpr const char* kStandardInput = "standard input";

// The two fields have different numbers of macroblock rows, which decoders handle differently.
bool HasAmbiguousFields(const StreamFormat& format) {
  return format.IsInterlaced() && format.height % 32 == 1;
}

}  // namespace

void CheckEncodable(const StreamFormat& format, const std::string& inputName) {
  const auto [smallest, largest] = std::minmax(format.width, format.height);
  const std::string size = DescribeSize(format.width, format.height);
  if (smallest < kSmallestSide || largest > kLargestSide) {
    throw Failure(inputName + ": pictures of " + size + " cannot be encoded; each side must be " +
                  std::to_string(kSmallestSide) + " to " + std::to_string(kLargestSide) +
                  " pixels; scale or crop the video first");
  }
  if (HasAmbiguousFields(format)) {
    throw Failure(inputName + ": interlaced pictures of " + size +
                  " cannot be encoded, because their two fields differ in macroblock rows; crop or "
                  "pad the video by a line");
  }
}

void RefuseUnconverted(const std::string& inputName, const std::string& found,
                       const std::string& filters) {
  throw Failure(inputName + ": cannot encode " + found + "\n" +
                (inputName == kStandardInput
                     ? "This command, in place of vixprores at the end of the pipe, converts it "
                       "into a file"
                     : "This command converts it") +
                ":\n  " + ConversionCommand(inputName, filters));
}

std::string ConversionCommand(const std::string& inputName, const std::string& filters) {
  const bool isPiped = inputName == kStandardInput;
  const std::string stem = isPiped ? "converted" : std::filesystem::path(inputName).stem().string();
  std::string command = "ffmpeg -i " + QuoteForShell(isPiped ? "-" : inputName) +
                        " -map 0:v:0 -map " + QuoteForShell("0:a?");
  if (!filters.empty()) command += " -vf " + QuoteForShell(filters);
  return command + " -c:v v210 -c:a pcm_s24le " + QuoteForShell(stem + ".v210.mov");
}

std::string DescribeDivision(const std::string& inputName) {
  return inputName + ": colours are divided by alpha, which they are multiplied with";
}

std::string DescribeTurn(const std::string& inputName) {
  return inputName + ": pictures are turned as players would show them; --no-rotate leaves them";
}

std::string DescribeConversionToRgb(const std::string& inputName, int matrix) {
  return inputName + ": pictures are converted to RGB with the matrix " +
         DescribeColourCode(ColourProperty::Matrix, matrix) +
         "; 'vixprores copy --matrix' labels the video with another one";
}

std::string QuoteForShell(const std::string& text) {
  constexpr const char* kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_./:,=-+@%";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
  return "'" + Replace(text, "'", "'\\''") + "'";
}

}  // namespace vixprores
