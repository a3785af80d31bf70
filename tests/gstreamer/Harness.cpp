// SPDX-License-Identifier: BSD-2-Clause
#include "Harness.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <stdexcept>

#include "Streams.h"

namespace vix::test {
namespace {

std::string CapsOfShape(const Shape& shape) {
  std::string text = ",width=" + std::to_string(shape.width) +
                     ",height=" + std::to_string(shape.height) +
                     ",framerate=" + std::to_string(shape.rate.numerator) + "/" +
                     std::to_string(shape.rate.denominator);
  const bool isInterlaced = shape.scanMode == ScanMode::Interlaced;
  return text + (isInterlaced ? ",interlace-mode=interleaved,field-order=top-field-first"
                              : ",interlace-mode=progressive");
}

GstBuffer* WithTime(GstBuffer* buffer, unsigned number) {
  GST_BUFFER_PTS(buffer) = GST_BUFFER_DTS(buffer) = number * kFrameTime;
  GST_BUFFER_DURATION(buffer) = kFrameTime;
  return buffer;
}

}  // namespace

BufferPointer Own(GstBuffer* buffer) {
  return buffer ? BufferPointer(buffer, gst_buffer_unref) : nullptr;
}

CapsPointer Own(GstCaps* caps) {
  return caps ? CapsPointer(caps, gst_caps_unref) : nullptr;
}

CapsPointer CapsOf(const std::string& text) {
  const CapsPointer caps = Own(gst_caps_from_string(text.c_str()));
  if (!caps) throw std::invalid_argument("not caps: " + text);
  return caps;
}

GstVideoFormat FormatOf(FourCC fourcc) {
  static const std::map<FourCC, GstVideoFormat> kFormats{
      {kFourCC_V210, GST_VIDEO_FORMAT_v210},
      {kFourCC_UYVY, GST_VIDEO_FORMAT_UYVY},
      {kFourCC_Y416, GST_VIDEO_FORMAT_AYUV64},
      {kFourCC_b64A, GST_VIDEO_FORMAT_ARGB64_BE}};
  return kFormats.at(fourcc);
}

std::string FieldOf(const CapsPointer& caps, const char* field) {
  const gchar* const text = gst_structure_get_string(gst_caps_get_structure(caps.get(), 0), field);
  return text ? text : "";
}

std::string RawCaps(const Shape& shape) {
  return std::string("video/x-raw,format=") + gst_video_format_to_string(FormatOf(shape.fourcc)) +
         CapsOfShape(shape);
}

std::string ProResCaps(const Shape& shape, const std::string& variant) {
  return "video/x-prores,variant=(string)" + variant + CapsOfShape(shape);
}

GstBuffer* MakeBuffer(const Bytes& bytes, unsigned number) {
  return WithTime(gst_buffer_new_memdup(bytes.data(), bytes.size()), number);
}

GstBuffer* MakeRawBuffer(const Shape& shape, unsigned number) {
  return MakeBuffer(DrawPicture(shape, number), number);
}

GstBuffer* MakePaddedBuffer(const Shape& shape, unsigned number, std::size_t padding) {
  return MakePaddedBuffer(shape, number, padding, DrawPicture(shape, number));
}

GstBuffer* MakePaddedBuffer(const Shape& shape, unsigned number, std::size_t padding,
                            const Bytes& picture) {
  const std::size_t packed = picture.size() / shape.height;
  const std::size_t stride = packed + padding;
  Bytes padded(stride * shape.height, 0xA5);
  for (std::size_t row = 0; row < shape.height; ++row) {
    std::memcpy(&padded[row * stride], &picture[row * packed], packed);
  }
  GstBuffer* const buffer = MakeBuffer(padded, number);
  gsize offsets[GST_VIDEO_MAX_PLANES] = {};
  gint strides[GST_VIDEO_MAX_PLANES] = {static_cast<gint>(stride)};
  gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, FormatOf(shape.fourcc),
                                 shape.width, shape.height, 1, offsets, strides);
  return buffer;
}

GstBuffer* MakeProResBuffer(const Shape& shape, unsigned number, ProResCodecVariant variant) {
  return MakeBuffer(EncodeDirectly(shape, number, variant), number);
}

Bytes BytesOf(const BufferPointer& buffer) {
  Bytes bytes(gst_buffer_get_size(buffer.get()));
  gst_buffer_extract(buffer.get(), 0, bytes.data(), bytes.size());
  return bytes;
}

