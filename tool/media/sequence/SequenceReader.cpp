// SPDX-License-Identifier: BSD-2-Clause
#include "media/sequence/SequenceReader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

#include "base/Errors.h"
#include "base/IdleObjects.h"
#include "base/Limits.h"
#include "base/Text.h"
#include "format/FramePlace.h"
#include "media/decode/PictureConverter.h"
#include "media/decode/VideoDecoder.h"
#include "media/sequence/DpxFile.h"
#include "media/sequence/FirstImage.h"
#include "media/sequence/VideoSpaces.h"

namespace vixprores {
namespace {

// Place of a black picture among the files.
constexpr std::int64_t kBlack = -1;

// Returns the size of the pictures after they were turned.
PictureSize SizeOf(const ImageHeader& header) {
  const PictureSize size{header.width, header.height};
  return header.IsTurnedOver() ? PictureSize{size.height, size.width} : size;
}

Picture MakePicture(AVPixelFormat format, const PictureSize& size) {
  Picture picture = vixprores::MakePicture();
  picture->format = format;
  picture->width = static_cast<int>(size.width);
  picture->height = static_cast<int>(size.height);
  picture->color_range = AVCOL_RANGE_JPEG;
  picture->colorspace = AVCOL_SPC_RGB;
  if (av_frame_get_buffer(picture.get(), 0) < 0) throw std::bad_alloc();
  return picture;
}

// The format that keeps the depth of the samples.
AVPixelFormat ChooseFormat(const ImageHeader& header, bool isConverted, bool hasAlpha) {
  const int bits = isConverted || header.isFloat ? 16 : header.bits;
  if (hasAlpha) return bits > 8 ? AV_PIX_FMT_RGBA64 : AV_PIX_FMT_RGBA;
  if (bits > 10) return AV_PIX_FMT_RGB48;
  return bits > 8 ? AV_PIX_FMT_GBRP10 : AV_PIX_FMT_RGB24;
}

bool HasBytes(AVPixelFormat format) {
  return format == AV_PIX_FMT_RGB24 || format == AV_PIX_FMT_RGBA;
}

std::size_t CountChannels(AVPixelFormat format) {
  return format == AV_PIX_FMT_RGBA64 || format == AV_PIX_FMT_RGBA ? 4 : 3;
}

// Copies interleaved samples to a picture of the same samples, or of their upper ten bits.
void CopyRows(const std::vector<std::uint16_t>& samples, AVFrame& picture) {
  constexpr std::array<std::size_t, 3> kComponents{1, 2, 0};  // of planes G, B, R
  const auto width = static_cast<std::size_t>(picture.width);
  const bool isPlanar = picture.format == AV_PIX_FMT_GBRP10;
  const auto format = static_cast<AVPixelFormat>(picture.format);
  const std::size_t pixelBytes = CountChannels(format) * (HasBytes(format) ? 1 : 2);
  for (int row = 0; row < picture.height; ++row) {
    const std::uint8_t* const bytes = reinterpret_cast<const std::uint8_t*>(samples.data()) +
                                      static_cast<std::size_t>(row) * width * pixelBytes;
    const auto* const from = reinterpret_cast<const std::uint16_t*>(bytes);
    for (std::size_t plane = 0; plane < (isPlanar ? 3 : 1); ++plane) {
      std::uint8_t* const to = picture.data[plane] + row * picture.linesize[plane];
      if (!isPlanar) {
        std::memcpy(to, bytes, width * pixelBytes);
        continue;
      }
      auto* const component = reinterpret_cast<std::uint16_t*>(to);
      for (std::size_t x = 0; x < width; ++x) {
        component[x] = static_cast<std::uint16_t>(from[3 * x + kComponents[plane]] >> 6);
      }
    }
  }
}

[[noreturn]] void RefuseLinear(const std::string& name) {
  throw Failure(name +
                ": holds scene-linear pictures, which need a conversion for video; name their "
                "colour space and that of the video:\n  vixprores encode --input-color ACEScg "
                "--output-color Rec.709 " +
                QuoteForShell(name) + " OUTPUT");
}

}  // namespace

// Reads and converts files. Any thread may call it, several at once.
class SequenceReader::Conversion {
 public:
  Conversion(std::vector<NumberedFile> files, const ImageHeader& header, const StreamFormat& format,
             std::shared_ptr<const ColourTransform> transform)
      : files_(std::move(files)),
        header_(header),
        format_(format),
        transform_(std::move(transform)),
        picture_(ChooseFormat(header, transform_ != nullptr, format.HasAlpha())) {}

