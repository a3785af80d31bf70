// SPDX-License-Identifier: BSD-2-Clause
#include "VideoCodecProResCommon.h"

namespace vix {

void CopyCommonProperties(const std::shared_ptr<const IVideoParameters>& source,
                          IVideoParameters& target) {
  const VCodecFamily sourceFamily = source->GetCodecFamily();
  if (sourceFamily == target.GetCodecFamily()) {
    target.CopyFrom(source);
    return;
  }
  target.SetVideoProperty1(source->GetVideoProperty1());
  target.SetVideoProperty2(source->GetVideoProperty2());
  target.SetVideoProperty3(source->GetVideoProperty3());
  target.SetVideoProperty4(source->GetVideoProperty4());
  target.SetScanMode(source->GetScanMode());
  target.SetVideoProperty6(source->GetVideoProperty6());
  target.SetStoredWidth(source->GetStoredWidth());
  target.SetStoredHeight(source->GetStoredHeight());
  target.SetWidth(source->GetWidth());
  target.SetHeight(source->GetHeight());
  target.SetVideoProperty11(source->GetVideoProperty11());
  target.SetBitRate(source->GetBitRate());
  target.SetEditRate(source->GetEditRate());
}

std::shared_ptr<IMemoryBlockAllocator> CreateRecycler() {
  return ImplementElement<ElementFactoryType::MemoryBlockAllocator>("vix", "Recycler", nullptr);
}

}  // namespace vix
