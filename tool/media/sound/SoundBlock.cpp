// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/SoundBlock.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>

#include "base/Errors.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/samplefmt.h>
}

namespace vixprores {
namespace {

// @param zero value of silence
// @param full value of full scale, above `zero`
template <typename Sample>
void Read(const AVFrame& frame, double zero, double full, SoundBlock& block) {
  const bool isPlanar = av_sample_fmt_is_planar(static_cast<AVSampleFormat>(frame.format)) != 0;
  const auto channels = static_cast<std::size_t>(block.channels);
  const std::size_t step = isPlanar ? 1 : channels;
  for (std::size_t channel = 0; channel < channels; ++channel) {
    const auto* source = isPlanar
                             ? reinterpret_cast<const Sample*>(frame.extended_data[channel])
                             : reinterpret_cast<const Sample*>(frame.extended_data[0]) + channel;
    for (std::size_t i = channel; i < block.samples.size(); i += channels, source += step) {
      block.samples[i] = (static_cast<double>(*source) - zero) / full;
    }
  }
}

// Returns noise of triangular distribution between -1 and 1 that depends on the position alone.
double DitherAt(std::uint64_t position) {
  // The finaliser of MurmurHash3.
  std::uint64_t hash = position + 0x9E3779B97F4A7C15;
  hash = (hash ^ (hash >> 33)) * 0xFF51AFD7ED558CCD;
  hash = (hash ^ (hash >> 33)) * 0xC4CEB9FE1A85EC53;
  hash ^= hash >> 33;
  constexpr double kScale = 1.0 / (std::uint64_t{1} << 32);
  return (static_cast<double>(hash >> 32) - static_cast<double>(hash & 0xFFFFFFFF)) * kScale;
}

// Returns the nearest integer of so many bits; 0 for what is no number.
std::int32_t Quantise(double value, int bits) {
  const double full = std::ldexp(1.0, bits - 1);
  if (std::isnan(value)) return 0;
  return static_cast<std::int32_t>(std::clamp(std::floor(value + 0.5), -full, full - 1));
}

void Store(std::uint32_t value, int bytes, std::uint8_t*& target) {
  for (int i = 0; i < bytes; ++i) *target++ = static_cast<std::uint8_t>(value >> (8 * i));
}

void Write(const SoundBlock& block, PcmFormat format, std::uint8_t* target) {
  const std::uint64_t position =
      static_cast<std::uint64_t>(block.first) * static_cast<std::uint64_t>(block.channels);
  for (std::size_t i = 0; i < block.samples.size(); ++i) {
    const double sample = block.samples[i];
    if (format == PcmFormat::Pcm32f) {
      Store(std::bit_cast<std::uint32_t>(static_cast<float>(sample)), 4, target);
    } else if (format == PcmFormat::Pcm24) {
      Store(static_cast<std::uint32_t>(Quantise(sample * 0x800000, 24)), 3, target);
    } else {
      const double value = sample * 0x8000;
      const double dither = value == std::floor(value) ? 0 : DitherAt(position + i);
      Store(static_cast<std::uint32_t>(Quantise(value + dither, 16)), 2, target);
    }
  }
}

}  // namespace

SoundBlock ReadSamples(const AVFrame& frame) {
  SoundBlock block;
  block.rate = frame.sample_rate;
  block.channels = frame.ch_layout.nb_channels;
  const auto count = static_cast<std::size_t>(std::max(frame.nb_samples, 0));
  block.samples.resize(count * static_cast<std::size_t>(std::max(block.channels, 0)));
  switch (av_get_packed_sample_fmt(static_cast<AVSampleFormat>(frame.format))) {
    case AV_SAMPLE_FMT_U8:
      Read<std::uint8_t>(frame, 0x80, 0x80, block);
      break;
    case AV_SAMPLE_FMT_S16:
      Read<std::int16_t>(frame, 0, 0x1p15, block);
      break;
    case AV_SAMPLE_FMT_S32:
      Read<std::int32_t>(frame, 0, 0x1p31, block);
      break;
    case AV_SAMPLE_FMT_S64:
      Read<std::int64_t>(frame, 0, 0x1p63, block);
      break;
    case AV_SAMPLE_FMT_FLT:
      Read<float>(frame, 0, 1, block);
      break;
    case AV_SAMPLE_FMT_DBL:
      Read<double>(frame, 0, 1, block);
      break;
    default:
      block.samples.clear();
  }
  return block;
}

SoundBlock SetChannels(SoundBlock block, int channels) {
  if (block.channels == channels) return block;
  const auto from = static_cast<std::size_t>(block.channels);
  const auto to = static_cast<std::size_t>(channels);
  SoundBlock changed{block.first, block.rate, channels, {}};
  changed.samples.resize(static_cast<std::size_t>(block.Count()) * to);
  for (std::size_t i = 0; i < changed.samples.size(); ++i) {
    const std::size_t channel = from == 1 ? 0 : i % to;
    if (channel < from) changed.samples[i] = block.samples[i / to * from + channel];
  }
  return changed;
}

void DropFront(SoundBlock& block, std::int64_t count) {
  count = std::clamp<std::int64_t>(count, 0, block.Count());
  block.samples.erase(block.samples.begin(), block.samples.begin() + count * block.channels);
  block.first += count;
}

void DropBack(SoundBlock& block, std::int64_t count) {
  count = std::clamp<std::int64_t>(count, 0, block.Count());
  block.samples.resize(static_cast<std::size_t>((block.Count() - count) * block.channels));
}

Packet MakePcm(const SoundBlock& block, PcmFormat format) {
  constexpr std::size_t kSampleBytes[] = {2, 3, 4};
  const std::size_t bytes = block.samples.size() * kSampleBytes[static_cast<int>(format)];
  if (bytes > INT_MAX - AV_INPUT_BUFFER_PADDING_SIZE) {
    throw Failure("a packet of sound has " + std::to_string(block.Count()) +
                  " samples, which are too many");
  }
  Packet packet(av_packet_alloc());
  if (!packet || av_new_packet(packet.get(), static_cast<int>(bytes)) < 0) throw std::bad_alloc();
  Write(block, format, packet->data);
  packet->pts = packet->dts = block.first;
  packet->duration = block.Count();
  return packet;
}

}  // namespace vixprores
