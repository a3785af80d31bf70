// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/FilteredPictures.h"

#include <utility>
#include <vector>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/InputFormat.h"
#include "media/container/Libav.h"
#include "media/container/TrackDescription.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

// The picture's own labels are newer than the container's, unless it has none.
int Choose(int given, int ofPicture, int ofContainer) {
  if (given != kUnspecifiedColour) return given;
  return ofPicture != kUnspecifiedColour ? ofPicture : ofContainer;
}

}  // namespace

FilteredPictures::FilteredPictures(std::unique_ptr<Demuxer> demuxer, const FootageReading& reading,
                                   const VideoDecoderFactory& makeDecoder)
    : reading_(reading), track_(std::move(demuxer), reading, makeDecoder) {
  const std::string& name = track_.GetDemuxer().GetName();
  first_ = track_.Read();
  if (!first_) {
    const std::string& reason = track_.GetLossReason();
    throw Failure(name + ": holds no picture that can be decoded" +
                  (reason.empty() ? "" : " (" + reason + ")") +
                  (track_.GetDemuxer().GetFile().IsSeekable()
                       ? ""
                       : "; of a pipe, only a file whose index is in front can be read"));
  }
  const AVStream& stream = track_.GetStream();
  decoded_ = {stream.time_base, ToAvRational(FindRate()), first_->sample_aspect_ratio,
              first_->width, first_->height};
  if (decoded_.sampleAspect.num <= 0) decoded_.sampleAspect = stream.sample_aspect_ratio;
  const auto matrix = DescribeVideo(stream).displayMatrix;
  if (matrix && !reading_.keepsRotation) turn_ = FindTurn(*matrix);
  if (turn_) turnFilters_ = DescribeTurn(*turn_, *first_);
  Label(*first_);
  stream_ = decoded_;
  BuildGraph(*first_);
  decodedAhead_ = ShareMemory(*first_);
  ahead_ = Read();
  if (!ahead_) throw Failure(name + ": the filters leave no picture");
}

Rational FilteredPictures::FindRate() {
  const AVFormatContext& context = track_.GetDemuxer().GetContext();
  AVStream& stream = track_.GetStream();
  const bool hasIndex = FrameIndex(track_.GetDemuxer(), stream).IsPresent();
  const bool isStated = hasIndex || IsMatroska(context) || IsMxf(context) || IsAvi(context);
  Rational rate{0, 1};
  // Other containers leave it to the coded stream, and guess it from the first packets.
  if (!isStated) rate = track_.GetCodedRate();
  if (rate.numerator == 0) {
    rate = vixprores::FindRate(stream, nullptr, IsMatroska(context), hasIndex);
  }
  if (rate.numerator == 0) rate = track_.GetCodedRate();
  if (rate.numerator == 0) rate = reading_.rate.value_or(reading_.convertRate.value_or(rate));
  if (rate.numerator == 0) {
    throw Failure(track_.GetDemuxer().GetName() +
                  ": does not tell its frame rate; --rate states it");
  }
  return rate;
}

// Sets what the user states about pictures.
void FilteredPictures::Label(AVFrame& picture) const {
  const AVCodecParameters& stated = *track_.GetStream().codecpar;
  if (turn_) picture.chroma_location = SitingBehind(*turn_, picture);
  const auto label = [](int wanted, auto& value, const auto& ofTrack) {
    SetValue(value, Choose(wanted, ValueOf(value), ValueOf(ofTrack)));
  };
  label(reading_.colour.primaries, picture.color_primaries, stated.color_primaries);
  label(reading_.colour.transfer, picture.color_trc, stated.color_trc);
  label(reading_.colour.matrix, picture.colorspace, stated.color_space);
  if (ValueOf(picture.color_range) == AVCOL_RANGE_UNSPECIFIED) {
    SetValue(picture.color_range, ValueOf(stated.color_range));
  }
  if (!reading_.fields) return;
  picture.interlaced_frame = *reading_.fields == FieldOrder::Progressive ? 0 : 1;
  picture.top_field_first = *reading_.fields == FieldOrder::TopFirst ? 1 : 0;
}

