// SPDX-License-Identifier: BSD-2-Clause
#include "check/Verification.h"

#include <iterator>
#include <memory>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "frames/StreamHeaders.h"
#include "media/sound/SideTracks.h"
#include "run/ElementTeam.h"
#include "run/OrderedPipeline.h"

namespace vixprores {
namespace {

// A frame on its way from the reader to the result.
struct Item {
  DamagedFrame frame;  // whether or not it is damaged
  std::shared_ptr<vix::IBuffer> bytes;
};

class Run {
 public:
  Run(FrameReader& reader, const VerificationEvents& events, Verification& result)
      : reader_(reader), events_(events), result_(result) {}

  std::optional<Item> Read() {
    if (InterruptRequested()) throw Interrupted();
    Item item;
    FramePlace& place = item.frame.place;
    try {
      item.bytes = reader_.Read();
      DropSound();
      if (!item.bytes) return std::nullopt;
      const std::string fault = reader_.GetFrameFault();
      if (!fault.empty()) item.frame.check.faults.push_back(fault);
    } catch (const FrameFailure& failure) {
      place.count = failure.GetCount();
      item.frame.check.faults.push_back(failure.GetFound());
    }
    place.number = std::exchange(framesRead_, framesRead_ + place.count);
    if (reader_.GetTimecode()) place.timecode = *reader_.GetTimecode() + place.number;
    place.offset = reader_.GetFrameOffset();
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
      result_.damage.push_back(std::move(frame));
    }
    events_.progress(result_.frames, bytes_);
  }

 private:
  // Only what is wrong with it is of interest.
  void DropSound() {
    SideTracks* const side = reader_.GetSideTracks();
    if (!side) return;
    side->TakeSound();
    const std::vector<SoundDamage>& damage = side->GetSoundDamage();
    std::vector<SoundDamage>& told = result_.soundDamage;
    told.insert(told.end(), damage.begin() + std::ssize(told), damage.end());
  }

  FrameReader& reader_;
  const VerificationEvents& events_;
  Verification& result_;
  std::int64_t framesRead_ = 0;
  std::uint64_t bytes_ = 0;
};

}  // namespace

void VerifyFrames(FrameReader& reader, int threads, const VerificationEvents& events,
                  Verification& result) {
  Run run(reader, events, result);
  PipelineStages<Item> stages;
  stages.read = [&run] { return run.Read(); };
  stages.process = [](Item& item, unsigned /*worker*/) {
    if (!item.bytes) return;
    // What is seen in the frame explains more than that its checksum differs.
    FrameCheck check = CheckFrame(BytesOf(*item.bytes));
    check.Add(std::exchange(item.frame.check, {}));
    item.frame.check = std::move(check);
  };
  stages.write = [&run](Item& item, const std::exception_ptr& failure) {
    if (failure) std::rethrow_exception(failure);
    run.Write(item);
  };
  stages.stopReading = RequestInterrupt;
  const unsigned workers = ShareThreads(threads, reader.GetFrameCount()).elements;
  OrderedPipeline<Item>(stages, workers, std::size_t{2} * workers).Run();
}

}  // namespace vixprores
