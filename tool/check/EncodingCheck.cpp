// SPDX-License-Identifier: BSD-2-Clause
#include "check/EncodingCheck.h"

#include <array>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "base/Errors.h"
#include "base/FramePool.h"
#include "check/PictureQuality.h"
#include "format/DeepPicture.h"
#include "format/PlanarPicture.h"
#include "frames/FrameHeaders.h"
#include "vix/Error.h"

namespace vixprores {
namespace {

class DecodingCheck : public EncodingCheck {
 public:
  DecodingCheck(const StreamFormat& source, const StreamFormat& encoded, const ThreadShares& shares)
      : source_(source),
        compared_(ComparedFormat(source)),
        depth_{SampleBits(compared_), source.HasAlpha() && encoded.HasAlpha()},
        decoders_(ProResElement::Decoder(compared_.code, false), encoded, shares),
        scratch_(shares.elements) {}

  void Measure(unsigned worker, const vix::IBuffer& source,
               std::shared_ptr<const vix::IBuffer> encoded, std::int64_t number) override {
    const auto header = ParseHeader(BytesOf(*encoded));
    const auto decoded = decoders_.Decode(worker, encoded, header, number, compared_.FrameBytes());
    if (!decoded.fault.empty()) throw vix::VIXRuntimeError("it " + decoded.fault);
    Scratch& scratch = scratch_.at(worker);
    scratch.source.Load(compared_, scratch.Convert(source_, BytesOf(source)), depth_.colours);
    scratch.decoded.Load(compared_, BytesOf(*decoded.sample->GetBuffer()), depth_.colours);
    const FrameQuality quality = MeasureQuality(scratch.source, scratch.decoded, depth_);
    const std::scoped_lock lock(mutex_);
    measured_.emplace(number, quality);
  }

  void Add(std::int64_t number) override {
    const FrameQuality quality = Take(number);
    for (std::size_t part = 0; part < depth_.CountParts(); ++part) {
      sums_[part].squaredError += quality.parts[part].squaredError;
      sums_[part].samples += quality.parts[part].samples;
    }
    ++frames_;
    if (worst_ && quality.SortingError() <= worst_->SortingError()) return;
    worst_ = quality;
    worstFrame_ = number;
  }

  EncodingQuality GetQuality() const override {
    const auto psnr = [this](const PlaneQuality& quality, std::size_t part) {
      return ToPsnr(quality.MeanSquaredError(), depth_.BitsOf(part));
    };
    EncodingQuality quality{frames_, {}, std::nullopt, worstFrame_, 0};
    for (std::size_t part = 0; part < quality.psnr.size(); ++part) {
      quality.psnr[part] = psnr(sums_[part], part);
    }
    if (depth_.hasAlpha) {
      quality.alphaPsnr = psnr(sums_[FrameQuality::kAlpha], FrameQuality::kAlpha);
    }
    if (worst_) quality.worstPsnr = psnr(worst_->parts[FrameQuality::kAll], FrameQuality::kAll);
    return quality;
  }

 private:
  struct Scratch {
    SamplePicture source;
    SamplePicture decoded;
    std::vector<std::uint8_t> converted;

    // Returns the pixels of a source as YCbCr.
    std::span<const std::uint8_t> Convert(const StreamFormat& format,
                                          std::span<const std::uint8_t> pixels) {
      if (format.code != vix::kFourCC_b64A) return pixels;
      converted.resize(pixels.size());
      const auto& matrix = RgbMatrixFor(format.colour.matrix, format.height);
      ConvertRgbPicture(matrix, pixels, converted);
      return converted;
    }
  };

  // RGB is compared as the YCbCr that is encoded.
  static StreamFormat ComparedFormat(StreamFormat source) {
    if (source.code == vix::kFourCC_b64A) source.code = vix::kFourCC_Y416;
    return source;
  }

  FrameQuality Take(std::int64_t number) {
    const std::scoped_lock lock(mutex_);
    auto measured = measured_.extract(number);
    Ensure(!measured.empty(), "a frame is measured before it is added");
    return measured.mapped();
  }

  StreamFormat source_;
  StreamFormat compared_;
  ComparedDepth depth_;
  DecoderTeam decoders_;
  std::vector<Scratch> scratch_;
  std::mutex mutex_;
  std::map<std::int64_t, FrameQuality> measured_;  // guarded by mutex_
  std::array<PlaneQuality, FrameQuality::kParts> sums_{};
  std::int64_t frames_ = 0;
  std::int64_t worstFrame_ = 0;
  std::optional<FrameQuality> worst_;
};

}  // namespace

std::unique_ptr<EncodingCheck> MakeEncodingCheck(const StreamFormat& source,
                                                 const StreamFormat& encoded,
                                                 const ThreadShares& shares) {
  return std::make_unique<DecodingCheck>(source, encoded, shares);
}

}  // namespace vixprores
