// SPDX-License-Identifier: BSD-2-Clause
#ifndef SRC4444_ENCODER_H
#define SRC4444_ENCODER_H

#include <cstdint>
#include <memory>
#include <string>

#include "Element.h"
#include "Handles.h"
#include "ProRes/ProRes.h"
#include "Streams.h"

namespace vix::prores4444 {

/// Encodes raw video ("Y416" or "b64A") to ProRes 4444, one frame per pushed sample.
///
/// The output has the properties of the input, with 4:4:4 chroma and the bit rate that the colours
/// aim at, to which alpha is added. Its ProResCodecVariant stays 0: the enumeration lists the
/// variants of 4:2:2.
class Encoder final : public Element<IVideoEncoder> {
 public:
  using Element::Element;

  /// Returns the parameters "Variant", "AlphaBits" and "NumThreads".
  static std::shared_ptr<const IParametersCollectionPrototype> MakeSchema();

  /// Sets the parameters, which apply from the next DefineInput() on.
  void SetInitConfig(std::shared_ptr<const IParametersCollectionInstance> config) override;
  /// Accepts one raw stream.
  void DefineInput(std::shared_ptr<const IInfoContainer> input, std::string name) override;
  /// Encodes one frame, which has the size and the scan mode of the defined input. Its pixel format
  /// and its matrix coefficients (VideoProperty4) are those of its own description.
  void PushSample(std::shared_ptr<const ISampleContainer> container) override;
  /// Closes the codec library's encoder; the next frame opens another one.
  void Release() override { encoder_.reset(); }

 private:
  struct Settings {
    std::uint32_t codecType = 0;  ///< a WPRCodecType; 0 = not configured
    std::int32_t alphaBits = kAutomaticAlpha;
    std::int32_t threads = 0;
  };
  struct Stream {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    ScanMode scanMode{};
    EncodeParamsRecord parameters{};
    std::int32_t alphaBits = 0;     ///< a WPRAlphaBits
    std::uint32_t mostBytes = 0;    ///< of an encoded frame
    std::uint32_t targetBytes = 0;  ///< that frames aim at
  };

  static Stream MakeStream(const IVideoParameters_RAW& raw, const Settings& settings);
  PixelBufferRecord CheckFrame(const IVideoSample& sample,
                               const IVideoParameters_RAW* parameters) const;
  void Prepare(const IVideoParameters& frame);

  Settings settings_;
  Stream stream_;
  std::shared_ptr<IMemoryBlockAllocator> allocator_ = CreateRecycler();
  EncoderHandle encoder_;  ///< null = not open
};

}  // namespace vix::prores4444

#endif  // SRC4444_ENCODER_H
