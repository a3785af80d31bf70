// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/PictureConverter.h"

#include <algorithm>
#include <array>
#include <exception>
#include <new>
#include <span>
#include <utility>
#include <zimg++.hpp>

#include "base/Errors.h"
#include "media/decode/AlphaScaler.h"
#include "media/decode/PictureRows.h"
#include "media/decode/RowCallbacks.h"
#include "vix/PixelConversion.h"

namespace vixprores {
namespace {

constexpr std::size_t kPlanes = RowRing::kPlanes;
constexpr std::ptrdiff_t kAlignment = 32;  // that libzimg requires without AVX-512

zimg_chroma_location_e SitingOf(const PictureKind& kind) {
  switch (ChromaSitingOf(kind)) {
    case AVCHROMA_LOC_CENTER:
      return ZIMG_CHROMA_CENTER;
    case AVCHROMA_LOC_TOPLEFT:
      return ZIMG_CHROMA_TOP_LEFT;
    case AVCHROMA_LOC_TOP:
      return ZIMG_CHROMA_TOP;
    case AVCHROMA_LOC_BOTTOMLEFT:
      return ZIMG_CHROMA_BOTTOM_LEFT;
    case AVCHROMA_LOC_BOTTOM:
      return ZIMG_CHROMA_BOTTOM;
    default:
      return ZIMG_CHROMA_LEFT;
  }
}

void DescribeColour(const Colour& colour, zimgxx::zimage_format& format) {
  format.color_primaries = static_cast<zimg_color_primaries_e>(colour.primaries);
  format.transfer_characteristics = static_cast<zimg_transfer_characteristics_e>(colour.transfer);
  format.matrix_coefficients = static_cast<zimg_matrix_coefficients_e>(colour.matrix);
  const bool isFull = colour.range == ColourRange::Full;
  format.pixel_range = isFull ? ZIMG_RANGE_FULL : ZIMG_RANGE_LIMITED;
}

unsigned RoundUpTo(unsigned value, unsigned multiple) {
  return (value + multiple - 1) / multiple * multiple;
}

}  // namespace

/// Converts pictures of one kind.
class PictureConverter::Conversion {
 public:
  Conversion(const PictureTarget& target, const PictureKind& kind, const std::string& inputName);

  const PictureKind& GetKind() const { return kind_; }
  /// Returns true if the colours of transparent pixels bleed into others.
  bool MixesTransparent(const AVFrame& picture) const;
  void Run(const AVFrame& picture, std::uint8_t* packed);

 private:
  /// The conversion of all lines, or of those of one field.
  struct Part {
    Channels channels;
    Lines lines;
    zimgxx::FilterGraph graph;
    RowRing read, written;
    std::vector<AlignedBytes> scratch;
  };

  bool ConvertsFields() const;
  bool IsDeep() const { return target_.format.code != vix::kFourCC_V210; }
  bool ConvertsAlpha() const { return IsDeep() && target_.format.HasAlpha() && rows_.HasAlpha(); }
  bool IsScaled() const;
  Colour SourceColour() const;
  void AddParts(const Lines& lines);
  void AddPart(Channels channels, const Lines& lines);
  zimgxx::zimage_format DescribeAlpha(const Lines& lines) const;
  zimgxx::zimage_format DescribeColours(const Lines& lines) const;
  zimgxx::zimage_format DescribeTarget(const zimgxx::zimage_format& source,
                                       const Lines& lines) const;
  zimgxx::zfilter_graph_builder_params DescribeFilter(bool isField) const;
  std::optional<zimgxx::zimage_buffer_const> FindPlanes(const AVFrame& picture,
                                                        const Part& part) const;

