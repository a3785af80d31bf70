// SPDX-License-Identifier: BSD-2-Clause
#include "run/Relabel.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Limits.h"
#include "frames/FrameLabels.h"
#include "media/InputFile.h"
#include "media/container/FilePatch.h"
#include "media/container/MovFile.h"
#include "media/container/MovLabels.h"
#include "media/container/PacketTag.h"
#include "run/Copy.h"
#include "run/EarlierRun.h"
#include "run/OpenInput.h"

namespace vixprores {
namespace {

using vix::MakeFourCC;
using Bytes = std::vector<std::uint8_t>;

constexpr std::int64_t kAtomHeader = 8;
constexpr std::int64_t kTagBytes = PacketTag::kBytes;
constexpr std::int64_t kLabels = kLabelledBytes;

[[noreturn]] void RefuseInPlace(const std::string& name, const std::string& why) {
  throw Failure(name + ": " + why + "; leave out --in-place and name an output");
}

Bytes ReadBytes(const InputFile& file, std::int64_t position, std::int64_t count) {
  Bytes bytes(static_cast<std::size_t>(count));
  bytes.resize(file.ReadAt(position, bytes));
  if (std::ssize(bytes) == count) return bytes;
  throw Failure(file.GetName() + ": is cut short");
}

// Finds the atom with the tracks. Refuses files that an atom at their end would make unreadable.
MovAtom FindMovie(const InputFile& file) {
  std::optional<MovAtom> movie;
  if (FindBrokenAtom(file)) RefuseInPlace(file.GetName(), "is no complete .mov");
  for (std::int64_t position = 0; position < *file.GetSize();) {
    const auto atom = ReadAtom(file, position);
    if (atom->type == MakeFourCC("moof")) RefuseInPlace(file.GetName(), "has fragments");
    if (atom->isOpen) RefuseInPlace(file.GetName(), "has media up to its end");
    if (atom->type == MakeFourCC("moov")) movie = atom;
    position = atom->end;
  }
  if (!movie) RefuseInPlace(file.GetName(), "is no .mov");
  if (movie->end - movie->contents > kMostMovieHeaderBytes) {
    RefuseInPlace(file.GetName(), "has a movie header of implausible size");
  }
  return *movie;
}

// Collects the changes of one file.
class Relabelling {
 public:
  Relabelling(const CopyOptions& options, const std::string& path)
      : labels_(ToFrameLabels(options.labels)), file_(path), reader_(OpenInPlace(path)) {
    stream_ = labels_.Correct(reader_->GetFormat());
    if (labels_.primaries || labels_.transfer || labels_.matrix) {
      movieLabels_.colour = stream_.colour;
    }
    movieLabels_.sampleAspect = labels_.sampleAspect;
    if (options.timecode) movieLabels_.timecode = Timecode::Parse(*options.timecode, stream_.rate);
    movieLabels_.reel = options.reel;
    movieLabels_.title = options.title;
  }

  std::vector<FilePatch> Collect(RunReport& report, RunObserver& observer) {
    report.source = reader_->GetFormat();
    report.result = stream_;
    report.soundTracks = reader_->GetSideTracks()->GetSound().size();
    const auto timecode =
        movieLabels_.timecode ? movieLabels_.timecode : reader_->GetDescription().timecode;
    if (timecode) report.timecode = timecode->ToText();
    PatchMovie();
    PatchDescription();
    PatchFrames(report, observer);
    return std::move(patches_);
  }

 private:
  static std::unique_ptr<FrameReader> OpenInPlace(const std::string& path) {
    ProResOptions opening;
    opening.inPlace = true;
    opening.times = FrameTimes::Ignored;
    return OpenProRes(path, opening);
  }

  void PatchMovie() {
    const MovAtom movie = FindMovie(file_);
    const std::int64_t begin = movie.contents - kAtomHeader;
    const Bytes before = ReadBytes(file_, begin, movie.end - begin);
    Atom root = ParseAtoms(before);
    const auto timecode = SetMovLabels(movieLabels_, file_.GetName(), root);
    Bytes after = WriteAtom(root);
    if (timecode) PatchTimecode(*timecode);
    if (after == before) return;
    if (after.size() == before.size()) {
      patches_.push_back({begin, std::move(after)});
      return;
    }
    constexpr std::array<std::uint8_t, 4> kFree{'f', 'r', 'e', 'e'};
    patches_.push_back({*file_.GetSize(), std::move(after)});
    patches_.push_back({begin + 4, {kFree.begin(), kFree.end()}});
  }

  void PatchTimecode(const TimecodeSample& sample) {
    if (sample.position < 0 || sample.position > *file_.GetSize() - 4) {
      RefuseInPlace(file_.GetName(), "the index of its timecode leads outside of the file");
    }
    patches_.push_back({sample.position, {sample.bytes.begin(), sample.bytes.end()}});
  }

