// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_COEFFICIENTSTORE_H
#define CODEC_ENCODE_COEFFICIENTSTORE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "bitstream/BlockOrder.h"
#include "encode/SparseComponent.h"

namespace prores {

/**
 * Coefficients of a frame while its quantisers are chosen, without those that no candidate
 * quantiser keeps.
 *
 * Each strip (macroblock row) has its own memory and is filled by one thread, slice after slice,
 * component after component. A component that keeps more than half of its coefficients is stored as
 * a whole, without places, so that no strip needs more memory than all its coefficients.
 */
class CoefficientStore {
 public:
  /// Empties the store and reserves memory for a frame.
  /// @param coefficients coefficients of a strip, all components.
  /// @throws std::bad_alloc.
  void Reset(std::uint32_t strips, std::uint32_t slicesPerStrip, std::size_t coefficients);

  /// Removes the components of a strip.
  void ClearStrip(std::uint32_t strip) { ends_[strip] = strip * stripValues_; }

  /// Removes the components of a slice, which must be the last one that its strip has.
  void DropSlice(std::uint32_t slice) {
    ends_[slice / slicesPerStrip_] = entries_[slice].front().begin;
  }

  /// Appends the next component of a strip.
  /// @param coefficients 64 for each of the blocks, in coded order.
  /// @param values, places, count  result of SelectCoefficients() for them.
  void Append(std::uint32_t slice, unsigned component, std::span<const std::int16_t> coefficients,
              const std::int16_t* values, const std::int16_t* places, std::size_t count);

  /// Returns a component that was appended. Its arrays stay valid until the next Reset(),
  /// ClearStrip() or DropSlice().
  SparseComponent Component(std::uint32_t slice, unsigned component) const;

  /// Prefetches the components of a slice.
  void Prefetch(std::uint32_t slice) const;

 private:
  struct Entry {
    std::size_t begin;  ///< of the DCs; the values follow, then the places if there are any
    std::uint16_t blocks;
    std::uint16_t count;
  };

  std::uint32_t slicesPerStrip_ = 0;
  std::size_t stripValues_ = 0;  ///< capacity of one strip
  std::vector<std::int16_t> values_;
  std::vector<std::size_t> ends_;                        ///< by strip: end of its stored values
  std::vector<std::array<Entry, kComponents>> entries_;  ///< by slice
};

}  // namespace prores

#endif  // CODEC_ENCODE_COEFFICIENTSTORE_H
