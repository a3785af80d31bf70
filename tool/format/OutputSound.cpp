// SPDX-License-Identifier: BSD-2-Clause
#include "format/OutputSound.h"

#include <algorithm>
#include <sstream>
#include <string_view>

#include "base/Errors.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace vixprores {
namespace {

struct SoundRule {
  const char* extension;
  const char* muxer;   ///< null = holds no sound
  const char* codecs;  ///< the container library's names; null = any
  int rate;            ///< the only samples per second; 0 = any
  const char* summary;
};

// What the muxers of the container library accept, so that the error comes before the encoding.
constexpr SoundRule kRules[] = {
    {".mov", "mov",
     "pcm_s8 pcm_u8 pcm_s16le pcm_s16be pcm_s24le pcm_s24be pcm_s32le pcm_s32be pcm_f32le "
     "pcm_f32be pcm_f64le pcm_f64be pcm_alaw pcm_mulaw aac ac3 eac3 mp1 mp2 mp3 alac dts amr_nb "
     "amr_wb adpcm_ima_qt dvaudio gsm ilbc mace3 mace6 nellymoser qcelp qdm2 qdmc speex evrc",
     0,
     "PCM (8 to 64 bits, float), AAC, AC-3, E-AC-3, MP2, MP3, ALAC, DTS; no Opus, FLAC or Vorbis"},
    {".mkv", "matroska",
     "pcm_u8 pcm_s16le pcm_s16be pcm_s24le pcm_s24be pcm_s32le pcm_s32be pcm_f32le pcm_f64le aac "
     "ac3 eac3 mp1 mp2 mp3 alac dts truehd mlp flac opus vorbis tta wavpack atrac3 cook qdm2 qdmc "
     "ra_144 ra_288 sipr",
     0,
     "PCM (unsigned 8, signed 16 to 32 bits, little-endian float), AAC, AC-3, E-AC-3, MP2, MP3, "
     "ALAC, DTS, TrueHD, FLAC, Opus, Vorbis"},
    {".mxf", "mxf", "pcm_s16le pcm_s24le", 48000, "pcm_s16le or pcm_s24le at 48000 Hz"},
    {".avi", "avi",
     "pcm_u8 pcm_s16le pcm_s24le pcm_s32le pcm_s64le pcm_f32le pcm_f64le pcm_alaw pcm_mulaw aac "
     "ac3 eac3 mp2 mp3 dts flac vorbis adpcm_ms adpcm_ima_wav adpcm_yamaha adpcm_g726 amr_nb "
     "amr_wb "
     "atrac3 dvaudio gsm_ms imc speex truespeech wmav1 wmav2 wmapro wmalossless wmavoice",
     0, "little-endian PCM (8 to 64 bits, float), AAC, AC-3, E-AC-3, MP2, MP3, DTS, FLAC, Vorbis"},
    {".nut", "nut", nullptr, 0, "PCM and compressed sound of every kind"},
    {".y4m", nullptr, "", 0, "no sound"},
    {".uyvy, .v210, .raw", nullptr, "", 0, "no sound"},
};

bool HoldsCodec(const SoundRule& rule, std::string_view codec) {
  if (!rule.codecs) return true;
  std::istringstream names(rule.codecs);
  for (std::string name; names >> name;) {
    if (name == codec) return true;
  }
  return false;
}

// Returns text like "--audio pcm24 --audio-rate 48000 converts it; or choose .mov".
std::string AdviceFor(const SoundRule& rule, bool holdsCodec, bool holdsRate, SoundRemedy remedy) {
  if (remedy == SoundRemedy::OtherOutput) return "choose .mov or .mkv";
  std::string options;
  if (!holdsCodec) options = "--audio pcm24";
  if (!holdsRate)
    options += (options.empty() ? "" : " ") + ("--audio-rate " + std::to_string(rule.rate));
  const bool isMov = rule.extension == std::string_view(".mov");
  return options + " converts it; or choose " + (isMov ? ".mkv" : ".mov") +
         ", or leave the sound out with --no-audio";
}

}  // namespace

void CheckSoundStorable(const std::string& name, const OutputFormat& output,
                        const std::vector<SoundTrack>& tracks, SoundRemedy remedy) {
  const auto* const rule = std::ranges::find_if(kRules, [&](const SoundRule& one) {
    return one.muxer && output.muxer && one.muxer == std::string_view(output.muxer);
  });
  if (rule == std::end(kRules)) return;
  for (const SoundTrack& track : tracks) {
    const AVCodecParameters& sound = *track.parameters;
    const std::string codec = avcodec_get_name(sound.codec_id);
    const bool holdsCodec = HoldsCodec(*rule, codec);
    const bool holdsRate = rule->rate == 0 || rule->rate == sound.sample_rate;
    if (holdsCodec && holdsRate) continue;
    std::string message = name + ": cannot store sound track ";
    message += std::to_string(track.number + 1) + " (" + codec + " at ";
    message += std::to_string(sound.sample_rate) + " Hz); this output holds " + rule->summary;
    throw Failure(message + "; " + AdviceFor(*rule, holdsCodec, holdsRate, remedy));
  }
}

std::vector<OutputSoundText> ListOutputSound() {
  std::vector<OutputSoundText> lines;
  for (const SoundRule& rule : kRules)
    lines.push_back({rule.extension, rule.summary + std::string(".")});
  return lines;
}

}  // namespace vixprores
