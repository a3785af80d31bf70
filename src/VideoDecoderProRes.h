// SPDX-License-Identifier: BSD-2-Clause
#ifndef SRC_VIDEODECODERPRORES_H
#define SRC_VIDEODECODERPRORES_H

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "ProRes/ProRes.h"
#include "vix/Diagnostics.h"
#include "vix/Elements.h"
#include "vix/Export.h"

namespace vix {

/// Decodes ProRes to raw video ("UYVY" or "V210"), one frame per pushed sample.
///
/// Calls are expected in the order SetInitConfig(), DefineInput(), any number of PushSample() and
/// GetSample(); nothing enforces it. Used by one thread at a time. Failures are reported as
/// Diagnostics.h describes; exceptions of the host pass through unchanged.
///
/// Frames come in the standard layout (8-byte prefix with the size and "icpf", frame header,
/// pictures; SMPTE RDD 36, frame syntax) or in the bare XT layout, which has no prefix and one
/// field per sample where the material is interlaced.
class VIX_API VideoDecoderProRes : public IVideoDecoder {
 public:
  /// What a frame tells of itself (RDD 36, frame header syntax and semantics).
  struct COMP_DETAILS_STRUCT {
    std::uint64_t width;         ///< pixels
    std::uint64_t height;        ///< rows of the whole frame, both fields
    std::uint32_t chromaFormat;  ///< 2 = 4:2:2, 3 = 4:4:4
    bool progressive;
    std::uint8_t aspectRatioCode;  ///< 1 to 4 as in the header; 0 = anything else
    bool valid;                    ///< the whole header was read and accepted
    std::uint8_t matrixCoefficients;
    bool bare;                  ///< no "icpf" prefix: XT layout
    std::uint64_t headerSize;   ///< bytes of the frame header
    std::uint64_t pictureSize;  ///< bytes of the first picture, as its header says
  };

  /// What frame operations answer.
  enum Result : std::int32_t {
    kDone = 0,
    kUnreadableHeader = -1,
    kNoMemory = -2,  ///< memory is missing or too small, or the frame has the wrong layout
    kDecoderNotOpen = -3,
    kDecodeFailed = -5,
    kFirstFieldStored = -6,  ///< first field of an XT pair; the picture comes with the second
  };

  /// Makes the element with a recycling allocator of its own.
  /// @param factoryConfig what GetManifest() returns; possibly null
  explicit VideoDecoderProRes(std::shared_ptr<const IParametersCollectionInstance> factoryConfig);
  /// Closes the codec library's decoder, then lets go of everything else.
  ~VideoDecoderProRes() override;
  VideoDecoderProRes(const VideoDecoderProRes&) = delete;
  VideoDecoderProRes& operator=(const VideoDecoderProRes&) = delete;

  /// Decodes the container's single video sample. The decoded sample carries the defined output's
  /// description and the pushed sample's time limits, and replaces one that still waits. After a
  /// failure the waiting sample stays. The first field of an XT pair is reported as a failure
  /// (kFirstFieldStored) although it was stored.
  void PushSample(std::shared_ptr<const ISampleContainer> container) override;
  /// Hands over the waiting decoded sample; null when there is none.
  std::shared_ptr<const ISampleContainer> GetSample() override {
    return std::exchange(outputSample, nullptr);
  }
  /// Proposes nothing.
  std::shared_ptr<const IInfoContainer> CheckInputAndAdaptIfNecessary(
      std::shared_ptr<const IInfoContainer> /*input*/, std::string /*name*/) const override {
    return nullptr;
  }
  /// Accepts one ProRes stream and describes the raw stream that comes of it. `input` is kept even
  /// when it is refused; the defined output changes on success only.
  void DefineInput(std::shared_ptr<const IInfoContainer> input, std::string name) override;
  void SetInputMediator(std::shared_ptr<IInputMediator> /*mediator*/, std::string /*inputName*/,
                        std::string /*outputName*/) override {}
  void SetOutputMediator(std::shared_ptr<IOutputMediator> /*mediator*/, std::string /*outputName*/,
                         std::string /*inputName*/) override {}
  /// Drops the waiting sample; a field held for pairing stays.
  void ClearInternalBuffer() override { outputSample = nullptr; }
  std::shared_ptr<const IInfoContainer> GetDefinedInput(std::string /*name*/) const override {
    return definedInput;
  }
  std::shared_ptr<const IInfoContainer> GetDefinedOutput(std::string /*name*/) const override {
    return definedOutput;
  }
  /// Reads "SkipField", "OutputFourCC" (where set) and "Allocator" (the recycling allocator where
  /// not set). The geometry of an open decoder stays; Release() makes the next frame set it anew.
  void SetInitConfig(std::shared_ptr<const IParametersCollectionInstance> newConfig) override;
  void Flush() override {}
  void Interrupt() override {}
  std::shared_ptr<const IParametersCollectionInstance> GetManifest() const override {
    return config;
  }
  /// Closes the codec library's decoder if it is open; the next frame opens a new one.
  void Release() override;
  /// Always refused.
  void UpdateConfig(std::shared_ptr<const IParametersCollectionInstance> /*newConfig*/) override {
    Fail("UpdateConfig not supported");
  }

