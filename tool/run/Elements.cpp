// SPDX-License-Identifier: BSD-2-Clause
#include "run/Elements.h"

#include <algorithm>
#include <stdexcept>
#include <thread>
#include <utility>

#include "base/Limits.h"
#include "base/Text.h"
#include "frames/FrameHeaders.h"
#include "run/Host.h"
#include "run/OrderedRun.h"
#include "vix/Error.h"
#include "vix/ProResCodecHook.h"
#include "vix/Registry.h"

namespace vixprores {
namespace {

// Values of the host's numbered stream properties.
constexpr std::int32_t kPacked422 = 2;  // sample structure
constexpr std::int32_t kPacked4444 = 4;
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

vix::VideoChroma ChromaOf(const StreamFormat& format) {
  if (!format.is444) return vix::VideoChroma::C422;
  const bool countsAlpha = format.IsRaw() && format.HasAlpha();
  return countsAlpha ? vix::VideoChroma::C4444 : vix::VideoChroma::C444;
}

// Returns the code of the matrix; of ProRes, that which decoders make RGB with if a frame states
// none.
std::int32_t MatrixOf(const StreamFormat& format) {
  const int matrix = format.colour.matrix;
  return format.IsRaw() ? matrix : RgbMatrixFor(matrix, format.height).coded;
}

std::shared_ptr<vix::ICodecHook> GetCodecHook() {
  static const auto hook = std::make_shared<vix::ProResCodecHook>();
  return hook;
}

// Rethrows the error of a frame that is no fault of the frame.
void RethrowIfOutOfMemory(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const vix::VIXError& failure) {
    if (failure.GetCode() == vix::ErrorCode::OutOfMemory) throw;
  } catch (const std::runtime_error&) {
    return;
  }
}

// Rethrows the error of an intact frame that never reached the codec library. The element takes its
// own lack of memory for damage of the frame.
void RethrowIfNotDecoded(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const vix::VIXError& failure) {
    if (failure.GetCode() == vix::ErrorCode::Damaged && !failure.GetCodecResult()) throw;
  } catch (const std::runtime_error&) {
    return;
  }
}

std::string TextOf(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
}

std::string RequireImplementation(vix::FourCC code) {
  std::string implementation = FindImplementation(code);
  RequireElements(implementation);
  return implementation;
}

std::shared_ptr<const vix::IVideoSample> SampleOf(const vix::PoolFrame& frame) {
  const auto samples = frame.output ? frame.output->GetVideoSamples(nullptr, nullptr)
                                    : std::vector<std::shared_ptr<const vix::IVideoSample>>{};
  if (samples.size() != 1) throw vix::VIXRuntimeError("an element returned no frame");
  return samples.front();
}

}  // namespace

