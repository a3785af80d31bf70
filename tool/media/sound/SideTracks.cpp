// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/SideTracks.h"

#include <array>
#include <new>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
}

namespace vixprores {

int SoundTrack::SampleBytes() const {
  // Exact where every sample has as many bits, which is so of PCM.
  const int bits = av_get_exact_bits_per_sample(parameters->codec_id);
  const int bytes = bits * parameters->ch_layout.nb_channels / 8;
  const bool isWhole = bits % 8 == 0 && bytes > 0;
  return isWhole && (parameters->block_align == 0 || parameters->block_align == bytes) ? bytes : 0;
}

std::string SoundTrack::SurroundLayout() const {
  const AVChannelLayout& layout = parameters->ch_layout;
  const bool isTold = layout.order != AV_CHANNEL_ORDER_UNSPEC && layout.nb_channels > 2;
  if (!isTold || SampleBytes() == 0) return {};  // compressed sound tells its own
  std::array<char, 128> name{};
  av_channel_layout_describe(&layout, name.data(), name.size());
  return name.data();
}

std::shared_ptr<const AVCodecParameters> CopyParameters(const AVCodecParameters& parameters) {
  const std::shared_ptr<AVCodecParameters> copy(
      avcodec_parameters_alloc(),
      [](AVCodecParameters* pointer) { avcodec_parameters_free(&pointer); });
  if (!copy || avcodec_parameters_copy(copy.get(), &parameters) < 0) throw std::bad_alloc();
  return copy;
}

Metadata ToMetadata(const AVDictionary* dictionary) {
  Metadata metadata;
  const AVDictionaryEntry* entry = nullptr;
  while ((entry = av_dict_get(dictionary, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
    metadata[entry->key] = entry->value;
  }
  return metadata;
}

}  // namespace vixprores
