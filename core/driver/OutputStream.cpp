// SPDX-License-Identifier: BSD-2-Clause
#include "driver/OutputStream.h"

#include <utility>
#include <vector>

#include "BitRateEstimate.h"
#include "driver/StreamShape.h"
#include "vix/RawVideoUtils.h"

namespace vix {
namespace {

std::uint32_t FrameBytesOf(const IVideoParameters_RAW& raw) {
  return RawVideoUtils::GetFrameBytes(raw.GetFourCC(), VideoChroma::C422, raw.GetWidth(),
                                      raw.GetHeight());
}

/// Throws if no buffer can hold a picture.
double BitRateOf(const IVideoParameters_RAW& raw) {
  const std::uint32_t bytes = FrameBytesOf(raw);
  const EditRate rate = raw.GetEditRate();
  if (rate.numerator <= 0 || rate.denominator <= 0) return 0;
  return 8e-6 * bytes * rate.numerator / rate.denominator;
}

/// Returns a description of the pictures in memory: in whole frames, or in fields.
std::shared_ptr<const IVideoParameters> DescribePictures(
    const std::shared_ptr<const IVideoParameters>& defined, bool decodesFields) {
  const auto copy = CopyOf(defined);
  StreamShape shape = ShapeOf(*copy);
  if (decodesFields && shape.scanMode == ScanMode::Interlaced) {
    shape.height /= 2;
    shape.scanMode = ScanMode::Progressive;
  }
  SetShape(shape, *copy);
  if (const auto* raw = dynamic_cast<const IVideoParameters_RAW*>(copy.get())) {
    copy->SetBitRate(BitRateOf(*raw));
  }
  return copy;
}

/// The first plug-in's elements know the rates of a few heights only. A description without variant
/// is of 4444, whose element knows its rate.
std::shared_ptr<const IVideoParameters> DescribeFrames(
    const std::shared_ptr<const IVideoParameters>& defined) {
  const auto copy = std::dynamic_pointer_cast<IVideoParameters_ProRes>(CopyOf(defined));
  if (!copy || copy->GetProResCodecVariant() == ProResCodecVariant{0}) return defined;
  copy->SetBitRate(EstimateProResBitRate(copy->GetProResCodecVariant(), copy->GetEditRate(),
                                         copy->GetWidth(), copy->GetHeight()));
  return copy;
}

class FieldOrderMetadata final : public IFieldOrder {
 public:
  explicit FieldOrderMetadata(FieldOrder order) : order_(order) {}
  FieldOrder GetFieldOrder() const override { return order_; }

 private:
  FieldOrder order_;
};

}  // namespace

OutputStream::OutputStream(std::shared_ptr<const IInfoContainer> defined, bool isProRes,
                           bool decodesFields)
    : described_(std::move(defined)) {
  if (!described_) return;
  info_ = OnlyOne(described_->GetInfo());
  if (!info_ || !info_->GetVideoParameters()) return;
  definedAs_ = info_->GetVideoParameters();
  if (!isProRes) return;
  const bool isDecoded = definedAs_->GetCodecFamily() == VCodecFamily::Raw;
  info_ = CreateVideoInfo(
      isDecoded ? DescribePictures(definedAs_, decodesFields) : DescribeFrames(definedAs_),
      info_->GetChannelInfo(), {}, {});
  described_ = CreateInfoContainer(info_, nullptr);
}

FrameMemoryRequest OutputStream::GetPicture() const {
  if (!info_) return {};
  const auto raw =
      std::dynamic_pointer_cast<const IVideoParameters_RAW>(info_->GetVideoParameters());
  if (!raw) return {};
  return {raw->GetFourCC(), raw->GetWidth(), raw->GetHeight(),
          RawVideoUtils::GetStrides(raw).front(), FrameBytesOf(*raw)};
}

std::shared_ptr<const ISampleContainer> OutputStream::Complete(
    const IVideoSample& sample, const IVideoSample& pushed, std::optional<FieldOrder> fieldOrder,
    std::shared_ptr<const IBuffer> buffer) const {
  const bool isDefined = definedAs_ && sample.GetVideoParameters() == definedAs_;
  auto metadata = sample.GetMetadata();
  if (metadata.empty()) metadata = pushed.GetMetadata();
  if (fieldOrder) metadata.push_back(std::make_shared<FieldOrderMetadata>(*fieldOrder));
  return CreateSampleContainer(
      CreateVideoSample(isDefined ? info_->GetVideoParameters() : sample.GetVideoParameters(),
                        isDefined ? info_ : sample.GetVideoInfo(), std::move(buffer),
                        sample.GetTimeLimits(), std::move(metadata)),
      nullptr);
}

}  // namespace vix
