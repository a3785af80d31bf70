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
/// The host calls SetInitConfig(), DefineInput(), then PushSample() and GetSample() any number of
/// times; the element does not check this order. One thread at a time may use it. Failures are
/// reported as Diagnostics.h describes; exceptions of the host pass through unchanged.
///
/// Frames have the standard layout (8-byte prefix with the frame size and "icpf", frame header,
/// pictures; SMPTE RDD 36, frame syntax) or the bare XT layout, which has no prefix and, for
/// interlaced material, one field per sample.
class VIX_API VideoDecoderProRes : public IVideoDecoder {
 public:
  /// Contents of a frame header (RDD 36, frame header syntax and semantics).
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
    std::uint64_t pictureSize;  ///< bytes of the first picture according to its header
  };

  /// Result codes of the frame operations.
  enum Result : std::int32_t {
    kDone = 0,
    kUnreadableHeader = -1,
    kNoMemory = -2,  ///< memory is missing or too small, or the frame has the wrong layout
    kDecoderNotOpen = -3,
    kDecodeFailed = -5,
    kFirstFieldStored = -6,  ///< first field of an XT pair; the picture comes with the second
  };

  /// Creates the element with a recycling allocator of its own.
  /// @param factoryConfig returned by GetManifest(); may be null
  explicit VideoDecoderProRes(std::shared_ptr<const IParametersCollectionInstance> factoryConfig);
  /// Closes the codec library's decoder before it releases anything else.
  ~VideoDecoderProRes() override;
  VideoDecoderProRes(const VideoDecoderProRes&) = delete;
  VideoDecoderProRes& operator=(const VideoDecoderProRes&) = delete;

  /// Decodes the container's single video sample. The decoded sample has the description of the
  /// defined output and the time limits of the pushed sample, and replaces a waiting sample. After
  /// a failure the waiting sample stays. The first field of an XT pair is stored but reported as a
  /// failure (kFirstFieldStored).
  void PushSample(std::shared_ptr<const ISampleContainer> container) override;
  /// Returns the waiting decoded sample and keeps no reference; null if there is none.
  std::shared_ptr<const ISampleContainer> GetSample() override {
    return std::exchange(outputSample, nullptr);
  }
  /// Returns null: the element proposes no other input.
  std::shared_ptr<const IInfoContainer> CheckInputAndAdaptIfNecessary(
      std::shared_ptr<const IInfoContainer> /*input*/, std::string /*name*/) const override {
    return nullptr;
  }
  /// Accepts one ProRes stream and describes the raw stream that results from it. `input` is kept
  /// even if it is rejected; the defined output changes on success only.
  void DefineInput(std::shared_ptr<const IInfoContainer> input, std::string name) override;
  void SetInputMediator(std::shared_ptr<IInputMediator> /*mediator*/, std::string /*inputName*/,
                        std::string /*outputName*/) override {}
  void SetOutputMediator(std::shared_ptr<IOutputMediator> /*mediator*/, std::string /*outputName*/,
                         std::string /*inputName*/) override {}
  /// Drops the waiting sample. A stored first field stays.
  void ClearInternalBuffer() override { outputSample = nullptr; }
  std::shared_ptr<const IInfoContainer> GetDefinedInput(std::string /*name*/) const override {
    return definedInput;
  }
  std::shared_ptr<const IInfoContainer> GetDefinedOutput(std::string /*name*/) const override {
    return definedOutput;
  }
  /// Reads "SkipField", "OutputFourCC" (if set) and "Allocator" (a new recycling allocator if not
  /// set). The picture geometry of an open decoder does not change until Release().
  void SetInitConfig(std::shared_ptr<const IParametersCollectionInstance> newConfig) override;
  void Flush() override {}
  void Interrupt() override {}
  std::shared_ptr<const IParametersCollectionInstance> GetManifest() const override {
    return config;
  }
  /// Closes the codec library's decoder if it is open; the next frame opens another one.
  void Release() override;
  /// Reports a failure: the configuration cannot change this way.
  void UpdateConfig(std::shared_ptr<const IParametersCollectionInstance> /*newConfig*/) override {
    Fail("UpdateConfig not supported");
  }

  /// Parses a frame of `frameBytes` bytes up to the size of its first picture. Rejects a frame that
  /// ends before that. After a rejection, fields parsed before it hold their values.
  /// @return true, with `valid` set, if the header was accepted
  static bool GetCompressedFrameDetails(COMP_DETAILS_STRUCT& details, const std::uint8_t* frame,
                                        std::uint64_t frameBytes);
  /// Copies an XT frame into the scratch buffer, either after a frame prefix or, for a second
  /// field, after the stored first one. Writes nothing on failure.
  /// @return kDone, kUnreadableHeader, or kNoMemory if the scratch buffer is too small
  std::int32_t XTToStdProRes(std::shared_ptr<const IBuffer> source, bool appendSecondField);
  /// Decodes a frame in either layout into a new output buffer.
  /// @return a Result; kNoMemory for null
  std::int32_t Decode(std::shared_ptr<const IBuffer> input, FourCC fourcc);
  /// Decodes a frame in the standard layout into a new output buffer. Opens the codec library's
  /// decoder with the geometry of this frame if it is not open.
  /// @return a Result
  /// @throws VIXRuntimeError "Unsupported fourcc" while opening
  std::int32_t DecodeStdProRes(std::shared_ptr<const IBuffer> frame, FourCC fourcc);

 private:
  /// The codec library's decoder and the picture that it writes.
  struct DecoderRecord {
    WPRDecoderHandle handle;  ///< null = not open
    PixelBufferRecord destination;
  };

  /// Format and size of the picture that a frame is decoded to.
  struct RawPicture {
    FourCC fourcc;
    VideoChroma chroma;
    unsigned width;   ///< pixels
    unsigned height;  ///< rows of the frame, or of one field if only one is decoded
  };

  /// Opens the codec library's decoder and sets the geometry of the destination.
  /// @return false if the library returns no decoder
  bool OpenDecoder(const RawPicture& picture);

  std::shared_ptr<const IParametersCollectionInstance> config;
  std::shared_ptr<IMemoryBlockAllocator> allocator;      ///< memory of every decoded frame
  std::shared_ptr<const ISampleContainer> outputSample;  ///< the waiting sample
  std::shared_ptr<const IInfoContainer> definedInput;
  std::shared_ptr<const IInfoContainer> definedOutput;
  std::unique_ptr<DecoderRecord> decoderRecord;
  std::shared_ptr<IBuffer> outputBuffer;   ///< the most recently decoded frame
  std::uint64_t fieldCount = 0;            ///< XT fields accepted; odd = a first field is stored
  bool skipField = false;                  ///< decode one field of interlaced frames
  FourCC outputFourCC = 0;                 ///< 0 = not configured
  std::shared_ptr<IBuffer> scratchBuffer;  ///< XT frames in the standard layout; only grows
  std::shared_ptr<const IParametersCollectionInstance> initConfig;
};

/// Creates a decoder element.
VIX_API std::shared_ptr<IVideoDecoder> CreateVideoDecoderProRes(
    std::shared_ptr<const IParametersCollectionInstance> config);

}  // namespace vix

#endif  // SRC_VIDEODECODERPRORES_H