  const PictureTarget& target_;
  PictureKind kind_;
  PictureRows rows_;
  int rgbMatrix_ = 0;                ///< of RGB, as a code point
  std::optional<RgbMatrix> matrix_;  ///< of RGB
  bool isPadded_ = false;
  bool isFull_;    ///< and is limited before libzimg
  unsigned bits_;  ///< that libzimg reads
  std::vector<Part> parts_;
  std::array<std::vector<std::uint16_t>, kPlanes> rgb_;
};

PictureConverter::Conversion::Conversion(const PictureTarget& target, const PictureKind& kind,
                                         const std::string& inputName)
    : target_(target),
      kind_(kind),
      rows_(kind.format, inputName),
      isFull_(!rows_.IsRgb() && kind.isFull && !target.colour),
      bits_(rows_.IsRgb() || isFull_ ? kWorkBits : rows_.GetDepth()) {
  if (rows_.IsRgb()) {
    const auto& matrix = RgbMatrixFor(target.format.colour.matrix, target.format.height);
    rgbMatrix_ = matrix.coded;
    matrix_.emplace(matrix);
    for (auto& row : rgb_) row.resize(static_cast<std::size_t>(kind.width));
  }
  try {
    if (ConvertsFields()) {
      AddParts({0, 2, ZIMG_FIELD_TOP});
      AddParts({1, 2, ZIMG_FIELD_BOTTOM});
    } else {
      AddParts({});
    }
  } catch (const zimgxx::zerror& error) {
    if (error.code == ZIMG_ERROR_OUT_OF_MEMORY) throw std::bad_alloc();
    throw Failure(inputName + ": pictures of type " + av_get_pix_fmt_name(kind.format) +
                  " cannot be converted: " + error.msg);
  }
}

// Without a change of the lines, the fields of a picture need no conversion of their own. libzimg
// knows no fields with chroma for more than two lines; such pictures are old and progressive.
bool PictureConverter::Conversion::ConvertsFields() const {
  const bool changesLines = static_cast<std::uint32_t>(kind_.height) != target_.format.height;
  return kind_.isInterlaced && target_.format.IsInterlaced() &&
         (changesLines || rows_.GetSubsampleH() > 0) && rows_.GetSubsampleH() <= 1 &&
         kind_.height > 1;
}

bool PictureConverter::Conversion::IsScaled() const {
  return static_cast<std::uint32_t>(kind_.width) != target_.format.width ||
         static_cast<std::uint32_t>(kind_.height) != target_.format.height;
}

bool PictureConverter::Conversion::MixesTransparent(const AVFrame& picture) const {
  return !target_.isWeighted && ConvertsAlpha() && IsScaled() && !rows_.IsOpaque(picture);
}

// What the picture does not state is that of its size.
Colour PictureConverter::Conversion::SourceColour() const {
  const int usual = UsualMatrix(static_cast<std::uint32_t>(kind_.height));
  const auto stated = [&](int code) { return code == kUnspecifiedColour ? usual : code; };
  Colour colour{stated(kind_.primaries), stated(kind_.transfer), stated(kind_.matrix),
                kind_.isFull && !rows_.IsRgb() ? ColourRange::Full : ColourRange::Limited};
  if (rows_.IsRgb()) colour.matrix = rgbMatrix_;
  return colour;
}

zimgxx::zimage_format PictureConverter::Conversion::DescribeAlpha(const Lines& lines) const {
  zimgxx::zimage_format alpha;
  alpha.width = RoundUpTo(static_cast<unsigned>(kind_.width), 2);
  alpha.height = static_cast<unsigned>(lines.Count(kind_.height));
  alpha.depth = kWorkBits;
  alpha.pixel_type = ZIMG_PIXEL_WORD;
  alpha.color_family = ZIMG_COLOR_GREY;
  alpha.field_parity = lines.parity;
  alpha.pixel_range = ZIMG_RANGE_FULL;
  return alpha;
}

zimgxx::zimage_format PictureConverter::Conversion::DescribeColours(const Lines& lines) const {
  const unsigned stepW = rows_.IsRgb() ? 1 : 1U << rows_.GetSubsampleW();
  const unsigned stepH = rows_.IsRgb() ? 1 : 1U << rows_.GetSubsampleH();
  zimgxx::zimage_format source;
  // The packed picture has an even width.
  source.width = RoundUpTo(static_cast<unsigned>(kind_.width), std::max(stepW, 2U));
  source.height = RoundUpTo(static_cast<unsigned>(lines.Count(kind_.height)), stepH);
  source.depth = bits_;
  source.pixel_type = rows_.IsPlanar() && bits_ <= 8 ? ZIMG_PIXEL_BYTE : ZIMG_PIXEL_WORD;
  source.color_family = ZIMG_COLOR_YUV;
  source.subsample_w = rows_.IsRgb() ? 0 : rows_.GetSubsampleW();
  source.subsample_h = rows_.IsRgb() ? 0 : rows_.GetSubsampleH();
  source.chroma_location = SitingOf(kind_);
  source.field_parity = lines.parity;
  source.pixel_range = ZIMG_RANGE_LIMITED;  // full range is limited before
  if (target_.colour) DescribeColour(SourceColour(), source);
  return source;
}

zimgxx::zimage_format PictureConverter::Conversion::DescribeTarget(
    const zimgxx::zimage_format& source, const Lines& lines) const {
  const StreamFormat& format = target_.format;
  zimgxx::zimage_format target = source;
  target.width = IsScaled() ? RoundUpTo(format.width, 2) : source.width;
  target.height = IsScaled() ? static_cast<unsigned>(lines.Count(static_cast<int>(format.height)))
                             : source.height;
  if (source.color_family == ZIMG_COLOR_GREY) return target;
  target.depth = kWorkBits;
  target.pixel_type = ZIMG_PIXEL_WORD;
  target.subsample_w = IsDeep() ? 0 : 1;
  target.subsample_h = 0;
  target.chroma_location = ZIMG_CHROMA_LEFT;
  if (target_.colour) DescribeColour(*target_.colour, target);
  return target;
}

zimgxx::zfilter_graph_builder_params PictureConverter::Conversion::DescribeFilter(
    bool isField) const {
  zimgxx::zfilter_graph_builder_params filter;
  filter.resample_filter = filter.resample_filter_uv = ZIMG_RESIZE_SPLINE36;
  if (isField && !target_.isWeighted) {
    // Better by up to 0.1 dB for the few lines of a field.
    filter.resample_filter_uv = ZIMG_RESIZE_LANCZOS;
    filter.filter_param_a_uv = 3;
  }
  filter.dither_type = ZIMG_DITHER_NONE;
  // Not with AVX-512, which scales to other results than all lower levels.
  filter.cpu_type =
      target_.cpuLevel != 0 ? static_cast<zimg_cpu_type_e>(target_.cpuLevel) : ZIMG_CPU_AUTO;
  if (target_.colour) {
    // Sums of fractions differ from level to level.
    filter.cpu_type = ZIMG_CPU_X86_SSE2;
    if (target_.peakLuminance > 0) filter.nominal_peak_luminance = target_.peakLuminance;
  }
  return filter;
}

// Alpha first: colours may have to be divided by it.
void PictureConverter::Conversion::AddParts(const Lines& lines) {
  if (ConvertsAlpha()) AddPart(Channels::Alpha, lines);
  AddPart(Channels::Colour, lines);
}

void PictureConverter::Conversion::AddPart(Channels channels, const Lines& lines) {
  auto source = channels == Channels::Alpha ? DescribeAlpha(lines) : DescribeColours(lines);
  const auto target = DescribeTarget(source, lines);
  const auto exactWidth = static_cast<unsigned>(kind_.width);
  const auto exactHeight = static_cast<unsigned>(lines.Count(kind_.height));
  isPadded_ |= source.width != exactWidth || source.height != exactHeight;
  const bool isScaled = target.width != source.width || target.height != source.height;
  if (isScaled) {
    // The padding stays outside; one that the target has comes from as far outside.
    source.active_region.width =
        static_cast<double>(exactWidth) * target.width / target_.format.width;
    source.active_region.height = exactHeight;
  }
  const auto filter = DescribeFilter(lines.parity != ZIMG_FIELD_PROGRESSIVE);
  auto graph = zimgxx::FilterGraph::build(source, target, &filter);
  RowRing read(std::size_t{2} * source.width, graph.get_input_buffering(), source.height);
  RowRing written(std::size_t{2} * target.width, graph.get_output_buffering(), target.height);
  auto scratch = AllocateAligned(graph.get_tmp_size());
  parts_.push_back(
      {channels, lines, std::move(graph), std::move(read), std::move(written), std::move(scratch)});
}

// Returns the planes if libzimg can read them where they are.
std::optional<zimgxx::zimage_buffer_const> PictureConverter::Conversion::FindPlanes(
    const AVFrame& picture, const Part& part) const {
  const Lines& lines = part.lines;
  if (part.channels == Channels::Alpha || !rows_.IsPlanar() || isPadded_ || isFull_) {
    return std::nullopt;
  }
  zimgxx::zimage_buffer_const planes;
  for (unsigned plane = 0; plane < kPlanes; ++plane) {
    const std::ptrdiff_t stride = picture.linesize[plane];
    planes.data(plane) = picture.data[plane] + lines.first * stride;
    planes.stride(plane) = lines.step * stride;
    planes.mask(plane) = ZIMG_BUFFER_MAX;
    const auto address = reinterpret_cast<std::uintptr_t>(planes.data(plane));
    if (address % kAlignment != 0 || stride % kAlignment != 0) return std::nullopt;
  }
  return planes;
}

void PictureConverter::Conversion::Run(const AVFrame& picture, std::uint8_t* packed) {
  const StreamFormat& format = target_.format;
  const std::size_t stride = format.FrameBytes() / format.height;
  if (IsDeep() && !ConvertsAlpha()) std::fill_n(packed, format.FrameBytes(), std::uint8_t{0xFF});
  for (Part& part : parts_) {
    PackedRows output{format,           part.channels, target_.isPremultiplied && ConvertsAlpha(),
                      packed,           stride,        part.lines,
                      rows_.GetDepth(), part.written};
    SourceRows input{picture,    rows_, part.channels, matrix_, isFull_,
                     part.lines, 0,     part.read,     rgb_};
    input.width = RoundUpTo(static_cast<unsigned>(kind_.width),
                            std::max(rows_.IsRgb() ? 1U : 1U << rows_.GetSubsampleW(), 2U));
    const auto planes = FindPlanes(picture, part);
    try {
      part.graph.process(planes ? *planes : part.read.Get().as_const(), part.written.Get(),
                         part.scratch.data(), planes ? nullptr : SourceRows::Read, &input,
                         PackedRows::Write, &output);
    } catch (const zimgxx::zerror&) {
      if (output.failure) std::rethrow_exception(output.failure);
      throw;
    }
  }
}

PictureConverter::PictureConverter(const PictureTarget& target, std::string inputName)
    : target_(target), inputName_(std::move(inputName)) {}
PictureConverter::~PictureConverter() = default;

void PictureConverter::Convert(const AVFrame& picture, std::uint8_t* packed) {
  const PictureKind kind = KindOf(picture);
  if (!conversion_ || conversion_->GetKind() != kind) {
    conversion_ = std::make_unique<Conversion>(target_, kind, inputName_);
  }
  try {
    conversion_->Run(picture, packed);
  } catch (const zimgxx::zerror& error) {
    if (error.code == ZIMG_ERROR_OUT_OF_MEMORY) throw std::bad_alloc();
    throw Failure(inputName_ + ": a picture cannot be converted: " + error.msg);
  }
  if (!conversion_->MixesTransparent(picture)) return;
  if (!alphaScaler_) alphaScaler_ = std::make_unique<AlphaScaler>(target_, inputName_);
  alphaScaler_->Recolour(picture, packed);
}

std::shared_ptr<vix::IBuffer> PictureConverters::Convert(const AVFrame& picture) {
  auto converter =
      idle_.Take([this] { return std::make_unique<PictureConverter>(target_, inputName_); });
  auto packed = pool_.MakeFrame(target_.format.FrameBytes());
  converter->Convert(picture, packed->GetData());
  idle_.GiveBack(std::move(converter));
  return packed;
}

}  // namespace vixprores