std::shared_ptr<const vix::IVideoInfo> DescribeStream(const StreamFormat& format) {
  const auto parameters = MakeParameters(format);
  parameters->SetVideoProperty1(static_cast<std::int32_t>(ChromaOf(format)));
  parameters->SetVideoProperty2(format.colour.primaries);
  parameters->SetVideoProperty3(format.colour.transfer);
  parameters->SetVideoProperty4(MatrixOf(format));
  const bool isPacked4444 = format.IsRaw() && IsOf4444(format.code);
  parameters->SetVideoProperty6(isPacked4444 ? kPacked4444 : kPacked422);
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

const char* FindImplementation(vix::FourCC code) {
  return IsOf4444(code) ? "vix4444" : "vix";
}

ProResElement ProResElement::Encoder(const ProResVariant& variant, int alphaBits) {
  return {vix::ElementFactoryType::VideoEncoder, variant.code, [=](Config& config) {
            if (variant.is4444) {
              config.SetFourCC("Variant", variant.code);
              config.SetInt("AlphaBits", alphaBits);
            } else {
              config.SetProResCodecVariant("ProResCodecVariant", variant.variant);
            }
          }};
}

ProResElement ProResElement::Decoder(vix::FourCC fourcc, bool skipField) {
  return {vix::ElementFactoryType::VideoDecoder, fourcc, [=](Config& config) {
            if (!IsOf4444(fourcc)) config.SetBool("SkipField", skipField);
            config.SetFourCC("OutputFourCC", fourcc);
          }};
}

vix::ElementDriver ProResElement::Make(int threads) const {
  const std::string implementation = RequireImplementation(code_);
  vix::ElementDriver element(factoryType_, implementation,
                             vix::GetLabel(vix::VCodecFamily::ProRes));
  element.SetCodecHook(GetCodecHook(), threads);
  // Frames of another size are found by the size of their pictures.
  element.SetInputChange(vix::InputChange::Redefine);
  const auto config = element.CreateConfig();
  configure_(*config);
  element.Configure(config);
  return element;
}

std::unique_ptr<vix::ElementPool> ProResElement::MakePool(const StreamFormat& input,
                                                          vix::ElementPoolOptions options) const {
  const std::string implementation = RequireImplementation(code_);
  auto pool = std::make_unique<vix::ElementPool>(
      factoryType_, implementation, vix::GetLabel(vix::VCodecFamily::ProRes), std::move(options));
  const auto config = pool->CreateConfig();
  configure_(*config);
  pool->Configure(config);
  pool->Define(vix::CreateInfoContainer(DescribeStream(input), nullptr));
  return pool;
}

ThreadShares ShareThreads(int threads, std::optional<std::int64_t> frames) {
  const auto processors = static_cast<int>(std::thread::hardware_concurrency());
  const std::int64_t available = std::max(1, threads == 0 ? processors : threads);
  const std::int64_t elements = std::clamp<std::int64_t>(frames.value_or(available), 1, available);
  return {static_cast<unsigned>(elements), static_cast<int>(available / elements)};
}

void CheckRunMemory(const StreamFormat& pictures, const ThreadShares& shares,
                    std::optional<std::int64_t> frames, bool encodes) {
  // Each element works on one frame, and one waits for each; one is read and one is written.
  const std::int64_t most = 2 * std::int64_t{shares.elements} + 2;
  const std::int64_t inFlight = std::min(most, std::max<std::int64_t>(frames.value_or(most), 1));
  // Of an encoder; docs/host-guide.md has the exact formula. Decoders need less than a row.
  const std::uint64_t bytesPerPixel = pictures.is444 ? 11 : 7;
  const std::uint64_t pixels = std::uint64_t{pictures.width} * pictures.height;
  const std::uint64_t inElements = encodes ? bytesPerPixel * pixels * shares.elements : 0;
  CheckMemory(Count(inFlight, "picture") + " of " + DescribeSize(pictures.width, pictures.height) +
                  " for " + Count(shares.elements, "thread"),
              static_cast<std::uint64_t>(inFlight) * pictures.FrameBytes() + inElements);
}

vix::ElementPoolOptions PoolOptions(const ThreadShares& shares) {
  vix::ElementPoolOptions options;
  options.size = SizeForRun(shares.elements);
  options.threadsPerFrame = shares.threadsEach;
  options.inputChange = vix::InputChange::Redefine;  // as in ProResElement::Make()
  options.codecHook = GetCodecHook();
  return options;
}

SampleMaker::SampleMaker(const StreamFormat& format, vix::FourCC code)
    : start_(format.start),
      rate_(format.rate),
      info_(DescribeStream(format)),
      lowersVersion_(!format.IsRaw() && !IsOf4444(code)) {}

std::shared_ptr<const vix::ISampleContainer> SampleMaker::Make(
    std::shared_ptr<const vix::IBuffer> frame, std::int64_t number) const {
  const std::int64_t begin = start_ + number;
  if (lowersVersion_) frame = LowerVersion(std::move(frame), pool_);
  return vix::CreateSampleContainer(
      vix::CreateVideoSample(info_->GetVideoParameters(), info_, std::move(frame),
                             {{begin, begin + 1, rate_}}, {}),
      nullptr);
}

ElementOutput TakeEncoded(const vix::PoolFrame& frame) {
  if (!frame.error) return {SampleOf(frame)};
  RethrowIfOutOfMemory(frame.error);
  return {nullptr, {}, TextOf(frame.error)};
}

ElementOutput TakeDecoded(const vix::PoolFrame& frame, const vix::IBuffer& source,
                          const ParsedHeader& header, std::uint32_t pictureBytes) {
  if (frame.error) {
    RethrowIfOutOfMemory(frame.error);
    // The fault of the frame itself explains more than the element's error.
    const std::string found = CheckFrame(BytesOf(source), header).Describe();
    if (found.empty()) RethrowIfNotDecoded(frame.error);
    return {nullptr, {}, found.empty() ? TextOf(frame.error) : found};
  }
  ElementOutput output{SampleOf(frame)};
  if (output.sample->GetBuffer()->GetSize() != pictureBytes) {
    return {nullptr, {}, "differs in size from the first one"};
  }
  if (frame.report && frame.report->damagedSlices > 0) {
    const std::uint32_t damaged = frame.report->damagedSlices;
    // Decoders of pictures without alpha do not look at it.
    const SliceDamage found = CheckFrame(BytesOf(source), header).CountSlices();
    output.slices.colours = std::min(damaged, found.colours);
    output.slices.alpha = damaged - output.slices.colours;
    output.fault = "has " + output.slices.Describe();
  }
  return output;
}

DecoderTeam::DecoderTeam(const ProResElement& decoder, const StreamFormat& input,
                         const ThreadShares& shares)
    : samples_(input, decoder.GetCode()),
      stream_(vix::CreateInfoContainer(DescribeStream(input), nullptr)) {
  while (decoders_.size() < shares.elements) {
    decoders_.push_back(decoder.Make(shares.threadsEach));
  }
}

ElementOutput DecoderTeam::Decode(unsigned worker, const std::shared_ptr<const vix::IBuffer>& frame,
                                  const std::optional<ParsedHeader>& header, std::int64_t number,
                                  std::uint32_t pictureBytes) {
  if (!header) return {nullptr, {}, kUnreadableHeader};
  if (!IsPictureSizeAllowed(header->width, header->height)) {
    return {nullptr, {}, "has " + DescribePictureLimit(header->width, header->height)};
  }
  vix::ElementDriver& decoder = decoders_.at(worker);
  vix::PoolFrame decoded;
  try {
    if (!decoder.GetOutput()) decoder.Define(stream_);
    decoder.Push(samples_.Make(frame, number));
    decoded.output = decoder.Pull();
  } catch (...) {
    decoded.error = std::current_exception();
  }
  decoded.report = decoder.GetCodecReport();
  return TakeDecoded(decoded, *frame, *header, pictureBytes);
}

}  // namespace vixprores
