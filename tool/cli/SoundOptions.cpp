// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <sstream>
#include <string_view>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/TranscodeOptions.h"

namespace vixprores {
namespace {

constexpr std::int64_t kMostTracks = 1000;
constexpr int kLowestRate = 8000;
constexpr int kHighestRate = 384000;
constexpr double kLongestOffset = 24 * 60 * 60;  // seconds

// Parses a list like "1,3": numbers from 1, each once.
std::vector<std::size_t> ParseTrackList(const std::string& text) {
  std::vector<std::size_t> places;
  std::istringstream words(text + ",");
  for (std::string word; std::getline(words, word, ',');) {
    const auto number = ParseNumber(word, kMostTracks);
    const bool isNew = number && std::ranges::find(places, *number - 1) == places.end();
    if (!number || *number == 0 || !isNew) {
      throw UsageError("--audio-tracks: invalid list '" + text +
                       "'; write numbers from 1, as in 1,3");
    }
    places.push_back(static_cast<std::size_t>(*number - 1));
  }
  return places;
}

// Parses "1.5" or "-0.25" seconds, or "4800samples".
SoundOffset ParseSoundOffset(const std::string& text) {
  constexpr std::string_view kUnit = "samples";
  const bool isInSamples = text.ends_with(kUnit);
  const std::string_view number =
      std::string_view(text).substr(0, text.size() - (isInSamples ? kUnit.size() : 0));
  double value = 0;
  const auto [end, error] = std::from_chars(number.begin(), number.end(), value);
  const bool isNumber = error == std::errc() && end == number.end();
  const double most = kLongestOffset * (isInSamples ? kHighestRate : 1);
  const bool isWhole = !isInSamples || std::floor(value) == value;
  if (!isNumber || !isWhole || !(std::abs(value) <= most)) {
    throw UsageError("--audio-offset: invalid time '" + text +
                     "'; write seconds, as in 1.5 or -0.04, or samples, as in 1920samples");
  }
  return {std::llround(isInSamples ? value : value * 1e6), isInSamples};
}

int ParseSampleRate(const std::string& text) {
  const auto rate = ParseNumber(text, kHighestRate);
  if (rate && *rate >= kLowestRate) return static_cast<int>(*rate);
  throw UsageError("--audio-rate: invalid rate '" + text + "'; expected " +
                   std::to_string(kLowestRate) + " to " + std::to_string(kHighestRate) +
                   " samples per second");
}

std::string ParseSoundFile(const std::string& option, const std::string& text) {
  if (!text.empty() && text != "-") return text;
  throw UsageError(option + ": give the sound file by its name");
}

Option FormatOption(SoundConversion& conversion, bool decodes) {
  using Formats = std::optional<PcmFormat>;
  Option option = Choice<Formats>("--audio", "FORMAT", conversion.format,
                                  {{"pcm16", PcmFormat::Pcm16},
                                   {"pcm24", PcmFormat::Pcm24},
                                   {"pcm32f", PcmFormat::Pcm32f},
                                   {"copy", std::nullopt}},
                                  "format of the sound: pcm16, pcm24, pcm32f or copy");
  option.take = [&conversion, take = option.take](const std::string& choice) {
    take(choice);
    conversion.copies = !conversion.format;
  };
  option.details =
      std::string(
          "Without the option, uncompressed sound is copied bit for bit, and compressed "
          "sound is ") +
      (decodes ? "decoded to PCM of 24 bits" : "copied as it is") +
      ". Decoding removes the delay and the padding of the encoder, so that the sound stays in "
      "sync with the pictures to the sample. pcm32f is floating-point PCM. Sound that needs more "
      "than 16 bits is dithered for pcm16.";
  return option;
}

std::vector<Option> SoundFileOptions(TranscodeOptions& options) {
  Option file = Parsed(
      "--audio-file", "FILE", options.audioFile,
      [](const std::string& text) { return ParseSoundFile("--audio-file", text); },
      "use the sound of this file instead of the input's");
  file.completion = Completion::File;
  file.details =
      "The time reference of a Broadcast Wave file aligns it with the timecode of the pictures; "
      "other files begin with the first picture. A note says which. Sound outside the pictures is "
      "cut off, and missing sound is filled with silence.";
  Option added{"--add-audio-file", "FILE", "add the tracks of this file; repeatable",
               [&options](const std::string& text) {
                 options.addedAudioFiles.push_back(ParseSoundFile("--add-audio-file", text));
               }};
  added.completion = Completion::File;
  added.mayRepeat = true;
  Option offset = Parsed("--audio-offset", "TIME", options.audioOffset, ParseSoundOffset,
                         "start of sound files after the first picture");
  offset.details =
      "In seconds, as in 1.5, or in samples, as in 1920samples. With a negative time, as in -0.04, "
      "the sound begins before the pictures. The first picture is that of the input, also if "
      "--frames selects a later one.";
  return {file, added, offset};
}

std::vector<Option> SoundTrackOptions(TranscodeOptions& options) {
  Option tracks = Parsed("--audio-tracks", "LIST", options.audioTracks, ParseTrackList,
                         "keep only these, in this order: 2,1");
  return {tracks, Flag("--no-audio", options.noAudio, "write no sound")};
}

}  // namespace

void CheckSoundOptions(const TranscodeOptions& options) {
  const auto reject = [](const std::string& first, const std::string& second) {
    throw UsageError(first + " and " + second + " contradict each other; remove one of them");
  };
  const bool hasFiles = options.audioFile || !options.addedAudioFiles.empty();
  if (options.noAudio && options.audioTracks) reject("--audio-tracks", "--no-audio");
  if (options.audioFile && options.audioTracks) reject("--audio-tracks", "--audio-file");
  if (options.audioFile && options.noAudio) reject("--audio-file", "--no-audio");
  if (options.audio.copies && options.audio.rate) reject("--audio copy", "--audio-rate");
  if (options.audioOffset && !hasFiles) {
    throw UsageError("--audio-offset needs --audio-file or --add-audio-file");
  }
  if (options.outputDir && hasFiles) {
    throw UsageError("--audio-file and --add-audio-file need a single input");
  }
}

OptionGroup CopiedSoundGroup(TranscodeOptions& options) {
  std::vector<Option> all = SoundTrackOptions(options);
  std::ranges::move(SoundFileOptions(options), std::back_inserter(all));
  return {"Sound (copied without change)", all};
}

OptionGroup SoundGroup(TranscodeOptions& options) {
  Option rate = Parsed("--audio-rate", "N", options.audio.rate, ParseSampleRate,
                       "samples per second; resamples other rates");
  std::vector<Option> all = SoundTrackOptions(options);
  all.push_back(FormatOption(options.audio, options.audio.decodes));
  all.push_back(rate);
  std::ranges::move(SoundFileOptions(options), std::back_inserter(all));
  return {"Sound (without options, PCM is copied unchanged)", all};
}

}  // namespace vixprores