  /// Reads a frame of `frameBytes` bytes up to the size of its first picture. Nothing outside the
  /// frame is read: one that ends before what is read of it is rejected. Fields written before a
  /// rejection keep their values.
  /// @return true, with `valid` set, when the header was accepted
  static bool GetCompressedFrameDetails(COMP_DETAILS_STRUCT& details, const std::uint8_t* frame,
                                        std::uint64_t frameBytes);
  /// Writes an XT frame into the scratch buffer, which the caller has made large enough: behind a
  /// frame prefix, or behind the field that is there already. On failure nothing is written.
  /// @return kDone, kUnreadableHeader or kNoMemory
  std::int32_t XTToStdProRes(std::shared_ptr<const IBuffer> source, bool appendSecondField);
  /// Decodes a frame in either layout into a new output buffer. No input at all is kNoMemory.
  /// @return a Result
  std::int32_t Decode(std::shared_ptr<const IBuffer> input, FourCC fourcc);
  /// Decodes a frame in the standard layout into a new output buffer; opens the codec library's
  /// decoder when it is not open, with the geometry of this frame.
  /// @return a Result
  /// @throws VIXRuntimeError "Unsupported fourcc" while opening
  std::int32_t DecodeStdProRes(std::shared_ptr<const IBuffer> frame, FourCC fourcc);

 private:
  /// The codec library's decoder and the picture that it writes to.
  struct DecoderRecord {
    WPRDecoderHandle handle;  ///< null = not open
    PixelBufferRecord destination;
  };

  /// The raw picture that a frame is decoded to.
  struct RawPicture {
    FourCC fourcc;
    VideoChroma chroma;
    unsigned width;   ///< pixels
    unsigned height;  ///< rows: of the frame, or of one field where one field is decoded
  };

  /// Opens the codec library's decoder and fixes the destination's geometry.
  /// @return false when the library gives no decoder
  bool OpenDecoder(const RawPicture& picture);

  std::shared_ptr<const IParametersCollectionInstance> config;
  std::shared_ptr<IMemoryBlockAllocator> allocator;      ///< memory of every decoded frame
  std::shared_ptr<const ISampleContainer> outputSample;  ///< the one sample that waits
  std::shared_ptr<const IInfoContainer> definedInput;
  std::shared_ptr<const IInfoContainer> definedOutput;
  std::unique_ptr<DecoderRecord> decoderRecord;
  std::shared_ptr<IBuffer> outputBuffer;   ///< the most recently decoded frame
  std::uint64_t fieldCount = 0;            ///< fields of XT pairs so far; odd = a field waits
  bool skipField = false;                  ///< decode one field of interlaced frames
  FourCC outputFourCC = 0;                 ///< 0 = not configured
  std::shared_ptr<IBuffer> scratchBuffer;  ///< XT frames in the standard layout; only grows
  std::shared_ptr<const IParametersCollectionInstance> initConfig;
};

/// A new decoder element; what the decoder's factory creates.
VIX_API std::shared_ptr<IVideoDecoder> CreateVideoDecoderProRes(
    std::shared_ptr<const IParametersCollectionInstance> config);

}  // namespace vix

#endif  // SRC_VIDEODECODERPRORES_H
