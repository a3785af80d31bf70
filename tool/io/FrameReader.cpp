// SPDX-License-Identifier: BSD-2-Clause
#include "io/FrameReader.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "container/ProResReader.h"
#include "container/RawContainerReader.h"
#include "format/Y4mHeader.h"
#include "io/HeadlessReader.h"
#include "io/InputFile.h"
#include "io/ScanReader.h"
#include "io/Y4mReader.h"
#include "run/Errors.h"

namespace vixprores {

std::unique_ptr<FrameReader> OpenRawVideo(const std::string& path,
                                          const std::optional<HeadlessFormat>& headless) {
  auto file = std::make_unique<InputFile>(path);
  if (headless) return std::make_unique<HeadlessReader>(std::move(file), *headless);
  if (std::ranges::equal(file->Peek(kY4mMagic.size()), kY4mMagic)) {
    return std::make_unique<Y4mReader>(std::move(file));
  }
  return std::make_unique<RawContainerReader>(std::move(file));
}

std::unique_ptr<FrameReader> OpenProRes(const std::string& path, const ProResOptions& options) {
  auto file = std::make_unique<InputFile>(path);
  if (options.scan) return std::make_unique<ScanReader>(std::move(file), options);
  try {
    return std::make_unique<ProResReader>(std::move(file), options);
  } catch (const UnreadableContainer& failure) {
    throw UnreadableContainer(failure.what() + std::string("; --scan finds frames without it"));
  }
}

}  // namespace vixprores