Bytes WithoutLabels(Bytes frame) {
  constexpr std::size_t kLabels = 8 + 13;  // prefix, and header up to aspect and rate
  if (frame.size() > kLabels + 4) std::memset(&frame[kLabels], 0, 4);
  return frame;
}

void ExpectDecoded(const BufferPointer& buffer, const Shape& shape, unsigned number,
                   FourCC fourcc) {
  ASSERT_TRUE(buffer) << "no picture " << number;
  EXPECT_EQ(GST_BUFFER_PTS(buffer.get()), number * kFrameTime);
  const GstVideoMeta* const meta = gst_buffer_get_video_meta(buffer.get());
  GstVideoInfo info;
  gst_video_info_set_format(&info, FormatOf(fourcc), shape.width, shape.height);
  const auto stride =
      static_cast<std::uint32_t>(meta ? meta->stride[0] : GST_VIDEO_INFO_PLANE_STRIDE(&info, 0));
  const std::size_t offset = meta ? meta->offset[0] : 0;
  const Bytes bytes = BytesOf(buffer);
  ASSERT_GE(bytes.size(), offset + std::size_t{stride} * (shape.height - 1) +
                              static_cast<std::size_t>(GST_VIDEO_INFO_PLANE_STRIDE(&info, 0)));
  EXPECT_LE(MostDifference(shape, number, {fourcc, bytes.data() + offset, stride}),
            kMostCodingError)
      << "picture " << number;
}

Harness::Harness(const char* element, const std::string& properties) : bus_(gst_bus_new()) {
  GError* error = nullptr;
  GstElement* const made =
      gst_parse_launch((std::string(element) + " " + properties).c_str(), &error);
  if (error) {
    const std::string text = error->message;
    g_error_free(error);
    throw std::runtime_error(text);
  }
  gst_object_ref_sink(made);
  gst_element_set_bus(made, bus_);
  harness_ = gst_harness_new_with_element(made, "sink", "src");
  gst_object_unref(made);
}

Harness::~Harness() {
  gst_harness_teardown(harness_);
  gst_bus_set_flushing(bus_, TRUE);
  gst_object_unref(bus_);
}

void Harness::SetInput(const std::string& caps) {
  gst_harness_set_src_caps(harness_, gst_caps_copy(CapsOf(caps).get()));
}

void Harness::SetOutput(const std::string& caps) {
  gst_harness_set_sink_caps(harness_, gst_caps_copy(CapsOf(caps).get()));
}

std::vector<BufferPointer> Harness::Finish() {
  SendEvent(gst_event_new_eos());
  std::vector<BufferPointer> buffers;
  for (bool isEnd = false; !isEnd;) {
    GstEvent* const event = gst_harness_pull_event(harness_);
    if (!event) {
      ADD_FAILURE() << "the stream does not end";
      break;
    }
    isEnd = GST_EVENT_TYPE(event) == GST_EVENT_EOS;
    gst_event_unref(event);
  }
  while (const BufferPointer buffer = TryPull()) buffers.push_back(buffer);
  return buffers;
}

void Harness::Flush(GstClockTime start) {
  SendEvent(gst_event_new_flush_start());
  Resume(start);
}

void Harness::Resume(GstClockTime start) {
  SendEvent(gst_event_new_flush_stop(TRUE));
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  segment.start = segment.time = segment.position = start;
  SendEvent(gst_event_new_segment(&segment));
}

CapsPointer Harness::OutputCaps() const {
  GstPad* const pad = gst_element_get_static_pad(harness_->element, "src");
  const CapsPointer caps = Own(gst_pad_get_current_caps(pad));
  gst_object_unref(pad);
  return caps;
}

CapsPointer Harness::InputCaps() const {
  return Own(gst_pad_peer_query_caps(harness_->srcpad, nullptr));
}

std::shared_ptr<GstMessage> Harness::PopMessage(GstMessageType type) {
  GstMessage* const message = gst_bus_pop_filtered(bus_, type);
  return message ? std::shared_ptr<GstMessage>(message, gst_message_unref) : nullptr;
}

std::vector<std::string> Harness::PopTexts(GstMessageType type) {
  std::vector<std::string> texts;
  while (const auto message = PopMessage(type)) {
    GError* error = nullptr;
    gchar* details = nullptr;
    (type == GST_MESSAGE_ERROR ? gst_message_parse_error : gst_message_parse_warning)(
        message.get(), &error, &details);
    texts.push_back(std::string(error->message) + "\n" + (details ? details : ""));
    g_error_free(error);
    g_free(details);
  }
  return texts;
}

}  // namespace vix::test
