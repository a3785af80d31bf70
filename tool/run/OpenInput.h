// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_OPENINPUT_H
#define TOOL_RUN_OPENINPUT_H

/// @file
/// Chooses the reader for an input.

#include <memory>
#include <optional>
#include <string>

#include "media/FrameReader.h"
#include "media/container/ProResReader.h"
#include "media/raw/RawFrameReader.h"

namespace vixprores {

/// Options for opening a ProRes input.
struct ProResOptions : ProResReading {
  bool scan = false;                  ///< find frames by their headers, without the container
  std::optional<Rational> rate = {};  ///< of scanned frames; nullopt = as their headers state
};

/// Opens uncompressed video: raw frames if `rawFrames` is given, otherwise Y4M or a container,
/// decided by the first bytes. Rejects formats that the encoder does not accept, and prints the
/// command that converts them. Frames that need no conversion stay in the file
/// (CheckFramesInUse()).
std::unique_ptr<FrameReader> OpenRawVideo(const std::string& path,
                                          const std::optional<RawFrameFormat>& rawFrames,
                                          FrameTimes times = FrameTimes::Checked);

/// Opens the ProRes track of a container, or scans for frames. Size and field order come from the
/// first frame's header, as does everything else that the container does not state. Frames have
/// the standard layout, whatever the layout of the samples.
std::unique_ptr<FrameReader> OpenProRes(const std::string& path, const ProResOptions& options = {});

/// Opens Y4M, ProRes in a container, or uncompressed video in one, decided by the contents, for its
/// pictures: without sound, and with frames at any times. On a pipe everything but Y4M is treated
/// as ProRes.
std::unique_ptr<FrameReader> OpenVideo(const std::string& path);

}  // namespace vixprores

#endif  // TOOL_RUN_OPENINPUT_H
