// SPDX-License-Identifier: BSD-2-Clause
#include "element/PictureSource.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "run/Errors.h"

namespace vixprores {

PictureSource::PictureSource(std::unique_ptr<FrameReader> reader, const ThreadShares& shares)
    : reader_(std::move(reader)), format_(reader_->GetFormat()) {
  if (format_.IsRaw()) return;
  format_.code = vix::kFourCC_V210;
  const auto makeElement = [](int threads) {
    return MakeProResDecoder(vix::kFourCC_V210, false, threads);
  };
  decoders_.emplace(makeElement, reader_->GetFormat(), shares);
}

std::shared_ptr<const vix::IBuffer> PictureSource::Decode(const NumberedFrame& frame,
                                                          unsigned worker) {
  auto data = reader_->Unpack(frame.data);
  if (!decoders_) return data;
  const std::string name = reader_->GetName() + ": frame " + std::to_string(frame.number);
  try {
    auto picture = decoders_->Process(worker, std::move(data), frame.number)->GetBuffer();
    if (picture->GetSize() == format_.FrameBytes()) return picture;
  } catch (const std::runtime_error& error) {
    throw Failure(name + ": " + error.what() + "; --frames leaves it out");
  }
  throw Failure(name + " is not of the size of the first one");
}

}  // namespace vixprores
