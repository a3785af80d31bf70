// SPDX-License-Identifier: BSD-2-Clause
#include "check/EncodingCheck.h"

#include <utility>

#include "vix/Error.h"

namespace vixprores {

EncodingCheck::EncodingCheck(const StreamFormat& source, const StreamFormat& encoded,
                             const ThreadShares& shares)
    : source_(source),
      bits_(SampleBits(source)),
      decoders_([&source](int threads) { return MakeProResDecoder(source.code, false, threads); },
                encoded, shares),
      scratch_(shares.elements) {}

FrameQuality EncodingCheck::Measure(unsigned worker, std::span<const std::uint8_t> source,
                                    std::shared_ptr<const vix::IBuffer> encoded,
                                    std::int64_t number) {
  const auto decoded = decoders_.Process(worker, std::move(encoded), number)->GetBuffer();
  if (decoded->GetSize() != source.size()) {
    throw vix::VIXRuntimeError("what was encoded is decoded to another size");
  }
  Scratch& scratch = scratch_.at(worker);
  scratch.source.Load(source_, source, bits_);
  scratch.decoded.Load(source_, {decoded->GetData(), decoded->GetSize()}, bits_);
  return MeasureQuality(scratch.source, scratch.decoded, bits_);
}

void EncodingCheck::Add(const FrameQuality& quality, std::int64_t number) {
  for (std::size_t part = 0; part < sums_.size(); ++part) {
    sums_[part].squaredError += quality.parts[part].squaredError;
    sums_[part].samples += quality.parts[part].samples;
  }
  ++frames_;
  const double error = quality.parts[FrameQuality::kAll].MeanSquaredError();
  if (error <= worstError_) return;
  worstError_ = error;
  worstFrame_ = number;
}

EncodingQuality EncodingCheck::GetQuality() const {
  EncodingQuality quality{frames_, {}, worstFrame_, ToPsnr(worstError_, bits_)};
  for (std::size_t part = 0; part < sums_.size(); ++part) {
    quality.psnr[part] = ToPsnr(sums_[part].MeanSquaredError(), bits_);
  }
  return quality;
}

}  // namespace vixprores
