// SPDX-License-Identifier: BSD-2-Clause
// Corrects labels in arbitrary movie headers. Unchanged headers, and changed ones that are read
// again, must come out as they are.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "base/Errors.h"
#include "media/container/AtomTree.h"
#include "media/container/MovLabels.h"

namespace {

using vixprores::Atom;

void CheckRoundTrip(std::span<const std::uint8_t> bytes) {
  if (!std::ranges::equal(WriteAtom(vixprores::ParseAtoms(bytes)), bytes)) std::abort();
}

template <typename Setter>
void SetLabels(std::span<const std::uint8_t> bytes, const Setter& set) {
  vixprores::MovLabels labels;
  labels.colour = vixprores::Colour{9, 16, 9};
  labels.sampleAspect = vixprores::Rational{4, 3};
  labels.timecode = vixprores::Timecode::Parse("10:00:00;02", {30000, 1001});
  labels.reel = "A001";
  labels.title = "title";
  Atom root = vixprores::ParseAtoms(bytes);
  try {
    set(labels, "movie", root);
  } catch (const vixprores::Failure&) {
    // There is no place for a label.
  }
  CheckRoundTrip(WriteAtom(root));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span bytes(data, size);
  CheckRoundTrip(bytes);
  SetLabels(bytes, vixprores::SetMovLabels);
  SetLabels(bytes, vixprores::SetDescriptionLabels);
  return 0;
}
