// SPDX-License-Identifier: BSD-2-Clause
#include "run/PictureSource.h"

#include <string>
#include <utility>

#include "base/Errors.h"

namespace vixprores {

std::string Describe(const DamagedPicture& damaged) {
  return Describe(damaged.place) + ": " + damaged.what;
}

PictureSource::PictureSource(std::unique_ptr<FrameReader> reader, const ThreadShares& shares)
    : reader_(std::move(reader)),
      convert_(reader_->GetConversion()),
      format_(reader_->GetFormat()) {
  if (format_.IsRaw()) return;
  format_.code = vix::kFourCC_V210;
  const auto makeElement = [](int /*threads*/) {
    return MakeProResDecoder(vix::kFourCC_V210, false);
  };
  decoders_.emplace(makeElement, reader_->GetFormat(), shares);
}

FramePlace PictureSource::PlaceOf(const NumberedFrame& frame) const {
  FramePlace place{frame.number, 1, reader_->GetDescription().timecode, frame.offset};
  if (place.timecode) place.timecode = *place.timecode + frame.number;
  return place;
}

DecodedPicture PictureSource::Decode(const NumberedFrame& frame, unsigned worker) {
  auto data = convert_ ? convert_(frame.data) : frame.data;
  if (!decoders_) return {data, std::nullopt};
  const auto output =
      decoders_->Decode(worker, data, frame.header, frame.number, format_.FrameBytes());
  if (!output.sample) {
    throw Failure(reader_->GetName() + ": " + Describe(PlaceOf(frame)) + ": " + output.fault +
                  "; --frames leaves it out, 'vixprores verify' lists all damaged frames");
  }
  DecodedPicture picture{output.sample->GetBuffer(), std::nullopt};
  std::string what = frame.fault;
  if (output.damagedSlices > 0) {
    what += (what.empty() ? "" : "; ") + output.fault +
            (output.damagedSlices == 1 ? ", which is concealed" : ", which are concealed");
  }
  if (!what.empty()) picture.damage = {PlaceOf(frame), what};
  return picture;
}

}  // namespace vixprores
