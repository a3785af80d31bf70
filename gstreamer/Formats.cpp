// SPDX-License-Identifier: BSD-2-Clause
#include "Formats.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace vixgst {
namespace {

using VixVariant = vix::ProResCodecVariant;

constexpr Variant kVariantTable[] = {
    {"proxy", VixVariant::Proxy, "ProRes 422 Proxy"},
    {"lt", VixVariant::LT, "ProRes 422 LT"},
    {"standard", VixVariant::Standard, "ProRes 422"},
    {"hq", VixVariant::HQ, "ProRes 422 HQ"},
};

constexpr RawFormat kRawFormats[] = {
    {GST_VIDEO_FORMAT_v210, vix::kFourCC_V210, "v210"},
    {GST_VIDEO_FORMAT_UYVY, vix::kFourCC_UYVY, "UYVY"},
};

// Values of the host's numbered stream properties.
constexpr std::int32_t kPacked422 = 2;       // sample structure
constexpr std::int32_t kStoredAsFrames = 1;  // picture structure

template <typename Entries>
const auto* FindOrNull(const Entries& entries, const auto& value, auto member) {
  const auto* const found = std::ranges::find(entries, value, member);
  return found == std::end(entries) ? nullptr : found;
}

void AppendTexts(GValue& list, const auto& entries) {
  g_value_init(&list, GST_TYPE_LIST);
  for (const auto& entry : entries) {
    GValue text = G_VALUE_INIT;
    g_value_init(&text, G_TYPE_STRING);
    g_value_set_static_string(&text, entry.name);
    gst_value_list_append_and_take_value(&list, &text);
  }
}

std::shared_ptr<const vix::IInfoContainer> Describe(
    const std::shared_ptr<vix::IVideoParameters>& parameters, std::uint32_t width,
    std::uint32_t height, const vix::ProResLabels& labels, bool isInterlaced,
    vix::VideoChroma chroma) {
  parameters->SetVideoProperty1(static_cast<std::int32_t>(chroma));
  parameters->SetVideoProperty2(labels.primaries);
  parameters->SetVideoProperty3(labels.transfer);
  parameters->SetVideoProperty4(labels.matrix);
  parameters->SetVideoProperty6(kPacked422);
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

void SetColorimetry(const vix::ProResLabels& labels, GstVideoInfo& info) {
  constexpr std::int32_t kUnspecified = 2;
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

const Variant* FindVariant(const char* name) {
  const auto* const found = std::ranges::find_if(kVariantTable, [name](const Variant& variant) {
    return name != nullptr && std::string_view(variant.name) == name;
  });
  return found == std::end(kVariantTable) ? nullptr : found;
}

std::span<const RawFormat> RawFormats() {
  return kRawFormats;
}

const RawFormat* FindRawFormat(GstVideoFormat format) {
  return FindOrNull(kRawFormats, format, &RawFormat::format);
}

bool States(const GstCaps* caps, const char* field) {
  return gst_structure_has_field(gst_caps_get_structure(caps, 0), field) != FALSE;
}

GstCaps* MakeRawCaps(int leastSide) {
  constexpr int kMostSide = 65535;
  GstCaps* const caps =
      gst_caps_new_simple("video/x-raw", "width", GST_TYPE_INT_RANGE, leastSide, kMostSide,
                          "height", GST_TYPE_INT_RANGE, leastSide, kMostSide, "framerate",
                          GST_TYPE_FRACTION_RANGE, 0, 1, G_MAXINT, 1, nullptr);
  GValue formats = G_VALUE_INIT;
  AppendTexts(formats, kRawFormats);
  gst_caps_set_value(caps, "format", &formats);
  g_value_unset(&formats);
  return caps;
}

GstCaps* MakeProResCaps(const char* field) {
  GstCaps* const caps = gst_caps_new_empty_simple("video/x-prores");
  GValue variants = G_VALUE_INIT;
  AppendTexts(variants, kVariantTable);
  gst_caps_set_value(caps, field, &variants);
  g_value_unset(&variants);
  return caps;
}

vix::ProResLabels LabelsOf(const GstVideoInfo& info, GstBuffer* picture) {
  vix::ProResLabels labels = LabelsOf(info);
  if (GST_VIDEO_INFO_IS_INTERLACED(&info)) labels.fieldOrder = FieldOrderOf(info, picture);
  return labels;
}

std::shared_ptr<const vix::IInfoContainer> DescribeRaw(const GstVideoInfo& info) {
  const auto raw = vix::CreateVideoParameters<vix::VCodecFamily::Raw>();
  raw->SetFourCC(FindRawFormat(GST_VIDEO_INFO_FORMAT(&info))->fourcc);
  return Describe(raw, static_cast<std::uint32_t>(info.width),
                  static_cast<std::uint32_t>(info.height), LabelsOf(info),
                  GST_VIDEO_INFO_IS_INTERLACED(&info), vix::VideoChroma::C422);
}

std::shared_ptr<const vix::IInfoContainer> DescribeProRes(const vix::ProResFrameHeader& header) {
  // Decoders do not depend on the variant, which headers do not state.
  const auto compressed = vix::CreateVideoParameters<vix::VCodecFamily::ProRes>();
  compressed->SetProResCodecVariant(vix::ProResCodecVariant::Standard);
  return Describe(compressed, header.width, header.height, header.labels,
                  header.labels.fieldOrder.has_value(), header.chroma);
}

void CompleteInfo(const GstCaps* caps, const vix::ProResLabels& labels, GstVideoInfo& info) {
  for (const auto& [field, set] : kCompletions) {
    if (!States(caps, field)) set(labels, info);
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
