// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_ATOMTREE_H
#define TOOL_MEDIA_CONTAINER_ATOMTREE_H

#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "vix/Types.h"

namespace vixprores {

/// An atom of a .mov in memory. Atoms of known containers are parsed into children; all others stay
/// bytes, so that writing an unchanged tree gives the same bytes.
struct Atom {
  vix::FourCC type = 0;
  std::vector<std::uint8_t> bytes = {};  ///< contents, or what precedes the children
  std::vector<Atom> children = {};
  std::vector<std::uint8_t> rest = {};  ///< bytes after the children that are no atoms

  /// Returns the first descendant on a path of types; null if there is none.
  Atom* Find(std::initializer_list<vix::FourCC> path);
  /// Returns the first child of that type. Adds one if there is none.
  Atom& Add(vix::FourCC child);
  /// Removes all children of that type.
  void Remove(vix::FourCC child);
};

/// Parses the atoms in `bytes` into the children of an atom without a type.
Atom ParseAtoms(std::span<const std::uint8_t> bytes);

/// Returns the atom with its header, or the children of an atom without a type.
std::vector<std::uint8_t> WriteAtom(const Atom& atom);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_ATOMTREE_H
