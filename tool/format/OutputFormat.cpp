// SPDX-License-Identifier: BSD-2-Clause
#include "format/OutputFormat.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <numbers>
#include <set>
#include <string_view>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/StreamFormat.h"

namespace vixprores {
namespace {

// clang-format off
using Kind = OutputKind;
constexpr OutputFormat kFormats[] = {
    //                                     ProRes raw    fields colour range  timecode:     channel HDR           texts
    //                                                                        kept   made   layout  disp.  light
    {".mov",  Kind::Container, "mov",      true,  true,  true,  true,  false, true,  false, true, true,  true,  true},
    {".mkv",  Kind::Container, "matroska", true,  false, true,  true,  true,  true,  false, false, true,  true,  true},
    {".mxf",  Kind::Container, "mxf",      true,  false, true,  true,  true,  true,  true,  false, true,  false, false},
    {".avi",  Kind::Container, "avi",      false, true,  false, false, false, false, false, true, false, false, false},
    {".nut",  Kind::Container, "nut",      false, true,  false, false, false, true,  false, false, false, false, false},
    {".y4m",  Kind::Y4m,       nullptr,    false, true,  true,  false, true,  false, false, false, false, false, false},
    {".uyvy", Kind::RawFrames, nullptr,    false, true,  false, false, false, false, false, false, false, false, false,
     vix::kFourCC_UYVY},
    {".v210", Kind::RawFrames, nullptr,    false, true,  false, false, false, false, false, false, false, false, false,
     vix::kFourCC_V210},
    {".y416", Kind::RawFrames, nullptr,    false, true,  false, false, false, false, false, false, false, false, false,
     vix::kFourCC_Y416},
    {".b64a", Kind::RawFrames, nullptr,    false, true,  false, false, false, false, false, false, false, false, false,
     vix::kFourCC_b64A},
    {".exr",  Kind::Images,    nullptr,    false, true,  false, false, true,  true,  false, false, false, false, false,
     vix::kFourCC_V210},
    {".dpx",  Kind::Images,    nullptr,    false, true,  false, false, true,  true,  false, false, false, false, false,
     vix::kFourCC_V210},
    {".tif",  Kind::Images,    nullptr,    false, true,  false, false, true,  false, false, false, false, false, false,
     vix::kFourCC_V210},
    {".tiff", Kind::Images,    nullptr,    false, true,  false, false, true,  false, false, false, false, false, false,
     vix::kFourCC_V210},
    {".png",  Kind::Images,    nullptr,    false, true,  false, false, true,  false, false, false, false, false, false,
     vix::kFourCC_V210},
    {".jpg",  Kind::Images,    nullptr,    false, true,  false, false, true,  false, false, false, false, false, false,
     vix::kFourCC_V210},
    {".jpeg", Kind::Images,    nullptr,    false, true,  false, false, true,  false, false, false, false, false, false,
     vix::kFourCC_V210},
    {".tga",  Kind::Images,    nullptr,    false, true,  false, false, true,  false, false, false, false, false, false,
     vix::kFourCC_V210},
    {".raw",  Kind::RawFrames, nullptr,    false, true,  false, false, false, false, false, false, false, false, false},
};
// clang-format on
const OutputFormat& kRawFrames = kFormats[std::size(kFormats) - 1];

// Metadata names that a muxer of the container library keeps; other muxers keep everything.
struct KeptTexts {
  std::string_view muxer;
  std::set<std::string> names;
};
constexpr std::string_view kNoMuxer;
const KeptTexts kKeptTexts[] = {
    {kNoMuxer, {}},
    {"mxf", {"creation_time"}},
    {"avi",
     {"album", "artist", "comment", "copyright", "date", "encoded_by", "genre", "software", "title",
      "track"}},
};

// Metadata names of a sound track that are more than a container's own note.
const std::set<std::string> kSoundTexts{"artist", "comment", "copyright", "language", "title"};

std::string ExtensionOf(const std::string& path) {
  return ToLower(std::filesystem::path(path).extension().string());
}

const OutputFormat* Find(const std::string& path, bool OutputFormat::*takesStream) {
  const std::string extension = ExtensionOf(path);
  for (const OutputFormat& format : kFormats) {
    if (format.*takesStream && format.extension == extension) return &format;
  }
  return nullptr;
}

// Returns text like ".mov, .mkv, .mxf".
std::string ExtensionsOf(bool OutputFormat::*takesStream) {
  std::string names;
  for (const OutputFormat& format : kFormats) {
    if (format.*takesStream) names += (names.empty() ? "" : ", ") + std::string(format.extension);
  }
  return names;
}

// Lists the layouts of more than two channels, which cannot be guessed reliably.
std::string DescribeLayouts(const std::vector<SoundTrack>& tracks) {
  std::set<std::string> layouts;
  for (const SoundTrack& track : tracks) layouts.insert(track.SurroundLayout());
  layouts.erase("");
  std::string text;
  for (const std::string& layout : layouts) text += (text.empty() ? "" : ", ") + layout;
  return text;
}

// Returns the names of the metadata that the file and its sound have, in lower case.
std::set<std::string> NamesOfTexts(const MovieContent& content) {
  std::set<std::string> names;
  for (const auto& [name, text] : content.metadata) names.insert(ToLower(name));
  for (const SoundTrack& track : content.sound) {
    for (const auto& [name, text] : track.metadata) {
      const bool isUnknown = text == "und";  // an undetermined language
      if (kSoundTexts.contains(ToLower(name)) && !isUnknown) names.insert(ToLower(name));
    }
  }
  return names;
}

// Returns text like "title, creation time".
std::string DescribeLostTexts(const OutputFormat& output, const MovieContent& content) {
  const std::string_view muxer = output.muxer ? output.muxer : kNoMuxer;
  const auto* const kept = std::ranges::find(kKeptTexts, muxer, &KeptTexts::muxer);
  if (kept == std::end(kKeptTexts)) return {};
  std::string text;
  for (std::string name : NamesOfTexts(content)) {
    if (kept->names.contains(name)) continue;
    std::ranges::replace(name, '_', ' ');
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

// Returns text like "rotated by 90 degrees, mirrored".
std::string DescribeDisplay(const std::array<std::int32_t, 9>& matrix) {
  const double a = matrix[0];
  const double b = matrix[1];
  const double c = matrix[3];
  const double d = matrix[4];
  const long degrees = std::lround(std::atan2(b, a) * 180 / std::numbers::pi);
  return "rotated by " + std::to_string((degrees + 360) % 360) + " degrees" +
         (a * d - b * c < 0 ? ", mirrored" : "");
}

bool IsMuxer(const OutputFormat& output, std::string_view name) {
  return output.muxer && output.muxer == name;
}

}  // namespace

const OutputFormat& FindProResOutput(const std::string& path) {
  if (path == "-") return kFormats[0];  // the only format that can be written in fragments
  if (const OutputFormat* format = Find(path, &OutputFormat::takesProRes)) return *format;
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    throw UsageError("'" + path + "' is a folder; --output-dir writes into folders");
  }
  throw UsageError("'" + path + "': cannot write ProRes under this name; choose one of " +
                   ExtensionsOf(&OutputFormat::takesProRes));
}

const OutputFormat& FindRawVideoOutput(const std::string& path, const std::string& pipeFormat) {
  if (path == "-" && !pipeFormat.empty()) return FindRawVideoOutput("-." + pipeFormat);
  if (path == "-" || ExtensionOf(path).empty()) return kRawFrames;
  if (const OutputFormat* format = Find(path, &OutputFormat::takesRawVideo)) return *format;
  throw UsageError("'" + path + "': cannot write " + ExtensionOf(path) + "; choose one of " +
                   ExtensionsOf(&OutputFormat::takesRawVideo));
}

std::vector<std::string> PipeFormats() {
  return {"nut", "mov", "y4m"};  // the index of an .avi needs a file
}

vix::FourCC ChooseFourCC(const std::string& path, const std::optional<vix::FourCC>& wanted) {
  const OutputFormat& output = FindRawVideoOutput(path);
  if (!wanted) return output.code != 0 ? output.code : vix::kFourCC_V210;
  if (output.code == 0 || output.code == *wanted) return *wanted;
  if (output.kind == OutputKind::Images) {
    throw UsageError("'" + path + "': --fourcc " + DescribeCode(*wanted) +
                     " has no effect on images; leave it out");
  }
  throw UsageError("'" + path + "' means " + DescribeCode(output.code) + ", but --fourcc is " +
                   DescribeCode(*wanted) + "; change one of them, or end the name in .raw");
}

namespace {

// Of the containers, only .mov has a code for a packed format of 4444.
bool TakesPictures(const OutputFormat& output, const RawFormat& pictures) {
  switch (output.kind) {
    case OutputKind::Y4m:
      return pictures.planarBits > 0;
    case OutputKind::Container:
      return !pictures.is4444 || (pictures.hasTag && IsMuxer(output, "mov"));
    default:
      return true;
  }
}

}  // namespace

void CheckStorable(const OutputFormat& output, const StreamFormat& stream) {
  const RawFormat* const pictures = FindRawFormat(stream.code);
  if (pictures && !TakesPictures(output, *pictures)) {
    throw Failure(std::string(output.extension) + " cannot hold " + pictures->name +
                  " pictures; choose " + (pictures->planarBits > 0 ? ".y4m" : ".mov") +
                  ", raw frames as ." + pictures->option + ", or another --fourcc");
  }
  // An .mxf states the height of a field.
  if (IsMuxer(output, "mxf") && stream.IsInterlaced() && stream.height % 2 != 0) {
    throw Failure("an .mxf cannot hold interlaced pictures with an odd number of lines (" +
                  std::to_string(stream.height) + "); choose .mov or .mkv");
  }
}

StreamFormat KeptFormat(const OutputFormat& output, StreamFormat stream) {
  if (!output.keepsColourRange) stream.colour.range = ColourRange::Unknown;
  if (!stream.IsRaw()) return stream;  // ProRes frames contain the other properties
  if (!output.keepsColour) stream.colour = {.range = stream.colour.range};
  if (!output.keepsFieldOrder) stream.fieldOrder = FieldOrder::Unknown;
  if (output.kind == OutputKind::RawFrames) stream.sampleAspect = {0, 1};
  return stream;
}

std::vector<std::string> FindLostProperties(const OutputFormat& output,
                                            const MovieContent& content) {
  const StreamFormat& stream = content.video;
  std::vector<std::string> lost;
  if (!output.keepsTimecode && content.timecode) {
    lost.push_back("timecode (" + content.timecode->ToText() + ")");
  }
  if (!output.keepsFieldOrder && stream.IsInterlaced()) {
    lost.push_back("field order (" + Describe(stream.fieldOrder) + ")");
  }
  Colour colour = stream.colour;
  const bool isRgb = output.kind == OutputKind::Images || stream.code == vix::kFourCC_b64A;
  if (isRgb) colour.matrix = kUnspecifiedColour;  // applied to the pictures
  if (stream.IsRaw() && colour.IsSpecified() && !output.keepsColour) {
    lost.push_back("colour primaries, transfer and matrix (" + Describe(colour) + ")");
  }
  if (!output.keepsColourRange && stream.colour.range == ColourRange::Full) {
    lost.emplace_back("colour range (full)");
  }
  if (stream.displayMatrix && !IsMuxer(output, "mov")) {
    lost.push_back("orientation of the picture (" + DescribeDisplay(*stream.displayMatrix) + ")");
  }
  if (stream.masteringDisplay && !output.keepsMasteringDisplay) {
    lost.push_back("mastering display (" + Describe(*stream.masteringDisplay) + ")");
  }
  if (stream.contentLight && !output.keepsContentLight) {
    lost.push_back("content light level (" + Describe(*stream.contentLight) + ")");
  }
  const std::string layouts = output.keepsChannelLayout ? "" : DescribeLayouts(content.sound);
  if (!layouts.empty()) lost.push_back("layout of the sound's channels (" + layouts + ")");
  // The muxer of .mov stores the name in the timecode track.
  const bool hasReel = content.metadata.contains("reel_name");
  if (IsMuxer(output, "mov") && hasReel && !content.timecode) {
    lost.emplace_back("reel name without a timecode");
  }
  const std::string texts = DescribeLostTexts(output, content);
  if (!texts.empty()) lost.push_back("metadata (" + texts + ")");
  return lost;
}

}  // namespace vixprores
