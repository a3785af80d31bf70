// SPDX-License-Identifier: BSD-2-Clause
// Lets objects of libav that the program makes fail like allocations. The linker (--wrap) sends the
// calls of the program's own code here; those among the libraries are not changed.
#include "Allocations.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

using prores::test::allocations;

constexpr int kNoMemory = AVERROR(ENOMEM);

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier)
#define VIX_MAY_FAIL(result, failure, name, parameters, arguments)        \
  result __real_##name parameters;                                        \
  result __wrap_##name parameters {                                       \
    return allocations.FailsNext() ? (failure) : __real_##name arguments; \
  }

extern "C" {
VIX_MAY_FAIL(AVPacket*, nullptr, av_packet_alloc, (), ())
VIX_MAY_FAIL(AVPacket*, nullptr, av_packet_clone, (const AVPacket* packet), (packet))
VIX_MAY_FAIL(int, kNoMemory, av_new_packet, (AVPacket * packet, int bytes), (packet, bytes))
VIX_MAY_FAIL(AVFrame*, nullptr, av_frame_alloc, (), ())
VIX_MAY_FAIL(AVFrame*, nullptr, av_frame_clone, (const AVFrame* frame), (frame))
VIX_MAY_FAIL(int, kNoMemory, av_frame_get_buffer, (AVFrame * frame, int align), (frame, align))
VIX_MAY_FAIL(AVCodecParameters*, nullptr, avcodec_parameters_alloc, (), ())
VIX_MAY_FAIL(int, kNoMemory, avcodec_parameters_copy,
             (AVCodecParameters * to, const AVCodecParameters* from), (to, from))
VIX_MAY_FAIL(AVFormatContext*, nullptr, avformat_alloc_context, (), ())
VIX_MAY_FAIL(AVStream*, nullptr, avformat_new_stream,
             (AVFormatContext * file, const AVCodec* codec), (file, codec))
VIX_MAY_FAIL(char*, nullptr, av_strdup, (const char* text), (text))
VIX_MAY_FAIL(void*, nullptr, av_malloc, (std::size_t bytes), (bytes))
}
// NOLINTEND(bugprone-reserved-identifier)
