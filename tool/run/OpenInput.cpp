// SPDX-License-Identifier: BSD-2-Clause
#include "run/OpenInput.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/Errors.h"
#include "frames/FrameLabels.h"
#include "media/InputFile.h"
#include "media/container/FilePatch.h"
#include "media/container/PacketTag.h"
#include "media/container/RawContainerReader.h"
#include "media/container/TrackDescription.h"
#include "media/decode/DecodedVideoReader.h"
#include "media/raw/WidenedReader.h"
#include "media/raw/Y4m.h"
#include "recovery/FrameScanner.h"
#include "run/DecodedProRes.h"

namespace vixprores {
namespace {

constexpr std::array<std::uint8_t, 4> kMatroskaMagic{0x1A, 0x45, 0xDF, 0xA3};

constexpr std::size_t kLongestY4mHeader = 4096;

bool StartsAsY4m(InputFile& file) {
  return std::ranges::equal(file.Peek(kY4mMagic.size()), kY4mMagic);
}

// Returns true for packed pictures that need no decoding.
bool IsPlain(vix::FourCC packed, const FootageReading& reading) {
  if (packed == vix::kFourCC_b64A) return reading.isDeep && reading.keepsRgb;
  return packed != 0 && (reading.isDeep || !IsOf4444(packed));
}

// Returns the pictures of a reader as deep ones if those are wanted.
std::unique_ptr<FrameReader> Adapt(std::unique_ptr<FrameReader> reader,
                                   const FootageReading& reading) {
  return reading.isDeep ? Widen(std::move(reader)) : std::move(reader);
}

bool IsPlainY4m(InputFile& file, const FootageReading& reading) {
  if (!StartsAsY4m(file)) return false;
  const auto bytes = file.Peek(kLongestY4mHeader);
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const auto planes = FindPlanes(text.substr(0, text.find('\n')));
  return planes && IsPlain(planes->packed, reading);
}

const AVStream* FindFirstVideo(const Demuxer& demuxer) {
  for (const AVStream* stream : demuxer.GetStreams()) {
    if (IsVideo(*stream)) return stream;
  }
  return nullptr;
}

bool IsProRes(const AVStream& stream) {
  return stream.codecpar->codec_id == AV_CODEC_ID_PRORES;
}

// Returns true if players would turn the pictures of the track.
bool IsTurned(const AVStream& stream) {
  return av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr) != nullptr;
}

VideoDecoderFactory FootageDecoders(bool isDeep) {
  return [isDeep](const AVStream& stream, int threads, const std::string& name) {
    return IsProRes(stream) ? MakeProResDecoder(stream, threads, isDeep, name)
                            : MakeLibavDecoder(stream, threads, name);
  };
}

bool HoldsProRes(const Demuxer& demuxer) {
  return std::ranges::any_of(demuxer.GetStreams(),
                             [](const AVStream* stream) { return IsProRes(*stream); });
}

// Does not wait for the first byte of a pipe of raw frames: they carry no header.
std::unique_ptr<InputFile> OpenInput(const std::string& path, bool isRaw = false) {
  auto file = std::make_unique<InputFile>(path);
  if (isRaw ? file->GetSize() == 0 : file->Peek(1).empty()) {
    throw Failure(file->GetName() + ": is empty; it holds no frames");
  }
  return file;
}

// Returns advice for a container that cannot be read.
std::string AdviceFor(const std::string& path) {
  InputFile file(path);
  // A scan cannot find frames in Matroska: they have no prefix.
  if (std::ranges::equal(file.Peek(kMatroskaMagic.size()), kMatroskaMagic)) return {};
  return HasPacketTags(file)
             ? "; 'vixprores recover' makes a file with a whole index, --scan finds frames without "
               "it"
             : "; --scan finds frames without it";
}

}  // namespace

std::unique_ptr<FrameReader> OpenRawFrames(const std::string& path, const RawFrameFormat& format) {
  auto file = OpenInput(path, true);
  file->AllowMapping();
  return std::make_unique<RawFrameReader>(std::move(file), format);
}

