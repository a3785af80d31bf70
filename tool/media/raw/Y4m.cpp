// SPDX-License-Identifier: BSD-2-Clause
#include "media/raw/Y4m.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>
#include <span>
#include <sstream>
#include <utility>

#include "base/Errors.h"
#include "base/Limits.h"
#include "format/DeepPicture.h"
#include "format/InputFormat.h"
#include "format/PlanarPicture.h"

namespace vixprores {
namespace {

struct ChromaTag {
  std::string_view tag;
  Y4mPlanes planes;
  const char* comment = "";  // the same for older readers
};
constexpr ChromaTag kChromaTags[] = {
    {"422", {vix::kFourCC_UYVY, 8}},     {"422p10", {vix::kFourCC_V210, 10}, " XYSCSS=422P10"},
    {"444", {vix::kFourCC_Y416, 8}},     {"444p9", {vix::kFourCC_Y416, 9}},
    {"444p10", {vix::kFourCC_Y416, 10}}, {"444p12", {vix::kFourCC_Y416, 12}, " XYSCSS=444P12"},
    {"444p14", {vix::kFourCC_Y416, 14}}, {"444p16", {vix::kFourCC_Y416, 16}}};
constexpr std::string_view kStandardTag = "420";

// Returns null for pictures that have to be decoded.
const ChromaTag* FindChroma(std::string_view tag) {
  const auto* const found = std::ranges::find(kChromaTags, tag, &ChromaTag::tag);
  return found == std::end(kChromaTags) ? nullptr : found;
}

struct FieldOrderTag {
  char tag;
  FieldOrder order;
};
constexpr FieldOrderTag kFieldOrderTags[] = {{'p', FieldOrder::Progressive},
                                             {'t', FieldOrder::TopFirst},
                                             {'b', FieldOrder::BottomFirst},
                                             {'?', FieldOrder::Unknown}};

struct RangeTag {
  std::string_view tag;
  ColourRange range;
};
constexpr RangeTag kRangeTags[] = {{"COLORRANGE=LIMITED", ColourRange::Limited},
                                   {"COLORRANGE=FULL", ColourRange::Full}};

std::optional<std::int32_t> ParseInt(std::string_view text) {
  std::int32_t value = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || stop != text.data() + text.size() || value < 0) return std::nullopt;
  return value;
}

// Parses "N:D"; a zero means unknown and yields 0/1.
std::optional<Rational> ParseRatio(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const auto numerator = ParseInt(text.substr(0, colon));
  const auto denominator = ParseInt(text.substr(colon + 1));
  if (!numerator || !denominator) return std::nullopt;
  if (*numerator == 0 || *denominator == 0) return Rational{0, 1};
  return Reduce({*numerator, *denominator});
}

class HeaderParser {
 public:
  explicit HeaderParser(const std::string& inputName) : inputName_(inputName) {}

  // Parses one parameter: a letter and its value.
  void Take(std::string_view parameter) {
    const std::string_view value = parameter.substr(1);
    switch (parameter.front()) {
      case 'W':
        format_.width = static_cast<std::uint32_t>(Checked(ParseInt(value), parameter));
        break;
      case 'H':
        format_.height = static_cast<std::uint32_t>(Checked(ParseInt(value), parameter));
        break;
      case 'F':
        format_.rate = Checked(ParseRatio(value), parameter);
        break;
      case 'A':
        format_.sampleAspect = Checked(ParseRatio(value), parameter);
        break;
      case 'C':
        chroma_ = value;
        break;
      case 'I':
        TakeFieldOrder(value);
        break;
      case 'X':
        for (const RangeTag& known : kRangeTags) {
          if (known.tag == value) format_.colour.range = known.range;
        }
        break;
      default:
        break;
    }
  }

  StreamFormat Finish() {
    if (const ChromaTag* const known = FindChroma(chroma_)) {
      format_.code = known->planes.packed;
      format_.is444 = IsOf4444(format_.code);
    } else {
      const bool isFull = format_.colour.range == ColourRange::Full;
      RefuseUnconverted(inputName_, "Y4M pictures of type C" + chroma_,
                        isFull ? kToLimitedRange : "");
    }
    if (format_.width == 0 || format_.height == 0) Refuse("no picture size (W and H)");
    if (format_.rate.numerator == 0) Refuse("no frame rate (F)");
    return format_;
  }

 private:
  [[noreturn]] void Refuse(const std::string& what) const {
    throw Failure(inputName_ + ": the Y4M header has " + what);
  }

  template <typename Value>
  Value Checked(const std::optional<Value>& value, std::string_view parameter) const {
    if (!value) Refuse("the unreadable parameter '" + std::string(parameter) + "'");
    return *value;
  }

