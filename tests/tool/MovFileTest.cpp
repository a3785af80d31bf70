// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BigEndianText.h"
#include "ScratchFolder.h"
#include "base/Errors.h"
#include "media/container/MovFile.h"

namespace vixprores {
namespace {

std::string LongAtom(const std::string& type, const std::string& contents) {
  return BigEndian(1, 4) + type + BigEndian(contents.size() + 16, 8) + contents;
}

std::string SampleEntry(const std::string& type, const std::string& vendor) {
  return PackAtom(type, std::string(12, '\1') + vendor + std::string(50, '\2'));
}

std::string Movie(const std::string& entries) {
  const std::string descriptions = PackAtom("stsd", std::string(8, '\0') + entries);
  const std::string table = PackAtom("stbl", PackAtom("stts", "times") + descriptions);
  const std::string media = PackAtom("mdia", PackAtom("mdhd", "head") + PackAtom("minf", table));
  return PackAtom("moov",
                  PackAtom("mvhd", "head") + PackAtom("trak", PackAtom("tkhd", "head") + media));
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
  const std::string start = PackAtom("ftyp", "qt  ") + PackAtom("mdat", "apcnapcn");
  EXPECT_EQ(WithVendor(start + Movie(SampleEntry("apcn", "FFMP"))),
            start + Movie(SampleEntry("apcn", "vixp")));
}

TEST(SetMovVendor, SkipsOtherEntriesAndLongAtoms) {
  const std::string start = LongAtom("mdat", std::string(1000, 'x'));
  EXPECT_EQ(WithVendor(start + Movie(SampleEntry("abcd", "keep") + SampleEntry("apcn", "FFMP"))),
            start + Movie(SampleEntry("abcd", "keep") + SampleEntry("apcn", "vixp")));
}

TEST(SetMovVendor, RejectsAFileWithoutTheEntry) {
  EXPECT_THROW(WithVendor(Movie(SampleEntry("abcd", "keep"))), Failure);
  EXPECT_THROW(WithVendor(PackAtom("mdat", "frames")), Failure);
  EXPECT_THROW(WithVendor(BigEndian(0, 4) + "moov"), Failure);
  EXPECT_THROW(WithVendor(BigEndian(1, 4) + "moov"), Failure);
  EXPECT_THROW(WithVendor(""), Failure);
}

// Returns the start of a file as the container library leaves it: its media size is too small.
std::string Start(std::size_t media) {
  return PackAtom("ftyp", "qt  ") + BigEndian(8, 4) + "wide" + BigEndian(8, 4) + "mdat" +
         std::string(media, 'm');
}

template <typename Change>
std::string Changed(const std::string& contents, const Change& change) {
  const ScratchFolder folder;
  const std::string path = folder / "a.mov";
  OutputFile file(path, false);
  file.Write(std::vector<std::uint8_t>(contents.begin(), contents.end()));
  change(file);
  file.Commit();
  return ReadText(path);
}

TEST(SetMovMediaEnd, ExtendsTheMediaUpToTheIndex) {
  const std::string movie = Movie(SampleEntry("apcn", "vixp"));
  const std::string start = Start(100);
  const auto index = static_cast<std::int64_t>(start.size());
  std::string expected = start + movie;
  expected.replace(20, 4, BigEndian(108, 4));
  EXPECT_EQ(Changed(start + movie, [=](OutputFile& file) { SetMovMediaEnd(file, index); }),
            expected);
}

TEST(SetMovMediaEnd, UsesTheSpareBytesForASizeOf64Bits) {
  const std::int64_t index = std::int64_t{5} << 30;
  const std::string start =
      Changed(Start(100), [=](OutputFile& file) { SetMovMediaEnd(file, index); });
  EXPECT_EQ(start.substr(0, 28), PackAtom("ftyp", "qt  ") + BigEndian(1, 4) + "mdat" +
                                     BigEndian(static_cast<std::uint64_t>(index - 12), 8));
}

TEST(SetMovMediaEnd, RejectsAnotherLayout) {
  EXPECT_THROW(
      Changed(PackAtom("mdat", "frames"), [](OutputFile& file) { SetMovMediaEnd(file, 14); }),
      Failure);
  EXPECT_THROW(
      Changed(PackAtom("free", "frames"), [](OutputFile& file) { SetMovMediaEnd(file, 14); }),
      Failure);
}

std::string TrackWithHandler(const std::string& handler, const std::string& language) {
  const std::string header = PackAtom("mdhd", std::string(20, '\0') + language + "\1\1");
  return PackAtom("trak",
                  PackAtom("mdia", header + PackAtom("hdlr", std::string(8, '\0') + handler)));
}

TEST(SetMovSoundLanguages, WritesThreeLettersIntoSoundTracksOnly) {
  const std::string unknown = "\x7f\xff";
  const std::string before =
      PackAtom("moov", TrackWithHandler("vide", unknown) + TrackWithHandler("soun", unknown) +
                           TrackWithHandler("tmcd", unknown) + TrackWithHandler("soun", unknown) +
                           TrackWithHandler("soun", unknown));
  // d e u: 4, 5, 21
  const std::string german = BigEndian(4 << 10 | 5 << 5 | 21, 2);
  const std::string after =
      PackAtom("moov", TrackWithHandler("vide", unknown) + TrackWithHandler("soun", german) +
                           TrackWithHandler("tmcd", unknown) + TrackWithHandler("soun", unknown) +
                           TrackWithHandler("soun", german));
  EXPECT_EQ(Changed(before,
                    [](OutputFile& file) {
                      SetMovSoundLanguages(file, {"deu", "German", "deu"});
                    }),
            after);
}

std::optional<std::int64_t> BrokenAtomOf(const std::string& contents) {
  const ScratchFolder folder;
  WriteText(folder / "a.mov", contents);
  return FindBrokenAtom(InputFile(folder / "a.mov"));
}

TEST(FindBrokenAtom, FindsTheFirstDamagedOrTruncatedAtom) {
  const std::string start = PackAtom("ftyp", "qt  ") + LongAtom("mdat", "frames");
  const auto end = static_cast<std::int64_t>(start.size());
  EXPECT_EQ(BrokenAtomOf(start), std::nullopt);
  EXPECT_EQ(BrokenAtomOf(start + BigEndian(0, 4) + "moofup to the end"), std::nullopt);
  EXPECT_EQ(BrokenAtomOf(start + BigEndian(100, 4) + "moof"), end);
  EXPECT_EQ(BrokenAtomOf(start + BigEndian(7, 4) + "moof"), end);
  EXPECT_EQ(BrokenAtomOf(start + BigEndian(8, 4) + std::string("mo\0f", 4)), end);
  EXPECT_EQ(BrokenAtomOf(start + BigEndian(1, 4) + "moof" + BigEndian(UINT64_MAX, 8)), end);
  EXPECT_EQ(BrokenAtomOf(start + "cut"), end);
}

}  // namespace
}  // namespace vixprores
