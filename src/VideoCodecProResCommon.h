// SPDX-License-Identifier: BSD-2-Clause
#ifndef SRC_VIDEOCODECPRORESCOMMON_H
#define SRC_VIDEOCODECPRORESCOMMON_H

/// @file
/// Code that both elements share: conversion of the host's codes to those of the codec library, and
/// copying of stream descriptions. Every function may be called from any thread.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>

#include "ProRes/ProRes.h"
#include "vix/Buffers.h"
#include "vix/Diagnostics.h"
#include "vix/Registry.h"
#include "vix/StreamDescription.h"
#include "vix/Types.h"
#include "vix/WorkflowStepImplementation.h"

namespace vix {

// The codec library is called with these records by address: their layout is part of its ABI.
static_assert(sizeof(EncodeParamsRecord) == 8);
static_assert(offsetof(EncodeParamsRecord, codecType) == 0);
static_assert(offsetof(EncodeParamsRecord, interlaceMode) == 4);
static_assert(sizeof(PixelBufferRecord) == 24);
static_assert(offsetof(PixelBufferRecord, baseAddress) == 0);
static_assert(offsetof(PixelBufferRecord, rowBytes) == 8);
static_assert(offsetof(PixelBufferRecord, pixelFormat) == 12);
static_assert(offsetof(PixelBufferRecord, width) == 16);
static_assert(offsetof(PixelBufferRecord, height) == 20);

/// Returns the codec type of a variant, a WPRCodecType.
/// @throws std::runtime_error, without a log record, for any other value
inline std::uint32_t GetProResCodecType(ProResCodecVariant variant) {
  switch (variant) {
    case ProResCodecVariant::Proxy:
      return kWPRCodecProxy;
    case ProResCodecVariant::LT:
      return kWPRCodecLT;
    case ProResCodecVariant::Standard:
      return kWPRCodec422;
    case ProResCodecVariant::HQ:
      return kWPRCodecHQ;
  }
  throw std::runtime_error("Failed to convert prores codec variant to apple prores code type");
}

/// Returns the interlace mode of a scan mode, a WPRInterlaceMode; interlaced means top field first.
/// @throws std::runtime_error, without a log record, for any other value
inline std::uint32_t GetInterlaceMode(ScanMode scanMode) {
  switch (scanMode) {
    case ScanMode::Interlaced:
      return kWPRTopFieldFirst;
    case ScanMode::Progressive:
      return kWPRProgressive;
  }
  throw std::runtime_error("Failed to convert ScanMode to apple interlace mode");
}

/// Returns the pixel format of a host FourCC, a WPRPixelFormat, or 0 for any code but "UYVY" and
/// "V210". The only conversion between the host's codes (first character in the lowest byte) and
/// the library's (first character in the highest byte).
inline std::uint32_t FindPixelFormat(FourCC fourcc) {
  switch (fourcc) {
    case kFourCC_UYVY:
      return kWPRPixelFormat2vuy;
    case kFourCC_V210:
      return kWPRPixelFormatV210;
    default:
      return 0;
  }
}

/// Returns the pixel format of a host FourCC, a WPRPixelFormat.
/// @throws VIXRuntimeError "Unsupported fourcc" for any code but "UYVY" and "V210"
inline std::uint32_t GetPixelFormat(FourCC fourcc) {
  const std::uint32_t pixelFormat = FindPixelFormat(fourcc);
  if (pixelFormat == 0) FailUnbracketed("Unsupported fourcc");
  return pixelFormat;
}

/// Copies the thirteen common properties of `source` to `target`, or, if both are of the same codec
/// family, the whole description.
inline void CopyCommonProperties(const std::shared_ptr<const IVideoParameters>& source,
                                 IVideoParameters& target) {
  const VCodecFamily sourceFamily = source->GetCodecFamily();
  if (sourceFamily == target.GetCodecFamily()) {
    target.CopyFrom(source);
    return;
  }
  target.SetVideoProperty1(source->GetVideoProperty1());
  target.SetVideoProperty2(source->GetVideoProperty2());
  target.SetVideoProperty3(source->GetVideoProperty3());
  target.SetVideoProperty4(source->GetVideoProperty4());
  target.SetScanMode(source->GetScanMode());
  target.SetVideoProperty6(source->GetVideoProperty6());
  target.SetStoredWidth(source->GetStoredWidth());
  target.SetStoredHeight(source->GetStoredHeight());
  target.SetWidth(source->GetWidth());
  target.SetHeight(source->GetHeight());
  target.SetVideoProperty11(source->GetVideoProperty11());
  target.SetBitRate(source->GetBitRate());
  target.SetEditRate(source->GetEditRate());
}

/// Creates an allocator element that recycles memory blocks, the default source of frame memory.
inline std::shared_ptr<IMemoryBlockAllocator> CreateRecycler() {
  return ImplementElement<ElementFactoryType::MemoryBlockAllocator>("vix", "Recycler", nullptr);
}

}  // namespace vix

#endif  // SRC_VIDEOCODECPRORESCOMMON_H
