// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/AtomTree.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "bitstream/BigEndian.h"

namespace vixprores {
namespace {

using vix::MakeFourCC;

constexpr std::size_t kHeader = 8;  // size and type
// The deepest path that is parsed has nine atoms; damaged files may nest more.
constexpr int kDeepest = 16;

// A container, and the bytes before its first child.
struct ParentAtom {
  vix::FourCC type;
  std::size_t fields;
};

constexpr ParentAtom kParents[] = {
    {MakeFourCC("moov"), 0}, {MakeFourCC("trak"), 0}, {MakeFourCC("mdia"), 0},
    {MakeFourCC("minf"), 0}, {MakeFourCC("stbl"), 0}, {MakeFourCC("udta"), 0},
    {MakeFourCC("ilst"), 0}, {MakeFourCC("stsd"), 8},
};

// Sample descriptions, which are children of "stsd".
constexpr ParentAtom kEntries[] = {
    {MakeFourCC("apco"), 78}, {MakeFourCC("apcs"), 78}, {MakeFourCC("apcn"), 78},
    {MakeFourCC("apch"), 78}, {MakeFourCC("ap4h"), 78}, {MakeFourCC("ap4x"), 78},
    {MakeFourCC("tmcd"), 26},
};

vix::FourCC ReadType(const std::uint8_t* bytes) {
  return __builtin_bswap32(prores::ReadU32(bytes));
}

// Returns the bytes before the first child; nullopt if the atom is no known container.
std::optional<std::size_t> FindFields(vix::FourCC type, vix::FourCC parent,
                                      std::span<const std::uint8_t> contents) {
  if (type == MakeFourCC("meta")) {
    // The atom of QuickTime has no version, the one of ISO files has.
    const bool isPlain =
        contents.size() >= kHeader && ReadType(contents.data() + 4) == MakeFourCC("hdlr");
    return isPlain ? 0 : 4;
  }
  const bool isEntry = parent == MakeFourCC("stsd");
  const std::span<const ParentAtom> known =
      isEntry ? std::span<const ParentAtom>(kEntries) : std::span<const ParentAtom>(kParents);
  const auto found = std::ranges::find(known, type, &ParentAtom::type);
  return found == known.end() ? std::nullopt : std::optional(found->fields);
}

void ParseChildren(Atom& parent, std::span<const std::uint8_t> bytes, int depth);

Atom ParseOne(vix::FourCC type, vix::FourCC parent, std::span<const std::uint8_t> contents,
              int depth) {
  Atom atom{type};
  const auto fields = FindFields(type, parent, contents);
  if (!fields || *fields > contents.size() || depth > kDeepest) {
    atom.bytes.assign(contents.begin(), contents.end());
    return atom;
  }
  atom.bytes.assign(contents.begin(), contents.begin() + static_cast<std::ptrdiff_t>(*fields));
  ParseChildren(atom, contents.subspan(*fields), depth + 1);
  return atom;
}

void ParseChildren(Atom& parent, std::span<const std::uint8_t> bytes, int depth) {
  while (bytes.size() >= kHeader) {
    const std::uint32_t size = prores::ReadU32(bytes.data());
    if (size < kHeader || size > bytes.size()) break;
    parent.children.push_back(ParseOne(ReadType(bytes.data() + 4), parent.type,
                                       bytes.subspan(kHeader, size - kHeader), depth));
    bytes = bytes.subspan(size);
  }
  parent.rest.assign(bytes.begin(), bytes.end());
}

void Append(const Atom& atom, std::vector<std::uint8_t>& bytes);

void AppendContents(const Atom& atom, std::vector<std::uint8_t>& bytes) {
  std::ranges::copy(atom.bytes, std::back_inserter(bytes));
  for (const Atom& child : atom.children) Append(child, bytes);
  std::ranges::copy(atom.rest, std::back_inserter(bytes));
}

void Append(const Atom& atom, std::vector<std::uint8_t>& bytes) {
  const std::size_t start = bytes.size();
  bytes.resize(start + kHeader);
  prores::WriteU32(bytes.data() + start + 4, __builtin_bswap32(atom.type));
  AppendContents(atom, bytes);
  prores::WriteU32(bytes.data() + start, static_cast<std::uint32_t>(bytes.size() - start));
}

}  // namespace

Atom* Atom::Find(std::initializer_list<vix::FourCC> path) {
  Atom* atom = this;
  for (const vix::FourCC next : path) {
    const auto found = std::ranges::find(atom->children, next, &Atom::type);
    if (found == atom->children.end()) return nullptr;
    atom = &*found;
  }
  return atom;
}

Atom& Atom::Add(vix::FourCC child) {
  if (Atom* const found = Find({child})) return *found;
  return children.emplace_back(Atom{child});
}

void Atom::Remove(vix::FourCC child) {
  std::erase_if(children, [child](const Atom& atom) { return atom.type == child; });
}

Atom ParseAtoms(std::span<const std::uint8_t> bytes) {
  Atom root;
  ParseChildren(root, bytes, 0);
  return root;
}

std::vector<std::uint8_t> WriteAtom(const Atom& atom) {
  std::vector<std::uint8_t> bytes;
  if (atom.type == 0) {
    AppendContents(atom, bytes);
  } else {
    Append(atom, bytes);
  }
  return bytes;
}

}  // namespace vixprores
