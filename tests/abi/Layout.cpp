// SPDX-License-Identifier: BSD-2-Clause
// Prints the layout of the types of version 1.0: sizes, and the place of each interface's last
// virtual function in the virtual table, which changes if a function is inserted or removed before
// it.
#include <ProRes/ProRes.h>
#include <vix/vix.h>

#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

/// Returns the first word of a pointer to a member function, which for a virtual function is its
/// offset in the virtual table plus 1.
template <typename Function>
std::ptrdiff_t PlaceOf(Function function) {
  std::ptrdiff_t place = 0;
  std::memcpy(&place, &function, sizeof place);
  return place;
}

void Print(const char* name, std::ptrdiff_t value) {
  std::printf("%s %td\n", name, value);
}

}  // namespace

#define PRINT_SIZE(type) Print("size of " #type, sizeof(type))
#define PRINT_PLACE(function) Print("place of " #function, PlaceOf(&function))

int main() {
  PRINT_SIZE(EncodeParamsRecord);
  PRINT_SIZE(PixelBufferRecord);
  PRINT_SIZE(vix::EditRate);
  PRINT_SIZE(vix::TimeLimits);
  PRINT_SIZE(vix::RecyclerStatistics);
  PRINT_SIZE(vix::ExtBufferCallbacks);
  PRINT_SIZE(vix::ParameterDescription);
  PRINT_SIZE(vix::ElementDriver);
  PRINT_SIZE(vix::ContextScope);
  PRINT_SIZE(vix::VIXRuntimeError);
  PRINT_SIZE(vix::ElementFactory<vix::ElementFactoryType::VideoDecoder>);
  PRINT_SIZE(vix::IVideoDecoder);
  PRINT_SIZE(vix::IVideoParameters);
  PRINT_PLACE(vix::IMemoryBlock::GetSize);
  PRINT_PLACE(vix::IMemoryBlockAllocator::AllocateBlock);
  PRINT_PLACE(vix::IRecyclerStatistics::GetStatistics);
  PRINT_PLACE(vix::IBuffer::GetCapacity);
  PRINT_PLACE(vix::IMediaFilter::Release);
  PRINT_PLACE(vix::IBasicControl::GetManifest);
  PRINT_PLACE(vix::IParametersCollectionPrototype::GetDescriptions);
  PRINT_PLACE(vix::IParametersCollectionInstance::GetPrototype);
  PRINT_PLACE(vix::IElementFactory::GetFactoryType);
  PRINT_PLACE(vix::IVideoSample::GetMetadata);
  PRINT_PLACE(vix::ISampleContainer::GetVideoSamples);
  PRINT_PLACE(vix::IChannelInfo::GetIndex);
  PRINT_PLACE(vix::IVideoParameters::CopyFrom);
  PRINT_PLACE(vix::IVideoParameters_RAW::SetFourCC);
  PRINT_PLACE(vix::IVideoParameters_ProRes::SetProResCodecVariant);
  PRINT_PLACE(vix::IVideoInfo::GetVideoParameters);
  PRINT_PLACE(vix::IInfoContainer::GetInfo);
  PRINT_PLACE(vix::IPlugin::GetPath);
  PRINT_PLACE(vix::ILoggerWriter::Write);
}
