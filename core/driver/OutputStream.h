// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_DRIVER_OUTPUTSTREAM_H
#define CORE_DRIVER_OUTPUTSTREAM_H

#include <memory>
#include <optional>
#include <vector>

#include "vix/Buffers.h"
#include "vix/Samples.h"
#include "vix/StreamDescription.h"

namespace vix {

/// The defined output of an element, described as its samples are. Elements keep the frame's height
/// and bit rate in the description of decoded fields and pictures.
class OutputStream {
 public:
  /// No stream.
  OutputStream() = default;
  /// @param defined the element's description; may be null
  /// @param isProRes true = of a ProRes element
  /// @param decodesFields true = the decoder skips the second field of interlaced frames
  OutputStream(std::shared_ptr<const IInfoContainer> defined, bool isProRes, bool decodesFields);

  /// Returns the description; null if there is none.
  const std::shared_ptr<const IInfoContainer>& GetDescription() const { return described_; }
  /// Returns the memory that a picture needs; 0 bytes if the stream is not raw.
  FrameMemoryRequest GetPicture() const;

  /// Returns `sample` with this description if it had the element's, with the metadata of the
  /// pushed sample if it has none, the field order if there is one, and with `buffer`.
  std::shared_ptr<const ISampleContainer> Complete(const IVideoSample& sample,
                                                   const IVideoSample& pushed,
                                                   std::optional<FieldOrder> fieldOrder,
                                                   std::shared_ptr<const IBuffer> buffer) const;

 private:
  std::shared_ptr<const IInfoContainer> described_;
  std::shared_ptr<const IVideoInfo> info_;             ///< of `described_`; null = none or many
  std::shared_ptr<const IVideoParameters> definedAs_;  ///< the element's
};

/// Returns the only element of a vector of pointers; null for another number.
template <typename T>
std::shared_ptr<const T> OnlyOne(const std::vector<std::shared_ptr<const T>>& pointers) {
  return pointers.size() == 1 ? pointers.front() : nullptr;
}

}  // namespace vix

#endif  // CORE_DRIVER_OUTPUTSTREAM_H