  std::shared_ptr<vix::IBuffer> Convert(const vix::IBuffer& choice) {
    std::int64_t place = kBlack;
    std::memcpy(&place, choice.GetData(), sizeof place);
    auto packed = pool_.MakeFrame(format_.FrameBytes());
    if (place == kBlack) {
      FillBlack(*packed);
    } else {
      auto room = idle_.Take([this] {
        return std::make_unique<Room>(header_, picture_, format_, files_.front().path);
      });
      ReadFile(files_[static_cast<std::size_t>(place)], *room);
      room->converter.Convert(*room->picture, packed->GetData());
      idle_.GiveBack(std::move(room));
    }
    return packed;
  }

 private:
  // Memory of one thread, reused for its next picture.
  struct Room {
    Room(const ImageHeader& header, AVPixelFormat pixels, const StreamFormat& target,
         const std::string& name)
        : samples(CountSamples(header, pixels)),
          picture(MakePicture(pixels, SizeOf(header))),
          converter({.format = target}, name) {}

    // The module, the picture and the converter have them once more.
    static std::size_t CountSamples(const ImageHeader& header, AVPixelFormat pixels) {
      const std::size_t samples = CountChannels(pixels) * header.width * header.height;
      CheckMemory("an image of " + DescribeSize(header.width, header.height) + " and its copies",
                  3 * sizeof(std::uint16_t) * samples);
      return samples;
    }

    std::vector<std::uint16_t> samples;
    std::vector<std::uint8_t> file;
    Picture picture;
    PictureConverter converter;
  };

  void ReadFile(const NumberedFile& file, Room& room) const {
    const bool mayBeUsual = picture_ == AV_PIX_FMT_GBRP10 && header_.orientation == 1 &&
                            ToLower(file.path).ends_with(".dpx");
    if (mayBeUsual && ReadUsualDpx(file.path, header_, room.file, *room.picture)) return;
    const PictureSize size = SizeOf(header_);
    const ImagePixels pixels{size.width, size.height, static_cast<int>(CountChannels(picture_)),
                             HasBytes(picture_) ? 8 : 16, room.samples.data()};
    try {
      LoadImageModule().Read(file.path, header_, transform_.get(), pixels);
    } catch (const std::runtime_error& error) {
      throw FrameFailure(file.path, file.number, error.what(),
                         "replace it, or choose --on-error skip or conceal");
    }
    CopyRows(room.samples, *room.picture);
  }

  // Fills a picture of limited range. With alpha it is transparent: a missing frame of a keyed
  // element covers nothing.
  void FillBlack(vix::IBuffer& packed) const {
    using Words = std::array<std::uint32_t, 2>;
    constexpr Words kV210{512 | 64U << 10U | 512U << 20U, 64 | 512U << 10U | 64U << 20U};
    const Words y416{(format_.HasAlpha() ? 0U : 0xFFFFU) | 4096U << 16U, 32768 | 32768U << 16U};
    const Words& words = format_.code == vix::kFourCC_V210 ? kV210 : y416;
    for (std::size_t i = 0; i + sizeof words <= packed.GetSize(); i += sizeof words) {
      std::memcpy(packed.GetData() + i, words.data(), sizeof words);
    }
  }

