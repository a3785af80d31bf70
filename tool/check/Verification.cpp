// SPDX-License-Identifier: BSD-2-Clause
#include "check/Verification.h"

#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "frames/FrameHeaders.h"
#include "media/FrameReader.h"
#include "media/sound/SideTracks.h"
#include "run/Elements.h"
#include "run/OrderedRun.h"

namespace vixprores {
namespace {

// A frame between the reader and the result.
struct Item {
  DamagedFrame frame;  // damaged or intact
  std::optional<ParsedHeader> header;
  std::shared_ptr<vix::IBuffer> bytes;
};

class Run {
 public:
  Run(FrameReader& reader, const VerificationEvents& events, Verification& result)
      : reader_(reader), events_(events), result_(result) {}

  std::optional<Item> Read() {
    CheckInterrupt();
    Item item;
    FramePlace& place = item.frame.place;
    try {
      const auto frame = reader_.Read();
      DropSound();
      if (!frame) return std::nullopt;
      place.number = frame->number;
      place.offset = frame->offset;
      item.bytes = frame->data;
      item.header = frame->header;
      if (!frame->fault.empty()) item.frame.check.faults.push_back(frame->fault);
    } catch (const FrameFailure& failure) {
      place.number = failure.GetFrame();
      place.count = failure.GetCount();
      place.offset = failure.GetOffset();
      item.frame.check.faults.push_back(failure.GetFound());
    }
    const auto& timecode = reader_.GetDescription().timecode;
    if (timecode) place.timecode = *timecode + place.number;
    return item;
  }

  void Write(Item& item) {
    DamagedFrame& frame = item.frame;
    result_.frames += frame.place.count;
    if (item.bytes) bytes_ += item.bytes->GetSize();
    if (events_.checked) {
      events_.checked(frame, item.bytes ? BytesOf(*item.bytes) : std::span<const std::uint8_t>());
    }
    if (!frame.check.IsIntact()) {
      result_.damagedFrames += frame.place.count;
      events_.damaged(frame);
      Keep(std::move(frame));
    }
    events_.progress(result_.frames, bytes_);
  }

 private:
  void Keep(DamagedFrame frame) {
    FrameCheck& check = frame.check;
    if (keptSlices_ + check.slices.size() > kMostKeptSlices) {
      const auto slices = std::exchange(check.slices, {});
      check.faults.push_back(Count(std::ssize(slices), "damaged slice") + ", not listed");
    }
    keptSlices_ += check.slices.size();
    result_.damage.push_back(std::move(frame));
  }

  // Drops the sound that was read, but keeps the damage found in it.
  void DropSound() {
    SideTracks* const side = reader_.GetSideTracks();
    if (!side) return;
    side->TakeSound();
    const std::vector<SoundDamage> damage = side->GetSoundDamage();
    std::vector<SoundDamage>& known = result_.soundDamage;
    known.insert(known.end(), damage.begin() + std::ssize(known), damage.end());
  }

  FrameReader& reader_;
  const VerificationEvents& events_;
  Verification& result_;
  std::uint64_t bytes_ = 0;
  std::size_t keptSlices_ = 0;
};

}  // namespace

void VerifyFrames(FrameReader& reader, int threads, const VerificationEvents& events,
                  Verification& result) {
  Run run(reader, events, result);
  RunEnds<Item> ends;
  ends.read = [&run] { return run.Read(); };
  const auto check = [](Item& item, unsigned /*worker*/) {
    if (!item.bytes) return;
    // Put the reader's fault (a differing checksum) last: it explains less than the faults in the
    // frame.
    FrameCheck found = CheckFrame(BytesOf(*item.bytes), item.header);
    found.Add(std::exchange(item.frame.check, {}));
    item.frame.check = std::move(found);
  };
  ends.write = [&run](Item& item, const std::exception_ptr& failure) {
    if (failure) std::rethrow_exception(failure);
    run.Write(item);
  };
  ends.stopReading = RequestInterrupt;
  const unsigned workers = ShareThreads(threads, reader.GetDescription().frames).elements;
  RunInOrder<Item>(workers, ends, check);
}

StreamStatistics DescribeInput(FrameReader& reader) {
  const InputDescription& input = reader.GetDescription();
  StreamStatistics stream;
  stream.name = input.name;
  stream.format = input.format;
  stream.stored = input.stored;
  stream.missingFiles = input.missingFiles;
  if (input.isSequence) {
    stream.files = FrameRange{input.firstNumber, input.firstNumber + *input.frames - 1};
  }
  stream.container = input.container;
  stream.timecode = input.timecode;
  stream.framesInFile = input.frames;
  stream.metadata = input.metadata;
  if (const SideTracks* const side = reader.GetSideTracks()) stream.sound = side->GetSound();
  stream.targetBytes = FindTargetBytes(stream.format);
  return stream;
}

void InspectFrames(FrameReader& reader, const std::optional<FrameRange>& range, bool listSlices,
                   StreamStatistics& stream, NotableFrames& notable) {
  RangeReader frames(reader, ResolveRange(range, reader));
  std::size_t listed = 0;  // slices
  for (;;) {
    std::optional<NumberedFrame> frame;
    try {
      frame = frames.Read();
    } catch (const FrameFailure& failure) {
      AddMissing(stream, failure);
      continue;
    }
    if (!frame) return;
    const auto bytes = BytesOf(*frame->data);
    const FrameStructure structure = ReadFrameStructure(bytes, frame->header);
    FrameStatistics statistics = MeasureFrame(structure, bytes);
    statistics.number = frame->number;
    statistics.offset = frame->offset;
    if (statistics.fault.empty()) statistics.fault = frame->fault;
    if (listSlices && statistics.slices <= kMostListedSlices - listed) {
      listed += statistics.slices;
      statistics.sliceList = ListSlices(structure);
    } else if (listSlices && !stream.firstUnlisted) {
      stream.firstUnlisted = frame->number;
    }
    notable.Add(*frame, statistics);
    AddFrame(stream, structure, std::move(statistics));
  }
}

void VerifiedStream::Add(const DamagedFrame& frame, std::span<const std::uint8_t> bytes) {
  FrameStatistics seen;
  seen.number = frame.place.number;
  seen.count = frame.place.count;
  seen.offset = frame.place.offset;
  seen.isThere = !bytes.empty();
  seen.bytes = bytes.size();
  seen.fault = frame.check.Describe();
  if (seen.isThere) statistics.bytes.Add(static_cast<double>(seen.bytes));
  if (!frame.check.IsIntact()) statistics.faulty += seen.count;
  statistics.frames.push_back(std::move(seen));
  if (frame.check.IsIntact() && !statistics.header) statistics.header = ParseHeader(bytes);
  if (frame.check.slices.empty() || maps.size() == kMostMaps) return;
  SliceGrid grid = LayOutSlices(ReadFrameStructure(bytes));
  if (grid.Count() > 0) maps.push_back({frame.place, std::move(grid), frame.check.slices});
}

}  // namespace vixprores
