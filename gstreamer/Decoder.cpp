// SPDX-License-Identifier: BSD-2-Clause
#include "Decoder.h"

#include <algorithm>
#include <utility>

#include "Buffers.h"
#include "Guard.h"
#include "Host.h"
#include "vix/ElementDriver.h"
#include "vix/Error.h"

namespace vixgst {
namespace {

constexpr auto kDecoderType = vix::ElementFactoryType::VideoDecoder;

bool State4444(const GstCaps* caps) {
  const Ref<GstCaps> of422(MakeDecodableCaps(
      [](Implementation implementation) { return implementation == Implementation::For422; }));
  return gst_caps_is_subset(caps, of422.get()) == FALSE;
}

std::string DescribeDamage(std::uint32_t slices) {
  return "has " + std::to_string(slices) + (slices == 1 ? " damaged slice" : " damaged slices");
}

bool IsOutOfMemory(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const vix::VIXError& failure) {
    return failure.GetCode() == vix::ErrorCode::OutOfMemory;
  } catch (...) {
    return false;
  }
}

// Ends the access to a decoded picture.
void Release(DecodedPicture& picture) {
  if (!picture.mapped) {
    throw vix::VIXError(vix::ErrorCode::Failed, "the decoder did not use the host's memory");
  }
  picture.mapped->ClearRowPadding();
  picture.mapped = nullptr;
}

void MarkFields(const vix::ProResLabels& labels, GstBuffer* picture) {
  if (!labels.fieldOrder) return;
  GST_BUFFER_FLAG_SET(picture, GST_VIDEO_BUFFER_FLAG_INTERLACED);
  if (*labels.fieldOrder == vix::FieldOrder::TopFirst) {
    GST_BUFFER_FLAG_SET(picture, GST_VIDEO_BUFFER_FLAG_TFF);
  }
}

}  // namespace

// A frame on its way to a picture.
struct Decoder::Job {
  Ref<GstVideoCodecFrame> frame;
  bool isLate = false;  // is not to be decoded
  vix::ProResFrameHeader header;
  DecodedPicture picture;
};

Decoder::Decoder(GstVideoDecoder* element)
    : element_(element),
      runners_([this](Implementation implementation) { return MakeRunner(implementation); }) {}

void Decoder::SetFormat(const DecoderSettings& settings, GstVideoCodecState* state) {
  // Frames of 4:4:4 that downstream cannot take end the stream here instead of one by one.
  if (State4444(state->caps)) ChooseFormat(vix::VideoChroma::C444);
  Finish();
  settings_ = settings;
  input_.reset(gst_video_codec_state_ref(state));
  isDefined_ = false;
  output_ = {};
  lastDecoded_ = nullptr;
}

GstFlowReturn Decoder::HandleFrame(Ref<GstVideoCodecFrame> frame) {
  if (!input_) return GST_FLOW_NOT_NEGOTIATED;
  const auto job = std::make_shared<Job>();
  job->frame = std::move(frame);
  job->isLate = IsLate(*job->frame);
  vix::PoolFrame submitted;
  submitted.context = job;
  try {
    Follow(ReadHeader(*WrapFrame(job->frame->input_buffer)));
  } catch (const vix::VIXError& failure) {
    if (failure.GetCode() == vix::ErrorCode::NotFound) throw;  // no fault of the frame
    submitted.error = std::current_exception();
  }
  if (!isDefined_) return Push(submitted);
  // The elements report a faulty frame in its turn.
  submitted.error = nullptr;
  const GstFlowReturn flow = runners_.Get()->Submit(std::move(submitted));
  // A damaged header may state any size: downstream learns that of the first decoded picture.
  return output_.width == 0 ? Finish() : flow;
}

// Returns true if the picture would come after its time and may be dropped.
bool Decoder::IsLate(GstVideoCodecFrame& frame) const {
  if (gst_video_decoder_get_max_decode_time(element_, &frame) >= 0) return false;
  gboolean mayDrop = FALSE;
  g_object_get(element_, "qos", &mayDrop, nullptr);
  return mayDrop != FALSE;
}

