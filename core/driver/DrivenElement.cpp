// SPDX-License-Identifier: BSD-2-Clause
#include "driver/DrivenElement.h"

#include <algorithm>
#include <span>
#include <utility>

#include "driver/Failures.h"
#include "vix/RawVideoUtils.h"
#include "vix/WorkflowStepImplementation.h"

namespace vix {
namespace {

std::shared_ptr<IMediaFilter> MakeElement(ElementFactoryType factoryType,
                                          const std::string& implementation,
                                          const std::string& type) {
  switch (factoryType) {
    case ElementFactoryType::VideoDecoder:
      return ImplementElement<ElementFactoryType::VideoDecoder>(implementation, type, nullptr);
    case ElementFactoryType::VideoEncoder:
      return ImplementElement<ElementFactoryType::VideoEncoder>(implementation, type, nullptr);
    default:
      return nullptr;
  }
}

std::span<const std::uint8_t> BytesOf(const ISample& sample) {
  const auto buffer = sample.GetBuffer();
  if (!buffer || buffer->GetData() == nullptr) return {};
  return {buffer->GetData(), buffer->GetSize()};
}

std::shared_ptr<const IVideoParameters> ParametersOf(const IInfoContainer& stream) {
  const auto info = OnlyOne(stream.GetInfo());
  return info ? info->GetVideoParameters() : nullptr;
}

/// Rejects a raw frame that is shorter than its description: elements do not check the size.
void CheckRawFrame(const IVideoSample& sample) {
  const auto raw =
      std::dynamic_pointer_cast<const IVideoParameters_RAW>(sample.GetVideoParameters());
  if (!raw) return;
  const std::uint32_t described = RawVideoUtils::GetFrameBytes(raw->GetFourCC(), VideoChroma::C422,
                                                               raw->GetWidth(), raw->GetHeight());
  const std::size_t held = BytesOf(sample).size();
  if (held >= described) return;
  throw VIXError(ErrorCode::Truncated, "a frame of " + std::to_string(held) +
                                           " bytes; its description requires " +
                                           std::to_string(described));
}

StreamShape ReadSourceShape(const IVideoSample& sample, const ElementLimits& limits) {
  const auto parameters = sample.GetVideoParameters();
  if (!std::dynamic_pointer_cast<const IVideoParameters_RAW>(parameters)) {
    throw VIXError(ErrorCode::BadArgument, "a frame without a description of raw video");
  }
  CheckSource(*parameters, limits);
  return ShapeOf(*parameters);
}

/// Returns the elements that could be used instead, for messages.
std::string ListElements() {
  std::string names;
  for (const auto& entry : GetRegistryEntries()) {
    if (entry->GetElementFactoryType("class") == ElementFactoryType::MemoryBlockAllocator) continue;
    names += (names.empty() ? "" : ", ") + GetLabel(entry->GetElementFactoryType("class")) + '.' +
             entry->GetString("implementation") + '.' + entry->GetString("type");
  }
  return names.empty() ? "there are none yet" : names;
}

/// Lets the codec hook see one frame.
class HookScope {
 public:
  explicit HookScope(DrivenElement& element) : element_(element) {
    if (!element_.hook) return;
    CallHost("codec hook", [&] { element_.hook->BeginFrame(element_.codecThreads); });
  }
  ~HookScope() {
    if (element_.hook) element_.report = element_.hook->EndFrame();
  }
  HookScope(const HookScope&) = delete;
  HookScope& operator=(const HookScope&) = delete;

