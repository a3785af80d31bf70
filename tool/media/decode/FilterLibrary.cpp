// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/FilterLibrary.h"

#include <dlfcn.h>

#include <string>

#include "base/Errors.h"

extern "C" {
#include <libavutil/macros.h>
}

namespace vixprores {
namespace {

constexpr const char* kName = "libavfilter.so." AV_STRINGIFY(LIBAVFILTER_VERSION_MAJOR);

[[noreturn]] void FailToLoad() {
  throw Failure(std::string("filters need ") + kName + ", which cannot be loaded: " + dlerror() +
                "; install it with the package manager");
}

template <typename Function>
void Find(void* library, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(dlsym(library, name));
  if (!function) FailToLoad();
}

// Stays loaded until the program ends, because the libraries behind it do not unload cleanly.
FilterLibrary Load() {
  void* const library = dlopen(kName, RTLD_LAZY | RTLD_LOCAL);
  if (!library) FailToLoad();
  FilterLibrary functions{};
  Find(library, "avfilter_get_by_name", functions.avfilter_get_by_name);
  Find(library, "avfilter_graph_alloc", functions.avfilter_graph_alloc);
  Find(library, "avfilter_graph_config", functions.avfilter_graph_config);
  Find(library, "avfilter_graph_create_filter", functions.avfilter_graph_create_filter);
  Find(library, "avfilter_graph_free", functions.avfilter_graph_free);
  Find(library, "avfilter_graph_parse_ptr", functions.avfilter_graph_parse_ptr);
  Find(library, "avfilter_inout_alloc", functions.avfilter_inout_alloc);
  Find(library, "avfilter_inout_free", functions.avfilter_inout_free);
  Find(library, "av_buffersink_get_frame", functions.av_buffersink_get_frame);
  Find(library, "av_buffersink_get_frame_rate", functions.av_buffersink_get_frame_rate);
  Find(library, "av_buffersink_get_h", functions.av_buffersink_get_h);
  Find(library, "av_buffersink_get_sample_aspect_ratio",
       functions.av_buffersink_get_sample_aspect_ratio);
  Find(library, "av_buffersink_get_time_base", functions.av_buffersink_get_time_base);
  Find(library, "av_buffersink_get_w", functions.av_buffersink_get_w);
  Find(library, "av_buffersrc_add_frame", functions.av_buffersrc_add_frame);
  Find(library, "av_buffersrc_close", functions.av_buffersrc_close);
  return functions;
}

}  // namespace

const FilterLibrary& LoadFilterLibrary() {
  static const FilterLibrary library = Load();
  return library;
}

}  // namespace vixprores
