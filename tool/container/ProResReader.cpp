// SPDX-License-Identifier: BSD-2-Clause
#include "container/ProResReader.h"

#include <optional>
#include <span>
#include <utility>

#include "bitstream/FrameHeader.h"
#include "run/Errors.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/rational.h>
}

namespace vixprores {
namespace {

std::span<const std::uint8_t> BytesOf(const vix::IBuffer& frame) {
  return {frame.GetData(), frame.GetSize()};
}

std::optional<prores::FrameHeader> ParseHeader(const vix::IBuffer& frame) {
  prores::FrameHeader header;
  std::span<const std::uint8_t> pictures;
  const prores::Status status = prores::ParseFrameHeader(BytesOf(frame), header, pictures);
  if (status != prores::Status::kSuccess) return std::nullopt;
  return header;
}

FieldOrder ToFieldOrder(prores::InterlaceMode mode) {
  switch (mode) {
    case prores::InterlaceMode::kTopFieldFirst:
      return FieldOrder::TopFirst;
    case prores::InterlaceMode::kBottomFieldFirst:
      return FieldOrder::BottomFirst;
    default:
      return FieldOrder::Progressive;
  }
}

// Pixel aspect of an aspect_ratio_information code (RDD 36, frame header semantics): 1 = square
// pixels, 2 and 3 = a picture of 4:3 and 16:9.
Rational ToSampleAspect(const prores::FrameHeader& header) {
  const AVRational size{header.width, header.height};
  switch (header.aspectRatio) {
    case 1:
      return {1, 1};
    case 2:
      return ToRational(av_div_q({4, 3}, size));
    case 3:
      return ToRational(av_div_q({16, 9}, size));
    default:
      return {0, 1};
  }
}

// 0 stands for unknown in a frame header, which ISO/IEC 23091-2 expresses by 2.
int ToCodePoint(std::uint8_t headerValue) {
  return headerValue == 0 ? 2 : headerValue;
}

// The picture is what the header says; of the rest the container's word counts, because it is what
// editing programs set and show.
StreamFormat Combine(StreamFormat container, const prores::FrameHeader& header) {
  container.width = header.width;
  container.height = header.height;
  container.fieldOrder = ToFieldOrder(header.interlaceMode);
  if (container.sampleAspect.numerator == 0) container.sampleAspect = ToSampleAspect(header);
  if (!container.colour.IsSpecified()) {
    container.colour.primaries = ToCodePoint(header.colorPrimaries);
    container.colour.transfer = ToCodePoint(header.transferCharacteristic);
    container.colour.matrix = ToCodePoint(header.matrixCoefficients);
  }
  return container;
}

}  // namespace

ProResReader::ProResReader(std::unique_ptr<InputFile> file, bool sameScan)
    : ContainerReader(std::move(file)), sameScan_(sameScan) {
  const AVCodecParameters& parameters = track_.GetParameters();
  if (parameters.codec_id != AV_CODEC_ID_PRORES) {
    throw Failure(track_.GetName() + ": its video track is " +
                  avcodec_get_name(parameters.codec_id) +
                  ", not ProRes; there is nothing to decode");
  }
  first_ = track_.Read();
  const auto header = ParseHeader(*first_);
  if (!header) {
    track_.FailAtLastFrame(
        "does not start with a readable ProRes frame header, so that "
        "nothing is known of the pictures; get an undamaged copy");
  }
  container_ = track_.GetFormat();
  container_.code = FindProResVariant(parameters.codec_tag) ? parameters.codec_tag : 0;
  format_ = Combine(container_, *header);
}

std::shared_ptr<vix::IBuffer> ProResReader::Read() {
  auto frame = first_ ? std::move(first_) : track_.Read();
  offset_ = track_.GetLastOffset();
  if (frame) CheckFrame(*frame);
  return frame;
}

// What the decoder would take amiss without saying so. A header that cannot be read is left to it.
void ProResReader::CheckFrame(const vix::IBuffer& frame) const {
  const auto header = ParseHeader(frame);
  if (!header) return;
  if (header->version != 0) {
    track_.FailAtLastFrame("has bitstream version " + std::to_string(header->version) +
                           "; the decoder reads version 0");
  }
  if (header->width != format_.width || header->height != format_.height) {
    track_.FailAtLastFrame("is " + DescribeSize(header->width, header->height) +
                           " although the stream began with " +
                           DescribeSize(format_.width, format_.height) +
                           "; decode the parts one by one with --frames");
  }
  const bool isInterlaced = header->interlaceMode != prores::InterlaceMode::kProgressive;
  if (sameScan_ && isInterlaced != format_.IsInterlaced()) {
    track_.FailAtLastFrame("is scanned otherwise than the first one; leave out --skip-field");
  }
}

}  // namespace vixprores