 private:
  DrivenElement& element_;
};

}  // namespace

DrivenElement::DrivenElement(ElementFactoryType factoryType, const std::string& implementation,
                             const std::string& type)
    : factoryType_(factoryType),
      implementation_(implementation),
      type_(type),
      name_(GetLabel(factoryType) + '.' + implementation + '.' + type),
      isProRes_(type == GetLabel(VCodecFamily::ProRes)),
      limits_(LimitsOf(implementation)),
      isEncoder_(factoryType == ElementFactoryType::VideoEncoder) {
  if (!GetFactory(factoryType, implementation, type)) {
    Reject(ErrorCode::NotFound,
           "no plug-in has registered this element; load its plug-in, or use another: " +
               ListElements());
  }
  element_ = Do("the element cannot be made: ",
                [&] { return MakeElement(factoryType, implementation, type); });
  manifest_ = GetManifest(factoryType, implementation, type);
  if (!element_ || !manifest_)
    Reject(ErrorCode::Failed, "the factory made no VideoEncoder or VideoDecoder");
}

Settings DrivenElement::ReadSettings(const IParametersCollectionInstance& config) const {
  Settings settings = [&] {
    try {
      return Settings(*GetSchema(), config);
    } catch (const VIXError&) {
      throw;
    } catch (const VIXRuntimeError& error) {
      throw VIXError(ErrorCode::BadArgument, std::string("a configuration of another element; ") +
                                                 "make one with CreateConfig: " + error.what());
    }
  }();
  if (hostAllocator_ && settings.IsSet(kAllocatorParameter)) {
    throw VIXError(ErrorCode::BadArgument,
                   "an \"Allocator\" although SetFrameMemory gives the memory");
  }
  return settings;
}

bool DrivenElement::HasAllocator() const {
  return std::ranges::any_of(GetSchema()->GetDescriptions(), [](const auto& parameter) {
    return parameter.name == kAllocatorParameter;
  });
}

void DrivenElement::ConfigureElement() {
  auto config = CreateParametersCollectionInstance(GetSchema());
  settings_->Apply(*config);
  if (hostAllocator_) config->SetString(kAllocatorParameter, hostAllocator_->GetName());
  element_->SetInitConfig(std::move(config));
}

void DrivenElement::Apply(Effort effort) {
  if (effort == Effort::Remake) element_ = MakeElement(factoryType_, implementation_, type_);
  if (effort == Effort::Reopen) element_->Release();
  ConfigureElement();
  if (input_ && effort >= Effort::Define) DefineElement(input_);
}

void DrivenElement::Change(Settings settings) {
  const Effort effort = settings_ ? settings.ChangeFrom(*settings_) : Effort::Configure;
  auto previous = std::exchange(settings_, std::move(settings));
  try {
    Apply(effort);
  } catch (...) {
    settings_ = std::move(previous);
    if (settings_) Apply(Effort::Remake);
    throw;
  }
}

void DrivenElement::CheckInput(const IInfoContainer& stream) const {
  for (const auto& info : stream.GetInfo()) {
    if (!info || !info->GetVideoParameters()) {
      throw VIXError(ErrorCode::BadArgument, "a stream without video parameters");
    }
  }
  const auto parameters = ParametersOf(stream);
  if (!isProRes_ || !parameters) return;
  const VCodecFamily family = isEncoder_ ? VCodecFamily::Raw : VCodecFamily::ProRes;
  if (parameters->GetCodecFamily() != family) {
    throw VIXError(ErrorCode::BadArgument,
                   "a description of " + GetLabel(parameters->GetCodecFamily()) +
                       " video; this element takes " + GetLabel(family) + " video");
  }
  if (isEncoder_) {
    CheckSource(*parameters, limits_);
  } else {
    CheckDescription(*parameters);
  }
}

void DrivenElement::DefineElement(const Stream& stream) {
  element_->DefineInput(stream, "");
  const bool decodesFields = settings_->IsTrue("SkipField");
  output_ = OutputStream(element_->GetDefinedOutput(""), isProRes_, decodesFields);
  input_ = stream;
}

/// Returns true if a decoder that may be open writes another picture than the stream's.
bool DrivenElement::NeedsReopening(const IInfoContainer& stream) const {
  if (!isProRes_ || !input_) return false;
  const auto before = ParametersOf(*input_);
  const auto after = ParametersOf(stream);
  return !after || !ShapeOf(*before).Matches(ShapeOf(*after));
}

void DrivenElement::Define(const Stream& stream) {
  Redefine(stream);
  hostInput_ = stream;
}

void DrivenElement::Redefine(const Stream& stream) {
  if (NeedsReopening(*stream)) element_->Release();
  try {
    DefineElement(stream);
  } catch (...) {
    if (input_) DefineElement(input_);
    throw;
  }
}

void DrivenElement::Follow(const StreamShape& frame) {
  const auto defined = ParametersOf(*input_);
  if (ShapeOf(*defined).Matches(frame)) return;
  if (inputChange == InputChange::Refuse) {
    throw VIXError(ErrorCode::FormatChanged,
                   "a frame of " + frame.GetText() + " in a stream of " +
                       ShapeOf(*defined).GetText() +
                       "; call Define for the new stream, or SetInputChange once to let the " +
                       "driver do it");
  }
  const Stream stream = DescribeAs(frame);
  CheckInput(*stream);
  Redefine(stream);
}

/// Returns the host's description with another shape, independently of the frames before.
DrivenElement::Stream DrivenElement::DescribeAs(const StreamShape& frame) const {
  const auto info = OnlyOne(hostInput_->GetInfo());
  if (ShapeOf(*info->GetVideoParameters()).Matches(frame)) return hostInput_;
  const auto parameters = CopyOf(info->GetVideoParameters());
  SetShape(frame, *parameters);
  return CreateInfoContainer(CreateVideoInfo(parameters, info->GetChannelInfo(), {}, {}), nullptr);
}

std::optional<FrameShape> DrivenElement::Inspect(const Sample& sample, std::size_t samples) {
  report.reset();
  if (sample) CheckRawFrame(*sample);
  if (!isProRes_) return std::nullopt;
  if (!sample) {
    const std::string count = std::to_string(samples) + " video samples; allowed: 1";
    throw VIXError(ErrorCode::BadArgument,
                   samples == 1 ? "a null video sample" : "a container of " + count);
  }
  if (isEncoder_) {
    Follow(ReadSourceShape(*sample, limits_));
    return std::nullopt;
  }
  const FrameShape frame = ReadFrameShape(BytesOf(*sample), limits_);
  Follow(frame.shape);
  return frame;
}

DrivenElement::Container DrivenElement::Process(const Container& container, FailedCall call) {
  const ContextScope context(name_);
  try {
    const HookScope scope(*this);
    if (hostMemory_) hostMemory_->Expect(output_.GetPicture());
    element_->PushSample(container);
    // Taken at once: an element has no operation that reports whether an output is waiting.
    return element_->GetSample();
  } catch (...) {
    call.report = report;
    RethrowWithCause(call);
  }
}

std::shared_ptr<const IBuffer> DrivenElement::ToHostMemory(
    const std::shared_ptr<const IBuffer>& buffer) {
  if (!hostMemory_ || !buffer) return buffer;
  if (hostAllocator_) return hostMemory_->Take(buffer);
  const auto parameters = ParametersOf(*input_);
  return hostMemory_->Copy(*buffer, parameters->GetWidth(), parameters->GetHeight());
}

DrivenElement::Container DrivenElement::Complete(const Container& produced, const Sample& pushed,
                                                 const std::optional<FrameShape>& frame) {
  const Sample sample = produced ? OnlyOne(produced->GetVideoSamples(nullptr, nullptr)) : nullptr;
  if (!isProRes_ || !sample || !pushed) return produced;
  const std::size_t described = output_.GetPicture().bytes;
  const std::size_t held = BytesOf(*sample).size();
  if (described != 0 && held != described) {
    throw VIXError(ErrorCode::Failed, "the element returned a picture of " + std::to_string(held) +
                                          " bytes; its description requires " +
                                          std::to_string(described));
  }
  return output_.Complete(*sample, *pushed, frame ? frame->fieldOrder : std::nullopt,
                          ToHostMemory(sample->GetBuffer()));
}

void DrivenElement::Release() {
  const std::shared_ptr<IMediaFilter> element = std::move(element_);
  element->ClearInternalBuffer();
  element->Release();
}

void DrivenElement::SetFrameMemory(const FrameMemoryCallbacks& callbacks) {
  hostMemory_ = std::make_shared<HostMemory>(callbacks);
  if (!isEncoder_ && HasAllocator()) hostAllocator_ = std::make_unique<NamedAllocator>(hostMemory_);
}

}  // namespace vix