std::string FilteredPictures::DescribeGraph() const {
  std::vector<std::string> filters;
  if (reading_.deinterlacing == Deinterlacing::Frames) filters.emplace_back("bwdif=send_frame");
  if (reading_.deinterlacing == Deinterlacing::Fields) filters.emplace_back("bwdif=send_field");
  if (turn_) filters.push_back(turnFilters_);
  if (reading_.filter) filters.push_back(*reading_.filter);
  return Join(filters, ",");
}

void FilteredPictures::BuildGraph(const AVFrame& first) {
  const std::string filters = DescribeGraph();
  isGraphEnded_ = false;
  if (filters.empty()) return;
  const std::string& name = track_.GetDemuxer().GetName();
  try {
    graph_.emplace(filters, decoded_, first, reading_.threads, name);
  } catch (const UnusableFilters& unusable) {
    if (reading_.filter) {
      throw UsageError("--filter " + QuoteForShell(filters) + ": " + unusable.what());
    }
    throw Failure(name + ": its pictures of " +
                  DescribeSize(static_cast<std::uint32_t>(first.width),
                               static_cast<std::uint32_t>(first.height)) +
                  " cannot be deinterlaced or turned: " + unusable.what());
  }
  stream_ = graph_->GetStream();
  if (stream_.rate.num <= 0) stream_.rate = decoded_.rate;
}

bool FilteredPictures::IsTimeless() const {
  return !reading_.filter || !FilterGraph::FindUntested(*reading_.filter);
}

bool FilteredPictures::KeepsCount() const {
  return !reading_.filter && reading_.deinterlacing != Deinterlacing::Fields;
}

int FilteredPictures::GetDecodedMatrix() const {
  const int matrix = ValueOf(first_->colorspace);
  return matrix == AVCOL_SPC_RGB ? AVCOL_SPC_UNSPECIFIED : matrix;
}

// A converter would bring it to the size of the others without a word.
void FilteredPictures::CheckSize(const AVFrame& picture) const {
  if (reading_.scale && !graph_) return;
  if (picture.width == decoded_.width && picture.height == decoded_.height) return;
  throw Failure(track_.GetDemuxer().GetName() + ": picture " + std::to_string(decodedCount_) +
                " has " + std::to_string(picture.width) + "x" + std::to_string(picture.height) +
                " pixels, those before it " + std::to_string(decoded_.width) + "x" +
                std::to_string(decoded_.height) +
                "; choose the frames before it with --frames, or bring all to one size with "
                "--scale WxH");
}

Picture FilteredPictures::ReadDecoded() {
  if (decodedAhead_) return std::move(decodedAhead_);
  Picture picture = track_.Read();
  if (!picture) return nullptr;
  ++decodedCount_;
  CheckSize(*picture);
  Label(*picture);
  return picture;
}

Picture FilteredPictures::Read() {
  if (ahead_) return std::move(ahead_);
  if (!graph_) return ReadDecoded();
  for (;;) {
    if (Picture picture = graph_->Pull()) {
      picture->pkt_duration = FindDuration();
      return picture;
    }
    if (isGraphEnded_) return nullptr;
    Picture picture = ReadDecoded();
    isGraphEnded_ = !picture;
    if (picture) decodedDuration_ = picture->pkt_duration;
    graph_->Push(std::move(picture));
  }
}

// Filters do not convert durations to their own ticks and rate.
std::int64_t FilteredPictures::FindDuration() const {
  const bool keepsRate = av_cmp_q(stream_.rate, decoded_.rate) == 0;
  return keepsRate ? av_rescale_q(decodedDuration_, decoded_.tick, stream_.tick)
                   : av_rescale_q(1, av_inv_q(stream_.rate), stream_.tick);
}

bool FilteredPictures::SeekBefore(std::int64_t time) {
  // Filters have ticks of their own.
  const std::int64_t decodedTime = av_rescale_q(time, stream_.tick, decoded_.tick);
  if (!track_.SeekBefore(decodedTime)) return false;
  Restart();
  return true;
}

bool FilteredPictures::Rewind() {
  if (!track_.Rewind()) return false;
  Restart();
  return true;
}

void FilteredPictures::Restart() {
  decodedAhead_ = nullptr;
  ahead_ = nullptr;
  BuildGraph(*first_);
}

}  // namespace vixprores
