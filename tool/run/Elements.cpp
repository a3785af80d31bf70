// SPDX-License-Identifier: BSD-2-Clause
#include "run/Elements.h"

#include <algorithm>
#include <stdexcept>
#include <thread>
#include <utility>

#include "ProRes/ProResHost.h"
#include "base/FramePool.h"
#include "base/Text.h"
#include "frames/FrameCheck.h"
#include "frames/FrameHeaders.h"
#include "vix/Error.h"
#include "vix/Registry.h"

namespace vixprores {
namespace {

// Values of the host's numbered stream properties.
constexpr std::int32_t kPacked422 = 2;       // sample structure
constexpr std::int32_t kStoredAsFrames = 1;  // picture structure

std::shared_ptr<vix::IVideoParameters> MakeParameters(const StreamFormat& format) {
  if (format.IsRaw()) {
    auto raw = vix::CreateVideoParameters<vix::VCodecFamily::Raw>();
    raw->SetFourCC(format.code);
    return raw;
  }
  auto compressed = vix::CreateVideoParameters<vix::VCodecFamily::ProRes>();
  const ProResVariant* const variant = FindProResVariant(format.code);
  compressed->SetProResCodecVariant(variant ? variant->variant : vix::ProResCodecVariant::Standard);
  return compressed;
}

// Observes the decoder while the calling thread runs an element, and sets the number of threads of
// decoders opened meanwhile: the decoder element has parameters for neither.
class CodecScope {
 public:
  explicit CodecScope(int threads) {
    WPRSetDefaultThreads(threads);
    WPRSetDecodeObserver(Observe, this);
  }
  ~CodecScope() { WPRSetDecodeObserver(nullptr, nullptr); }
  CodecScope(const CodecScope&) = delete;
  CodecScope& operator=(const CodecScope&) = delete;

  std::uint32_t GetDamagedSlices() const { return damagedSlices_; }

 private:
  static void Observe(void* scope, const DecodeReportRecord* report) {
    static_cast<CodecScope*>(scope)->damagedSlices_ = report->damagedSlices;
  }

  std::uint32_t damagedSlices_ = 0;
};

vix::ElementDriver MakeProResElement(vix::ElementFactoryType factoryType) {
  return {factoryType, "vix", vix::GetLabel(vix::VCodecFamily::ProRes)};
}

}  // namespace

std::shared_ptr<const vix::IVideoInfo> DescribeStream(const StreamFormat& format) {
  const auto parameters = MakeParameters(format);
  parameters->SetVideoProperty1(static_cast<std::int32_t>(vix::VideoChroma::C422));
  parameters->SetVideoProperty2(format.colour.primaries);
  parameters->SetVideoProperty3(format.colour.transfer);
  parameters->SetVideoProperty4(format.colour.matrix);
  parameters->SetVideoProperty6(kPacked422);
  parameters->SetVideoProperty11(kStoredAsFrames);
  parameters->SetScanMode(format.IsInterlaced() ? vix::ScanMode::Interlaced
                                                : vix::ScanMode::Progressive);
  parameters->SetStoredWidth(format.width);
  parameters->SetStoredHeight(format.height);
  parameters->SetWidth(format.width);
  parameters->SetHeight(format.height);
  parameters->SetEditRate(format.rate);
  return vix::CreateVideoInfo(parameters, vix::CreateChannelInfo(nullptr, 0), {}, {});
}

vix::ElementDriver MakeProResEncoder(const ProResVariant& variant, int threads) {
  auto encoder = MakeProResElement(vix::ElementFactoryType::VideoEncoder);
  const auto config = encoder.CreateConfig();
  config->SetInt("NumThreads", threads);
  config->SetProResCodecVariant("ProResCodecVariant", variant.variant);
  encoder.Configure(config);
  return encoder;
}

vix::ElementDriver MakeProResDecoder(vix::FourCC fourcc, bool skipField) {
  auto decoder = MakeProResElement(vix::ElementFactoryType::VideoDecoder);
  const auto config = decoder.CreateConfig();
  config->SetBool("SkipField", skipField);
  config->SetFourCC("OutputFourCC", fourcc);
  decoder.Configure(config);
  return decoder;
}

ThreadShares ShareThreads(int threads, std::optional<std::int64_t> frames) {
  const auto processors = static_cast<int>(std::thread::hardware_concurrency());
  const std::int64_t available = std::max(1, threads == 0 ? processors : threads);
  const std::int64_t elements = std::clamp<std::int64_t>(frames.value_or(available), 1, available);
  return {static_cast<unsigned>(elements), static_cast<int>(available / elements)};
}

ElementTeam::ElementTeam(const MakeElement& make, const StreamFormat& input,
                         const ThreadShares& shares)
    : threadsEach_(shares.threadsEach), input_(input), info_(DescribeStream(input)) {
  elements_.reserve(shares.elements);
  while (elements_.size() < shares.elements) {
    elements_.push_back(make(threadsEach_));
    elements_.back().Define(vix::CreateInfoContainer(info_, nullptr));
  }
}

ElementOutput ElementTeam::Process(unsigned element, std::shared_ptr<const vix::IBuffer> frame,
                                   std::int64_t number) {
  vix::ElementDriver& driver = elements_.at(element);
  const std::int64_t begin = input_.start + number;
  const auto input = vix::CreateVideoSample(info_->GetVideoParameters(), info_, std::move(frame),
                                            {{begin, begin + 1, input_.rate}}, {});
  const CodecScope codec(threadsEach_);
  driver.Push(vix::CreateSampleContainer(input, nullptr));
  const auto output = driver.Pull();
  const auto samples = output ? output->GetVideoSamples(nullptr, nullptr)
                              : std::vector<std::shared_ptr<const vix::IVideoSample>>{};
  if (samples.size() != 1) throw vix::VIXRuntimeError(driver.GetName() + " returned no frame");
  return {samples.front(), codec.GetDamagedSlices()};
}

ElementOutput ElementTeam::Encode(unsigned element, std::shared_ptr<const vix::IBuffer> frame,
                                  std::int64_t number) {
  try {
    return Process(element, std::move(frame), number);
  } catch (const std::runtime_error& error) {
    return {nullptr, 0, error.what()};
  }
}

ElementOutput ElementTeam::Decode(unsigned element,
                                  const std::shared_ptr<const vix::IBuffer>& frame,
                                  const std::optional<ParsedHeader>& header, std::int64_t number,
                                  std::uint32_t pictureBytes) {
  // The element would assume the other layout for a frame without its marks, and would then expect
  // that layout of the next frame too.
  if (!header) return {nullptr, 0, "has no readable frame header"};
  try {
    auto output = Process(element, frame, number);
    if (output.sample->GetBuffer()->GetSize() != pictureBytes) {
      return {nullptr, 0, "differs in size from the first one"};
    }
    if (output.damagedSlices > 0) {
      output.fault = "has " + Count(output.damagedSlices, "damaged slice");
    }
    return output;
  } catch (const std::runtime_error& error) {
    // The fault of the frame itself explains more than the element's error.
    const std::string found = CheckFrame(BytesOf(*frame), header).Describe();
    return {nullptr, 0, found.empty() ? error.what() : found};
  }
}

}  // namespace vixprores
