// SPDX-License-Identifier: BSD-2-Clause
#include "Encoder.h"

#include <algorithm>
#include <string>
#include <utility>

#include "Buffers.h"
#include "Guard.h"
#include "Host.h"
#include "vix/Error.h"
#include "vix/WorkflowStepImplementation.h"

namespace vixgst {
namespace {

constexpr auto kEncoderType = vix::ElementFactoryType::VideoEncoder;

void CheckInterlaceMode(const GstVideoInfo& info) {
  const GstVideoInterlaceMode mode = GST_VIDEO_INFO_INTERLACE_MODE(&info);
  if (mode == GST_VIDEO_INTERLACE_MODE_PROGRESSIVE ||
      mode == GST_VIDEO_INTERLACE_MODE_INTERLEAVED) {
    return;
  }
  throw vix::VIXError(vix::ErrorCode::Unsupported,
                      std::string("interlace-mode ") + gst_video_interlace_mode_to_string(mode) +
                          " is not supported (expected progressive or interleaved); deinterlace "
                          "or convert the video first");
}

}  // namespace

// A picture on its way to a frame.
struct Encoder::Job {
  Ref<GstVideoCodecFrame> frame;
  vix::ProResLabels labels;
};

Encoder::Encoder(GstVideoEncoder* element)
    : element_(element),
      runners_([this](Implementation implementation) { return MakeRunner(implementation); }) {}

bool Encoder::SetFormat(const EncoderSettings& settings, GstVideoCodecState* state) {
  const GstVideoInfo info = CodedInfo(*state);
  CheckInterlaceMode(info);
  Finish();
  settings_ = settings;
  const Variant& variant = ChooseVariant(*FindRawFormat(GST_VIDEO_INFO_FORMAT(&info)));
  vix::ElementPool& pool = runners_.Select(variant.implementation).GetPool();
  Configure(pool, variant);
  const auto stream = DescribeRaw(info);
  pool.Define(stream);
  stream_ = stream;
  input_ = info;

  gst_video_encoder_set_latency(element_, TimeOfFrames(pool.GetElements(), info),
                                TimeOfFrames(pool.GetMostInFlight(), info));
  // matroskamux 1.22 reads "format".
  GstCaps* const caps =
      gst_caps_new_simple("video/x-prores", "variant", G_TYPE_STRING, variant.name, "format",
                          G_TYPE_STRING, variant.name, nullptr);
  const Ref<GstVideoCodecState> output(gst_video_encoder_set_output_state(element_, caps, state));
  output->info.colorimetry = info.colorimetry;
  return gst_video_encoder_negotiate(element_) != FALSE;
}

const Variant& Encoder::ChooseVariant(const RawFormat& format) const {
  const Variant& wanted =
      settings_.variant ? *settings_.variant : UsualVariant(format.implementation);
  if (wanted.implementation != format.implementation) {
    throw vix::VIXError(vix::ErrorCode::Unsupported,
                        std::string("variant ") + wanted.name + " does not take pictures of " +
                            format.name + "; set another variant, or convert the video first");
  }
  const Ref<GstCaps> allowed(gst_pad_get_allowed_caps(GST_VIDEO_ENCODER_SRC_PAD(element_)));
  const auto isAccepted = [&](const Variant& variant) {
    return variant.implementation == format.implementation && Accepts(allowed.get(), variant);
  };
  if (isAccepted(wanted)) return wanted;
  const auto variants = Variants();
  const auto best = std::find_if(variants.rbegin(), variants.rend(), isAccepted);
  if (!settings_.variant && best != variants.rend()) return *best;
  throw vix::VIXError(vix::ErrorCode::Unsupported,
                      std::string("downstream does not accept variant ") + wanted.name +
                          "; set another variant, or correct the caps after the encoder");
}

void Encoder::Configure(vix::ElementPool& pool, const Variant& variant) const {
  const auto config = pool.CreateConfig();
  variant.configure(*config);
  if (variant.implementation == Implementation::For4444) {
    config->SetInt("AlphaBits", settings_.alphaBits);
  }
  pool.Configure(config);
}

std::unique_ptr<PoolRunner> Encoder::MakeRunner(Implementation implementation) {
  LoadProResElement(kEncoderType, implementation);
  allocator_ = vix::ImplementElement<vix::ElementFactoryType::MemoryBlockAllocator>(
      "vix", "Recycler", nullptr);
  vix::ElementPoolOptions options = PoolOptions(settings_.threads);
  options.prepare = [this](vix::PoolFrame& frame, unsigned) { Prepare(frame); };
  options.finish = [this](vix::PoolFrame& frame, unsigned) { Label(frame); };
  return std::make_unique<PoolRunner>(kEncoderType, implementation, std::move(options),
                                      element_->stream_lock,
                                      [this](vix::PoolFrame& frame) { return Push(frame); });
}

GstFlowReturn Encoder::HandleFrame(Ref<GstVideoCodecFrame> frame) {
  if (!runners_.Get()) return GST_FLOW_NOT_NEGOTIATED;
  vix::PoolFrame job;
  const vix::ProResLabels labels = LabelsOf(input_, frame->input_buffer);
  job.context = std::make_shared<Job>(Job{std::move(frame), labels});
  return runners_.Get()->Submit(std::move(job));
}

// Runs on the thread of an element.
void Encoder::Prepare(vix::PoolFrame& frame) const {
  const Job& job = *static_cast<const Job*>(frame.context.get());
  frame.input = MakeSample(stream_, WrapPicture(input_, job.frame->input_buffer, allocator_));
}

// Runs on the thread of an element, which does not receive the labels.
void Encoder::Label(vix::PoolFrame& frame) const {
  frame.input = nullptr;
  if (frame.error) return;
  const auto coded = SampleOf(frame.output)->GetBuffer();
  vix::LabelProResFrame(static_cast<const Job*>(frame.context.get())->labels, coded->GetData(),
                        coded->GetSize());
}

GstFlowReturn Encoder::Push(vix::PoolFrame& frame) {
  return Guard(element_, GST_FLOW_ERROR, [&] {
    Job& job = *static_cast<Job*>(frame.context.get());
    if (frame.error) {
      PostError(GST_ELEMENT_CAST(element_), GST_STREAM_ERROR_ENCODE,
                "frame " + std::to_string(job.frame->system_frame_number) +
                    " cannot be encoded: " + TextOf(frame.error));
      return GST_FLOW_ERROR;
    }
    job.frame->output_buffer = WrapOutput(SampleOf(frame.output)->GetBuffer()).release();
    GST_VIDEO_CODEC_FRAME_SET_SYNC_POINT(job.frame.get());
    return gst_video_encoder_finish_frame(element_, job.frame.release());
  });
}

GstCaps* Encoder::GetInputCaps(const EncoderSettings& settings, GstCaps* filter) const {
  const Ref<GstCaps> allowed(gst_pad_get_allowed_caps(GST_VIDEO_ENCODER_SRC_PAD(element_)));
  const auto isOffered = [&](Implementation implementation) {
    if (settings.variant) return settings.variant->implementation == implementation;
    return std::ranges::any_of(Variants(), [&](const Variant& variant) {
      return variant.implementation == implementation && Accepts(allowed.get(), variant);
    });
  };
  const Ref<GstCaps> offered(MakeRawCaps(kLeastEncodedSide, isOffered));
  return gst_video_encoder_proxy_getcaps(element_, offered.get(), filter);
}

void Encoder::ProposeAllocation(GstQuery* query) const {
  const auto most = static_cast<guint>(runners_.GetMostInFlight());
  GstCaps* caps = nullptr;
  GstVideoInfo info;
  gst_query_parse_allocation(query, &caps, nullptr);
  if (caps != nullptr && gst_video_info_from_caps(&info, caps)) {
    gst_query_add_allocation_pool(query, nullptr, static_cast<guint>(GST_VIDEO_INFO_SIZE(&info)),
                                  most + 1, 0);
  }
  gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
}

}  // namespace vixgst
