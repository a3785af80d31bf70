// SPDX-License-Identifier: BSD-2-Clause
#include "format/OutputFormat.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <set>
#include <sstream>
#include <string_view>

extern "C" {
#include <libavformat/avformat.h>
}

#include "base/Errors.h"
#include "format/ColourNames.h"

namespace vixprores {
namespace {

// clang-format off
using Kind = OutputKind;
constexpr OutputFormat kFormats[] = {
    //                                     ProRes raw    fields colour range  timecode:     channel
    //                                                                        kept   made   layout
    {".mov",  Kind::Container, "mov",      true,  true,  true,  true,  false, true,  false, true},
    {".mkv",  Kind::Container, "matroska", true,  false, true,  true,  true,  true,  false, false},
    {".mxf",  Kind::Container, "mxf",      true,  false, false, true,  true,  true,  true,  false},
    {".avi",  Kind::Container, "avi",      false, true,  false, false, false, false, false, true},
    {".nut",  Kind::Container, "nut",      false, true,  false, false, false, false, false, false},
    {".y4m",  Kind::Y4m,       nullptr,    false, true,  true,  false, true,  false, false, false},
};
constexpr OutputFormat kHeadless =
    {nullptr, Kind::Headless,  nullptr,    false, true,  false, false, false, false, false, false};
// clang-format on

// Names of the texts that cannot be read from what the muxers of the container library write.
struct LostTexts {
  std::string_view muxer;
  const char* names;  // a space between them
};
constexpr LostTexts kLostTexts[] = {
    {"mov", "album_artist composer description encoded_by synopsis track"},
    {"mxf",
     "album album_artist artist comment composer copyright date description encoded_by genre "
     "language reel_name synopsis title track"},
    {"avi", "album_artist composer creation_time description language reel_name synopsis"},
};

std::string ToLower(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](unsigned char letter) { return std::tolower(letter); });
  return text;
}

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

// ".mov, .mkv, .mxf"
std::string ExtensionsOf(bool OutputFormat::*takesStream) {
  std::string names;
  for (const OutputFormat& format : kFormats) {
    if (format.*takesStream) names += (names.empty() ? "" : ", ") + std::string(format.extension);
  }
  return names;
}

// The layouts of more than two channels, which nobody guesses right.
std::string DescribeLayouts(const std::vector<SoundTrack>& tracks) {
  std::set<std::string> layouts;
  for (const SoundTrack& track : tracks) layouts.insert(track.SurroundLayout());
  layouts.erase("");
  std::string text;
  for (const std::string& layout : layouts) text += (text.empty() ? "" : ", ") + layout;
  return text;
}

// The names of the texts that the file and its sound have, in lower case, which not all inputs use.
std::set<std::string> NamesOfTexts(const MovieContent& content) {
  std::set<std::string> names;
  const auto add = [&names](const Metadata& metadata) {
    for (const auto& [name, text] : metadata) {
      if (text != "und") names.insert(ToLower(name));  // a language that nobody knows
    }
  };
  add(content.metadata);
  for (const SoundTrack& track : content.sound) add(track.metadata);
  return names;
}

// "title, creation time"
std::string DescribeLostTexts(const OutputFormat& output, const MovieContent& content) {
  const std::string_view muxer = output.muxer ? output.muxer : "";
  const auto* const lost = std::ranges::find(kLostTexts, muxer, &LostTexts::muxer);
  if (lost == std::end(kLostTexts)) return {};
  const auto known = NamesOfTexts(content);
  std::string text;
  std::istringstream names(lost->names);
  for (std::string name; names >> name;) {
    if (!known.contains(name)) continue;
    std::ranges::replace(name, '_', ' ');
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

// The muxer of .mov writes the colours of uncompressed video only where it knows all of them.
bool KeepsColour(const OutputFormat& output, const Colour& colour) {
  const bool isWhole = colour.primaries != 2 && colour.transfer != 2 && colour.matrix != 2;
  return output.keepsColour && isWhole;
}

}  // namespace

const OutputFormat& FindProResOutput(const std::string& path) {
  if (path == "-") return kFormats[0];  // the one that can be written in fragments
  if (const OutputFormat* format = Find(path, &OutputFormat::takesProRes)) return *format;
  throw UsageError("'" + path + "': cannot write ProRes under this name; choose one of " +
                   ExtensionsOf(&OutputFormat::takesProRes));
}

const OutputFormat& FindRawVideoOutput(const std::string& path) {
  if (path == "-") return kHeadless;
  if (const OutputFormat* format = Find(path, &OutputFormat::takesRawVideo)) return *format;
  // Under a name that the container library knows, raw frames would be mistaken for that format.
  if (!av_guess_format(nullptr, ToLower(path).c_str(), nullptr)) return kHeadless;
  throw UsageError("'" + path + "': cannot write " + ExtensionOf(path) + "; choose one of " +
                   ExtensionsOf(&OutputFormat::takesRawVideo) +
                   ", or .uyvy, .v210 or .raw for raw frames");
}

void CheckStorable(const OutputFormat& output, const StreamFormat& stream) {
  const std::string muxer = output.muxer ? output.muxer : "";
  if (muxer == "mxf" && stream.IsInterlaced()) {
    throw Failure(
        "an .mxf would be labelled progressive although the video is interlaced; "
        "choose .mov or .mkv");
  }
}

StreamFormat KeptFormat(const OutputFormat& output, StreamFormat stream) {
  if (!output.keepsColourRange) stream.colour.range = ColourRange::Unknown;
  if (!stream.IsRaw()) return stream;  // ProRes frames tell the rest themselves
  if (!KeepsColour(output, stream.colour)) stream.colour = {.range = stream.colour.range};
  if (!output.keepsFieldOrder) stream.fieldOrder = FieldOrder::Unknown;
  if (output.kind == OutputKind::Headless) stream.sampleAspect = {0, 1};
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
  if (stream.IsRaw() && stream.colour.IsSpecified() && !KeepsColour(output, stream.colour)) {
    lost.push_back("colour primaries, transfer and matrix (" + Describe(stream.colour) + ")");
  }
  if (!output.keepsColourRange && stream.colour.range == ColourRange::Full) {
    lost.emplace_back("colour range (full)");
  }
  const std::string layouts = output.keepsChannelLayout ? "" : DescribeLayouts(content.sound);
  if (!layouts.empty()) lost.push_back("layout of the sound's channels (" + layouts + ")");
  const std::string texts = DescribeLostTexts(output, content);
  if (!texts.empty()) lost.push_back("metadata (" + texts + ")");
  return lost;
}

}  // namespace vixprores