std::unique_ptr<PoolRunner> Decoder::MakeRunner(Implementation implementation) {
  LoadProResElement(kDecoderType, implementation);
  vix::ElementPoolOptions options = PoolOptions(settings_.threads);
  options.memory = memory_.GetCallbacks();
  options.prepare = [this](vix::PoolFrame& frame, unsigned) { Prepare(frame); };
  options.finish = [this](vix::PoolFrame& frame, unsigned) { Complete(frame); };
  return std::make_unique<PoolRunner>(kDecoderType, implementation, std::move(options),
                                      element_->stream_lock,
                                      [this](vix::PoolFrame& frame) { return Push(frame); });
}

// Configures a pool or a driver.
template <typename Elements>
void Decoder::Configure(Elements& elements) const {
  const auto config = elements.CreateConfig();
  config->SetFourCC("OutputFourCC", format_->fourcc);
  elements.Configure(config);
}

// Returns what the header of a frame states, and the matrix of the caps if it states none.
vix::ProResFrameHeader Decoder::ReadHeader(const vix::IBuffer& frame) const {
  vix::ProResFrameHeader header = vix::ReadProResFrameHeader(frame.GetData(), frame.GetSize());
  CompleteMatrix(*input_, header.labels);
  return header;
}

// Prepares the elements for a frame: the first one of a stream, and each with other chroma than the
// one before, decides on the format. If downstream accepts none, the elements stay as they are.
void Decoder::Follow(const vix::ProResFrameHeader& header) {
  if (isDefined_ && header.chroma == chroma_) return;
  const RawFormat& format = ChooseFormat(header.chroma);
  if (!isDefined_ || &format != format_) {
    Finish();
    Define(header, format);
  }
  chroma_ = header.chroma;
}

void Decoder::Define(const vix::ProResFrameHeader& header, const RawFormat& format) {
  isDefined_ = false;
  lastDecoded_ = nullptr;
  format_ = &format;
  vix::ElementPool& pool = runners_.Select(format.implementation).GetPool();
  Configure(pool);
  pool.Define(DescribeProRes(header));
  isDefined_ = true;
}

// Returns the first accepted format in the order of preference. Frames of 4:4:4 become formats of
// 4:4:4 only, because the elements for the others refuse them.
const RawFormat& Decoder::ChooseFormat(vix::VideoChroma chroma) const {
  const auto formats = RawFormats();
  const bool is422 = chroma == vix::VideoChroma::C422;
  const Ref<GstCaps> allowed(gst_pad_get_allowed_caps(GST_VIDEO_DECODER_SRC_PAD(element_)));
  const auto accepted = std::ranges::find_if(formats, [&](const RawFormat& format) {
    return (is422 || format.implementation == Implementation::For4444) &&
           Accepts(allowed.get(), format);
  });
  if (accepted != formats.end()) return *accepted;
  if (is422) return formats.front();  // the negotiation reports that downstream refuses it
  throw vix::VIXError(vix::ErrorCode::Unsupported,
                      "frames of 4444 become AYUV64 or ARGB64_BE, and downstream accepts neither; "
                      "put videoconvert after the decoder");
}

// Returns a frame for the elements of the chosen format, whose picture belongs to the job.
std::shared_ptr<const vix::ISampleContainer> Decoder::MakeInput(GstBuffer* frame, Job& job) const {
  auto bytes = WrapFrame(frame);
  job.header = ReadHeader(*bytes);
  // These elements refuse version 1; frames of 4:4:4 must not become 4:2:2.
  const bool isOf422 = job.header.chroma == vix::VideoChroma::C422 &&
                       format_->implementation == Implementation::For422;
  if (isOf422 && job.header.version > 0) bytes = CopyWithVersion0(*bytes);
  PictureMemory::Assign(&job.picture);
  return MakeSample(DescribeProRes(job.header), std::move(bytes));
}