  // The description before the packets keeps its size; free space after it gives and takes.
  void PatchDescription() {
    const auto first = FindFirstTag(file_);
    if (!first) return;
    PacketTag tag = first->tag;
    if (tag.track != PacketTag::kDescription || tag.packetBytes > kMostMovieHeaderBytes) {
      RefuseInPlace(file_.GetName(), "the description before its packets is damaged");
    }
    const std::int64_t begin = first->packet - kTagBytes;
    const Bytes before = ReadBytes(file_, first->packet, tag.packetBytes);
    if (HashPacket(before) != tag.packetHash) {
      RefuseInPlace(file_.GetName(), "the description before its packets is damaged");
    }
    Atom root = ParseAtoms(before);
    SetDescriptionLabels(movieLabels_, file_.GetName(), root);
    const Bytes after = FitDescription(std::move(root), std::ssize(before));
    if (after == before) return;
    tag.packetHash = HashPacket(after);
    const auto newTag = WritePacketTag(tag);
    Bytes bytes(newTag.begin(), newTag.end());
    std::ranges::copy(after, std::back_inserter(bytes));
    patches_.push_back({begin, std::move(bytes)});
  }

  Bytes FitDescription(Atom root, std::int64_t wanted) const {
    root.Remove(MakeFourCC("free"));
    const std::int64_t bytes = std::ssize(WriteAtom(root));
    const bool fits = bytes == wanted || bytes + kAtomHeader <= wanted;
    if (!fits) {
      RefuseInPlace(file_.GetName(),
                    "the description before its packets has no room for the labels");
    }
    if (bytes < wanted)
      root.Add(MakeFourCC("free"))
          .bytes.resize(static_cast<std::size_t>(wanted - bytes - kAtomHeader));
    return WriteAtom(root);
  }

  void PatchFrames(RunReport& report, RunObserver& observer) {
    isTagged_ = HasPacketTags(file_);
    while (const auto frame = reader_->Read()) {
      CheckInterrupt();
      if (labels_.ChangeHeaders()) PatchFrame(*frame);
      reader_->CheckFramesInUse();
      report.sourceBytes += frame->data->GetSize();
      ++report.frames;
      observer.ReportProgress(report, reader_->GetDescription().frames);
    }
    report.resultBytes = report.sourceBytes;
  }

  void PatchFrame(const NumberedFrame& frame) {
    const std::span bytes(frame.data->GetData(), frame.data->GetSize());
    if (!frame.header || !frame.fault.empty()) {
      throw FrameFailure(file_.GetName(), frame.number,
                         frame.header ? frame.fault : "has no readable frame header",
                         "leave out --in-place to copy the others with --on-error skip", 1,
                         frame.offset);
    }
    const std::int64_t tagBytes = isTagged_ ? kTagBytes : 0;
    const std::int64_t begin = frame.offset.value_or(0) - tagBytes;
    const Bytes before = begin > 0 ? ReadBytes(file_, begin, tagBytes + kLabels) : Bytes();
    if (before.empty() ||
        !prores::HasFramePrefix(std::span(before).subspan(static_cast<std::size_t>(tagBytes)))) {
      RefuseInPlace(file_.GetName(), "its frames have no prefix with size and 'icpf'");
    }
    WriteLabels(labels_, stream_, bytes.first(kLabelledBytes));
    Bytes after;
    if (isTagged_) after = MakeTag(before, bytes);
    std::ranges::copy(bytes.first(kLabelledBytes), std::back_inserter(after));
    if (after != before) patches_.push_back({begin, std::move(after)});
  }

  // The frame is intact, so its tag is.
  static Bytes MakeTag(const Bytes& before, std::span<const std::uint8_t> frame) {
    auto tag = ReadPacketTag(before);
    Ensure(tag.has_value(), "an intact frame of a tagged file has a tag");
    tag->packetHash = HashPacket(frame);
    const auto bytes = WritePacketTag(*tag);
    return {bytes.begin(), bytes.end()};
  }

  FrameLabels labels_;
  InputFile file_;
  std::unique_ptr<FrameReader> reader_;
  StreamFormat stream_;
  MovLabels movieLabels_;
  bool isTagged_ = false;
  std::vector<FilePatch> patches_;
};

bool HasLabels(const CopyOptions& options) {
  return ToFrameLabels(options.labels).ChangeHeaders() || options.timecode || options.reel ||
         options.title;
}

}  // namespace

void RelabelInPlace(const CopyOptions& options, RunReport& report, RunObserver& observer) {
  using std::chrono::steady_clock;
  const auto start = steady_clock::now();
  const std::string& path = options.input;
  const bool wasInterrupted = IsHalfPatched(path);
  if (wasInterrupted) {
    UndoPatches(path);
    observer.ReportNote(path + ": restores the labels from before a run that was interrupted");
  }
  if (!wasInterrupted && !HasLabels(options)) {
    throw UsageError("--in-place needs the labels to set, for example --color bt709");
  }
  const auto patches = Relabelling(options, path).Collect(report, observer);
  RemoveRunMark(path);  // a batch must not take over the changed frames
  ApplyPatches(path, patches);
  report.status = RunReport::Status::Done;
  report.output = path;
  report.outputBytes = InputFile(path).GetSize().value_or(0);
  report.seconds = std::chrono::duration<double>(steady_clock::now() - start).count();
}

}  // namespace vixprores
