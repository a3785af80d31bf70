// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/SoundResampler.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>
#include <numeric>
#include <span>
#include <string>
#include <utility>

#include "base/Errors.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/mathematics.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace vixprores {
namespace {

// The library has no code for special processors that filters integers of 32 bits. Full scale is
// 2^27 of them: 24 dB are left for peaks of floating-point sound, and more bits than results have.
constexpr AVSampleFormat kFormat = AV_SAMPLE_FMT_S32;
constexpr double kFullScale = 1 << 27;
constexpr double kMostInteger = 2147483647;

struct Setting {
  const char* name;
  double value;
};
constexpr int kFilterSamples = 128;
// Greatest ratio of two rates. Files with a greater one are damaged, and would take all memory.
constexpr std::int64_t kLargestRatio = 64;
// Flat up to 20 kHz at 44100 samples per second, aliases below -100 dB.
constexpr Setting kSettings[] = {
    {"filter_size", kFilterSamples}, {"kaiser_beta", 10}, {"cutoff", 0.97}, {"exact_rational", 1}};

std::vector<std::int32_t> ToIntegers(const std::vector<double>& samples) {
  std::vector<std::int32_t> integers(samples.size());
  std::ranges::transform(samples, integers.begin(), [](double sample) {
    const double value = std::isnan(sample) ? 0 : std::floor(sample * kFullScale + 0.5);
    return static_cast<std::int32_t>(std::clamp(value, -kMostInteger, kMostInteger));
  });
  return integers;
}

[[noreturn]] void FailToResample(int from, int to, const std::string& reason) {
  throw Failure("--audio-rate: cannot resample " + std::to_string(from) + " to " +
                std::to_string(to) + " samples per second: " + reason);
}

}  // namespace

void SoundResampler::ContextDeleter::operator()(SwrContext* context) const {
  swr_free(&context);
}

SoundResampler::SoundResampler(int from, int to, int channels)
    : from_(from), to_(to), channels_(channels) {}

// Begins at a position that has an exact counterpart in the result, at most one second earlier.
void SoundResampler::Start(std::int64_t first) {
  if (std::min(from_, to_) * kLargestRatio < std::max(from_, to_)) {
    FailToResample(from_, to_, "the rates differ too much");
  }
  AVChannelLayout layout{};
  layout.order = AV_CHANNEL_ORDER_UNSPEC;
  layout.nb_channels = channels_;
  SwrContext* context = nullptr;
  const MemoryWatch memory;
  int result =
      swr_alloc_set_opts2(&context, &layout, kFormat, to_, &layout, kFormat, from_, 0, nullptr);
  context_.reset(context);
  if (result >= 0) {
    av_opt_set_sample_fmt(context, "internal_sample_fmt", av_get_planar_sample_fmt(kFormat), 0);
    av_opt_set_int(context, "filter_type", SWR_FILTER_TYPE_KAISER, 0);
    for (const Setting& setting : kSettings) {
      av_opt_set_double(context, setting.name, setting.value, 0);
    }
    result = swr_init(context);
  }
  memory.Check();
  if (result < 0) {
    FailToResample(from_, to_, ExplainLibavError(result));
  }
  const std::int64_t unit = from_ / std::gcd(from_, to_);
  const std::int64_t units = av_rescale_rnd(first, 1, unit, AV_ROUND_DOWN);
  begin_ = av_rescale_rnd(first, to_, from_, AV_ROUND_UP);
  nextResult_ = av_rescale(units * unit, to_, from_);
  next_ = units * unit;
}

std::vector<SoundBlock> SoundResampler::Convert(const SoundBlock& block) {
  std::vector<SoundBlock> blocks;
  if (next_ && *next_ != block.first) blocks = Finish();
  if (!next_) Start(block.first);
  if (*next_ < block.first) {
    SoundBlock silence{*next_, from_, channels_, {}};
    silence.samples.resize(static_cast<std::size_t>((block.first - *next_) * channels_));
    Push(silence, blocks);
  }
  Push(block, blocks);
  return blocks;
}

// Pushes silence instead of asking the library for its last samples: it drops some of them, and all
// of a stretch that is shorter than the filter.
std::vector<SoundBlock> SoundResampler::Finish() {
  std::vector<SoundBlock> blocks;
  if (!next_) return blocks;
  const std::int64_t end = av_rescale_rnd(*next_, to_, from_, AV_ROUND_UP);
  const std::int64_t filter = kFilterSamples * (std::int64_t{1} + std::max(from_, to_) / to_);
  SoundBlock silence{*next_, from_, channels_, {}};
  silence.samples.resize(static_cast<std::size_t>(filter * channels_));
  Push(silence, blocks);
  next_.reset();
  if (blocks.empty()) return blocks;
  DropBack(blocks.back(), nextResult_ - end);
  return blocks;
}

void SoundResampler::Push(const SoundBlock& block, std::vector<SoundBlock>& blocks) {
  const auto source = ToIntegers(block.samples);
  const int count = static_cast<int>(block.Count());
  const int room = swr_get_out_samples(context_.get(), count);
  if (room < 0) throw std::bad_alloc();
  const auto channels = static_cast<std::size_t>(channels_);
  std::vector<std::int32_t> result(static_cast<std::size_t>(room) * channels);
  auto* target = reinterpret_cast<std::uint8_t*>(result.data());
  const auto* data = reinterpret_cast<const std::uint8_t*>(source.data());
  const MemoryWatch memory;
  const int made = swr_convert(context_.get(), &target, room, &data, count);
  memory.Check();
  if (made < 0) throw Failure("sound cannot be resampled: " + ExplainLibavError(made));
  *next_ += count;
  SoundBlock converted{nextResult_, to_, channels_, {}};
  nextResult_ += made;
  converted.samples.resize(static_cast<std::size_t>(made) * channels);
  std::ranges::transform(std::span(result).first(converted.samples.size()),
                         converted.samples.begin(),
                         [](std::int32_t value) { return value / kFullScale; });
  DropFront(converted, begin_ - converted.first);
  if (!converted.samples.empty()) blocks.push_back(std::move(converted));
}

}  // namespace vixprores
