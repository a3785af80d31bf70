// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>

#include <cstring>
#include <utility>
#include <vector>

#include "media/sound/AlignedSound.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}

namespace vixprores {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kSampleRate = 1000;
constexpr AVRational kSampleTick{1, kSampleRate};

// A mono track whose samples count from 1 on, in packets of 100.
class CountingSound : public SoundSource {
 public:
  explicit CountingSound(int samples, AVCodecID codec = AV_CODEC_ID_PCM_S16LE) : samples_(samples) {
    const std::shared_ptr<AVCodecParameters> parameters(
        avcodec_parameters_alloc(),
        [](AVCodecParameters* pointer) { avcodec_parameters_free(&pointer); });
    parameters->codec_type = AVMEDIA_TYPE_AUDIO;
    parameters->codec_id = codec;
    parameters->sample_rate = kSampleRate;
    av_channel_layout_default(&parameters->ch_layout, 1);
    tracks_.push_back({parameters, kSampleTick, {}});
  }

  const std::vector<SoundTrack>& GetSound() const override { return tracks_; }
  std::vector<SoundDamage> GetSoundDamage() const override {
    return {{SoundDamage::Kind::Missing, SoundDamage::Treatment::Silenced, 0, 1, 0.5}};
  }
  void FollowVideo(const TimePoint& time) override {
    followed_ = av_rescale_q(time.time, time.tick, kSampleTick);
  }
  std::vector<SoundPacket> TakeSound() override {
    std::vector<SoundPacket> packets;
    for (; next_ < std::min<std::int64_t>(followed_, samples_); next_ += 100) {
      Packet packet(av_packet_alloc());
      av_new_packet(packet.get(), 200);
      for (int i = 0; i < 100; ++i) {
        const auto sample = static_cast<std::int16_t>(next_ + i + 1);
        std::memcpy(packet->data + 2 * i, &sample, 2);
      }
      packet->pts = packet->dts = next_;
      packet->duration = 100;
      packets.push_back({0, std::move(packet)});
    }
    return packets;
  }
  std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) override {
    FollowVideo({time, tick});
    return TakeSound();
  }

 private:
  int samples_;
  std::vector<SoundTrack> tracks_;
  std::int64_t next_ = 0;
  std::int64_t followed_ = 0;
};

// Collects samples and checks that they follow each other.
struct Collected {
  void Add(std::vector<SoundPacket> packets) {
    for (const SoundPacket& sound : packets) {
      if (samples.empty()) begin = sound.packet->pts;
      EXPECT_EQ(sound.packet->pts, begin + static_cast<std::int64_t>(samples.size()));
      const std::size_t old = samples.size();
      samples.resize(old + static_cast<std::size_t>(sound.packet->duration));
      std::memcpy(samples.data() + old, sound.packet->data,
                  static_cast<std::size_t>(sound.packet->size));
    }
  }
  std::int64_t begin = -1;
  std::vector<std::int16_t> samples;
};

// Follows a video of 10 frames of 100 samples, from frame `start` on, to its end.
Collected Follow(AlignedSound& sound, std::int64_t start = 0) {
  Collected collected;
  for (int frame = 1; frame <= 10; ++frame) {
    sound.FollowVideo({start + frame, {1, 10}});
    collected.Add(sound.TakeSound());
  }
  collected.Add(sound.FinishSound());
  return collected;
}

TEST(AlignedSound, FillsBeforeAndAfterWithSilence) {
  AlignedSound sound(std::make_shared<CountingSound>(300), {0, {1, 10}}, {350, kSampleTick});
  const Collected collected = Follow(sound);
  EXPECT_EQ(collected.begin, 0);
  ASSERT_THAT(collected.samples, SizeIs(1000));
  EXPECT_EQ(collected.samples[349], 0);
  EXPECT_EQ(collected.samples[350], 1);
  EXPECT_EQ(collected.samples[649], 300);
  EXPECT_EQ(collected.samples[650], 0);
}

TEST(AlignedSound, CutsSoundOutsideThePictures) {
  AlignedSound sound(std::make_shared<CountingSound>(5000), {3, {1, 10}}, {-1234, kSampleTick});
  const Collected collected = Follow(sound, 3);
  EXPECT_EQ(collected.begin, 300);
  ASSERT_THAT(collected.samples, SizeIs(1000));
  EXPECT_EQ(collected.samples.front(), 1235);
  EXPECT_EQ(collected.samples.back(), 2234);
}

TEST(AlignedSound, ReturnsNoSoundAheadOfTheVideo) {
  AlignedSound sound(std::make_shared<CountingSound>(300), {0, {1, 10}}, {5000, kSampleTick});
  sound.FollowVideo({1, {1, 10}});
  Collected collected;
  collected.Add(sound.TakeSound());
  EXPECT_THAT(collected.samples, IsEmpty());
  collected.Add(sound.ReadSoundUntil(INT64_MAX / 4, kSampleTick));
  EXPECT_THAT(collected.samples, SizeIs(100));
}

TEST(AlignedSound, MovesCompressedSoundByPackets) {
  AlignedSound sound(std::make_shared<CountingSound>(5000, AV_CODEC_ID_AAC), {0, {1, 10}},
                     {-150, kSampleTick});
  sound.FollowVideo({300, kSampleTick});
  const std::vector<SoundPacket> packets = sound.ReadSoundUntil(300, kSampleTick);
  ASSERT_FALSE(packets.empty());
  EXPECT_EQ(packets.front().packet->pts, 50);
  EXPECT_LT(packets.back().packet->pts, 300);
}

TEST(AlignedSound, MovesDamage) {
  const AlignedSound sound(std::make_shared<CountingSound>(300), {10, {1, 10}}, {500, kSampleTick});
  EXPECT_DOUBLE_EQ(sound.GetSoundDamage().at(0).begin, 2.5);
}

TEST(JoinedSound, NumbersTracksInOrder) {
  JoinedSound joined({std::make_shared<CountingSound>(100), std::make_shared<CountingSound>(200)});
  ASSERT_THAT(joined.GetSound(), SizeIs(2));
  EXPECT_EQ(joined.GetSound()[1].number, 1U);
  EXPECT_EQ(joined.GetSoundDamage().at(1).track, 1U);
  std::vector<std::size_t> places;
  for (const SoundPacket& sound : joined.ReadSoundUntil(1000, kSampleTick)) {
    places.push_back(sound.track);
  }
  EXPECT_THAT(places, ElementsAre(0, 1, 1));
}

}  // namespace
}  // namespace vixprores
