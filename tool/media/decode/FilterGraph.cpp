// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/FilterGraph.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <regex>
#include <string_view>

#include "base/Errors.h"
#include "base/Text.h"
#include "media/container/Libav.h"
#include "media/decode/FilterLibrary.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/mem.h>
}

namespace vixprores {
namespace {

// A filter that treats each picture alike, whatever was before.
struct TimelessFilter {
  std::string_view name;
  bool takesExpressions = false;  ///< which may depend on time
};

constexpr TimelessFilter kTimelessFilters[] = {{"avgblur"},
                                               {"boxblur"},
                                               {"chromashift"},
                                               {"colorbalance"},
                                               {"colorchannelmixer"},
                                               {"colorlevels"},
                                               {"colorspace"},
                                               {"colortemperature"},
                                               {"crop", true},
                                               {"curves"},
                                               {"delogo", true},
                                               {"drawbox", true},
                                               {"drawgrid", true},
                                               {"eq", true},
                                               {"exposure"},
                                               {"fieldorder"},
                                               {"format"},
                                               {"gblur"},
                                               {"hflip"},
                                               {"hue", true},
                                               {"il"},
                                               {"limiter"},
                                               {"lut"},
                                               {"lut1d"},
                                               {"lut3d"},
                                               {"lutrgb"},
                                               {"lutyuv"},
                                               {"negate"},
                                               {"null"},
                                               {"pad", true},
                                               {"rotate", true},
                                               {"scale", true},
                                               {"setdar"},
                                               {"setfield"},
                                               {"setparams"},
                                               {"setrange"},
                                               {"setsar"},
                                               {"swapuv"},
                                               {"transpose"},
                                               {"unsharp"},
                                               {"vflip"},
                                               {"vibrance"},
                                               {"zscale"}};

// Variables and functions that give another value for each picture, and an option of scale that
// carries errors of rounding from one picture to the next.
const std::regex& WordsOfTime() {
  static const std::regex words("\\b(t|n|pos|pts|random|st|ld|sws_dither)\\b");
  return words;
}

// Returns true if the arguments, as in "1:x=2", make a picture depend on its time.
bool DependsOnTime(const TimelessFilter& filter, const std::string& arguments) {
  if (arguments.find("enable") != std::string::npos) return true;
  if (!filter.takesExpressions) return false;
  return std::ranges::any_of(Split(arguments, ':'), [](const std::string& argument) {
    const std::string name = argument.substr(0, argument.find('='));
    const std::string value = argument.substr(name.size() == argument.size() ? 0 : name.size() + 1);
    return std::regex_search(value, WordsOfTime()) || name == "sws_dither";
  });
}

struct InOutDeleter {
  void operator()(AVFilterInOut* ends) const { LoadFilterLibrary().avfilter_inout_free(&ends); }
};
using InOut = std::unique_ptr<AVFilterInOut, InOutDeleter>;

InOut MakeEnd(const char* name, AVFilterContext* filter) {
  InOut end(LoadFilterLibrary().avfilter_inout_alloc());
  if (!end) throw std::bad_alloc();
  end->name = av_strdup(name);
  end->filter_ctx = filter;
  if (!end->name) throw std::bad_alloc();
  return end;
}

// Filters open files as soon as they are parsed, so that the text itself is searched.
void CheckNames(const std::string& graph) {
  std::smatch found;
  if (!std::regex_search(graph, found, std::regex("(?:^|[,;\\]\\s])(a?movie|a?zmq)(?![\\w-])")))
    return;
  throw UnusableFilters("the filter " + found.str(1) +
                        " is not allowed, because it reads other inputs");
}

std::string DescribeSource(const PictureStream& stream, const AVFrame& first) {
  const auto text = [](AVRational value) {
    return std::to_string(value.num) + "/" + std::to_string(std::max(value.den, 1));
  };
  std::string arguments =
      "video_size=" + std::to_string(first.width) + "x" + std::to_string(first.height) +
      ":pix_fmt=" + std::to_string(first.format) + ":time_base=" + text(stream.tick) +
      ":pixel_aspect=" + text(stream.sampleAspect);
  if (stream.rate.num > 0) arguments += ":frame_rate=" + text(stream.rate);
  return arguments;
}

}  // namespace

void FilterGraph::GraphDeleter::operator()(AVFilterGraph* graph) const {
  LoadFilterLibrary().avfilter_graph_free(&graph);
}

FilterGraph::FilterGraph(const std::string& graph, const PictureStream& stream,
                         const AVFrame& first, int threads, const std::string& name)
    : library_(LoadFilterLibrary()), name_(name), graph_(library_.avfilter_graph_alloc()) {
  if (!graph_) throw std::bad_alloc();
  // Files that filters read are named by paths alone.
  if (graph.find("//") != std::string::npos) {
    throw UnusableFilters(
        "contains '//', as addresses of networks do; filters may read files only");
  }
  CheckNames(graph);
  graph_->nb_threads = threads;
  const MemoryWatch memory;
  const auto check = [&](int result) {
    if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
    memory.Check();
    if (result < 0) throw UnusableFilters(ExplainLibavError(result));
  };
  check(library_.avfilter_graph_create_filter(&source_, library_.avfilter_get_by_name("buffer"),
                                              "in", DescribeSource(stream, first).c_str(), nullptr,
                                              graph_.get()));
  check(library_.avfilter_graph_create_filter(&sink_, library_.avfilter_get_by_name("buffersink"),
                                              "out", nullptr, nullptr, graph_.get()));
  InOut outputs = MakeEnd("in", source_);
  InOut inputs = MakeEnd("out", sink_);
  AVFilterInOut* restOfOutputs = outputs.release();
  AVFilterInOut* restOfInputs = inputs.release();
  const int result = library_.avfilter_graph_parse_ptr(graph_.get(), graph.c_str(), &restOfInputs,
                                                       &restOfOutputs, nullptr);
  outputs.reset(restOfOutputs);
  inputs.reset(restOfInputs);
  check(result);
  check(library_.avfilter_graph_config(graph_.get(), nullptr));
}

void FilterGraph::Push(Picture picture) {
  if (picture) end_ = av_sat_add64(picture->pts, std::max<std::int64_t>(picture->pkt_duration, 0));
  const MemoryWatch memory;
  // Filters that change the rate need the end of the last picture.
  const int result = picture ? library_.av_buffersrc_add_frame(source_, picture.get())
                             : library_.av_buffersrc_close(source_, end_, 0);
  if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
  memory.Check();
  // A filter may need no more pictures, as trim does.
  if (result < 0 && result != AVERROR_EOF) {
    throw Failure(name_ + ": the filters cannot take a picture: " + ExplainLibavError(result));
  }
}

Picture FilterGraph::Pull() {
  Picture picture = MakePicture();
  const MemoryWatch memory;
  const int result = library_.av_buffersink_get_frame(sink_, picture.get());
  if (result >= 0) return picture;
  if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return nullptr;
  if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
  memory.Check();
  throw Failure(name_ + ": the filters failed: " + ExplainLibavError(result));
}

PictureStream FilterGraph::GetStream() const {
  return {library_.av_buffersink_get_time_base(sink_), library_.av_buffersink_get_frame_rate(sink_),
          library_.av_buffersink_get_sample_aspect_ratio(sink_),
          library_.av_buffersink_get_w(sink_), library_.av_buffersink_get_h(sink_)};
}

std::optional<std::string> FilterGraph::FindUntested(const std::string& graph) {
  for (const std::string& filter : Split(graph, ',')) {
    const std::size_t sign = std::min(filter.find('='), filter.size());
    const std::string name = filter.substr(0, sign);
    const auto known = std::ranges::find(kTimelessFilters, name, &TimelessFilter::name);
    const bool isChain = filter.find_first_of("[;") == std::string::npos;
    if (!isChain || known == std::end(kTimelessFilters) ||
        DependsOnTime(*known, filter.substr(std::min(sign + 1, filter.size())))) {
      return filter;
    }
  }
  return std::nullopt;
}

std::vector<std::string> FilterGraph::TimelessFilters() {
  std::vector<std::string> names;
  for (const TimelessFilter& filter : kTimelessFilters) names.emplace_back(filter.name);
  return names;
}

}  // namespace vixprores
