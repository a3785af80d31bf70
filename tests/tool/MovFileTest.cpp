// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ScratchFolder.h"
#include "container/MovFile.h"
#include "run/Errors.h"

namespace vixprores {
namespace {

std::string BigEndian(std::uint64_t value, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    text += static_cast<char>(value >> shift & 0xFF);
  }
  return text;
}

std::string Atom(const std::string& type, const std::string& contents) {
  return BigEndian(contents.size() + 8, 4) + type + contents;
}

std::string LongAtom(const std::string& type, const std::string& contents) {
  return BigEndian(1, 4) + type + BigEndian(contents.size() + 16, 8) + contents;
}

std::string SampleEntry(const std::string& type, const std::string& vendor) {
  return Atom(type, std::string(12, '\1') + vendor + std::string(50, '\2'));
}

std::string Movie(const std::string& entries) {
  const std::string descriptions = Atom("stsd", std::string(8, '\0') + entries);
  const std::string table = Atom("stbl", Atom("stts", "times") + descriptions);
  const std::string media = Atom("mdia", Atom("mdhd", "head") + Atom("minf", table));
  return Atom("moov", Atom("mvhd", "head") + Atom("trak", Atom("tkhd", "head") + media));
}

std::string WithVendor(const std::string& contents) {
  const ScratchFolder folder;
  const std::string path = folder / "a.mov";
  OutputFile file(path, false);
  file.Write(std::vector<std::uint8_t>(contents.begin(), contents.end()));
  SetMovVendor(file, vix::MakeFourCC("apcn"), vix::MakeFourCC("vixp"));
  file.Commit();
  return ReadText(path);
}

TEST(SetMovVendor, ReplacesFourBytesOfTheSampleEntry) {
  const std::string start = Atom("ftyp", "qt  ") + Atom("mdat", "apcnapcn");
  EXPECT_EQ(WithVendor(start + Movie(SampleEntry("apcn", "FFMP"))),
            start + Movie(SampleEntry("apcn", "vixp")));
}

TEST(SetMovVendor, PassesOverOtherEntriesAndLongAtoms) {
  const std::string start = LongAtom("mdat", std::string(1000, 'x'));
  EXPECT_EQ(WithVendor(start + Movie(SampleEntry("abcd", "keep") + SampleEntry("apcn", "FFMP"))),
            start + Movie(SampleEntry("abcd", "keep") + SampleEntry("apcn", "vixp")));
}

TEST(SetMovVendor, RefusesAFileWithoutTheEntry) {
  EXPECT_THROW(WithVendor(Movie(SampleEntry("abcd", "keep"))), Failure);
  EXPECT_THROW(WithVendor(Atom("mdat", "frames")), Failure);
  EXPECT_THROW(WithVendor(BigEndian(0, 4) + "moov"), Failure);
  EXPECT_THROW(WithVendor(BigEndian(1, 4) + "moov"), Failure);
  EXPECT_THROW(WithVendor(""), Failure);
}

}  // namespace
}  // namespace vixprores
