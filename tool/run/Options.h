// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_OPTIONS_H
#define TOOL_RUN_OPTIONS_H

/// @file
/// Options of runs as data; cli/ parses them from the command line.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/Limits.h"
#include "format/Sound.h"
#include "format/Values.h"
#include "media/sequence/SequenceReader.h"
#include "media/sequence/VideoSpaces.h"
#include "run/OpenInput.h"

namespace vixprores {

/// Options of every command that reads files.
struct LimitOptions {
  Limits limits;
};

/// Options of every command that loads the plug-in.
struct HostOptions : LimitOptions {
  std::optional<std::string> plugin;  ///< path of the plug-in; none = search
  bool verbose = false;               ///< log records and container messages on standard error
};

/// An HTML page that a command writes in addition to its report.
struct PageOptions {
  std::optional<std::string> page;  ///< path; none = no page
  bool overwrite = false;           ///< replace an existing file
};

/// Time from the first picture of the input to the first sample of a sound file.
struct SoundOffset {
  std::int64_t value = 0;
  bool isInSamples = false;  ///< otherwise in microseconds
};

/// Share of the machine to use.
struct MachineOptions {
  int threads = 0;                 ///< 0 = one per processor
  std::optional<std::string> cpu;  ///< instruction set level; none = the library's choice
};

/// Options for finding the frames of a ProRes input.
struct ScanOptions {
  bool scan = false;             ///< by their marks, without the container
  std::optional<Rational> rate;  ///< frames per second of a scan; none = from the frame headers
};

/// One input of a batch.
struct BatchInput {
  std::string path;
  std::string folder = {};  ///< of its output below the output folder; empty = that folder itself
};

enum class ProgressKind { None, Line, Json };

/// Options that encode and decode share.
struct TranscodeOptions : HostOptions, MachineOptions {
  std::string input;                             ///< "-" = standard input
  std::string output;                            ///< "-" = standard output
  std::optional<std::string> outputDir;          ///< folder of a batch; none = one input
  std::vector<BatchInput> inputs;                ///< of a batch
  bool recursive = false;                        ///< take the files of subfolders too
  std::optional<std::string> namePattern;        ///< of the outputs of a batch
  std::map<std::string, std::string> nameWords;  ///< that the pattern may contain, "variant"
  int jobs = 1;                                  ///< inputs of a batch that run side by side
  bool isOfMany = false;                         ///< this run is part of a batch
  std::optional<FrameRange> frames;
  /// The other options that determine the frames, as given; nullopt = they do not state all.
  std::optional<std::string> frameOptions;
  bool noAudio = false;
  std::optional<std::vector<std::size_t>> audioTracks;  ///< places from 0; none = all
  SoundConversion audio;
  std::optional<std::string> audioFile;      ///< replaces the input's sound
  std::vector<std::string> addedAudioFiles;  ///< tracks to add
  std::optional<SoundOffset> audioOffset;    ///< of these files; nullopt = by timecode
  ColourOptions colours;                     ///< of images
  bool overwrite = false;
  bool json = false;  ///< summary as JSON
  ProgressKind progress = ProgressKind::Line;
  bool quiet = false;  ///< no progress, summary or notes
};

/// Properties that replace those of the input where they are set.
struct StreamOverrides {
  std::optional<Colour> colour;  ///< of a preset
  std::optional<int> primaries, transfer, matrix;
  std::optional<FieldOrder> fields;
  std::optional<Rational> sampleAspect;
  std::optional<Rational> rate;
  std::optional<MasteringDisplay> masteringDisplay;
  std::optional<ContentLight> contentLight;
};

/// Treatment of damaged frames of the input.
enum class DamagePolicy {
  Stop,     ///< ends the run; the frames before are kept
  Skip,     ///< drops the frame; later frames keep their times
  Conceal,  ///< keeps a concealed picture; a lost frame repeats the previous one
};

/// An option as it was given on the command line.
struct GivenOption {
  std::string name;
  std::optional<std::string> value = {};  ///< nullopt = a flag
};

/// Largest number of chunks of a job.
inline constexpr int kMostChunks = 1'000'000;

/// One of the pieces that a job is divided into.
struct ChunkName {
  std::string job;  ///< identity of the job
  int number = 1;   ///< from 1
  int count = 1;    ///< chunks of the job
};

struct EncodeOptions : TranscodeOptions {
  EncodeOptions() { audio.decodes = true; }

  const ProResVariant* variant = nullptr;
  std::optional<int> alphaBits;       ///< of 4444: 0, 8 or 16; nullopt = those of the input
  std::optional<bool> premultiplied;  ///< colours of the input by alpha; nullopt = as files state
  bool verify = false;                ///< decode every encoded frame and compare it with its source
  StreamOverrides overrides;
  std::optional<std::string> timecode;
  Metadata metadata;  ///< replaces that of the input; an empty text removes one
  std::optional<std::string> compressor;
  std::optional<vix::FourCC> vendor;
  std::optional<RawFrameFormat> rawFrames;
  MissingFiles missing = MissingFiles::Fail;  ///< of image sequences
  FootageReading footage;  ///< without what `overrides` and the thread options state
  DamagePolicy onDamage = DamagePolicy::Stop;
  std::optional<ChunkName> chunk;  ///< the output is a part of a job; nullopt = all of it
  // The options as given, for the commands of a job:
  std::vector<GivenOption> pictureOptions;
  std::vector<GivenOption> soundOptions;
  std::vector<GivenOption> machineOptions;
};

struct CopyOptions : TranscodeOptions {
  std::vector<std::string> sources;     ///< inputs, joined in this order
  std::optional<std::string> from, to;  ///< timecodes of the first and the last frame
  StreamOverrides labels;
  std::optional<std::string> timecode;  ///< of the first frame of the output
  std::optional<std::string> reel, title;
  DamagePolicy onDamage = DamagePolicy::Stop;
  bool inPlace = false;  ///< correct the labels of the only input, without an output
};

struct DecodeOptions : TranscodeOptions, ScanOptions {
  std::optional<vix::FourCC> fourcc;  ///< none = by the name of the output
  std::string pipeFormat;             ///< extension of standard output; empty = raw frames
  bool skipField = false;
  DamagePolicy onDamage = DamagePolicy::Stop;
  std::optional<std::int64_t> startNumber;  ///< of image files
};

}  // namespace vixprores

#endif  // TOOL_RUN_OPTIONS_H
