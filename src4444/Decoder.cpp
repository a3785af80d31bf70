// SPDX-License-Identifier: BSD-2-Clause
#include "Decoder.h"

#include <algorithm>
#include <string_view>

#include "Pictures.h"
#include "ProRes/ProResHost.h"
#include "vix/Diagnostics.h"
#include "vix/ProResFrame.h"

namespace vix::prores4444 {
namespace {

constexpr const char* kOutputFourCC = "OutputFourCC";
constexpr const char* kAllocator = "Allocator";

/// VideoProperty6 of packed 4:4:4:4.
constexpr std::int32_t kPacked4444 = 4;

/// A frame begins with its size in 32 bits and this text.
constexpr std::string_view kFrameIdentifier = "icpf";
constexpr std::size_t kIdentifierOffset = 4;

bool HasPrefix(const IBuffer& frame) {
  const std::uint8_t* const identifier = frame.GetData() + kIdentifierOffset;
  return frame.GetSize() >= kIdentifierOffset + kFrameIdentifier.size() &&
         std::equal(kFrameIdentifier.begin(), kFrameIdentifier.end(), identifier);
}

/// Returns the allocator that "Allocator" names.
std::shared_ptr<IMemoryBlockAllocator> ReadAllocator(const IParametersCollectionInstance& config) {
  if (!config.HasString(kAllocator)) return CreateRecycler();
  const std::string name = config.GetString(kAllocator);
  auto allocator = GetAllocator(name);
  if (!allocator) Fail("There is no allocator \"" + name + "\"; set its callbacks first");
  return allocator;
}

}  // namespace

std::shared_ptr<const IParametersCollectionPrototype> Decoder::MakeSchema() {
  auto schema = CreateParametersCollectionPrototype();
  schema->AddParameterFourCC(kOutputFourCC, {kFourCC_Y416, kFourCC_b64A},
                             "Pixel format of the pictures. If it is not set, Y416.");
  schema->AddParameterInt(kAlphaBits, kAutomaticAlpha,
                          "Alpha of the pictures: 0 (opaque), 8 (rounded to 8 bits), 16 or -1 (all "
                          "bits).");
  AddThreads(*schema);
  schema->AddParameterString(kAllocator, "",
                             "Allocator of the pictures, for example ExtBufferAllocator. If it is "
                             "not set, memory is reused.");
  return schema;
}

void Decoder::SetInitConfig(std::shared_ptr<const IParametersCollectionInstance> config) {
  CheckNotNull(config, "SetInitConfig needs a configuration");
  const bool hasFormat = config->HasFourCC(kOutputFourCC);
  const std::int32_t alphaBits = ReadAlphaBits(*config);
  const Settings settings{hasFormat ? config->GetFourCC(kOutputFourCC) : kFourCC_Y416,
                          alphaBits == kAutomaticAlpha ? kWPRAlpha16 : alphaBits,
                          ReadThreads(*config)};
  allocator_ = ReadAllocator(*config);
  if (settings.threads != settings_.threads) Release();
  settings_ = settings;
}

void Decoder::DefineInput(std::shared_ptr<const IInfoContainer> input, std::string /*name*/) {
  if (settings_.pixelFormat == 0) Fail("DefineInput was called before SetInitConfig");
  const auto parameters = ReadOnlyStream(input.get(), VCodecFamily::ProRes);
  const bool isOpaque = settings_.alphaBits == kWPRAlphaNone;
  const auto output = CreateVideoParameters<VCodecFamily::Raw>();
  CopyProperties(*parameters, *output);
  output->SetFourCC(settings_.pixelFormat);
  output->SetVideoProperty1(
      static_cast<std::int32_t>(isOpaque ? VideoChroma::C444 : VideoChroma::C4444));
  output->SetVideoProperty6(kPacked4444);
  Define(std::move(input), output);
  parameters_ = output;
  alphaBits_ = settings_.alphaBits;
}

void Decoder::Prepare() {
  if (!decoder_) decoder_.reset(WPROpenDecoder(settings_.threads, nullptr));
  CheckNotNull(decoder_.get(), "The codec library opened no decoder");
  // The library takes a matrix that it does not know, such as an unspecified one, for BT.709.
  const auto matrix = static_cast<std::uint32_t>(parameters_->GetVideoProperty4());
  const DecodeSettingsRecord record{sizeof(DecodeSettingsRecord), alphaBits_, matrix};
  const std::int32_t result = WPRSetDecodeSettings(decoder_.get(), &record);
  if (result != kWPRSuccess) Fail("Cannot set up the decoder: " + ResultText(result));
}

std::string Decoder::Explain(std::int32_t result, const IBuffer& frame) const {
  if (!HasPrefix(frame)) {
    return "it does not begin with the 8-byte prefix (size and \"icpf\"); frames in the bare "
           "layout "
           "are not supported";
  }
  if (result == kWPRBadArgument) {
    const auto header = ReadProResFrameHeader(frame.GetData(), frame.GetSize());
    return "its size is " + SizeText(header.width, header.height) + " and that of the stream " +
           SizeText(parameters_->GetWidth(), parameters_->GetHeight());
  }
  return ResultText(result);
}

void Decoder::PushSample(std::shared_ptr<const ISampleContainer> container) {
  CheckNotNull(parameters_, "PushSample was called before DefineInput");
  const auto sample = ReadOnlySample(container.get());
  const auto frame = sample->GetBuffer();
  if (!frame || frame->GetData() == nullptr) Fail("PushSample needs a sample with a buffer");
  Prepare();
  const auto picture = CreateBuffer(allocator_, nullptr);
  picture->Allocate(GetPictureBytes(*parameters_));
  PixelBufferRecord destination = DescribePicture(*parameters_, picture->GetData());
  const std::int32_t result =
      WPRDecodeFrame(decoder_.get(), frame->GetData(), frame->GetSize(), &destination, 0);
  if (result < 0) Fail("Cannot decode the frame: " + Explain(result, *frame));
  Emit(picture, *sample);
}

}  // namespace vix::prores4444
