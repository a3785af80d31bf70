// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/EncoderDescription.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <vector>

extern "C" {
#include <libavutil/dict.h>
}

namespace vixprores {

// The header holds a label for the coding of the pictures (SMPTE RDD 44), whose last byte but one
// is the number of the variant.
vix::FourCC FindMxfVariant(const InputFile& file) {
  constexpr std::size_t kSearchedBytes = std::size_t{1} << 16U;
  constexpr std::array<std::uint8_t, 14> kLabel{0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01,
                                                0x0D, 0x04, 0x01, 0x02, 0x02, 0x03, 0x06};
  if (!file.IsSeekable()) return 0;
  std::vector<std::uint8_t> bytes(kSearchedBytes);
  bytes.resize(file.ReadAt(0, bytes));
  const auto label = std::search(bytes.begin(), bytes.end(), kLabel.begin(), kLabel.end());
  if (bytes.end() - label <= std::ssize(kLabel)) return 0;
  const ProResVariant* const variant = FindProResProfile(label[kLabel.size()] - 1);
  return variant ? variant->code : 0;
}

void DescribeEncoder(const AVStream& stream, InputDescription& description) {
  const AVDictionaryEntry* const name = av_dict_get(stream.metadata, "encoder", nullptr, 0);
  const AVDictionaryEntry* const vendor = av_dict_get(stream.metadata, "vendor_id", nullptr, 0);
  if (name) description.compressor = name->value;
  if (!vendor || std::strlen(vendor->value) != 4) return;
  const char* const code = vendor->value;
  description.vendor = vix::MakeFourCC({code[0], code[1], code[2], code[3], 0});
}

}  // namespace vixprores