// Runs on the thread of an element.
void Decoder::Prepare(vix::PoolFrame& frame) const {
  Job& job = *static_cast<Job*>(frame.context.get());
  if (!job.isLate) frame.input = MakeInput(job.frame->input_buffer, job);
}

// Runs on the thread of an element.
void Decoder::Complete(vix::PoolFrame& frame) const {
  frame.input = nullptr;
  Job& job = *static_cast<Job*>(frame.context.get());
  if (!frame.error && !job.isLate) Release(job.picture);
}

// Negotiates pictures of this header with downstream, if they differ from those before.
bool Decoder::Negotiate(const vix::ProResFrameHeader& header) {
  const auto mode = InterlaceModeOf(input_->caps, input_->info, header.labels);
  const auto width = static_cast<int>(header.width);
  const auto height = static_cast<int>(header.height);
  if (output_.width == width && output_.height == height &&
      GST_VIDEO_INFO_FORMAT(&output_) == format_->format &&
      GST_VIDEO_INFO_INTERLACE_MODE(&output_) == mode) {
    return true;
  }
  const Ref<GstVideoCodecState> state(gst_video_decoder_set_interlaced_output_state(
      element_, format_->format, mode, header.width, header.height, input_.get()));
  if (!state) return false;
  CompleteInfo(input_->caps, header.labels, state->info);
  const vix::ElementPool& pool = runners_.Get()->GetPool();
  gst_video_decoder_set_latency(element_, TimeOfFrames(pool.GetElements(), state->info),
                                TimeOfFrames(pool.GetMostInFlight(), state->info));
  if (!gst_video_decoder_negotiate(element_)) return false;
  output_ = state->info;
  return true;
}

// Returns the state of the output after a failed negotiation. At the end of a pipeline, downstream
// flushes before this element does.
GstFlowReturn Decoder::RefusedFlow() const {
  GstPad* const pad = GST_VIDEO_DECODER_SRC_PAD(element_);
  const Ref<GstPad> peer(gst_pad_get_peer(pad));
  const bool isFlushing = GST_PAD_IS_FLUSHING(pad) || (peer && GST_PAD_IS_FLUSHING(peer.get()));
  return isFlushing ? GST_FLOW_FLUSHING : GST_FLOW_NOT_NEGOTIATED;
}

GstFlowReturn Decoder::Push(vix::PoolFrame& frame) {
  return Guard(element_, GST_FLOW_ERROR, [&] {
    Job& job = *static_cast<Job*>(frame.context.get());
    if (job.isLate) return gst_video_decoder_drop_frame(element_, job.frame.release());
    if (frame.error && IsOutOfMemory(frame.error)) std::rethrow_exception(frame.error);
    if (frame.error) {
      job.picture = {};
      return ReportDamage(job, "cannot be decoded: " + TextOf(frame.error));
    }
    lastDecoded_.reset(gst_buffer_ref(job.frame->input_buffer));
    const std::uint32_t damaged = frame.report ? frame.report->damagedSlices : 0;
    return damaged > 0 ? ReportDamage(job, DescribeDamage(damaged)) : PushPicture(job);
  });
}

GstFlowReturn Decoder::PushPicture(Job& job) {
  if (!Negotiate(job.header)) return RefusedFlow();
  MarkFields(job.header.labels, job.picture.buffer.get());
  job.frame->output_buffer = job.picture.buffer.release();
  return gst_video_decoder_finish_frame(element_, job.frame.release());
}

