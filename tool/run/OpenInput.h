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
#include "media/decode/FootageReading.h"
#include "media/raw/RawFrameReader.h"
#include "media/sequence/SequenceReader.h"

namespace vixprores {

/// Options for opening a ProRes input.
struct ProResOptions : ProResReading {
  bool scan = false;                  ///< find frames by their headers, without the container
  std::optional<Rational> rate = {};  ///< of scanned frames; nullopt = as their headers state
};

/// Opens raw frames.
std::unique_ptr<FrameReader> OpenRawFrames(const std::string& path, const RawFrameFormat& format);

/// Opens video of any kind, decided by its contents; its frames are uncompressed 4:2:2. Frames that
/// are packed 4:2:2 already stay in the file (CheckFramesInUse()), planar 4:2:2 of a Y4M stream is
/// packed, ProRes is decoded by the plug-in, which must be loaded, all else is decoded and
/// converted.
std::unique_ptr<FrameReader> OpenFootage(const std::string& path,
                                         const FootageReading& reading = {});

/// Opens the ProRes track of a container, or scans for frames. Size and field order come from the
/// first frame's header, as does everything else that the container does not state. Frames have
/// the standard layout, whatever the layout of the samples.
std::unique_ptr<FrameReader> OpenProRes(const std::string& path, const ProResOptions& options = {});

/// Opens an image sequence, ProRes in a container, or video as OpenFootage() does, decided by the
/// name and the contents, with frames at any times. On a pipe everything but Y4M is treated as
/// ProRes. `images.isDeep` counts for other video, too.
std::unique_ptr<FrameReader> OpenVideo(const std::string& path, const SequenceReading& images,
                                       ProResOptions options = {});

/// Does the same for the pictures alone, without sound.
std::unique_ptr<FrameReader> OpenPictures(const std::string& path, const SequenceReading& images);

/// Returns true if an input can be opened again from its start, as a pipe cannot.
bool IsReopenable(const std::string& path);

/// Does the same as OpenPictures() for stills: pictures with alpha become "Y416", except on a pipe.
std::unique_ptr<FrameReader> OpenShownPictures(const std::string& path, SequenceReading images);

}  // namespace vixprores

#endif  // TOOL_RUN_OPENINPUT_H
