// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "BigEndianText.h"
#include "media/container/AtomTree.h"

namespace vixprores {
namespace {

using vix::MakeFourCC;
using Bytes = std::vector<std::uint8_t>;

Bytes BytesOfText(const std::string& text) {
  return {text.begin(), text.end()};
}

TEST(AtomTree, WritesWhatItParsed) {
  const std::string table =
      PackAtom("stsd", std::string(8, 1) + PackAtom("apch", std::string(78, 2)));
  for (const std::string& file : {
           std::string(),
           PackAtom("moov",
                    PackAtom("trak", PackAtom("mdia", PackAtom("minf", PackAtom("stbl", table))))),
           PackAtom("moov", PackAtom("udta", PackAtom("name", "text") +
                                                 std::string(4, 0))),  // a terminator
           PackAtom("moov",
                    PackAtom("meta", PackAtom("hdlr", "abcd") + PackAtom("keys", "12345678"))),
           PackAtom("moov", PackAtom("meta", std::string(4, 0) + PackAtom("hdlr", "abcd"))),
           PackAtom("moov", "short"),
           PackAtom("moov", BigEndian(100, 4) + "trak"),  // longer than its parent
           PackAtom("moov", BigEndian(7, 4) + "trak"),    // shorter than its header
           PackAtom("moov", BigEndian(1, 4) + "trak" + BigEndian(16, 8)),
           PackAtom("stsd", "bytes"),  // shorter than its fields
           PackAtom("moov", PackAtom(std::string(4, 0), "bytes")),
           PackAtom("moov", "") + "rest",
       }) {
    EXPECT_EQ(WriteAtom(ParseAtoms(BytesOfText(file))), BytesOfText(file));
  }
}

TEST(AtomTree, LeavesDeepNestingAsBytes) {
  std::string file = PackAtom("free", "end");
  for (int i = 0; i < 1000; ++i) file = PackAtom("trak", file);
  const Atom root = ParseAtoms(BytesOfText(file));
  int depth = 0;
  for (const Atom* atom = &root; !atom->children.empty(); ++depth) atom = &atom->children.front();
  EXPECT_LT(depth, 32);
  EXPECT_EQ(WriteAtom(root), BytesOfText(file));
}

TEST(AtomTree, FindsDescendants) {
  Atom root = ParseAtoms(BytesOfText(PackAtom("moov", PackAtom("trak", PackAtom("tkhd", "data")))));
  const Atom* const header =
      root.Find({MakeFourCC("moov"), MakeFourCC("trak"), MakeFourCC("tkhd")});
  ASSERT_NE(header, nullptr);
  EXPECT_EQ(header->bytes, BytesOfText("data"));
  EXPECT_EQ(root.Find({MakeFourCC("moov"), MakeFourCC("udta")}), nullptr);
  EXPECT_EQ(root.Find({}), &root);
}

TEST(AtomTree, AddsAnAtomOnceAndRemovesAllOfAType) {
  Atom root =
      ParseAtoms(BytesOfText(PackAtom("free", "1") + PackAtom("moov", "") + PackAtom("free", "2")));
  EXPECT_EQ(root.Add(MakeFourCC("free")).bytes, BytesOfText("1"));
  root.Add(MakeFourCC("wide")).bytes = BytesOfText("new");
  root.Remove(MakeFourCC("free"));
  EXPECT_EQ(WriteAtom(root), BytesOfText(PackAtom("moov", "") + PackAtom("wide", "new")));
}

}  // namespace
}  // namespace vixprores
