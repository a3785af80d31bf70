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

constexpr EnumText<ProResCodecVariant> kVariantLabels[] = {
    {ProResCodecVariant::Proxy, "Proxy"},
    {ProResCodecVariant::LT, "LT"},
    {ProResCodecVariant::Standard, "Standard"},
    {ProResCodecVariant::HQ, "HQ"},
};

}  // namespace

std::string GetLabel(VCodecFamily family) {
  return TextOf(family, kFamilyLabels, "VCodecFamily");
}

std::string GetLabel(ElementFactoryType factoryType) {
  return TextOf(factoryType, kFactoryTypeLabels, "ElementFactoryType");
}

std::string GetLabel(ProResCodecVariant variant) {
  return TextOf(variant, kVariantLabels, "ProResCodecVariant");
}

}  // namespace vix
