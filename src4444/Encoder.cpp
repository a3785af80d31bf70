// SPDX-License-Identifier: BSD-2-Clause
#include "Encoder.h"

#include "Pictures.h"
#include "ProRes/ProResHost.h"
#include "vix/Diagnostics.h"

namespace vix::prores4444 {
namespace {

constexpr const char* kVariant = "Variant";
constexpr FourCC kVariant4444 = MakeFourCC("ap4h");
constexpr FourCC kVariant4444XQ = MakeFourCC("ap4x");

/// Matrix coefficients: the largest code of a frame header, and the code of unknown ones.
constexpr std::int32_t kMostMatrix = 255;
constexpr std::int32_t kUnspecifiedMatrix = 2;

std::uint32_t ReadCodecType(const IParametersCollectionInstance& config) {
  const bool isXQ = config.HasFourCC(kVariant) && config.GetFourCC(kVariant) == kVariant4444XQ;
  return isXQ ? kWPRCodec4444XQ : kWPRCodec4444;
}

std::uint32_t InterlaceModeOf(ScanMode scanMode) {
  switch (scanMode) {
    case ScanMode::Interlaced:
      return kWPRTopFieldFirst;
    case ScanMode::Progressive:
      return kWPRProgressive;
  }
  Fail("The scan mode is " + std::to_string(static_cast<std::int32_t>(scanMode)) +
       "; allowed: 1 (interlaced, top field first), 2 (progressive)");
}

std::int32_t MatrixOf(const IVideoParameters& parameters) {
  const std::int32_t matrix = parameters.GetVideoProperty4();
  if (matrix < 0 || matrix > kMostMatrix) {
    Fail("The matrix coefficients (VideoProperty4) are " + std::to_string(matrix) +
         "; allowed: 0 to " + std::to_string(kMostMatrix));
  }
  return matrix == 0 ? kUnspecifiedMatrix : matrix;
}

/// Returns megabits per second; 0 if the rate is unknown.
double BitRateOf(std::uint32_t frameBytes, EditRate rate) {
  if (rate.numerator <= 0 || rate.denominator <= 0) return 0;
  return 8e-6 * frameBytes * rate.numerator / rate.denominator;
}

std::string StreamText(std::uint32_t width, std::uint32_t height, ScanMode scanMode) {
  return SizeText(width, height) +
         (scanMode == ScanMode::Interlaced ? " interlaced" : " progressive");
}

}  // namespace

std::shared_ptr<const IParametersCollectionPrototype> Encoder::MakeSchema() {
  auto schema = CreateParametersCollectionPrototype();
  schema->AddParameterFourCC(kVariant, {kVariant4444, kVariant4444XQ},
                             "Variant of the frames: ap4h (4444) or ap4x (4444 XQ). If it is not "
                             "set, ap4h.");
  schema->AddParameterInt(kAlphaBits, kAutomaticAlpha,
                          "Bits of alpha: 0 (none), 8, 16 (lossless), or -1: 16 if the description "
                          "of the input states 4:4:4 with alpha, otherwise 0.");
  AddThreads(*schema);
  return schema;
}

void Encoder::SetInitConfig(std::shared_ptr<const IParametersCollectionInstance> config) {
  CheckNotNull(config, "SetInitConfig needs a configuration");
  const Settings settings{ReadCodecType(*config), ReadAlphaBits(*config), ReadThreads(*config)};
  if (settings.threads != settings_.threads) Release();
  settings_ = settings;
}

void Encoder::DefineInput(std::shared_ptr<const IInfoContainer> input, std::string /*name*/) {
  if (settings_.codecType == 0) Fail("DefineInput was called before SetInitConfig");
  const auto parameters = ReadOnlyStream(input.get(), VCodecFamily::Raw);
  const Stream stream =
      MakeStream(dynamic_cast<const IVideoParameters_RAW&>(*parameters), settings_);
  const auto output = CreateVideoParameters<VCodecFamily::ProRes>();
  CopyProperties(*parameters, *output);
  output->SetVideoProperty1(static_cast<std::int32_t>(VideoChroma::C444));
  output->SetBitRate(BitRateOf(stream.targetBytes, parameters->GetEditRate()));
  Define(std::move(input), output);
  stream_ = stream;
}

Encoder::Stream Encoder::MakeStream(const IVideoParameters_RAW& raw, const Settings& settings) {
  Stream stream{raw.GetWidth(), raw.GetHeight(), raw.GetScanMode()};
  stream.parameters = {settings.codecType, InterlaceModeOf(stream.scanMode)};
  stream.alphaBits = settings.alphaBits;
  if (settings.alphaBits == kAutomaticAlpha) {
    const bool hasAlpha = raw.GetVideoProperty1() == static_cast<std::int32_t>(VideoChroma::C4444);
    stream.alphaBits = hasAlpha ? kWPRAlpha16 : kWPRAlphaNone;
  }
  DescribePicture(raw, nullptr);  // fails for an unknown pixel format
  MatrixOf(raw);                  // fails for an unknown code
  const std::int32_t result = WPRGetCompressedFrameSize(
      settings.codecType, stream.width, stream.height, &stream.mostBytes, &stream.targetBytes);
  if (result != kWPRSuccess) {
    Fail("The size is " + SizeText(stream.width, stream.height) +
         "; allowed: 2x2 to 65535x65535, and encoded frames of less than 4 GiB; " +
         ResultText(result));
  }
  return stream;
}

PixelBufferRecord Encoder::CheckFrame(const IVideoSample& sample,
                                      const IVideoParameters_RAW* parameters) const {
  CheckNotNull(parameters, "PushSample needs a sample with a description of raw video");
  const std::uint32_t width = parameters->GetWidth();
  const std::uint32_t height = parameters->GetHeight();
  const ScanMode scanMode = parameters->GetScanMode();
  if (width != stream_.width || height != stream_.height || scanMode != stream_.scanMode) {
    Fail("A frame of " + StreamText(width, height, scanMode) + " in a stream of " +
         StreamText(stream_.width, stream_.height, stream_.scanMode) +
         "; call DefineInput for another stream");
  }
  const auto buffer = sample.GetBuffer();
  const std::uint32_t held = buffer ? buffer->GetSize() : 0;
  const PixelBufferRecord picture =
      DescribePicture(*parameters, buffer ? buffer->GetData() : nullptr);
  const std::uint32_t described = GetPictureBytes(*parameters);
  if (held < described) {
    Fail("A frame of " + std::to_string(held) + " bytes; its description requires " +
         std::to_string(described));
  }
  return picture;
}

void Encoder::Prepare(const IVideoParameters& frame) {
  if (!encoder_) encoder_.reset(WPROpenEncoder(settings_.threads, nullptr));
  CheckNotNull(encoder_.get(), "The codec library opened no encoder");
  const EncodeSettingsRecord record{sizeof(EncodeSettingsRecord), stream_.alphaBits,
                                    static_cast<std::uint32_t>(MatrixOf(frame))};
  const std::int32_t result = WPRSetEncodeSettings(encoder_.get(), &record);
  if (result != kWPRSuccess) Fail("Cannot set up the encoder: " + ResultText(result));
}

void Encoder::PushSample(std::shared_ptr<const ISampleContainer> container) {
  if (stream_.mostBytes == 0) Fail("PushSample was called before DefineInput");
  const auto sample = ReadOnlySample(container.get());
  const auto parameters = sample->GetVideoParameters();
  const PixelBufferRecord picture =
      CheckFrame(*sample, dynamic_cast<const IVideoParameters_RAW*>(parameters.get()));
  Prepare(*parameters);
  const auto frame = CreateBuffer(allocator_, nullptr);
  frame->Allocate(stream_.mostBytes);
  std::uint32_t bytes = 0;
  const std::int32_t result = WPREncodeFrame(encoder_.get(), &stream_.parameters, &picture,
                                             frame->GetData(), frame->GetSize(), &bytes);
  if (result != kWPRSuccess) Fail("Cannot encode the frame: " + ResultText(result));
  frame->SetSize(bytes);
  Emit(frame, *sample);
}

}  // namespace vix::prores4444