  void TakeFieldOrder(std::string_view value) {
    for (const FieldOrderTag& known : kFieldOrderTags) {
      if (value == std::string_view(&known.tag, 1)) {
        format_.fieldOrder = known.order;
        return;
      }
    }
    RefuseUnconverted(inputName_, "Y4M pictures interlaced in the way I" + std::string(value),
                      "setfield=tff");
  }

  const std::string& inputName_;
  StreamFormat format_;
  std::string chroma_{kStandardTag};
};

}  // namespace

std::optional<Y4mPlanes> FindPlanes(std::string_view header) {
  std::istringstream words{std::string(header)};
  std::string tag{kStandardTag};
  for (std::string word; words >> word;) {
    if (word.front() == 'C') tag = word.substr(1);  // the last one counts
  }
  const ChromaTag* const known = FindChroma(tag);
  return known ? std::optional(known->planes) : std::nullopt;
}

StreamFormat ParseY4mHeader(std::string_view header, const std::string& inputName) {
  std::istringstream words{std::string(header)};
  std::string word;
  words >> word;
  if (word != kY4mMagic) throw Failure(inputName + ": no Y4M stream");
  HeaderParser parser(inputName);
  while (words >> word) parser.Take(word);
  return parser.Finish();
}

std::string MakeY4mHeader(const StreamFormat& format) {
  std::ostringstream header;
  header.imbue(std::locale::classic());
  header << kY4mMagic << " W" << format.width << " H" << format.height << " F"
         << format.rate.numerator << ':' << format.rate.denominator;
  for (const FieldOrderTag& known : kFieldOrderTags) {
    if (known.order == format.fieldOrder) header << " I" << known.tag;
  }
  header << " A" << format.sampleAspect.numerator << ':'
         << (format.sampleAspect.numerator == 0 ? 0 : format.sampleAspect.denominator);
  for (const ChromaTag& known : kChromaTags) {
    const auto& [packed, bits] = known.planes;
    if (packed == format.code && bits == SampleBits(format)) {
      header << " C" << known.tag << known.comment;
    }
  }
  for (const RangeTag& known : kRangeTags) {
    if (known.range == format.colour.range) header << " X" << known.tag;
  }
  header << '\n';
  return header.str();
}

namespace {

constexpr std::size_t kLongestLine = 4096;

}  // namespace

Y4mReader::Y4mReader(std::unique_ptr<InputFile> file) : file_(std::move(file)) {
  description_.name = file_->GetName();
  const std::string header = file_->ReadLine(kLongestLine);
  description_.format = ParseY4mHeader(header, GetName());
  CheckPictureSize(GetName(), GetFormat().width, GetFormat().height);
  bits_ = FindPlanes(header)->bits;  // of a valid header
  planarBytes_ = PlanarBytes(GetFormat(), bits_);
  if (!file_->GetSize()) return;
  // Frames may carry parameters; without them the file size is a multiple of this.
  const std::int64_t bytes = *file_->GetSize() - file_->GetPosition();
  const auto frameBytes = static_cast<std::int64_t>(kY4mFrameMagic.size() + 1 + planarBytes_);
  if (bytes % frameBytes == 0) description_.frames = bytes / frameBytes;
}

std::optional<NumberedFrame> Y4mReader::Read() {
  if (file_->Peek(1).empty()) return std::nullopt;
  const std::string line = file_->ReadLine(kLongestLine);
  if (!line.starts_with(kY4mFrameMagic)) FailAtFrame("does not start with the word FRAME");
  NumberedFrame frame;
  frame.data = pool_.MakeFrame(planarBytes_);
  const std::size_t bytes = file_->Read(std::span(frame.data->GetData(), planarBytes_));
  if (bytes < planarBytes_) {
    FailAtFrame("is cut short: found " + std::to_string(bytes) + " of its " +
                std::to_string(planarBytes_) + " bytes");
  }
  frame.number = framesRead_++;
  return frame;
}

FrameConversion Y4mReader::GetConversion() const {
  return [format = GetFormat(), bits = bits_,
          pool = pool_](const std::shared_ptr<vix::IBuffer>& planar) {
    const std::uint32_t bytes = format.FrameBytes();
    auto packed = pool.MakeFrame(bytes);
    const std::span<const std::uint8_t> planes(planar->GetData(), planar->GetSize());
    const std::span pixels(packed->GetData(), bytes);
    IsOf4444(format.code) ? PackDeepPicture(bits, planes, pixels)
                          : PackPicture(format, planes, pixels);
    return ConvertedFrame{std::move(packed)};
  };
}

void Y4mReader::FailAtFrame(const std::string& found) const {
  throw Failure(GetName() + ": frame " + std::to_string(framesRead_) + " " + found +
                "; choose the frames before it with --frames");
}

}  // namespace vixprores
