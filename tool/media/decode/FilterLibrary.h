// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_FILTERLIBRARY_H
#define TOOL_MEDIA_DECODE_FILTERLIBRARY_H

/// @file
/// libavfilter, loaded when it is first used: it and the libraries behind it would make every start
/// of the program half as long again.

#include <cstdint>  // whose macros libavutil requires

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

namespace vixprores {

/// The functions of the library that the program uses, under their own names.
struct FilterLibrary {
  decltype(::avfilter_get_by_name)* avfilter_get_by_name;
  decltype(::avfilter_graph_alloc)* avfilter_graph_alloc;
  decltype(::avfilter_graph_config)* avfilter_graph_config;
  decltype(::avfilter_graph_create_filter)* avfilter_graph_create_filter;
  decltype(::avfilter_graph_free)* avfilter_graph_free;
  decltype(::avfilter_graph_parse_ptr)* avfilter_graph_parse_ptr;
  decltype(::avfilter_inout_alloc)* avfilter_inout_alloc;
  decltype(::avfilter_inout_free)* avfilter_inout_free;
  decltype(::av_buffersink_get_frame)* av_buffersink_get_frame;
  decltype(::av_buffersink_get_frame_rate)* av_buffersink_get_frame_rate;
  decltype(::av_buffersink_get_h)* av_buffersink_get_h;
  decltype(::av_buffersink_get_sample_aspect_ratio)* av_buffersink_get_sample_aspect_ratio;
  decltype(::av_buffersink_get_time_base)* av_buffersink_get_time_base;
  decltype(::av_buffersink_get_w)* av_buffersink_get_w;
  decltype(::av_buffersrc_add_frame)* av_buffersrc_add_frame;
  decltype(::av_buffersrc_close)* av_buffersrc_close;
};

/// Returns the library. Any thread may call it.
/// @throws Failure that names the library if it cannot be loaded
const FilterLibrary& LoadFilterLibrary();

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_FILTERLIBRARY_H
