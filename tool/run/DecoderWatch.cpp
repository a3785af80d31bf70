// SPDX-License-Identifier: BSD-2-Clause
#include "run/DecoderWatch.h"

#include <dlfcn.h>

#include <utility>

#include "ProRes/ProRes.h"

namespace {

using DecodeFrame = decltype(&WPRDecodeFrame);

thread_local std::int32_t t_answer = 0;

// The library's own call. The library is in memory, as one of its decoders is there to be called
// with, but maybe not where the dynamic linker looks for what comes behind the program: plug-ins
// have scopes of their own.
DecodeFrame FindLibraryCall() {
  void* const library = dlopen(VIX_CODEC_NAME, RTLD_LAZY | RTLD_NOLOAD);
  return library ? reinterpret_cast<DecodeFrame>(dlsym(library, "WPRDecodeFrame")) : nullptr;
}

}  // namespace

extern "C" std::int32_t WPRDecodeFrame(WPRDecoderHandle decoder, const std::uint8_t* frame,
                                       std::uint32_t frameBytes, PixelBufferRecord* destination,
                                       std::uint8_t fieldFlag) {
  static const DecodeFrame libraryCall = FindLibraryCall();
  t_answer = libraryCall ? libraryCall(decoder, frame, frameBytes, destination, fieldFlag)
                         : std::int32_t{kWPRUnsupported};
  return t_answer;
}

namespace vixprores {

std::int32_t TakeDecoderAnswer() {
  return std::exchange(t_answer, 0);
}

}  // namespace vixprores
