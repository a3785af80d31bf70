// SPDX-License-Identifier: BSD-2-Clause
#include "FakeCodec.h"

#include <algorithm>
#include <string>

#include "FakeHost.h"

namespace fake {
namespace {

std::string HandleName(const void* handle) {
  return handle == nullptr ? "null" : "handle" + Join(reinterpret_cast<std::uintptr_t>(handle));
}

/// Returns a four-character code of the library as text.
std::string CodeText(std::uint32_t code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(code >> shift & 0xFF);
  return text;
}

void* Open(const char* function, std::int32_t numThreads, const void* reserved) {
  TheHost().Call(function, Join(numThreads, HandleName(reserved)));
  if (TheCodec().openFailures > 0) {
    --TheCodec().openFailures;
    return nullptr;
  }
  return reinterpret_cast<void*>(++TheCodec().handles);
}

}  // namespace

Codec& TheCodec() {
  static Codec codec;
  return codec;
}

}  // namespace fake

using fake::CodeText;
using fake::HandleName;
using fake::Join;
using fake::TheCodec;
using fake::TheHost;

WPREncoderHandle WPROpenEncoder(int32_t numThreads, void* reserved) {
  return fake::Open("WPROpenEncoder", numThreads, reserved);
}

int32_t WPRGetCompressedFrameSize(uint32_t codecType, uint32_t width, uint32_t height,
                                  uint32_t* maxBytes, uint32_t* targetBytes) {
  TheHost().Call("WPRGetCompressedFrameSize",
                 Join(CodeText(codecType), width, height, *maxBytes, *targetBytes));
  *maxBytes = TheCodec().maxBytes;
  return kWPRUnsupported;  // the plug-in ignores it
}

int32_t WPREncodeFrame(WPREncoderHandle encoder, const EncodeParamsRecord* params,
                       const PixelBufferRecord* source, uint8_t* destination,
                       uint32_t destinationSize, uint32_t* compressedBytes) {
  TheHost().Call("WPREncodeFrame",
                 Join(HandleName(encoder), CodeText(params->codecType), params->interlaceMode,
                      CodeText(source->pixelFormat), source->width, source->height,
                      source->rowBytes, destinationSize, *compressedBytes));
  TheCodec().encoded.push_back({encoder, *params, *source, destination, destinationSize});
  if (TheCodec().encodeResult != kWPRSuccess) return TheCodec().encodeResult;
  const auto& frame = TheCodec().compressed;
  std::copy(frame.begin(), frame.end(), destination);
  *compressedBytes = static_cast<uint32_t>(frame.size());
  return kWPRSuccess;
}

void WPRCloseEncoder(WPREncoderHandle encoder) {
  TheHost().Call("WPRCloseEncoder", HandleName(encoder));
}

WPRDecoderHandle WPROpenDecoder(int32_t numThreads, void* reserved) {
  return fake::Open("WPROpenDecoder", numThreads, reserved);
}

int32_t WPRDecodeFrame(WPRDecoderHandle decoder, const uint8_t* frame, uint32_t frameBytes,
                       PixelBufferRecord* destination, uint8_t fieldFlag) {
  TheHost().Call(
      "WPRDecodeFrame",
      Join(HandleName(decoder), frameBytes, CodeText(destination->pixelFormat), destination->width,
           destination->height, destination->rowBytes, static_cast<int>(fieldFlag)));
  TheCodec().decoded.push_back({decoder, frame, frameBytes, *destination, fieldFlag});
  return TheCodec().decodeResult;
}

void WPRCloseDecoder(WPRDecoderHandle decoder) {
  TheHost().Call("WPRCloseDecoder", HandleName(decoder));
}
