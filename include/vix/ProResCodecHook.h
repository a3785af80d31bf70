// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_PRORESCODECHOOK_H
#define VIX_PRORESCODECHOOK_H

#include <optional>

#include "ProRes/ProResHost.h"
#include "vix/CodecHook.h"

namespace vix {

/// Connects drivers with libProRes. A program that includes this header links libvixCore and
/// libProRes; <vix/vix.h> does not include it. The hook removes the thread's observers (see
/// ProResHost.h) and replaces its default number of threads during a frame.
class ProResCodecHook final : public ICodecHook {
 public:
  void BeginFrame(int threads) override {
    State& state = GetState();
    state = {};
    if (threads != 0) {
      state.hostThreads = WPRGetDefaultThreads();
      WPRSetDefaultThreads(threads);
    }
    WPRSetDecodeObserver(TakeDecodeReport, nullptr);
    WPRSetEncodeObserver(TakeEncodeReport, nullptr);
  }

  std::optional<CodecReport> EndFrame() noexcept override {
    WPRSetDecodeObserver(nullptr, nullptr);
    WPRSetEncodeObserver(nullptr, nullptr);
    const State& state = GetState();
    if (state.hostThreads != 0) WPRSetDefaultThreads(state.hostThreads);
    return state.report;
  }

 private:
  /// A thread's frame.
  struct State {
    std::optional<CodecReport> report;
    int hostThreads = 0;  ///< default number of threads outside the frame; 0 = not replaced
  };
  static State& GetState() {
    static thread_local State state;
    return state;
  }
  static void TakeDecodeReport(void* /*context*/, const DecodeReportRecord* report) {
    GetState().report = CodecReport{report->result, report->damagedSlices, report->slices};
  }
  static void TakeEncodeReport(void* /*context*/, const EncodeReportRecord* report) {
    GetState().report = CodecReport{report->result, 0, 0};
  }
};

}  // namespace vix

#endif  // VIX_PRORESCODECHOOK_H
