// SPDX-License-Identifier: BSD-2-Clause
#include "media/FrameWriter.h"

#include <algorithm>
#include <exception>
#include <span>
#include <utility>
#include <vector>

#include "base/FramePool.h"
#include "format/InputFormat.h"
#include "format/PlanarPicture.h"
#include "media/container/ContainerWriter.h"
#include "media/raw/Y4m.h"
#include "media/sequence/SequenceWriter.h"

namespace vixprores {
namespace {

// Writes frames back to back, without headers.
class RawFrameWriter : public FrameWriter {
 public:
  explicit RawFrameWriter(OutputFile& file) : file_(file) {}

  void Write(const std::shared_ptr<const vix::IVideoSample>& frame) override {
    file_.Write(BytesOf(*frame->GetBuffer()));
  }
  void Finish() override {}

 private:
  OutputFile& file_;
};

// Writes a Y4M stream of planar 4:2:2 pictures. Each worker thread lays out its own frame after
// the frame's header line, so that the writing thread makes one system call for it; the muxer of
// the container library would take planes and copy them line by line on the writing thread.
class Y4mWriter : public RawFrameWriter {
 public:
  Y4mWriter(OutputFile& file, const StreamFormat& stream)
      : RawFrameWriter(file), stream_(stream), planarBytes_(PlanarBytes(stream)) {
    const std::string header = MakeY4mHeader(stream_);
    file.Write(std::vector<std::uint8_t>(header.begin(), header.end()));
  }

  std::shared_ptr<const vix::IVideoSample> Pack(
      std::shared_ptr<const vix::IVideoSample> frame) const override {
    const std::string line = std::string(kY4mFrameMagic) + "\n";
    auto packed = pool_.MakeFrame(static_cast<std::uint32_t>(line.size()) + planarBytes_);
    const std::span bytes(packed->GetData(), packed->GetSize());
    std::ranges::copy(line, bytes.begin());
    UnpackPicture(stream_, BytesOf(*frame->GetBuffer()), bytes.subspan(line.size()));
    return vix::CreateVideoSample(frame->GetVideoParameters(), frame->GetVideoInfo(),
                                  std::move(packed), frame->GetTimeLimits(), {});
  }

 private:
  StreamFormat stream_;
  std::uint32_t planarBytes_;
  FramePool pool_;
};

}  // namespace

std::unique_ptr<FrameWriter> MakeFrameWriter(OutputFile& file, const OutputFormat& output,
                                             const MovieContent& content) {
  switch (output.kind) {
    case OutputKind::Y4m:
      return std::make_unique<Y4mWriter>(file, content.video);
    case OutputKind::Container:
      return std::make_unique<ContainerWriter>(file, output, content);
    default:
      return std::make_unique<RawFrameWriter>(file);
  }
}

KeptFrames KeepFrames(Output& file, FrameWriter& writer, std::int64_t frames) {
  const std::string kept = frames == 1
                               ? "1 frame before that is kept in "
                               : std::to_string(frames) + " frames before that are kept in ";
  try {
    writer.Finish();
    const std::string name = file.CommitPartial();
    return {name, "\n" + kept + name};
  } catch (const std::exception&) {
    const std::string work = writer.IsRecoverable() ? file.KeepWorkFile() : std::string();
    return {{},
            work.empty() ? "; nothing was kept"
                         : "\n" + kept + work + "; 'vixprores recover " + QuoteForShell(work) +
                               " OUTPUT' completes it"};
  }
}

OpenedOutput CreateOutput(const std::string& path, bool overwrite, const OutputFormat& format,
                          const MovieContent& content, const SequenceWriting& sequence) {
  if (format.kind == OutputKind::Images) {
    auto writer = std::make_shared<SequenceWriter>(path, overwrite, sequence, content);
    return {writer, writer};
  }
  auto file = std::make_shared<OutputFile>(path, overwrite);
  return {file, MakeFrameWriter(*file, format, content)};
}

}  // namespace vixprores
