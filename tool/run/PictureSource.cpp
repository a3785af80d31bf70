// SPDX-License-Identifier: BSD-2-Clause
#include "run/PictureSource.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "frames/FrameCheck.h"
#include "frames/FrameHeaders.h"
#include "run/DecoderWatch.h"

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
  const auto makeElement = [](int threads) {
    return MakeProResDecoder(vix::kFourCC_V210, false, threads);
  };
  decoders_.emplace(makeElement, reader_->GetFormat(), shares);
}

FramePlace PictureSource::PlaceOf(const NumberedFrame& frame) const {
  FramePlace place{frame.number, 1, reader_->GetDescription().timecode, frame.offset};
  if (place.timecode) place.timecode = *place.timecode + frame.number;
  return place;
}

void PictureSource::Fail(const NumberedFrame& frame, const std::string& found) const {
  throw Failure(reader_->GetName() + ": " + Describe(PlaceOf(frame)) + ": " + found +
                "; --frames leaves it out, 'vixprores verify' lists all that is damaged");
}

std::shared_ptr<const vix::IBuffer> PictureSource::DecodeProRes(const NumberedFrame& frame,
                                                                std::shared_ptr<vix::IBuffer> data,
                                                                unsigned worker) {
  // An element would take it for a frame of another layout, and keep it for the next one.
  if (!ParseHeader(BytesOf(*data))) Fail(frame, "has no readable frame header");
  try {
    auto picture = decoders_->Process(worker, data, frame.number)->GetBuffer();
    if (picture->GetSize() == format_.FrameBytes()) return picture;
  } catch (const std::runtime_error& error) {
    // The frame itself tells more than an element that could not decode it.
    const std::string found = CheckFrame(BytesOf(*data)).Describe();
    Fail(frame, found.empty() ? error.what() : found);
  }
  Fail(frame, "is not of the size of the first one");
}

DecodedPicture PictureSource::Decode(const NumberedFrame& frame, unsigned worker) {
  auto data = convert_ ? convert_(frame.data) : frame.data;
  if (!decoders_) return {data, std::nullopt};
  TakeDecoderAnswer();  // of what this thread decoded before
  DecodedPicture picture{DecodeProRes(frame, std::move(data), worker), std::nullopt};
  std::string what = frame.fault;
  if (const std::int32_t slices = TakeDecoderAnswer(); slices > 0) {
    what += (what.empty() ? "has " : "; has ") + Count(slices, "damaged slice") +
            (slices == 1 ? ", which is concealed" : ", which are concealed");
  }
  if (!what.empty()) picture.damage = {PlaceOf(frame), what};
  return picture;
}

}  // namespace vixprores
