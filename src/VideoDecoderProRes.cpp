// SPDX-License-Identifier: BSD-2-Clause
#include "VideoDecoderProRes.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include "VideoCodecProResCommon.h"
#include "vix/RawVideoUtils.h"

namespace vix {
namespace {

/// Line numbers in the records of DefineInput(). Readers of the log rely on them.
constexpr int kInfoCountLine = 330;
constexpr int kNotProResLine = 331;
constexpr int kNoRawParametersLine = 335;
constexpr int kNoConfigLine = 355;

/// The frame prefix holds the 32-bit size of the whole frame and the frame identifier.
constexpr std::uint32_t kPrefixBytes = 8;
constexpr std::uint32_t kIdentifierOffset = 4;
constexpr std::array<std::uint8_t, 4> kFrameIdentifier{'i', 'c', 'p', 'f'};
constexpr std::array<std::uint8_t, 4> kNoIdentifier{};

/// Bytes of the frame header up to the last field that is read.
constexpr std::uint64_t kFrameHeaderBytes = 17;
/// Bytes of the picture header up to the picture size: its own size in one byte, the picture's
/// in 4.
constexpr std::uint64_t kPictureSizeEnd = 5;

/// Smallest scratch buffer, so that it does not grow again with every larger small frame.
constexpr std::uint32_t kMinScratchBytes = 0xFC000;
constexpr std::uint64_t kMaxBufferBytes = std::numeric_limits<std::uint32_t>::max();

/// 1080 lines rounded up to whole macroblocks.
constexpr std::uint32_t kCodedHeight1080 = 1088;

/// Values of numbered properties in the description of decoded pictures.
constexpr std::int32_t kDecodedProperty1 = 2;
constexpr std::int32_t kDecodedProperty6 = 2;
constexpr std::int32_t kCompressedProperty11 = 2;
constexpr std::int32_t kDecodedProperty11 = 1;

std::uint32_t ReadBigEndian16(const std::uint8_t* bytes) {
  return static_cast<std::uint32_t>(bytes[0] << 8 | bytes[1]);
}

std::uint32_t ReadBigEndian32(const std::uint8_t* bytes) {
  return ReadBigEndian16(bytes) << 16 | ReadBigEndian16(bytes + 2);
}

/// Writes the frame prefix.
void WritePrefix(std::uint8_t* frame, std::uint32_t frameBytes,
                 const std::array<std::uint8_t, 4>& identifier) {
  for (int i = 0; i < 4; ++i) frame[i] = static_cast<std::uint8_t>(frameBytes >> (24 - 8 * i));
  std::copy(identifier.begin(), identifier.end(), frame + kIdentifierOffset);
}

/// Returns true if `destination` was set for a picture of this format and size.
bool HasGeometry(const PixelBufferRecord& destination, FourCC fourcc, unsigned width,
                 unsigned height) {
  return destination.pixelFormat == FindPixelFormat(fourcc) && destination.width == width &&
         destination.height == height;
}

/// Changes the properties of a compressed stream to those of its decoded pictures.
void DescribeDecodedPictures(IVideoParameters& parameters) {
  parameters.SetVideoProperty6(kDecodedProperty6);
  parameters.SetVideoProperty1(kDecodedProperty1);
  if (parameters.GetStoredHeight() == kCodedHeight1080) parameters.SetStoredHeight(1080);
  if (parameters.GetVideoProperty11() == kCompressedProperty11)
    parameters.SetVideoProperty11(kDecodedProperty11);
}

}  // namespace

VideoDecoderProRes::VideoDecoderProRes(
    std::shared_ptr<const IParametersCollectionInstance> factoryConfig)
    : config(std::move(factoryConfig)), decoderRecord(std::make_unique<DecoderRecord>()) {
  scratchBuffer = CreateBuffer(nullptr, nullptr);
  allocator = CreateRecycler();
}

VideoDecoderProRes::~VideoDecoderProRes() {
  VideoDecoderProRes::Release();
}

void VideoDecoderProRes::Release() {
  if (decoderRecord->handle == nullptr) return;
  WPRCloseDecoder(decoderRecord->handle);
  decoderRecord->handle = nullptr;
}

void VideoDecoderProRes::SetInitConfig(
    std::shared_ptr<const IParametersCollectionInstance> newConfig) {
  initConfig = std::move(newConfig);
  skipField = initConfig->GetBool("SkipField");
  if (initConfig->HasFourCC("OutputFourCC")) outputFourCC = initConfig->GetFourCC("OutputFourCC");
  allocator = initConfig->HasString("Allocator") ? GetAllocator(initConfig->GetString("Allocator"))
                                                 : CreateRecycler();
  CheckNotNull(allocator, "Invalid allocator");
}

void VideoDecoderProRes::DefineInput(std::shared_ptr<const IInfoContainer> input,
                                     std::string /*name*/) {
  definedInput = std::move(input);
  const auto infos = definedInput->GetInfo();
  CheckEqual<std::uint64_t>("Only one input video sample allowed", 1, infos.size(), kInfoCountLine);
  const IVideoInfo& info = *infos.front();
  CheckEqual("Need prores video codec family for input config",
             static_cast<int>(VCodecFamily::ProRes),
             static_cast<int>(info.GetVideoParameters()->GetCodecFamily()), kNotProResLine);
  const auto output = CreateVideoParameters<VCodecFamily::Raw>();
  CheckNotNull(output, "Need raw video codec family for output config", kNoRawParametersLine);

  CopyCommonProperties(info.GetVideoParameters(), *output);
  if (outputFourCC == 0) outputFourCC = kFourCC_V210;
  output->SetFourCC(outputFourCC);
  DescribeDecodedPictures(*output);
  CheckNotNull(initConfig, "VideoDecoderProRes config", kNoConfigLine);

  std::shared_ptr<const IChannelInfo> channelInfo;
  if (skipField && output->GetScanMode() == ScanMode::Interlaced) {
    output->SetStoredHeight(output->GetStoredHeight() / 2);
    const auto inputChannel = info.GetChannelInfo();
    channelInfo = CreateChannelInfo(inputChannel ? inputChannel->GetTrack() : nullptr, 0);
  } else {
    channelInfo = info.GetChannelInfo();
  }
  definedOutput =
      CreateInfoContainer(CreateVideoInfo(output, std::move(channelInfo), {}, {}), nullptr);
}

bool VideoDecoderProRes::GetCompressedFrameDetails(COMP_DETAILS_STRUCT& details,
                                                   const std::uint8_t* frame,
                                                   std::uint64_t frameBytes) {
  details.valid = false;
  if (frame == nullptr) return false;
  details.bare = true;
  if (frameBytes < kPrefixBytes) return false;
  details.bare =
      !std::equal(kFrameIdentifier.begin(), kFrameIdentifier.end(), frame + kIdentifierOffset);
  const std::uint8_t* const header = details.bare ? frame : frame + kPrefixBytes;
  const std::uint64_t bytes = details.bare ? frameBytes : frameBytes - kPrefixBytes;
  if (bytes < kFrameHeaderBytes) return false;

  details.headerSize = ReadBigEndian16(header);
  const std::uint8_t bitstreamVersion = header[3];
  if (bitstreamVersion != 0) return false;
  details.width = ReadBigEndian16(header + 8);
  details.height = ReadBigEndian16(header + 10);
  const std::uint32_t chromaFormat = header[12] >> 6;
  if (chromaFormat < 2) return false;
  details.chromaFormat = chromaFormat;
  const unsigned interlaceMode = header[12] >> 2 & 3;
  if (interlaceMode > kWPRBottomFieldFirst) return false;
  details.progressive = interlaceMode == kWPRProgressive;
  const unsigned aspectRatio = header[13] >> 4;
  details.aspectRatioCode = aspectRatio <= 4 ? static_cast<std::uint8_t>(aspectRatio) : 0;
  details.matrixCoefficients = header[16];
  if (bytes < details.headerSize + kPictureSizeEnd) return false;
  details.pictureSize = ReadBigEndian32(header + details.headerSize + 1);
  details.valid = true;
  return true;
}

std::int32_t VideoDecoderProRes::XTToStdProRes(std::shared_ptr<const IBuffer> source,
                                               bool appendSecondField) {
  const std::uint8_t* const src = source->GetData();
  const std::uint64_t srcBytes = source->GetSize();
  std::uint8_t* const dst = scratchBuffer->GetData();
  const std::uint64_t dstBytes = scratchBuffer->GetSize();
  COMP_DETAILS_STRUCT field{};
  if (!GetCompressedFrameDetails(field, src, srcBytes)) return kUnreadableHeader;
  if (dst == nullptr || !field.bare) return kNoMemory;

  if (field.progressive || !appendSecondField) {
    if (kPrefixBytes + srcBytes > dstBytes) return kNoMemory;
    // A field gets no identifier: it is only half a frame.
    WritePrefix(dst, static_cast<std::uint32_t>(kPrefixBytes + srcBytes),
                field.progressive ? kFrameIdentifier : kNoIdentifier);
    std::copy_n(src, srcBytes, dst + kPrefixBytes);
    return kDone;
  }

  // The stored first field has no identifier, so this reads its prefix as a frame header.
  COMP_DETAILS_STRUCT stored{};
  if (!GetCompressedFrameDetails(stored, dst, dstBytes)) return kUnreadableHeader;
  if (field.headerSize + field.pictureSize > srcBytes) return kUnreadableHeader;
  const std::uint64_t joinOffset = kPrefixBytes + stored.headerSize + stored.pictureSize;
  if (joinOffset + field.pictureSize > dstBytes) return kNoMemory;
  WritePrefix(dst, static_cast<std::uint32_t>(joinOffset + field.pictureSize), kNoIdentifier);
  std::copy_n(src + field.headerSize, field.pictureSize, dst + joinOffset);
  return kDone;
}

std::int32_t VideoDecoderProRes::Decode(std::shared_ptr<const IBuffer> input, FourCC fourcc) {
  if (input == nullptr) return kNoMemory;
  const std::uint8_t* const data = input->GetData();
  const std::uint32_t inputBytes = input->GetSize();
  COMP_DETAILS_STRUCT details{};
  if (!GetCompressedFrameDetails(details, data, inputBytes)) return kUnreadableHeader;
  if (!details.bare) return DecodeStdProRes(input, fourcc);

  const bool paired = !details.progressive && !skipField;
  // If this 32-bit sum wraps, XTToStdProRes() rejects the frame because the buffer is too small.
  const std::uint32_t scratchBytes =
      std::max(kMinScratchBytes, (paired ? 2U : 1U) * inputBytes + kPrefixBytes);
  if (scratchBuffer->GetSize() < scratchBytes) scratchBuffer->Resize(scratchBytes);

  const bool secondField = paired && fieldCount % 2 == 1;
  std::int32_t result = XTToStdProRes(input, secondField);
  if (result != kDone) return result;
  if (paired && !secondField) {
    ++fieldCount;
    return kFirstFieldStored;
  }
  result = DecodeStdProRes(scratchBuffer, fourcc);
  if (result == kDone && secondField) ++fieldCount;
  return result;
}

std::int32_t VideoDecoderProRes::DecodeStdProRes(std::shared_ptr<const IBuffer> frame,
                                                 FourCC fourcc) {
  const std::uint8_t* const data = frame->GetData();
  const std::uint32_t length = frame->GetSize();
  if (data == nullptr) return kNoMemory;
  COMP_DETAILS_STRUCT details{};
  if (!GetCompressedFrameDetails(details, data, length)) return kUnreadableHeader;

  const bool singleField = skipField && !details.progressive;
  const RawPicture picture{fourcc, static_cast<VideoChroma>(details.chromaFormat),
                           static_cast<unsigned>(details.width),
                           static_cast<unsigned>(details.height >> (singleField ? 1 : 0))};
  outputBuffer = CreateBuffer(allocator, nullptr);
  outputBuffer->Allocate(
      RawVideoUtils::GetFrameBytes(fourcc, picture.chroma, picture.width, picture.height));
  const std::uint32_t outputBytes = outputBuffer->GetSize();
  outputBuffer->SetSize(outputBytes);

  if (decoderRecord->handle == nullptr && !OpenDecoder(picture)) return kDecoderNotOpen;
  PixelBufferRecord& destination = decoderRecord->destination;
  if (!HasGeometry(destination, fourcc, picture.width, picture.height)) {
    // The library writes the picture that opened the decoder, which may be larger than this one.
    const std::uint64_t pictureBytes = std::uint64_t{destination.rowBytes} * destination.height;
    if (pictureBytes > kMaxBufferBytes) return kNoMemory;
    if (pictureBytes > outputBytes) outputBuffer->Resize(static_cast<std::uint32_t>(pictureBytes));
  }
  destination.baseAddress = outputBuffer->GetData();
  return WPRDecodeFrame(decoderRecord->handle, data, length, &destination, singleField ? 1 : 0) < 0
             ? kDecodeFailed
             : kDone;
}

bool VideoDecoderProRes::OpenDecoder(const RawPicture& picture) {
  decoderRecord->handle = WPROpenDecoder(0, nullptr);
  if (decoderRecord->handle == nullptr) return false;
  PixelBufferRecord& destination = decoderRecord->destination;
  destination = {};
  destination.pixelFormat = GetPixelFormat(picture.fourcc);
  destination.height = picture.height;
  destination.rowBytes =
      RawVideoUtils::GetStrides(picture.fourcc, picture.chroma, picture.width, picture.height)
          .at(0);
  destination.width = picture.width;
  return true;
}

void VideoDecoderProRes::PushSample(std::shared_ptr<const ISampleContainer> container) {
  const auto samples = container->GetVideoSamples(nullptr, nullptr);
  const std::shared_ptr<const IVideoInfo> outputInfo = definedOutput->GetInfo().at(0);
  CheckEqual<std::uint64_t>("Unsupported number of video samples", samples.size(), 1);
  const IVideoSample& sample = *samples.front();
  const FourCC fourcc =
      dynamic_cast<const IVideoParameters_RAW&>(*outputInfo->GetVideoParameters()).GetFourCC();
  CheckEqual<std::int32_t>("Failed to decode frame", 0, Decode(sample.GetBuffer(), fourcc));

  const std::shared_ptr<const IVideoParameters> parameters = outputInfo->GetVideoParameters();
  outputSample = CreateSampleContainer(
      CreateVideoSample(parameters, outputInfo, outputBuffer, sample.GetTimeLimits(), {}), nullptr);
}

std::shared_ptr<IVideoDecoder> CreateVideoDecoderProRes(
    std::shared_ptr<const IParametersCollectionInstance> config) {
  return std::make_shared<VideoDecoderProRes>(std::move(config));
}

}  // namespace vix
