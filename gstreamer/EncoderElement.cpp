// SPDX-License-Identifier: BSD-2-Clause
#include "EncoderElement.h"

#include <gst/video/gstvideoencoder.h>

#include <array>
#include <cstddef>

#include "Encoder.h"
#include "Guard.h"
#include "Host.h"
#include "Properties.h"

struct VixProResEnc {
  GstVideoEncoder parent;
  vixgst::EncoderSettings settings;  ///< protected by the object lock
  vixgst::Encoder* work;
};

struct VixProResEncClass {
  GstVideoEncoderClass parent;
};

G_DEFINE_TYPE(VixProResEnc, vix_prores_enc, GST_TYPE_VIDEO_ENCODER)

namespace vixgst {
namespace {

enum EncoderProperty : guint { kEncoderVariant = 1, kEncoderAlphaBits, kEncoderThreads };

constexpr int kAutomatic = -1;

GType EncoderVariantType() {
  static const GType type = [] {
    static std::array<GEnumValue, kVariants + 2> values{};  // ends with an empty entry
    values[0] = {kAutomatic,
                 "standard or, for pictures with alpha, 4444, if downstream accepts it, else its "
                 "best",
                 "auto"};
    for (std::size_t i = 0; i < kVariants; ++i) {
      const Variant& variant = Variants()[i];
      values[i + 1] = {static_cast<int>(i), variant.description, variant.name};
    }
    return g_enum_register_static("VixProResEncVariant", values.data());
  }();
  return type;
}

GType EncoderAlphaBitsType() {
  static const GEnumValue kValues[] = {
      {kAutomatic, "16 if the pictures have alpha", "auto"},
      {0, "no alpha, opaque frames", "0"},
      {8, "rounded to 8 bits", "8"},
      {16, "lossless", "16"},
      {0, nullptr, nullptr},
  };
  static const GType type = g_enum_register_static("VixProResEncAlphaBits", kValues);
  return type;
}

VixProResEnc* EncoderOf(gpointer object) {
  return static_cast<VixProResEnc*>(object);
}

EncoderSettings SettingsOf(VixProResEnc* self) {
  const ObjectLock lock(self);
  return self->settings;
}

void SetEncoderProperty(GObject* object, guint id, const GValue* value, GParamSpec* spec) {
  VixProResEnc* const self = EncoderOf(object);
  const ObjectLock lock(self);
  switch (id) {
    case kEncoderVariant: {
      const int index = g_value_get_enum(value);
      self->settings.variant =
          index == kAutomatic ? nullptr : &Variants()[static_cast<std::size_t>(index)];
      break;
    }
    case kEncoderAlphaBits:
      self->settings.alphaBits = g_value_get_enum(value);
      break;
    case kEncoderThreads:
      self->settings.threads = g_value_get_uint(value);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

void GetEncoderProperty(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  const EncoderSettings settings = SettingsOf(EncoderOf(object));
  switch (id) {
    case kEncoderVariant:
      g_value_set_enum(value, settings.variant == nullptr
                                  ? kAutomatic
                                  : static_cast<int>(settings.variant - Variants().data()));
      break;
    case kEncoderAlphaBits:
      g_value_set_enum(value, settings.alphaBits);
      break;
    case kEncoderThreads:
      g_value_set_uint(value, settings.threads);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

void FinalizeEncoder(GObject* object) {
  delete EncoderOf(object)->work;
  G_OBJECT_CLASS(vix_prores_enc_parent_class)->finalize(object);
}

gboolean OpenEncoder(GstVideoEncoder* element) {
  return Guard(element, FALSE, [] {
    LoadProResElement(vix::ElementFactoryType::VideoEncoder, Implementation::For422);
    return TRUE;
  });
}

gboolean StopEncoder(GstVideoEncoder* element) {
  return Guard(element, FALSE, [element] {
    EncoderOf(element)->work->Stop();
    return TRUE;
  });
}

gboolean SetEncoderFormat(GstVideoEncoder* element, GstVideoCodecState* state) {
  return Guard(element, FALSE, [element, state]() -> gboolean {
    return EncoderOf(element)->work->SetFormat(SettingsOf(EncoderOf(element)), state) ? TRUE
                                                                                      : FALSE;
  });
}

GstFlowReturn HandleEncoderFrame(GstVideoEncoder* element, GstVideoCodecFrame* frame) {
  return Guard(element, GST_FLOW_ERROR, [element, frame] {
    return EncoderOf(element)->work->HandleFrame(Ref<GstVideoCodecFrame>(frame));
  });
}

GstFlowReturn FinishEncoder(GstVideoEncoder* element) {
  return Guard(element, GST_FLOW_ERROR, [element] { return EncoderOf(element)->work->Finish(); });
}

gboolean FlushEncoder(GstVideoEncoder* element) {
  return Guard(element, FALSE, [element] {
    EncoderOf(element)->work->Flush();
    return TRUE;
  });
}

GstCaps* GetEncoderCaps(GstVideoEncoder* element, GstCaps* filter) {
  return Guard<GstCaps*>(element, nullptr, [element, filter] {
    return EncoderOf(element)->work->GetInputCaps(SettingsOf(EncoderOf(element)), filter);
  });
}

gboolean ProposeEncoderAllocation(GstVideoEncoder* element, GstQuery* query) {
  Guard(element, FALSE, [element, query] {
    EncoderOf(element)->work->ProposeAllocation(query);
    return TRUE;
  });
  return GST_VIDEO_ENCODER_CLASS(vix_prores_enc_parent_class)->propose_allocation(element, query);
}

void InstallEncoderProperties(GObjectClass* type) {
  type->set_property = SetEncoderProperty;
  type->get_property = GetEncoderProperty;
  g_object_class_install_property(
      type, kEncoderVariant,
      g_param_spec_enum("variant", "Variant",
                        "Variant to encode, which sets quality and data rate. auto = standard, or "
                        "4444 for pictures with alpha, if downstream accepts it, otherwise the "
                        "variant of the highest rate that it accepts. Takes effect with the next "
                        "caps",
                        EncoderVariantType(), kAutomatic, kPropertyFlags));
  g_object_class_install_property(
      type, kEncoderAlphaBits,
      g_param_spec_enum("alpha-bits", "Alpha bits",
                        "Bits of alpha in frames of 4444 and 4444 XQ. auto = 16 if the pictures "
                        "have alpha. Takes effect with the next caps",
                        EncoderAlphaBitsType(), kAutomatic, kPropertyFlags));
  g_object_class_install_property(type, kEncoderThreads, MakeThreadsProperty("encoded"));
}

}  // namespace
}  // namespace vixgst

static void vix_prores_enc_class_init(VixProResEncClass* type) {
  using namespace vixgst;
  GObjectClass* const object = G_OBJECT_CLASS(type);
  object->finalize = FinalizeEncoder;
  InstallEncoderProperties(object);

  GstElementClass* const element = GST_ELEMENT_CLASS(type);
  gst_element_class_set_static_metadata(element, "vix ProRes encoder", "Codec/Encoder/Video",
                                        "Encodes ProRes 422 Proxy, LT, 422, HQ, 4444 and 4444 XQ "
                                        "(SMPTE RDD 36)",
                                        kAuthor);
  AddPadTemplate(element, "sink", GST_PAD_SINK, MakeRawCaps(kLeastEncodedSide));
  AddPadTemplate(element, "src", GST_PAD_SRC, MakeEncodedCaps());
  gst_type_mark_as_plugin_api(EncoderVariantType(), GstPluginAPIFlags{});
  gst_type_mark_as_plugin_api(EncoderAlphaBitsType(), GstPluginAPIFlags{});

  GstVideoEncoderClass* const encoder = GST_VIDEO_ENCODER_CLASS(type);
  encoder->open = OpenEncoder;
  encoder->stop = StopEncoder;
  encoder->getcaps = GetEncoderCaps;
  encoder->set_format = SetEncoderFormat;
  encoder->handle_frame = HandleEncoderFrame;
  encoder->finish = FinishEncoder;
  encoder->flush = FlushEncoder;
  encoder->propose_allocation = ProposeEncoderAllocation;
}

static void vix_prores_enc_init(VixProResEnc* self) {
  self->settings = {};
  self->work = new vixgst::Encoder(GST_VIDEO_ENCODER(self));
}
