// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_ELEMENTS_H
#define TOOL_RUN_ELEMENTS_H

/// @file
/// Runs a stream through elements of the plug-in: frames go in as buffers and come out as samples.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/FramePool.h"
#include "format/StreamFormat.h"
#include "frames/FrameCheck.h"
#include "frames/FrameHeaders.h"
#include "vix/Buffers.h"
#include "vix/ElementDriver.h"
#include "vix/ElementPool.h"
#include "vix/Samples.h"
#include "vix/StreamDescription.h"

namespace vixprores {

/// Returns the host's description of a stream.
std::shared_ptr<const vix::IVideoInfo> DescribeStream(const StreamFormat& format);

/// Returns the name, in the registry, of the elements that encode to that variant or decode to that
/// packed format.
const char* FindImplementation(vix::FourCC code);

/// A ProRes element of the registry and its parameters.
class ProResElement {
 public:
  /// @param alphaBits of frames of 4444: 0 (no alpha channel), 8 or 16
  static ProResElement Encoder(const ProResVariant& variant, int alphaBits = 0);
  /// @param fourcc    code of a RawFormat
  /// @param skipField decode only the first field of interlaced frames; not for formats of 4444
  static ProResElement Decoder(vix::FourCC fourcc, bool skipField);

  /// Returns the code of the encoder's variant or the decoder's pictures.
  vix::FourCC GetCode() const { return code_; }

  /// Creates and configures the element.
  /// @param threads that share a frame
  vix::ElementDriver Make(int threads) const;
  /// Creates and configures a pool of the element for the frames of `input`.
  std::unique_ptr<vix::ElementPool> MakePool(const StreamFormat& input,
                                             vix::ElementPoolOptions options) const;

 private:
  using Config = vix::IParametersCollectionInstance;
  ProResElement(vix::ElementFactoryType factoryType, vix::FourCC code,
                std::function<void(Config&)> configure)
      : factoryType_(factoryType), code_(code), configure_(std::move(configure)) {}

  vix::ElementFactoryType factoryType_;
  vix::FourCC code_;
  std::function<void(Config&)> configure_;
};

/// Distribution of threads over the elements of one stream.
struct ThreadShares {
  unsigned elements;  ///< frames that are processed side by side
  int threadsEach;    ///< threads that share one frame
};

/// Distributes `threads` threads (0 = one per processor). Threads share a frame only if there are
/// fewer frames than threads: whole frames need no waiting.
/// @param frames frames of the stream; nullopt = unknown, assumed to be many
ThreadShares ShareThreads(int threads, std::optional<std::int64_t> frames);

/// Throws a MemoryLimitError if the uncompressed pictures of a run and the elements' own memory
/// exceed the limit.
/// @param frames of the run; nullopt = unknown
void CheckRunMemory(const StreamFormat& pictures, const ThreadShares& shares,
                    std::optional<std::int64_t> frames, bool encodes);

/// Returns the options of a pool with these shares.
vix::ElementPoolOptions PoolOptions(const ThreadShares& shares);

/// Makes the samples of one stream.
class SampleMaker {
 public:
  /// @param code of the element that takes the samples (ProResElement::GetCode())
  SampleMaker(const StreamFormat& format, vix::FourCC code);

  /// @param number of the frame in the output, from 0; sets its time
  std::shared_ptr<const vix::ISampleContainer> Make(std::shared_ptr<const vix::IBuffer> frame,
                                                    std::int64_t number) const;

 private:
  std::int64_t start_;
  Rational rate_;
  std::shared_ptr<const vix::IVideoInfo> info_;
  bool lowersVersion_;
  FramePool pool_;
};

/// Result of an element for one frame.
struct ElementOutput {
  std::shared_ptr<const vix::IVideoSample> sample;  ///< null = the frame cannot be decoded
  SliceDamage slices = {};                          ///< that the decoder has mended
  std::string fault = {};  ///< of the frame, to follow its number; empty = none
};

/// Returns the output of an encoder. Its failure is a fault of the frame, unless memory is missing.
ElementOutput TakeEncoded(const vix::PoolFrame& frame);
/// Returns the output of a decoder whose pictures have `pictureBytes` bytes. What is wrong with a
/// frame that is damaged or cannot be decoded is its fault, unless memory is missing.
/// @param source the compressed frame, with a valid header
ElementOutput TakeDecoded(const vix::PoolFrame& frame, const vix::IBuffer& source,
                          const ParsedHeader& header, std::uint32_t pictureBytes);
/// The fault of a frame without a valid header. It never gets to a decoder, which would assume the
/// other layout for it.
inline constexpr const char* kUnreadableHeader = "has no readable frame header";

/// Decoders, one for each worker of a run, that decode the frames of one stream.
class DecoderTeam {
 public:
  DecoderTeam(const ProResElement& decoder, const StreamFormat& input, const ThreadShares& shares);

  /// Decodes a frame as TakeDecoded() describes. Each worker may be used by one thread at a time.
  /// @param header of the frame; nullopt = invalid
  ElementOutput Decode(unsigned worker, const std::shared_ptr<const vix::IBuffer>& frame,
                       const std::optional<ParsedHeader>& header, std::int64_t number,
                       std::uint32_t pictureBytes);

 private:
  SampleMaker samples_;
  std::shared_ptr<const vix::IInfoContainer> stream_;
  std::vector<vix::ElementDriver> decoders_;  ///< defined by their first frame
};

}  // namespace vixprores

#endif  // TOOL_RUN_ELEMENTS_H
