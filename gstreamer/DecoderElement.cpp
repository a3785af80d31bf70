// SPDX-License-Identifier: BSD-2-Clause
#include "DecoderElement.h"

#include <gst/video/gstvideodecoder.h>

#include "Decoder.h"
#include "Guard.h"
#include "Host.h"
#include "Properties.h"

struct VixProResDec {
  GstVideoDecoder parent;
  vixgst::DecoderSettings settings;  ///< protected by the object lock
  vixgst::Decoder* work;
};

struct VixProResDecClass {
  GstVideoDecoderClass parent;
};

G_DEFINE_TYPE(VixProResDec, vix_prores_dec, GST_TYPE_VIDEO_DECODER)

namespace vixgst {
namespace {

enum DecoderProperty : guint { kDecoderErrorPolicy = 1, kDecoderThreads };

GType ErrorPolicyType() {
  static const GEnumValue kValues[] = {
      {static_cast<int>(ErrorPolicy::Conceal),
       "push a concealed picture, or the one before again, with the flag CORRUPTED", "conceal"},
      {static_cast<int>(ErrorPolicy::Skip), "drop the frame", "skip"},
      {static_cast<int>(ErrorPolicy::Stop), "post an error and end the stream", "stop"},
      {0, nullptr, nullptr},
  };
  static const GType type = g_enum_register_static("VixProResDecErrorPolicy", kValues);
  return type;
}

VixProResDec* DecoderOf(gpointer object) {
  return static_cast<VixProResDec*>(object);
}

DecoderSettings SettingsOf(VixProResDec* self) {
  const ObjectLock lock(self);
  return self->settings;
}

void SetDecoderProperty(GObject* object, guint id, const GValue* value, GParamSpec* spec) {
  auto* const self = DecoderOf(object);
  const ObjectLock lock(self);
  switch (id) {
    case kDecoderErrorPolicy:
      self->settings.errorPolicy = static_cast<ErrorPolicy>(g_value_get_enum(value));
      break;
    case kDecoderThreads:
      self->settings.threads = g_value_get_uint(value);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

void GetDecoderProperty(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  const DecoderSettings settings = SettingsOf(DecoderOf(object));
  switch (id) {
    case kDecoderErrorPolicy:
      g_value_set_enum(value, static_cast<int>(settings.errorPolicy));
      break;
    case kDecoderThreads:
      g_value_set_uint(value, settings.threads);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

void FinalizeDecoder(GObject* object) {
  delete DecoderOf(object)->work;
  G_OBJECT_CLASS(vix_prores_dec_parent_class)->finalize(object);
}

gboolean OpenDecoder(GstVideoDecoder* element) {
  return Guard(element, FALSE, [] {
    LoadProResElement(vix::ElementFactoryType::VideoDecoder, Implementation::For422);
    return TRUE;
  });
}

gboolean StopDecoder(GstVideoDecoder* element) {
  return Guard(element, FALSE, [element] {
    DecoderOf(element)->work->Stop();
    return TRUE;
  });
}

gboolean SetDecoderFormat(GstVideoDecoder* element, GstVideoCodecState* state) {
  return Guard(element, FALSE, [element, state] {
    DecoderOf(element)->work->SetFormat(SettingsOf(DecoderOf(element)), state);
    return TRUE;
  });
}

GstFlowReturn HandleDecoderFrame(GstVideoDecoder* element, GstVideoCodecFrame* frame) {
  return Guard(element, GST_FLOW_ERROR, [element, frame] {
    return DecoderOf(element)->work->HandleFrame(Ref<GstVideoCodecFrame>(frame));
  });
}

GstFlowReturn FinishDecoder(GstVideoDecoder* element) {
  return Guard(element, GST_FLOW_ERROR, [element] { return DecoderOf(element)->work->Finish(); });
}

gboolean FlushDecoder(GstVideoDecoder* element) {
  return Guard(element, FALSE, [element] {
    DecoderOf(element)->work->Flush();
    return TRUE;
  });
}

GstCaps* GetDecoderCaps(GstVideoDecoder* element, GstCaps* filter) {
  return Guard<GstCaps*>(element, nullptr, [element, filter] {
    return DecoderOf(element)->work->GetInputCaps(filter);
  });
}

gboolean DecideDecoderAllocation(GstVideoDecoder* element, GstQuery* query) {
  return Guard(element, FALSE, [element, query]() -> gboolean {
    Decoder& work = *DecoderOf(element)->work;
    auto* const parent = GST_VIDEO_DECODER_CLASS(vix_prores_dec_parent_class);
    work.EnlargePools(query);
    if (!parent->decide_allocation(element, query)) return FALSE;
    work.TakePool(query);
    return TRUE;
  });
}

void InstallDecoderProperties(GObjectClass* type) {
  type->set_property = SetDecoderProperty;
  type->get_property = GetDecoderProperty;
  g_object_class_install_property(
      type, kDecoderErrorPolicy,
      g_param_spec_enum("error-policy", "Error policy",
                        "Treatment of damaged frames; each is reported by a warning, or by an "
                        "error if the policy is stop. Takes effect with the next caps",
                        ErrorPolicyType(), static_cast<int>(ErrorPolicy::Conceal), kPropertyFlags));
  g_object_class_install_property(type, kDecoderThreads, MakeThreadsProperty("decoded"));
}

}  // namespace
}  // namespace vixgst

static void vix_prores_dec_class_init(VixProResDecClass* type) {
  using namespace vixgst;
  GObjectClass* const object = G_OBJECT_CLASS(type);
  object->finalize = FinalizeDecoder;
  InstallDecoderProperties(object);

  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  gst_element_class_set_static_metadata(element, "vix ProRes decoder", "Codec/Decoder/Video",
                                        "Decodes ProRes 422 Proxy, LT, 422, HQ, 4444 and 4444 XQ "
                                        "(SMPTE RDD 36)",
                                        kAuthor);
  AddPadTemplate(element, "sink", GST_PAD_SINK, MakeDecodableCaps());
  AddPadTemplate(element, "src", GST_PAD_SRC, MakeRawCaps(kLeastDecodedSide));
  gst_type_mark_as_plugin_api(ErrorPolicyType(), GstPluginAPIFlags{});

  GstVideoDecoderClass* const decoder = GST_VIDEO_DECODER_CLASS(type);
  decoder->open = OpenDecoder;
  decoder->stop = StopDecoder;
  decoder->getcaps = GetDecoderCaps;
  decoder->set_format = SetDecoderFormat;
  decoder->handle_frame = HandleDecoderFrame;
  decoder->finish = FinishDecoder;
  decoder->drain = FinishDecoder;
  decoder->flush = FlushDecoder;
  decoder->decide_allocation = DecideDecoderAllocation;
}

static void vix_prores_dec_init(VixProResDec* self) {
  self->settings = {};
  self->work = new vixgst::Decoder(GST_VIDEO_DECODER(self));
  gst_video_decoder_set_packetized(GST_VIDEO_DECODER(self), TRUE);
  gst_video_decoder_set_needs_format(GST_VIDEO_DECODER(self), TRUE);
}
