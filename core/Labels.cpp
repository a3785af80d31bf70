// SPDX-License-Identifier: BSD-2-Clause
#include <string>

#include "EnumText.h"
#include "vix/Registry.h"
#include "vix/Types.h"

namespace vix {
namespace {

constexpr EnumText<VCodecFamily> kFamilyLabels[] = {
    {VCodecFamily::Raw, "Raw"},
    {VCodecFamily::ProRes, "ProRes"},
};

constexpr EnumText<ElementFactoryType> kFactoryTypeLabels[] = {
    {ElementFactoryType::VideoDecoder, "VideoDecoder"},
    {ElementFactoryType::VideoEncoder, "VideoEncoder"},
    {ElementFactoryType::MemoryBlockAllocator, "MemoryBlockAllocator"},
};

}  // namespace

std::string GetLabel(VCodecFamily family) {
  return TextOf(family, kFamilyLabels, "VCodecFamily");
}

std::string GetLabel(ElementFactoryType factoryType) {
  return TextOf(factoryType, kFactoryTypeLabels, "ElementFactoryType");
}

}  // namespace vix
