// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_ELEMENTSTREAM_H
#define TOOL_RUN_ELEMENTSTREAM_H

#include <cstdint>
#include <memory>
#include <string>

#include "format/StreamFormat.h"
#include "vix/Buffers.h"
#include "vix/ElementDriver.h"
#include "vix/Samples.h"
#include "vix/StreamDescription.h"

namespace vixprores {

/// One element at work on one stream: frames go in as buffers and come out as samples. Used by one
/// thread. Failures of the element are VIXRuntimeErrors.
class ElementStream {
 public:
  /// Takes a configured element and defines `input` as its input stream.
  ElementStream(vix::ElementDriver element, const StreamFormat& input);

  /// Runs the element on one frame. `number` counts the frames of the output, from 0: with the
  /// start and the rate of the stream it makes the frame's time.
  std::shared_ptr<const vix::IVideoSample> Process(std::shared_ptr<const vix::IBuffer> frame,
                                                   std::int64_t number);

 private:
  vix::ElementDriver element_;
  StreamFormat input_;
  std::shared_ptr<const vix::IVideoInfo> info_;
};

/// Creates and configures the ProRes encoder of the registry.
/// @param threads that share a frame
vix::ElementDriver MakeProResEncoder(const ProResVariant& variant, int threads);

/// Creates and configures the ProRes decoder of the registry. As it has no parameter for its
/// threads they are told to the codec library, once for all decoders.
/// @param fourcc  "UYVY" or "V210"
/// @param threads that share a frame
vix::ElementDriver MakeProResDecoder(vix::FourCC fourcc, bool skipField, int threads);

/// The host's description of a stream.
std::shared_ptr<const vix::IVideoInfo> DescribeStream(const StreamFormat& format);

}  // namespace vixprores

#endif  // TOOL_RUN_ELEMENTSTREAM_H
