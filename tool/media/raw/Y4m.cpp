// SPDX-License-Identifier: BSD-2-Clause
#include "media/raw/Y4m.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <span>
#include <sstream>
#include <utility>

#include "base/Errors.h"
#include "format/InputFormat.h"
#include "format/PlanarPicture.h"

namespace vixprores {
namespace {

struct ChromaTag {
  std::string_view tag;
  vix::FourCC packed;
};
constexpr ChromaTag kChromaTags[] = {{"422", vix::kFourCC_UYVY}, {"422p10", vix::kFourCC_V210}};

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
    for (const ChromaTag& known : kChromaTags) {
      if (known.tag == chroma_) format_.code = known.packed;
    }
    if (format_.code == 0) {
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
  std::string chroma_ = "420";  // default of the format
};

}  // namespace

bool HoldsPlain422(std::string_view header) {
  std::istringstream words{std::string(header)};
  for (std::string word; words >> word;) {
    if (word.front() != 'C') continue;
    return std::ranges::any_of(kChromaTags, [&word](const ChromaTag& known) {
      return known.tag == std::string_view(word).substr(1);
    });
  }
  return false;
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
    if (known.packed == format.code) header << " C" << known.tag;
  }
  if (format.code == vix::kFourCC_V210) header << " XYSCSS=422P10";
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
  description_.format = ParseY4mHeader(file_->ReadLine(kLongestLine), GetName());
  planarBytes_ = PlanarBytes(GetFormat());
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
  return [format = GetFormat(), pool = pool_](const std::shared_ptr<vix::IBuffer>& planar) {
    const std::uint32_t bytes = format.FrameBytes();
    auto packed = pool.MakeFrame(bytes);
    PackPicture(format, std::span(planar->GetData(), planar->GetSize()),
                std::span(packed->GetData(), bytes));
    return ConvertedFrame{std::move(packed)};
  };
}

void Y4mReader::FailAtFrame(const std::string& found) const {
  throw Failure(GetName() + ": frame " + std::to_string(framesRead_) + " " + found +
                "; choose the frames before it with --frames");
}

}  // namespace vixprores
