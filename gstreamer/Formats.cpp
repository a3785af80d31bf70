// SPDX-License-Identifier: BSD-2-Clause
#include "Formats.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "Handles.h"
#include "vix/RgbMatrix.h"

namespace vixgst {
namespace {

using Config = vix::IParametersCollectionInstance;

template <vix::ProResCodecVariant value>
void Choose422(Config& config) {
  config.SetProResCodecVariant("ProResCodecVariant", value);
}

template <vix::FourCC value>
void Choose4444(Config& config) {
  config.SetFourCC("Variant", value);
}

constexpr Variant kVariantTable[] = {
    {"proxy", "ProRes 422 Proxy", Implementation::For422,
     Choose422<vix::ProResCodecVariant::Proxy>},
    {"lt", "ProRes 422 LT", Implementation::For422, Choose422<vix::ProResCodecVariant::LT>},
    {"standard", "ProRes 422", Implementation::For422,
     Choose422<vix::ProResCodecVariant::Standard>},
    {"hq", "ProRes 422 HQ", Implementation::For422, Choose422<vix::ProResCodecVariant::HQ>},
    {"4444", "ProRes 4444", Implementation::For4444, Choose4444<vix::MakeFourCC("ap4h")>},
    {"4444xq", "ProRes 4444 XQ", Implementation::For4444, Choose4444<vix::MakeFourCC("ap4x")>},
};
static_assert(std::size(kVariantTable) == kVariants);

// AYUV64 has the byte order of the processor, Y416 is little-endian.
static_assert(G_BYTE_ORDER == G_LITTLE_ENDIAN);
constexpr RawFormat kRawFormats[] = {
    {GST_VIDEO_FORMAT_v210, vix::kFourCC_V210, "v210", Implementation::For422},
    {GST_VIDEO_FORMAT_UYVY, vix::kFourCC_UYVY, "UYVY", Implementation::For422},
    {GST_VIDEO_FORMAT_AYUV64, vix::kFourCC_Y416, "AYUV64", Implementation::For4444},
    {GST_VIDEO_FORMAT_ARGB64_BE, vix::kFourCC_b64A, "ARGB64_BE", Implementation::For4444},
};

// Names a variant.
constexpr const char* kVariantField = "variant";
constexpr const char* kVariantFieldOfMatroska = "format";  // of matroskademux 1.22

constexpr const char* kRawType = "video/x-raw";
constexpr const char* kProResType = "video/x-prores";

// Values of the host's numbered stream properties.
constexpr std::int32_t kPacked422 = 2;  // sample structure
constexpr std::int32_t kPacked4444 = 4;
constexpr std::int32_t kStoredAsFrames = 1;  // picture structure

template <typename Entries>
const auto* FindOrNull(const Entries& entries, const auto& value, auto member) {
  const auto* const found = std::ranges::find(entries, value, member);
  return found == std::end(entries) ? nullptr : found;
}

// Sets a field of caps to the names of the entries that are offered.
void SetNames(GstCaps* caps, const char* field, const auto& entries, const IsOffered& isOffered) {
  GValue list = G_VALUE_INIT;
  g_value_init(&list, GST_TYPE_LIST);
  for (const auto& entry : entries) {
    if (!isOffered(entry.implementation)) continue;
    GValue text = G_VALUE_INIT;
    g_value_init(&text, G_TYPE_STRING);
    g_value_set_static_string(&text, entry.name);
    gst_value_list_append_and_take_value(&list, &text);
  }
  gst_caps_set_value(caps, field, &list);
  g_value_unset(&list);
}

GstCaps* MakeProResCaps(const char* field, const IsOffered& isOffered) {
  GstCaps* const caps = gst_caps_new_empty_simple(kProResType);
  SetNames(caps, field, kVariantTable, isOffered);
  return caps;
}

bool AcceptsField(const GstCaps* allowed, const char* type, const char* field, const char* name) {
  if (allowed == nullptr) return true;
  const Ref<GstCaps> wanted(gst_caps_new_simple(type, field, G_TYPE_STRING, name, nullptr));
  return gst_caps_can_intersect(allowed, wanted.get()) != FALSE;
}

std::shared_ptr<const vix::IInfoContainer> Describe(
    const std::shared_ptr<vix::IVideoParameters>& parameters, std::uint32_t width,
    std::uint32_t height, const vix::ProResLabels& labels, bool isInterlaced,
    vix::VideoChroma chroma, std::int32_t structure = kPacked422) {
  parameters->SetVideoProperty1(static_cast<std::int32_t>(chroma));
  parameters->SetVideoProperty2(labels.primaries);
  parameters->SetVideoProperty3(labels.transfer);
  parameters->SetVideoProperty4(labels.matrix);
  parameters->SetVideoProperty6(structure);
  parameters->SetVideoProperty11(kStoredAsFrames);
  parameters->SetScanMode(isInterlaced ? vix::ScanMode::Interlaced : vix::ScanMode::Progressive);
  parameters->SetStoredWidth(width);
  parameters->SetStoredHeight(height);
  parameters->SetWidth(width);
  parameters->SetHeight(height);
  parameters->SetEditRate(labels.frameRate);
  return vix::CreateInfoContainer(
      vix::CreateVideoInfo(parameters, vix::CreateChannelInfo(nullptr, 0), {}, {}), nullptr);
}

vix::FieldOrder FieldOrderOf(const GstVideoInfo& info, GstBuffer* picture) {
  switch (GST_VIDEO_INFO_FIELD_ORDER(&info)) {
    case GST_VIDEO_FIELD_ORDER_TOP_FIELD_FIRST:
      return vix::FieldOrder::TopFirst;
    case GST_VIDEO_FIELD_ORDER_BOTTOM_FIELD_FIRST:
      return vix::FieldOrder::BottomFirst;
    default:
      return GST_BUFFER_FLAG_IS_SET(picture, GST_VIDEO_BUFFER_FLAG_TFF)
                 ? vix::FieldOrder::TopFirst
                 : vix::FieldOrder::BottomFirst;
  }
}

// Returns the code of a transfer function. BT.601, BT.709 and BT.2020 have the same curve, for
// which frame headers have the one code.
std::int32_t TransferOf(GstVideoTransferFunction transfer) {
  switch (transfer) {
    case GST_VIDEO_TRANSFER_BT601:
    case GST_VIDEO_TRANSFER_BT2020_10:
    case GST_VIDEO_TRANSFER_BT2020_12:
      transfer = GST_VIDEO_TRANSFER_BT709;
      break;
    default:
      break;
  }
  return static_cast<std::int32_t>(gst_video_transfer_function_to_iso(transfer));
}

// Returns the matrix of the coded frames of RGB.
GstVideoColorMatrix CodedMatrixOf(const GstCaps* caps) {
  // GstVideoInfo replaces the stated matrix of RGB formats.
  const char* const text = gst_structure_get_string(gst_caps_get_structure(caps, 0), "colorimetry");
  GstVideoColorimetry stated{};
  if (text == nullptr || !gst_video_colorimetry_from_string(&stated, text)) {
    return GST_VIDEO_COLOR_MATRIX_BT709;
  }
  const auto code = static_cast<std::int32_t>(gst_video_color_matrix_to_iso(stated.matrix));
  return gst_video_color_matrix_from_iso(static_cast<guint>(vix::ChooseRgbMatrix(code).coded));
}

// Returns the labels without field order.
vix::ProResLabels LabelsOf(const GstVideoInfo& info) {
  const GstVideoColorimetry& colour = info.colorimetry;
  return {static_cast<std::int32_t>(gst_video_color_primaries_to_iso(colour.primaries)),
          TransferOf(colour.transfer),
          static_cast<std::int32_t>(gst_video_color_matrix_to_iso(colour.matrix)),
          {info.fps_n, info.fps_d},
          {info.par_n, info.par_d}};
}

void SetFieldOrder(const vix::ProResLabels& labels, GstVideoInfo& info) {
  if (!labels.fieldOrder) return;
  GST_VIDEO_INFO_FIELD_ORDER(&info) = *labels.fieldOrder == vix::FieldOrder::TopFirst
                                          ? GST_VIDEO_FIELD_ORDER_TOP_FIELD_FIRST
                                          : GST_VIDEO_FIELD_ORDER_BOTTOM_FIELD_FIRST;
}

constexpr std::int32_t kUnspecified = 2;

void SetColorimetry(const vix::ProResLabels& labels, GstVideoInfo& info) {
  if (labels.primaries == kUnspecified && labels.transfer == kUnspecified &&
      labels.matrix == kUnspecified) {
    return;
  }
  info.colorimetry.range = GST_VIDEO_COLOR_RANGE_16_235;
  info.colorimetry.primaries =
      gst_video_color_primaries_from_iso(static_cast<guint>(labels.primaries));
  info.colorimetry.transfer =
      gst_video_transfer_function_from_iso(static_cast<guint>(labels.transfer));
  info.colorimetry.matrix = gst_video_color_matrix_from_iso(static_cast<guint>(labels.matrix));
}

void SetPixelAspect(const vix::ProResLabels& labels, GstVideoInfo& info) {
  if (labels.pixelAspect.numerator == 0) return;
  info.par_n = labels.pixelAspect.numerator;
  info.par_d = labels.pixelAspect.denominator;
}

void SetFrameRate(const vix::ProResLabels& labels, GstVideoInfo& info) {
  info.fps_n = labels.frameRate.numerator;
  info.fps_d = labels.frameRate.denominator;
}

// What a field of caps states in the terms of frame headers.
struct Completion {
  const char* field;
  void (*set)(const vix::ProResLabels& labels, GstVideoInfo& info);
};

constexpr Completion kCompletions[] = {
    {"field-order", SetFieldOrder},
    {"colorimetry", SetColorimetry},
    {"pixel-aspect-ratio", SetPixelAspect},
    {"framerate", SetFrameRate},
};

}  // namespace

std::span<const Variant, kVariants> Variants() {
  return kVariantTable;
}

const Variant& UsualVariant(Implementation implementation) {
  const std::string_view name = implementation == Implementation::For4444 ? "4444" : "standard";
  return *std::ranges::find(kVariantTable, name, &Variant::name);
}

std::span<const RawFormat> RawFormats() {
  return kRawFormats;
}

const RawFormat* FindRawFormat(GstVideoFormat format) {
  return FindOrNull(kRawFormats, format, &RawFormat::format);
}

bool Accepts(const GstCaps* allowed, const Variant& variant) {
  return AcceptsField(allowed, kProResType, kVariantField, variant.name);
}

bool Accepts(const GstCaps* allowed, const RawFormat& format) {
  return AcceptsField(allowed, kRawType, "format", format.name);
}

bool States(const GstCaps* caps, const char* field) {
  return gst_structure_has_field(gst_caps_get_structure(caps, 0), field) != FALSE;
}

GstCaps* MakeRawCaps(int leastSide, const IsOffered& isOffered) {
  constexpr int kMostSide = 65535;
  GstCaps* const caps = gst_caps_new_simple(
      kRawType, "width", GST_TYPE_INT_RANGE, leastSide, kMostSide, "height", GST_TYPE_INT_RANGE,
      leastSide, kMostSide, "framerate", GST_TYPE_FRACTION_RANGE, 0, 1, G_MAXINT, 1, nullptr);
  SetNames(caps, "format", kRawFormats, isOffered);
  return caps;
}

GstCaps* MakeEncodedCaps() {
  return MakeProResCaps(kVariantField, OffersAll);
}

GstCaps* MakeDecodableCaps(const IsOffered& isOffered) {
  GstCaps* const caps = MakeProResCaps(kVariantField, isOffered);
  gst_caps_append(caps, MakeProResCaps(kVariantFieldOfMatroska, isOffered));
  return caps;
}

GstVideoInfo CodedInfo(const GstVideoCodecState& state) {
  GstVideoInfo info = state.info;
  if (GST_VIDEO_INFO_IS_RGB(&info)) {
    info.colorimetry.matrix = CodedMatrixOf(state.caps);
    info.colorimetry.range = GST_VIDEO_COLOR_RANGE_16_235;
  }
  return info;
}

vix::ProResLabels LabelsOf(const GstVideoInfo& info, GstBuffer* picture) {
  vix::ProResLabels labels = LabelsOf(info);
  if (GST_VIDEO_INFO_IS_INTERLACED(&info)) labels.fieldOrder = FieldOrderOf(info, picture);
  return labels;
}

std::shared_ptr<const vix::IInfoContainer> DescribeRaw(const GstVideoInfo& info) {
  const RawFormat& format = *FindRawFormat(GST_VIDEO_INFO_FORMAT(&info));
  const bool is4444 = format.implementation == Implementation::For4444;
  const auto raw = vix::CreateVideoParameters<vix::VCodecFamily::Raw>();
  raw->SetFourCC(format.fourcc);
  return Describe(
      raw, static_cast<std::uint32_t>(info.width), static_cast<std::uint32_t>(info.height),
      LabelsOf(info), GST_VIDEO_INFO_IS_INTERLACED(&info),
      is4444 ? vix::VideoChroma::C4444 : vix::VideoChroma::C422, is4444 ? kPacked4444 : kPacked422);
}

std::shared_ptr<const vix::IInfoContainer> DescribeProRes(const vix::ProResFrameHeader& header) {
  // Decoders do not depend on the variant, which headers do not state.
  const auto compressed = vix::CreateVideoParameters<vix::VCodecFamily::ProRes>();
  compressed->SetProResCodecVariant(vix::ProResCodecVariant::Standard);
  return Describe(compressed, header.width, header.height, header.labels,
                  header.labels.fieldOrder.has_value(), header.chroma);
}

void CompleteMatrix(const GstVideoCodecState& stream, vix::ProResLabels& labels) {
  const bool isSpecified = labels.matrix != 0 && labels.matrix != kUnspecified;
  if (isSpecified || !States(stream.caps, "colorimetry")) return;
  labels.matrix = LabelsOf(stream.info).matrix;
}

void CompleteInfo(const GstCaps* caps, const vix::ProResLabels& labels, GstVideoInfo& info) {
  for (const auto& [field, set] : kCompletions) {
    if (!States(caps, field)) set(labels, info);
  }
  if (GST_VIDEO_INFO_IS_RGB(&info)) {
    info.colorimetry.matrix = GST_VIDEO_COLOR_MATRIX_RGB;
    info.colorimetry.range = GST_VIDEO_COLOR_RANGE_0_255;
  }
}

GstVideoInterlaceMode InterlaceModeOf(const GstCaps* caps, const GstVideoInfo& stated,
                                      const vix::ProResLabels& labels) {
  if (States(caps, "interlace-mode")) return GST_VIDEO_INFO_INTERLACE_MODE(&stated);
  return labels.fieldOrder ? GST_VIDEO_INTERLACE_MODE_INTERLEAVED
                           : GST_VIDEO_INTERLACE_MODE_PROGRESSIVE;
}

GstClockTime TimeOfFrames(std::size_t frames, const GstVideoInfo& info) {
  constexpr int kUsualRate = 25;
  const bool isKnown = info.fps_n > 0 && info.fps_d > 0;
  return gst_util_uint64_scale(frames, GST_SECOND * static_cast<guint64>(isKnown ? info.fps_d : 1),
                               static_cast<guint64>(isKnown ? info.fps_n : kUsualRate));
}

}  // namespace vixgst