  std::vector<NumberedFile> files_;
  ImageHeader header_;
  StreamFormat format_;
  std::shared_ptr<const ColourTransform> transform_;
  AVPixelFormat picture_;
  FramePool pool_;
  IdleObjects<Room> idle_;
};

SequenceReader::SequenceReader(ImageFiles images, const SequenceReading& reading)
    : images_(std::move(images)), missing_(reading.missing) {
  ImageHeader header = ReadFirstHeader(images_);
  if (!reading.turns) header.orientation = 1;
  header.isPremultiplied = reading.isPremultiplied.value_or(header.isPremultiplied);
  if (header.light == ImageLight::Linear && !reading.colours && !reading.takesLinear)
    RefuseLinear(images_.name);
  const auto transform = reading.colours ? MakeColourTransform(*reading.colours) : nullptr;
  Colour& colour = description_.format.colour;
  colour.primaries = header.primaries;
  colour.transfer = header.transfer;
  if (transform) colour = LabelsOf(*reading.colours, *transform);
  Describe(header, reading);
  AddNotes(header, transform != nullptr);
  conversion_ = std::make_shared<Conversion>(images_.files, header, GetFormat(), transform);
}

void SequenceReader::Describe(const ImageHeader& header, const SequenceReading& reading) {
  description_.name = images_.name;
  StreamFormat& format = description_.format;
  format.code = reading.isDeep ? vix::kFourCC_Y416 : vix::kFourCC_V210;
  format.is444 = reading.isDeep;
  if (reading.isDeep && reading.keepsAlpha && header.hasAlpha) {
    format.alphaBits = header.bits > 8 ? 16 : 8;
  }
  const PictureSize size = SizeOf(header);
  format.width = size.width;
  format.height = size.height;
  const auto rate = reading.rate ? reading.rate : FindRate(header.rate);
  if (!rate && reading.needsRate) {
    throw Failure(images_.name +
                  ": the files state no frame rate; set it with --rate, for example --rate 24");
  }
  if (rate) format.rate = *rate;
  format.sampleAspect = FindAspect(header.pixelAspect);
  if (reading.scale) Scale(*reading.scale, format);
  format.fieldOrder = FieldOrder::Progressive;
  const int stated = reading.matrix != kUnspecifiedColour ? reading.matrix : format.colour.matrix;
  format.colour.matrix = RgbMatrixFor(stated, format.height).coded;
  format.colour.range = ColourRange::Limited;
  description_.stored = DescribeStored(header);
  if (header.channels >= 3) description_.finer = "RGB in " + std::to_string(header.bits) + " bits";
  description_.isRgb = header.channels >= 3;
  description_.losesAlpha = header.hasAlpha && !format.HasAlpha();
  description_.isSequence = true;
  description_.firstNumber = images_.files.front().number;
  description_.frames = images_.files.back().number - description_.firstNumber + 1;
  description_.missingFiles =
      FindMissingNumbers(images_, {description_.firstNumber, images_.files.back().number});
  if (header.timecode && rate) {
    description_.timecode = Timecode::Find(TimecodeText(*header.timecode), *rate);
  }
  if (!header.reel.empty()) description_.metadata["reel_name"] = header.reel;
  if (!header.creationTime.empty()) description_.metadata["creation_time"] = header.creationTime;
}

void SequenceReader::AddNotes(const ImageHeader& header, bool isConverted) {
  auto& notes = description_.notes;
  if (header.light == ImageLight::Log && !isConverted) {
    notes.push_back(images_.name +
                    ": logarithmic pictures are encoded as they are; --input-color and "
                    "--output-color convert them");
  }
  if (header.isPremultiplied && GetFormat().HasAlpha()) {
    notes.push_back(DescribeDivision(images_.name));
  }
  if (header.orientation != 1) notes.push_back(DescribeTurn(images_.name));
}

void SequenceReader::CheckRange(const FrameRange& range) const {
  const std::int64_t first = description_.firstNumber;
  const FrameRange numbers{first + range.first,
                           first + std::min(range.last, *description_.frames - 1)};
  const auto missing = FindMissingNumbers(images_, numbers);
  if (missing.empty()) return;
  if (missing_ == MissingFiles::Fail) {
    throw Failure(GetName() + ": no files with the numbers " + DescribeNumbers(missing) +
                  "; --missing hold repeats the picture before, --missing black fills them");
  }
  StandInLimit limit;
  for (std::size_t i = 0; i < images_.files.size(); ++i) limit.CountFrame();
  for (const FrameRange& gap : missing) {
    if (limit.Take(gap.last - gap.first + 1)) continue;
    throw Failure(GetName() + ": too many missing files to fill (" + DescribeNumbers(missing) +
                  "); choose a part with --frames");
  }
}

bool SequenceReader::SkipTo(std::int64_t frame) {
  framesRead_ = frame;
  return true;
}

std::optional<NumberedFrame> SequenceReader::Read() {
  if (framesRead_ >= *description_.frames) return std::nullopt;
  NumberedFrame frame;
  frame.number = framesRead_++;
  const std::int64_t number = description_.firstNumber + frame.number;
  // The last file up to that number.
  const auto next = std::ranges::upper_bound(images_.files, number, {}, &NumberedFile::number);
  std::int64_t place = next - images_.files.begin() - 1;
  const bool isMissing = std::prev(next)->number != number;
  if (isMissing && missing_ == MissingFiles::Fail) {
    throw FrameFailure(GetName(), frame.number,
                       "has no file: number " + std::to_string(number) + " is missing",
                       "--missing hold or black fills it");
  }
  if (isMissing) NoteFilled(number);
  if (isMissing && missing_ == MissingFiles::Black) place = kBlack;
  frame.data = pool_.MakeFrame(sizeof place);
  std::memcpy(frame.data->GetData(), &place, sizeof place);
  return frame;
}

void SequenceReader::NoteFilled(std::int64_t number) {
  if (filled_.empty() || filled_.back().last + 1 != number) filled_.push_back({number, number});
  filled_.back().last = number;
}

std::string SequenceReader::GetEndNote() const {
  if (filled_.empty()) return {};
  return std::string(missing_ == MissingFiles::Black ? "black pictures stand"
                                                     : "the pictures before them stand") +
         " for missing files with the numbers " + DescribeNumbers(filled_);
}

FrameConversion SequenceReader::GetConversion() const {
  return [conversion = conversion_](const std::shared_ptr<vix::IBuffer>& choice) {
    return ConvertedFrame{conversion->Convert(*choice)};
  };
}

}  // namespace vixprores