// Treats a damaged frame, which has no picture if it could not be decoded.
GstFlowReturn Decoder::ReportDamage(Job& job, const std::string& fault) {
  const std::string text = "frame " + std::to_string(job.frame->system_frame_number) + ' ' + fault;
  if (settings_.errorPolicy == ErrorPolicy::Stop) {
    PostError(GST_ELEMENT_CAST(element_), GST_STREAM_ERROR_DECODE, text);
    return GST_FLOW_ERROR;
  }
  // A stream of damaged frames must not flood the bus.
  constexpr std::uint64_t kMostWarnings = 100;
  ++damagedFrames_;
  if (damagedFrames_ <= kMostWarnings || damagedFrames_ % kMostWarnings == 0) {
    PostWarning(GST_ELEMENT_CAST(element_), text);
  }
  if (settings_.errorPolicy == ErrorPolicy::Skip || (!job.picture.buffer && !RepeatPicture(job))) {
    return gst_video_decoder_drop_frame(element_, job.frame.release());
  }
  GST_VIDEO_CODEC_FRAME_FLAG_SET(job.frame.get(), GST_VIDEO_CODEC_FRAME_FLAG_CORRUPTED);
  return PushPicture(job);
}

// Gives a frame without picture the one before, so that none is missing. Decodes that again: to
// keep a reference to every picture would make elements downstream copy what they change in place.
// Returns false if there is none.
bool Decoder::RepeatPicture(Job& job) {
  if (!lastDecoded_) return false;
  const auto input = MakeInput(lastDecoded_.get(), job);
  vix::ElementDriver driver(kDecoderType, NameOf(format_->implementation), kElementType);
  driver.SetFrameMemory(memory_.GetCallbacks());
  Configure(driver);
  driver.Define(DescribeProRes(job.header));
  driver.Push(input);
  Release(job.picture);
  return true;
}

void Decoder::Flush() {
  runners_.Discard();
  lastDecoded_ = nullptr;
}

void Decoder::Stop() {
  runners_.Stop();
  memory_.SetPool(nullptr, {});
  input_.reset();
  isDefined_ = false;
  output_ = {};
  lastDecoded_ = nullptr;
  damagedFrames_ = 0;
}

GstCaps* Decoder::GetInputCaps(GstCaps* filter) const {
  const Ref<GstCaps> allowed(gst_pad_get_allowed_caps(GST_VIDEO_DECODER_SRC_PAD(element_)));
  const auto isOffered = [&](Implementation implementation) {
    return std::ranges::any_of(RawFormats(), [&](const RawFormat& format) {
      // The elements for 4444 decode every variant.
      return (implementation == Implementation::For422 ||
              format.implementation == Implementation::For4444) &&
             Accepts(allowed.get(), format);
    });
  };
  const Ref<GstCaps> offered(MakeDecodableCaps(isOffered));
  return gst_video_decoder_proxy_getcaps(element_, offered.get(), filter);
}

void Decoder::EnlargePools(GstQuery* query) const {
  const auto most = static_cast<guint>(runners_.GetMostInFlight());
  for (guint i = 0; i < gst_query_get_n_allocation_pools(query); ++i) {
    GstBufferPool* pool = nullptr;
    guint size = 0;
    guint leastBuffers = 0;
    guint mostBuffers = 0;
    gst_query_parse_nth_allocation_pool(query, i, &pool, &size, &leastBuffers, &mostBuffers);
    const Ref<GstBufferPool> proposed(pool);
    // Pictures that find no room in a small pool come from the system.
    const guint wanted = leastBuffers + most;
    gst_query_set_nth_allocation_pool(query, i, pool, size,
                                      mostBuffers == 0 ? wanted : std::min(wanted, mostBuffers),
                                      mostBuffers);
  }
}

void Decoder::TakePool(GstQuery* query) {
  GstCaps* caps = nullptr;
  GstVideoInfo info;
  gst_query_parse_allocation(query, &caps, nullptr);
  if (caps == nullptr || !gst_video_info_from_caps(&info, caps)) return;
  GstBufferPool* pool = nullptr;
  if (gst_query_get_n_allocation_pools(query) > 0) {
    gst_query_parse_nth_allocation_pool(query, 0, &pool, nullptr, nullptr, nullptr);
  }
  memory_.SetPool(Ref<GstBufferPool>(pool), info);
}

}  // namespace vixgst
