/* SPDX-License-Identifier: BSD-2-Clause */
#include "HostApiFromC.h"

#include <ProRes/ProResHost.h>

static void CopySlices(void* context, const DecodeReportRecord* report) {
  *(uint32_t*)context = report->slices;
}

uint32_t DecodeFromC(const uint8_t* frame, uint32_t frameBytes,
                     const PixelBufferRecord* destination) {
  uint32_t slices = 0;
  PixelBufferRecord picture = *destination;
  FrameLimitsRecord limits;
  WPRDecoderHandle decoder;
  if (WPRSetDefaultThreads(1) != kWPRSuccess) return 0;
  if (WPRSetProcessorLevel(WPRGetHighestProcessorLevel()) != kWPRSuccess) return 0;
  limits.recordBytes = sizeof limits;
  limits.width = destination->width;
  limits.height = destination->height;
  limits.pixels = UINT32_MAX;
  decoder = WPROpenDecoder(0, 0);
  if (WPRSetDecodeLimits(decoder, &limits) != kWPRSuccess) return 0;
  WPRSetDecodeObserver(CopySlices, &slices);
  if (WPRDecodeFrame(decoder, frame, frameBytes, &picture, 0) != kWPRSuccess) slices = 0;
  WPRSetDecodeObserver(0, 0);
  WPRCloseDecoder(decoder);
  return slices;
}
