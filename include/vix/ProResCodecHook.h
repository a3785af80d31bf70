// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_PRORESCODECHOOK_H
#define VIX_PRORESCODECHOOK_H

#include <optional>

#include "ProRes/ProResHost.h"
#include "vix/CodecHook.h"

namespace vix {

/// Connects drivers with libProRes. A program that includes this header links libvixCore and
/// libProRes; <vix/vix.h> does not include it. The hook replaces the thread's observers and default
/// number of threads (see ProResHost.h).
class ProResCodecHook final : public ICodecHook {
 public:
  void BeginFrame(int threads) override {
    Report().reset();
    if (threads != 0) WPRSetDefaultThreads(threads);
    WPRSetDecodeObserver(TakeDecodeReport, nullptr);
    WPRSetEncodeObserver(TakeEncodeReport, nullptr);
  }

  std::optional<CodecReport> EndFrame() noexcept override {
    WPRSetDecodeObserver(nullptr, nullptr);
    WPRSetEncodeObserver(nullptr, nullptr);
    return Report();
  }

 private:
  static std::optional<CodecReport>& Report() {
    static thread_local std::optional<CodecReport> report;
    return report;
  }
  static void TakeDecodeReport(void* /*context*/, const DecodeReportRecord* report) {
    Report() = CodecReport{report->result, report->damagedSlices, report->slices};
  }
  static void TakeEncodeReport(void* /*context*/, const EncodeReportRecord* report) {
    Report() = CodecReport{report->result, 0, 0};
  }
};

}  // namespace vix

#endif  // VIX_PRORESCODECHOOK_H
