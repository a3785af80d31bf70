// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_FILTERGRAPH_H
#define TOOL_MEDIA_DECODE_FILTERGRAPH_H

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "media/decode/VideoDecoder.h"

struct AVFilterContext;
struct AVFilterGraph;

namespace vixprores {

struct FilterLibrary;

/// Properties of a stream of pictures.
struct PictureStream {
  AVRational tick{0, 1};  ///< of times, in seconds
  AVRational rate{0, 1};  ///< pictures per second; 0 = unknown
  AVRational sampleAspect{0, 1};
  int width = 0;
  int height = 0;
};

/// Pictures cannot go through a graph of filters; the text says why.
class UnusableFilters : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A graph of libavfilter with one input and one output of pictures. Used by one thread.
class FilterGraph {
 public:
  /// @param graph   filters in the notation of libavfilter: "crop=1280:720,lut3d=show.cube"
  /// @param stream  of the pictures that go in
  /// @param first   the first of them
  /// @param name    of the input, for messages
  /// @throws UnusableFilters also for filters that read other streams or could open network
  ///         connections
  FilterGraph(const std::string& graph, const PictureStream& stream, const AVFrame& first,
              int threads, const std::string& name);

  /// Takes the next picture; null ends the stream.
  void Push(Picture picture);
  /// Returns the next filtered picture; null if another one is needed, or the stream has ended.
  Picture Pull();
  /// Properties of the pictures that come out.
  PictureStream GetStream() const;

  /// Returns a filter of the graph that is not known to make each picture of one picture alone,
  /// independently of its time and number; nullopt = all are known to.
  static std::optional<std::string> FindUntested(const std::string& graph);
  /// Returns the names of the filters that are.
  static std::vector<std::string> TimelessFilters();

 private:
  struct GraphDeleter {
    void operator()(AVFilterGraph* graph) const;
  };

  const FilterLibrary& library_;
  std::string name_;
  std::unique_ptr<AVFilterGraph, GraphDeleter> graph_;
  AVFilterContext* source_ = nullptr;
  AVFilterContext* sink_ = nullptr;
  std::int64_t end_ = 0;  ///< of the last picture that went in, in ticks
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_FILTERGRAPH_H