namespace {

std::unique_ptr<FrameReader> ReadFootage(std::unique_ptr<InputFile> file,
                                         const FootageReading& reading) {
  file->AllowMapping();
  const bool isPlain =
      !reading.ChangesPictures() && !reading.videoTrack && !reading.isPremultiplied;
  if (isPlain && IsPlainY4m(*file, reading)) {
    return Adapt(std::make_unique<Y4mReader>(std::move(file)), reading);
  }
  try {
    auto demuxer = std::make_unique<Demuxer>(std::move(file), FileFormats::Footage);
    const FrameTimes times = reading.rate ? FrameTimes::Ignored : reading.times;
    const AVStream* const video = isPlain ? FindFirstVideo(*demuxer) : nullptr;
    if (video && IsPlain(FindPackedFormat(*video->codecpar), reading)) {
      return Adapt(std::make_unique<RawContainerReader>(std::move(demuxer), times), reading);
    }
    if (video && IsProRes(*video) && (reading.keepsRotation || !IsTurned(*video))) {
      ProResReading frames;
      frames.times = times;
      return std::make_unique<DecodedProResReader>(
          std::make_unique<ProResReader>(std::move(demuxer), frames), reading.isDeep);
    }
    return std::make_unique<DecodedVideoReader>(std::move(demuxer), reading,
                                                FootageDecoders(reading.isDeep));
  } catch (const UnreadableContainer& failure) {
    throw UnreadableContainer(failure.what() +
                              std::string("; get the whole file if it is truncated; raw frames "
                                          "need --fourcc, --size and --rate"));
  }
}

}  // namespace

std::unique_ptr<FrameReader> OpenFootage(const std::string& path, const FootageReading& reading) {
  return ReadFootage(OpenInput(path), reading);
}

namespace {

void CheckWhole(const std::string& path) {
  if (!IsHalfPatched(path)) return;
  throw Failure(path +
                ": was left half changed by an interrupted run; 'vixprores copy --in-place " +
                QuoteForShell(path) + "' restores it");
}

std::unique_ptr<FrameReader> ReadProRes(std::unique_ptr<InputFile> file,
                                        const ProResOptions& options, const std::string& path) {
  if (options.inPlace) file->AllowMapping(kLabelledBytes);
  if (options.scan) {
    return std::make_unique<ScanReader>(std::move(file), options.sameScan, options.rate);
  }
  try {
    return std::make_unique<ProResReader>(std::move(file), options);
  } catch (const UnreadableContainer& failure) {
    throw UnreadableContainer(failure.what() + AdviceFor(path));
  }
}

}  // namespace

std::unique_ptr<FrameReader> OpenProRes(const std::string& path, const ProResOptions& options) {
  CheckWhole(path);
  return ReadProRes(OpenInput(path), options, path);
}

std::unique_ptr<FrameReader> OpenVideo(const std::string& path, const SequenceReading& images,
                                       ProResOptions options) {
  if (auto files = FindImages(path)) {
    return std::make_unique<SequenceReader>(std::move(*files), images);
  }
  CheckWhole(path);
  auto file = OpenInput(path);
  const bool mayBeProRes = !StartsAsY4m(*file);
  if (mayBeProRes && (!file->IsSeekable() || HoldsProRes(Demuxer(std::make_unique<InputFile>(path),
                                                                 FileFormats::Footage)))) {
    options.times = FrameTimes::Evident;
    return ReadProRes(std::move(file), options, path);
  }
  FootageReading reading;
  reading.times = FrameTimes::Evident;
  reading.isDeep = images.isDeep;
  return ReadFootage(std::move(file), reading);
}

std::unique_ptr<FrameReader> OpenPictures(const std::string& path, const SequenceReading& images) {
  auto reader = OpenVideo(path, images);
  if (reader->GetSideTracks()) reader->GetSideTracks()->SelectSound({});
  return reader;
}

bool IsReopenable(const std::string& path) {
  std::error_code none;
  return std::filesystem::is_regular_file(path, none) || FindImages(path).has_value();
}

std::unique_ptr<FrameReader> OpenShownPictures(const std::string& path, SequenceReading images) {
  auto reader = OpenPictures(path, images);
  const InputDescription& input = reader->GetDescription();
  const bool mayHaveAlpha = input.isSequence || !input.finer.empty();
  if (!mayHaveAlpha || !IsReopenable(path)) return reader;
  images.isDeep = true;
  auto deep = OpenPictures(path, images);
  return deep->GetFormat().HasAlpha() ? std::move(deep) : std::move(reader);
}

}  // namespace vixprores
