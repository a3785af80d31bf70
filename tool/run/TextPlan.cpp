// SPDX-License-Identifier: BSD-2-Clause
#include "run/TextPlan.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

#include "base/Text.h"
#include "media/container/TextTracks.h"
#include "run/FrameSource.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

std::int64_t ToNanoseconds(std::int64_t frames, Rational rate) {
  return av_rescale_q(frames, Invert(rate), {1, 1'000'000'000});
}

// Returns the span of a part that begins with that frame of the output.
TextSpan SpanOf(const TextPart& part, std::int64_t frame) {
  const InputDescription& input = part.reader->GetDescription();
  const Rational rate = input.format.rate;
  const std::int64_t first = part.range ? part.range->first : 0;
  TextSpan span;
  span.begin = input.begin + ToNanoseconds(first, rate);
  span.at = ToNanoseconds(input.format.start + frame, rate);
  const auto frames = CountFrames(*part.reader, part.range);
  if (frames) span.end = input.begin + ToNanoseconds(first + *frames, rate);
  return span;
}

std::string NameOf(const TextTrack& track) {
  return avcodec_get_name(track.parameters->codec_id);
}

bool IsSameKind(const TextTrack& one, const TextTrack& two) {
  const AVCodecParameters& a = *one.parameters;
  const AVCodecParameters& b = *two.parameters;
  return a.codec_id == b.codec_id && av_cmp_q(one.timeBase, two.timeBase) == 0 &&
         std::equal(a.extradata, a.extradata + a.extradata_size, b.extradata,
                    b.extradata + b.extradata_size);
}

// Collects the texts of one part.
class PartTexts {
 public:
  PartTexts(const TextPart& part, const OutputFormat& output)
      : input_(part.reader->GetDescription()), path_(part.path), output_(output) {
    for (const TextTrack& track : input_.texts.tracks) {
      if (HoldsText(output, track)) {
        kept_.push_back(track);
      } else {
        LeaveOut(track, "a " + std::string(output.extension) + " cannot hold them");
      }
    }
    if (path_ == "-") LeaveOutAll("the input is a pipe", true);
  }

  const std::vector<TextTrack>& GetKept() const { return kept_; }

  // Captions within the pictures are not read separately.
  void LeaveOutAll(const std::string& reason, bool keepsCaptions = false) {
    std::erase_if(kept_, [&](const TextTrack& track) {
      if (keepsCaptions && track.stream == kWithinPictures) return false;
      LeaveOut(track, reason);
      return true;
    });
  }

  void Read(const TextSpan& span) {
    if (!ReadTexts(path_, span, kept_)) LeaveOutAll("more than 256 MiB", true);
  }

  std::vector<Chapter> CutChapters(const TextSpan& span) {
    if (output_.keepsTexts) return vixprores::CutChapters(input_.texts.chapters, span);
    if (!input_.texts.chapters.empty()) leftOut_.emplace_back("chapters");
    return {};
  }

  // Returns the note on what is left out; empty = nothing.
  std::string DescribeLoss() const {
    std::vector<std::string> all = leftOut_;
    std::ranges::copy(input_.others, std::back_inserter(all));
    return all.empty() ? std::string() : input_.name + ": left out: " + Join(all, "; ");
  }

 private:
  void LeaveOut(const TextTrack& track, const std::string& reason) {
    const bool isCaptions = track.stream == kWithinPictures;
    const std::string text =
        (isCaptions ? "captions (" : "subtitles (") + NameOf(track) + ", " + reason + ")";
    if (std::ranges::find(leftOut_, text) == leftOut_.end()) leftOut_.push_back(text);
  }

  const InputDescription& input_;
  std::string path_;
  const OutputFormat& output_;
  std::vector<TextTrack> kept_;
  std::vector<std::string> leftOut_;
};

void Append(std::vector<TextTrack> tracks, std::vector<TextTrack>& all) {
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    std::ranges::move(tracks[i].packets, std::back_inserter(all[i].packets));
  }
}

// Adds the texts of a part that begins with that frame of the output.
std::string AddPart(const TextPart& part, std::int64_t frame, bool isFirst,
                    const OutputFormat& output, TextContent& content) {
  PartTexts texts(part, output);
  if (isFirst) {
    content.tracks = texts.GetKept();
  } else if (!std::ranges::equal(texts.GetKept(), content.tracks, IsSameKind)) {
    texts.LeaveOutAll("other tracks than those of the first input");
  }
  const TextSpan span = SpanOf(part, frame);
  texts.Read(span);
  Append(texts.GetKept(), content.tracks);
  std::ranges::move(texts.CutChapters(span), std::back_inserter(content.chapters));
  return texts.DescribeLoss();
}

// Names everything that an input has, because its place in the output is unknown.
std::string LeaveOutPart(const TextPart& part, const OutputFormat& output) {
  PartTexts texts(part, output);
  texts.LeaveOutAll("the number of frames before them is unknown");
  return texts.DescribeLoss();
}

}  // namespace

std::vector<std::string> PlanTexts(const std::vector<TextPart>& parts, const OutputFormat& output,
                                   MovieContent& content) {
  std::vector<std::string> notes;
  std::optional<std::int64_t> frame = 0;  // of the output; nullopt = unknown
  for (const TextPart& part : parts) {
    const bool isFirst = &part == &parts.front();
    std::string note =
        frame ? AddPart(part, *frame, isFirst, output, content.texts) : LeaveOutPart(part, output);
    if (!note.empty()) notes.push_back(std::move(note));
    const auto frames = CountFrames(*part.reader, part.range);
    frame = frame && frames ? std::optional(*frame + *frames) : std::nullopt;
  }
  std::erase_if(content.texts.tracks, [](const TextTrack& track) {
    return track.packets.empty() && track.stream != kWithinPictures;
  });
  // The frames of the output carry them, whatever their rate was in the input.
  for (TextTrack& track : content.texts.tracks) {
    if (track.stream == kWithinPictures) track.timeBase = Invert(content.video.rate);
  }
  return notes;
}

}  // namespace vixprores
