// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_COEFFICIENTSTORE_H
#define CODEC_COEFFICIENTSTORE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "bitstream/BlockOrder.h"
#include "entropy/SparseComponent.h"

namespace prores {

/**
 * The coefficients of a frame while its quantisers are chosen, without those that no quantiser in
 * question keeps.
 *
 * Each macroblock row has its own memory and is filled by one thread, slice after slice, component
 * after component. A component of which more than half is kept is stored as a whole, without
 * places: so that no row needs more room than all its coefficients.
 */
class CoefficientStore {
 public:
  /// Empties the store and makes room for a frame.
  /// @param coefficients of a strip, all components.
  /// @throws std::bad_alloc.
  void Reset(std::uint32_t strips, std::uint32_t slicesPerStrip, std::size_t coefficients);

  /// Forgets the components of a strip, before they are appended anew.
  void ClearStrip(std::uint32_t strip) { ends_[strip] = strip * stripValues_; }

  /// Forgets the components of the slice that was appended last, of its strip.
  void DropSlice(std::uint32_t slice) {
    ends_[slice / slicesPerStrip_] = entries_[slice].front().begin;
  }

  /// Appends the next component of a strip.
  /// @param coefficients 64 for each of the blocks, in coded order.
  /// @param values, places, count  what SelectCoefficients() found of them.
  void Append(std::uint32_t slice, unsigned component, std::span<const std::int16_t> coefficients,
              const std::int16_t* values, const std::int16_t* places, std::size_t count);

  /// A component that was appended. What it points to stays where it is until the next Reset(),
  /// ClearStrip() or DropSlice().
  SparseComponent Component(std::uint32_t slice, unsigned component) const;

  /// Begins to load the components of a slice.
  void Prefetch(std::uint32_t slice) const;

 private:
  struct Entry {
    std::size_t begin;  ///< of the DCs; behind them the values, and the places if there are any
    std::uint16_t blocks;
    std::uint16_t count;
  };

  std::uint32_t slicesPerStrip_ = 0;
  std::size_t stripValues_ = 0;  ///< room for one strip
  std::vector<std::int16_t> values_;
  std::vector<std::size_t> ends_;                        ///< of what is stored of each strip
  std::vector<std::array<Entry, kComponents>> entries_;  ///< by slice
};

}  // namespace prores

#endif  // CODEC_COEFFICIENTSTORE_H
