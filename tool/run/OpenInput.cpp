// SPDX-License-Identifier: BSD-2-Clause
#include "run/OpenInput.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "base/Errors.h"
#include "frames/FrameLabels.h"
#include "media/InputFile.h"
#include "media/container/FilePatch.h"
#include "media/container/PacketTag.h"
#include "media/container/RawContainerReader.h"
#include "media/container/TrackDescription.h"
#include "media/raw/Y4m.h"
#include "recovery/FrameScanner.h"

namespace vixprores {
namespace {

constexpr std::array<std::uint8_t, 4> kMatroskaMagic{0x1A, 0x45, 0xDF, 0xA3};

bool IsY4m(InputFile& file) {
  return std::ranges::equal(file.Peek(kY4mMagic.size()), kY4mMagic);
}

bool HoldsProRes(const std::string& path) {
  const Demuxer demuxer(std::make_unique<InputFile>(path));
  return ChooseVideo(demuxer, false).codecpar->codec_id == AV_CODEC_ID_PRORES;
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

std::unique_ptr<FrameReader> OpenRawVideo(const std::string& path,
                                          const std::optional<RawFrameFormat>& rawFrames,
                                          FrameTimes times) {
  auto file = OpenInput(path, rawFrames.has_value());
  file->AllowMapping();
  if (rawFrames) return std::make_unique<RawFrameReader>(std::move(file), *rawFrames);
  if (IsY4m(*file)) return std::make_unique<Y4mReader>(std::move(file));
  try {
    return std::make_unique<RawContainerReader>(std::move(file), times);
  } catch (const UnreadableContainer& failure) {
    throw UnreadableContainer(failure.what() +
                              std::string("; encode also reads .y4m, and raw frames with "
                                          "--fourcc, --size and --rate"));
  }
}

std::unique_ptr<FrameReader> OpenProRes(const std::string& path, const ProResOptions& options) {
  if (IsHalfPatched(path)) {
    throw Failure(path +
                  ": was left half changed by an interrupted run; 'vixprores copy --in-place " +
                  QuoteForShell(path) + "' restores it");
  }
  auto file = OpenInput(path);
  if (options.inPlace) file->AllowMapping(kLabelledBytes);
  if (options.scan) {
    return std::make_unique<ScanReader>(std::move(file), options.demands, options.rate);
  }
  try {
    return std::make_unique<ProResReader>(std::move(file), options);
  } catch (const UnreadableContainer& failure) {
    throw UnreadableContainer(failure.what() + AdviceFor(path));
  }
}

std::unique_ptr<FrameReader> OpenVideo(const std::string& path) {
  auto file = OpenInput(path);
  if (IsY4m(*file)) return std::make_unique<Y4mReader>(std::move(file));
  std::unique_ptr<FrameReader> reader;
  if (!file->IsSeekable() || HoldsProRes(path)) {
    ProResReading reading;
    reading.times = FrameTimes::Evident;
    reader = std::make_unique<ProResReader>(std::move(file), reading);
  } else {
    reader = std::make_unique<RawContainerReader>(std::move(file), FrameTimes::Evident);
  }
  reader->GetSideTracks()->SelectSound({});
  return reader;
}

}  // namespace vixprores
