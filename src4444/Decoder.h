// SPDX-License-Identifier: BSD-2-Clause
#ifndef SRC4444_DECODER_H
#define SRC4444_DECODER_H

#include <cstdint>
#include <memory>
#include <string>

#include "Element.h"
#include "Handles.h"
#include "Streams.h"

namespace vix::prores4444 {

/// Decodes ProRes of every variant to raw video with 4:4:4 chroma and alpha ("Y416" or "b64A"), one
/// frame per pushed sample.
///
/// The output has the properties of the input, except for chroma (C4444, or C444 if alpha is not
/// decoded) and sample structure (4, packed 4:4:4:4). Chroma of 4:2:2 is interpolated, missing
/// alpha is opaque, and damaged slices are concealed: a frame that has some is no failure.
class Decoder final : public Element<IVideoDecoder> {
 public:
  using Element::Element;

  /// Returns the parameters "OutputFourCC", "AlphaBits", "NumThreads" and "Allocator".
  static std::shared_ptr<const IParametersCollectionPrototype> MakeSchema();

  /// Sets the parameters. The allocator applies from the next frame on, the others from the next
  /// DefineInput() on.
  void SetInitConfig(std::shared_ptr<const IParametersCollectionInstance> config) override;
  /// Accepts one ProRes stream.
  void DefineInput(std::shared_ptr<const IInfoContainer> input, std::string name) override;
  /// Decodes one frame, which has the size of the defined input and the 8-byte prefix.
  void PushSample(std::shared_ptr<const ISampleContainer> container) override;
  /// Closes the codec library's decoder; the next frame opens another one.
  void Release() override { decoder_.reset(); }

 private:
  struct Settings {
    FourCC pixelFormat = 0;      ///< 0 = not configured
    std::int32_t alphaBits = 0;  ///< a WPRAlphaBits
    std::int32_t threads = 0;
  };

  void Prepare();
  std::string Explain(std::int32_t result, const IBuffer& frame) const;

  Settings settings_;
  std::shared_ptr<IMemoryBlockAllocator> allocator_;        ///< memory of the pictures
  std::shared_ptr<const IVideoParameters_RAW> parameters_;  ///< of the pictures; null = undefined
  std::int32_t alphaBits_ = 0;                              ///< of the pictures
  DecoderHandle decoder_;                                   ///< null = not open
};

}  // namespace vix::prores4444

#endif  // SRC4444_DECODER_H
