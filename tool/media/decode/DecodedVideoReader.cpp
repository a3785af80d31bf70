// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/DecodedVideoReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/InputFormat.h"
#include "media/container/Libav.h"
#include "media/container/TextTracks.h"
#include "media/container/TrackDescription.h"
#include "media/decode/PictureRows.h"
#include "media/decode/SideData.h"

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/pixdesc.h>
}

namespace vixprores {
namespace {

FieldOrder FieldOrderOf(const AVFrame& picture, FieldOrder stated) {
  if (picture.interlaced_frame == 0)
    return stated == FieldOrder::Unknown ? FieldOrder::Progressive : stated;
  return picture.top_field_first != 0 ? FieldOrder::TopFirst : FieldOrder::BottomFirst;
}

constexpr const char* kEndAdvice =
    "choose the frames that are there with --frames, or get the whole file";

bool IsDamaged(const AVFrame& picture) {
  return picture.decode_error_flags != 0 || (picture.flags & AV_FRAME_FLAG_CORRUPT) != 0;
}

// Returns what pictures have beyond 4:2:2 in 10 bits; empty = nothing.
std::string DescribeFiner(AVPixelFormat format) {
  const AVPixFmtDescriptor* const layout = av_pix_fmt_desc_get(format);
  if (!layout || layout->nb_components < 3) return {};
  const int bits = layout->comp[0].depth;
  const std::string depth = " in " + std::to_string(bits) + " bits";
  if ((layout->flags & AV_PIX_FMT_FLAG_RGB) != 0) return "RGB" + depth;
  if (layout->log2_chroma_w == 0) return "4:4:4" + depth;
  return bits > 10 ? "pictures" + depth : std::string();
}

bool HasAlpha(AVPixelFormat format) {
  const AVPixFmtDescriptor* const layout = av_pix_fmt_desc_get(format);
  return layout && (layout->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

}  // namespace

DecodedVideoReader::DecodedVideoReader(std::unique_ptr<Demuxer> demuxer, FootageReading reading,
                                       const VideoDecoderFactory& makeDecoder)
    : reading_(std::move(reading)),
      pictures_(std::move(demuxer), reading_, makeDecoder),
      times_(description_.name, ChooseTimes()) {
  description_.name = GetTrack().GetDemuxer().GetName();
  const AVFrame& first = pictures_.GetFirst();
  const PictureStream& stream = pictures_.GetStream();
  start_ = first.pts == AV_NOPTS_VALUE ? 0 : first.pts;
  pictures_.GetTrack().SetStart(start_, stream.tick);
  times_.Start(Reduce(ToRational(stream.rate)), stream.tick, start_);
  Describe(first);
  if (reading_.convertRate) {
    conversion_.emplace(*reading_.convertRate, stream.tick, start_, GetName());
  }
}

// A bare coded stream has no times.
FrameTimes DecodedVideoReader::ChooseTimes() const {
  const AVInputFormat& container = *GetTrack().GetDemuxer().GetContext().iformat;
  const bool hasTimes = (container.flags & AVFMT_NOTIMESTAMPS) == 0;
  return reading_.rate || !hasTimes ? FrameTimes::Ignored : reading_.times;
}

StreamFormat DecodedVideoReader::DescribeFormat(const AVFrame& first) const {
  StreamFormat format = DescribeVideo(GetTrack().GetStream());
  format.code = reading_.isDeep ? vix::kFourCC_Y416 : vix::kFourCC_V210;
  format.is444 = reading_.isDeep;
  const PictureRows rows(static_cast<AVPixelFormat>(first.format), GetName());
  if (reading_.isDeep && reading_.keepsAlpha && rows.HasAlpha()) {
    format.alphaBits = rows.GetAlphaDepth() > 8 ? 16 : 8;
  }
  format.width = static_cast<std::uint32_t>(first.width);
  format.height = static_cast<std::uint32_t>(first.height);
  format.rate = reading_.convertRate.value_or(Reduce(ToRational(pictures_.GetStream().rate)));
  format.colour = {ValueOf(first.color_primaries), ValueOf(first.color_trc),
                   ValueOf(first.colorspace), ColourRange::Limited};
  format.sampleAspect = {0, 1};
  const AVRational aspect = pictures_.GetStream().sampleAspect;
  if (aspect.num > 0 && aspect.den > 0) {
    format.sampleAspect = Reduce(ToRational(aspect));
  }
  format.fieldOrder = FieldOrderOf(first, format.fieldOrder);
  if (reading_.deinterlacing != Deinterlacing::None) format.fieldOrder = FieldOrder::Progressive;
  if (pictures_.TurnsPictures()) format.displayMatrix.reset();
  AddHdrMetadata(first, format);
  return format;
}

// There is no one luminance that white of SDR has in HDR.
void DecodedVideoReader::CheckLuminance(const Colour& source, const Colour& target) const {
  const auto isHdr = [](const Colour& colour) {
    return colour.transfer == AVCOL_TRC_SMPTE2084 || colour.transfer == AVCOL_TRC_ARIB_STD_B67;
  };
  if (!isHdr(source) || isHdr(target) || reading_.peakLuminance > 0) return;
  throw Failure(GetName() + ": is HDR (" + vixprores::Describe(source) + "); --convert-color " +
                *reading_.convertColour +
                " needs --peak-luminance with the luminance in cd/m2 that becomes white; what is "
                "brighter is clipped");
}

PictureTarget DecodedVideoReader::DescribeTarget(const AVFrame& first) const {
  PictureTarget target;
  target.isPremultiplied = reading_.isPremultiplied;
  target.format = DescribeFormat(first);
  StreamFormat& format = target.format;
  if (reading_.scale) Scale(*reading_.scale, format);
  const PictureRows rows(static_cast<AVPixelFormat>(first.format), GetName());
  if (rows.IsRgb()) {
    // Filters may have made RGB of other pictures.
    const bool isGiven = reading_.colour.matrix != AVCOL_SPC_UNSPECIFIED;
    const int matrix = isGiven ? reading_.colour.matrix : pictures_.GetDecodedMatrix();
    format.colour.matrix = RgbMatrixFor(matrix, format.height).coded;
  }
  if (reading_.convertColour) {
    target.colour = FindColourPreset(*reading_.convertColour);
    CheckLuminance(format.colour, *target.colour);
    target.colour->range = ColourRange::Limited;
    if (target.colour->transfer != format.colour.transfer) {
      // They describe the light of the source.
      format.masteringDisplay.reset();
      format.contentLight.reset();
    }
    format.colour = *target.colour;
    target.peakLuminance = reading_.peakLuminance;
  }
  return target;
}

void DecodedVideoReader::Describe(const AVFrame& first) {
  const AVFormatContext& context = GetTrack().GetDemuxer().GetContext();
  PictureTarget target = DescribeTarget(first);
  description_.format = target.format;
  description_.stored = avcodec_get_name(GetTrack().GetStream().codecpar->codec_id) +
                        std::string(", ") +
                        av_get_pix_fmt_name(static_cast<AVPixelFormat>(first.format));
  const FoundTimecode timecode = FindTimecode(context, GetFormat().rate, GetName());
  description_.timecode = timecode.timecode;
  description_.timecodeNote = timecode.note;
  description_.metadata = FindMetadata(context);
  DescribeOtherTracks(context, GetTrack().GetStream(), {start_, pictures_.GetStream().tick},
                      description_);
  // Captions belong to the pictures as they are coded, not to repeated or filtered ones.
  hasCaptions_ =
      DescribeSideData(first, pictures_.KeepsCount() && !reading_.convertRate, description_);
  const auto layout = static_cast<AVPixelFormat>(first.format);
  description_.finer = DescribeFiner(layout);
  description_.isRgb = PictureRows(layout, GetName()).IsRgb();
  // Decoders may leave alpha out, and that of ProRes chroma.
  const AVCodecParameters& stored = *GetTrack().GetStream().codecpar;
  const auto coded = static_cast<AVPixelFormat>(stored.format);
  const bool isProRes = stored.codec_id == AV_CODEC_ID_PRORES;
  if (isProRes && !reading_.isDeep) description_.finer = DescribeFiner(coded);
  description_.losesAlpha = (HasAlpha(layout) || HasAlpha(coded)) && !GetFormat().HasAlpha();
  description_.notes = DescribeChanges();
  description_.frames = CountFrames();
  converters_ = std::make_shared<PictureConverters>(target, GetName());
}

std::vector<std::string> DecodedVideoReader::DescribeChanges() const {
  std::vector<std::string> notes;
  const std::string tracks = FindTrackNote(GetTrack().GetDemuxer().GetContext(), GetName());
  if (!tracks.empty() && !reading_.videoTrack) {
    notes.push_back(tracks + "; --video-track chooses another one");
  }
  if (GetFormat().HasAlpha() && reading_.isPremultiplied) {
    notes.push_back(DescribeDivision(GetName()));
  }
  if (pictures_.TurnsPictures()) notes.push_back(DescribeTurn(GetName()));
  return notes;
}

std::optional<std::int64_t> DecodedVideoReader::CountFrames() const {
  if (!pictures_.KeepsCount() || reading_.convertRate) return std::nullopt;
  return GetTrack().CountIndexed();
}

void DecodedVideoReader::CheckRange(const FrameRange& range) const {
  if (times_.GetTreatment() != FrameTimes::Checked || reading_.filter || conversion_) return;
  GetTrack().CheckIndexedTimes(Reduce(ToRational(pictures_.GetDecodedRate())), range.last);
}

FrameConversion DecodedVideoReader::GetConversion() const {
  return [converters = converters_](const std::shared_ptr<vix::IBuffer>& picture) {
    return ConvertedFrame{converters->Convert(PictureOf(*picture))};
  };
}

std::string DecodedVideoReader::GetEndNote() const {
  return conversion_ ? conversion_->DescribeChanges() : std::string();
}

std::int64_t DecodedVideoReader::NumberAt(std::int64_t time) const {
  return av_rescale_q(av_sat_sub64(time, start_), pictures_.GetStream().tick,
                      Invert(GetFormat().rate));
}

bool DecodedVideoReader::SkipTo(std::int64_t frame) {
  const bool isConstant = conversion_ || times_.GetTreatment() == FrameTimes::Checked;
  if (!isConstant || !pictures_.IsTimeless()) return false;
  const std::int64_t time = av_sat_add64(
      start_, av_rescale_q(frame, Invert(GetFormat().rate), pictures_.GetStream().tick));
  if (!pictures_.SeekBefore(time)) return false;
  isAfterJump_ = true;
  skippedTo_ = frame;
  if (conversion_) conversion_->Jump();
  return true;
}

std::optional<NumberedFrame> DecodedVideoReader::Read() {
  for (;;) {
    std::optional<NumberedPicture> next = conversion_ ? ReadConverted() : ReadInTime();
    if (!next) return std::nullopt;
    framesRead_ = next->number + 1;
    if (next->number < skippedTo_) continue;
    NumberedFrame frame;
    frame.number = next->number;
    frame.isUneven = next->isUneven;
    if (IsDamaged(*next->picture)) frame.fault = "was decoded with errors";
    if (hasCaptions_) frame.captions = FindCaptions(*next->picture);
    frame.data = WrapPicture(std::move(next->picture));
    return frame;
  }
}

std::optional<NumberedPicture> DecodedVideoReader::ReadConverted() {
  for (;;) {
    if (auto next = conversion_->Pull()) return next;
    if (isConversionEnded_) {
      FailAtLoss();
      return std::nullopt;
    }
    Picture picture = pictures_.Read();
    isConversionEnded_ = !picture;
    conversion_->Push(std::move(picture));
  }
}

// Returns the next picture if its time fits the constant rate.
std::optional<NumberedPicture> DecodedVideoReader::ReadInTime() {
  Picture picture = ahead_ ? std::move(ahead_) : pictures_.Read();
  if (!picture) {
    FailAtLoss();
    return std::nullopt;
  }
  const std::int64_t time = picture->pts;
  if (time == AV_NOPTS_VALUE) return NumberedPicture{framesRead_, std::move(picture)};
  if (std::exchange(isAfterJump_, false)) {
    framesRead_ = NumberAt(time);
    times_.Skip(framesRead_, time);
  }
  FailIfPassed(time);
  const auto deviation = times_.Take(framesRead_, time);
  if (deviation && !deviation->isAccepted) {
    // The picture after a gap comes with the next Read(); one between frames is lost itself.
    if (deviation->missing > 0) ahead_ = std::move(picture);
    framesRead_ += std::max<std::int64_t>(deviation->missing, 1);
    throw times_.MakeFailure(*deviation, std::nullopt);
  }
  return NumberedPicture{framesRead_, std::move(picture), deviation.has_value()};
}

// Where pictures were lost, decoders may return others twice.
void DecodedVideoReader::FailIfPassed(std::int64_t time) const {
  auto deviation = times_.Compare(framesRead_, time);
  if (!deviation || deviation->isAccepted || framesRead_ == 0) return;
  const std::int64_t framesEarly =
      av_rescale_q(av_sat_sub64(deviation->expected, time), pictures_.GetStream().tick,
                   Invert(Reduce(ToRational(pictures_.GetStream().rate))));
  if (framesEarly < 1) return;
  deviation->missing = -1;
  throw times_.MakeFailure(*deviation, std::nullopt);
}

// What is lost at the end leaves no gap.
void DecodedVideoReader::FailAtLoss() {
  // The duration that a container states may be rounded up.
  const auto& indexed = GetDescription().frames;
  const bool isCountable =
      pictures_.KeepsCount() && !conversion_ && times_.GetTreatment() == FrameTimes::Checked;
  const Rational rate = Reduce(ToRational(pictures_.GetDecodedRate()));
  DecodedTrack& track = pictures_.GetTrack();
  const std::int64_t start =
      av_rescale_q(start_, pictures_.GetStream().tick, track.GetStream().time_base);
  const std::int64_t stated = isCountable ? track.CountStated(rate, start) : 0;
  const std::int64_t announced = indexed.value_or(stated);
  if (framesRead_ + (indexed ? 0 : 1) >= announced) return FailIfCutOff();
  isEndChecked_ = true;
  const std::int64_t first = std::exchange(framesRead_, announced);
  const std::string& reason = GetTrack().GetLossReason();
  throw FrameFailure(GetName(), first,
                     "is missing: the input ends there although it announces " +
                         Count(announced, "frame") + (reason.empty() ? "" : " (" + reason + ")"),
                     kEndAdvice, announced - first);
}

void DecodedVideoReader::FailIfCutOff() {
  const auto bytes = GetTrack().GetDemuxer().GetFile().GetSize();
  const std::int64_t stated = GetTrack().CountStatedBytes();
  if (!bytes || stated <= *bytes || std::exchange(isEndChecked_, true)) return;
  throw FrameFailure(GetName(), framesRead_,
                     "is missing with all after it: the file has " + std::to_string(*bytes) +
                         " bytes and announces " + std::to_string(stated),
                     kEndAdvice, 0);
}

}  // namespace vixprores
