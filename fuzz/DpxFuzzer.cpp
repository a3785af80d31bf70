// SPDX-License-Identifier: BSD-2-Clause
// Reads arbitrary bytes as a .dpx file: its labels, and its pixels as those of a sequence whose
// first file has the same header.
#include <cstdint>
#include <memory>
#include <vector>

#include "ScratchFile.h"
#include "base/Errors.h"
#include "media/sequence/DpxFile.h"

namespace {

constexpr std::uint64_t kMostPixels = 1 << 16;

struct FreeFrame {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ScratchFile file(data, size);
  vixprores::ImageHeader labels;
  labels.path = file.GetPath();
  try {
    vixprores::ReadDpxLabels(labels);
    const auto header = vixprores::ReadUsualDpxHeader(file.GetPath());
    if (!header || std::uint64_t{header->width} * header->height > kMostPixels) return 0;
    const std::unique_ptr<AVFrame, FreeFrame> picture(av_frame_alloc());
    picture->format = AV_PIX_FMT_GBRP10;
    picture->width = static_cast<int>(header->width);
    picture->height = static_cast<int>(header->height);
    if (av_frame_get_buffer(picture.get(), 0) < 0) return 0;
    std::vector<std::uint8_t> bytes;
    vixprores::ReadUsualDpx(file.GetPath(), *header, bytes, *picture);
  } catch (const vixprores::Failure&) {
    // An unreadable file.
  }
  return 0;
}
