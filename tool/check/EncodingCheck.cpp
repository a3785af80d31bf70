// SPDX-License-Identifier: BSD-2-Clause
#include "check/EncodingCheck.h"

#include <array>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "base/Errors.h"
#include "base/FramePool.h"
#include "check/PictureQuality.h"
#include "vix/Error.h"

namespace vixprores {
namespace {

class DecodingCheck : public EncodingCheck {
 public:
  DecodingCheck(const StreamFormat& source, const StreamFormat& encoded, const ThreadShares& shares)
      : source_(source),
        bits_(SampleBits(source)),
        decoders_([&](int /*threads*/) { return MakeProResDecoder(source.code, false); }, encoded,
                  shares),
        scratch_(shares.elements) {}

  void Measure(unsigned worker, const vix::IBuffer& source,
               std::shared_ptr<const vix::IBuffer> encoded, std::int64_t number) override {
    const auto bytes = static_cast<std::uint32_t>(source.GetSize());
    const auto header = ParseHeader(BytesOf(*encoded));
    const auto decoded = decoders_.Decode(worker, std::move(encoded), header, number, bytes);
    if (!decoded.fault.empty()) throw vix::VIXRuntimeError("it " + decoded.fault);
    Scratch& scratch = scratch_.at(worker);
    scratch.source.Load(source_, BytesOf(source), bits_);
    scratch.decoded.Load(source_, BytesOf(*decoded.sample->GetBuffer()), bits_);
    auto quality = MeasureQuality(scratch.source, scratch.decoded, bits_);
    const std::scoped_lock lock(mutex_);
    measured_.emplace(number, std::move(quality));
  }

  void Add(std::int64_t number) override {
    const FrameQuality quality = Take(number);
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

  EncodingQuality GetQuality() const override {
    EncodingQuality quality{frames_, {}, worstFrame_, ToPsnr(worstError_, bits_)};
    for (std::size_t part = 0; part < sums_.size(); ++part) {
      quality.psnr[part] = ToPsnr(sums_[part].MeanSquaredError(), bits_);
    }
    return quality;
  }

 private:
  struct Scratch {
    SamplePicture source;
    SamplePicture decoded;
  };

  FrameQuality Take(std::int64_t number) {
    const std::scoped_lock lock(mutex_);
    auto measured = measured_.extract(number);
    Ensure(!measured.empty(), "a frame is measured before it is added");
    return measured.mapped();
  }

  StreamFormat source_;
  unsigned bits_;
  ElementTeam decoders_;
  std::vector<Scratch> scratch_;
  std::mutex mutex_;
  std::map<std::int64_t, FrameQuality> measured_;  // guarded by mutex_
  std::array<PlaneQuality, SamplePicture::kPlanes + 1> sums_{};
  std::int64_t frames_ = 0;
  std::int64_t worstFrame_ = 0;
  double worstError_ = -1;
};

}  // namespace

std::unique_ptr<EncodingCheck> MakeEncodingCheck(const StreamFormat& source,
                                                 const StreamFormat& encoded,
                                                 const ThreadShares& shares) {
  return std::make_unique<DecodingCheck>(source, encoded, shares);
}

}  // namespace vixprores
