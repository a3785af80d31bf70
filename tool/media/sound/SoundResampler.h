// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SOUNDRESAMPLER_H
#define TOOL_MEDIA_SOUND_SOUNDRESAMPLER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "media/sound/SoundBlock.h"

struct SwrContext;

namespace vixprores {

/// Changes the sample rate of a track. The filter computes with integers, so that the result is the
/// same on every processor. Equal positions get equal samples, wherever the sound begins, except
/// for the first few after a gap.
class SoundResampler {
 public:
  /// @param from, to samples per second
  SoundResampler(int from, int to, int channels);

  int GetSourceRate() const { return from_; }
  /// Returns the samples that are complete. A block that does not follow the last one ends it.
  std::vector<SoundBlock> Convert(const SoundBlock& block);
  /// Returns the last samples.
  std::vector<SoundBlock> Finish();

 private:
  struct ContextDeleter {
    void operator()(SwrContext* context) const;
  };

  void Start(std::int64_t first);
  void Push(const SoundBlock& block, std::vector<SoundBlock>& blocks);

  int from_;
  int to_;
  int channels_;
  std::unique_ptr<SwrContext, ContextDeleter> context_;
  std::optional<std::int64_t> next_;  ///< source sample that follows; nullopt = any
  std::int64_t begin_ = 0;            ///< first sample to return
  std::int64_t nextResult_ = 0;       ///< sample that the context returns next
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SOUNDRESAMPLER_H
