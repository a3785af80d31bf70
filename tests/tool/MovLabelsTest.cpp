// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "BigEndianText.h"
#include "base/Errors.h"
#include "media/container/MovLabels.h"

namespace vixprores {
namespace {

using testing::HasSubstr;
using testing::Property;
using vix::MakeFourCC;

constexpr std::size_t kVideoEntry = 78;
constexpr std::size_t kTimecodeEntry = 26;

// Returns a track with one sample description and, optionally, other tables.
std::string TrackOf(const std::string& entry, const std::string& tables = {}) {
  const std::string description = PackAtom("stsd", std::string(8, 0) + entry);
  return PackAtom("trak",
                  PackAtom("mdia", PackAtom("minf", PackAtom("stbl", description + tables))));
}

std::string EntryOf(const std::string& type, std::size_t bytes,
                    const std::string& extensions = {}) {
  return PackAtom(type, std::string(bytes, 0) + extensions);
}

std::string OffsetsFrom(std::uint64_t position) {
  return PackAtom("stco", BigEndian(0, 4) + BigEndian(1, 4) + BigEndian(position, 4));
}

Atom ParseMovie(const std::string& movie) {
  return ParseAtoms(std::vector<std::uint8_t>(movie.begin(), movie.end()));
}

std::string TextOfMovie(const Atom& root) {
  const auto bytes = WriteAtom(root);
  return {bytes.begin(), bytes.end()};
}

void ExpectRefusedLabels(const MovLabels& labels, const std::string& movie,
                         const std::string& reason) {
  Atom root = ParseMovie(movie);
  EXPECT_THAT([&] { SetMovLabels(labels, "clip.mov", root); },
              testing::Throws<Failure>(Property(
                  &Failure::what, testing::AllOf(HasSubstr("clip.mov: "), HasSubstr(reason)))));
}

TEST(MovLabels, KeepTheMovieIfNoneIsSet) {
  const std::string movie = PackAtom("moov", TrackOf(EntryOf("apch", kVideoEntry)));
  Atom root = ParseMovie(movie);
  EXPECT_EQ(SetMovLabels({}, "clip.mov", root), std::nullopt);
  EXPECT_EQ(TextOfMovie(root), movie);
}

TEST(MovLabels, SetTheColour) {
  MovLabels labels;
  labels.colour = Colour{9, 16, 9};
  const std::string codes = BigEndian(9, 2) + BigEndian(16, 2) + BigEndian(9, 2);
  for (const auto& [before, after] : std::vector<std::pair<std::string, std::string>>{
           {"", "nclc" + codes},
           {"nclc" + std::string(6, 1), "nclc" + codes},
           {"nclx" + std::string(6, 1) + '\x80', "nclx" + codes + '\x80'},
           {"prof", "nclc" + codes}}) {
    const std::string old = before.empty() ? "" : PackAtom("colr", before);
    Atom root = ParseMovie(PackAtom("moov", TrackOf(EntryOf("apch", kVideoEntry, old))));
    SetMovLabels(labels, "clip.mov", root);
    EXPECT_EQ(TextOfMovie(root),
              PackAtom("moov", TrackOf(EntryOf("apch", kVideoEntry, PackAtom("colr", after)))));
  }
}

TEST(MovLabels, SetThePixelAspect) {
  MovLabels labels;
  labels.sampleAspect = Rational{4, 3};
  Atom root = ParseMovie(PackAtom("moov", TrackOf(EntryOf("ap4x", kVideoEntry))));
  SetMovLabels(labels, "clip.mov", root);
  EXPECT_THAT(TextOfMovie(root), HasSubstr(PackAtom("pasp", BigEndian(4, 4) + BigEndian(3, 4))));
}

TEST(MovLabels, SetTheTimecode) {
  MovLabels labels;
  labels.timecode = Timecode::Parse("00:00:01;00", {30000, 1001});
  labels.reel = "A001";
  Atom root =
      ParseMovie(PackAtom("moov", TrackOf(EntryOf("apch", kVideoEntry)) +
                                      TrackOf(EntryOf("tmcd", kTimecodeEntry), OffsetsFrom(4711))));
  const auto sample = SetMovLabels(labels, "clip.mov", root);
  ASSERT_TRUE(sample.has_value());
  EXPECT_EQ(sample->position, 4711);
  EXPECT_EQ(std::string(sample->bytes.begin(), sample->bytes.end()), BigEndian(30, 4));
  const std::string flags = std::string(12, 0) + BigEndian(1, 4) + std::string(10, 0);
  const std::string reel = PackAtom("name", BigEndian(4, 2) + BigEndian(0, 2) + "A001");
  EXPECT_THAT(TextOfMovie(root), HasSubstr(PackAtom("tmcd", flags + reel)));
}

TEST(MovLabels, SetTheTitle) {
  MovLabels labels;
  labels.title = "new";
  Atom root = ParseMovie(PackAtom("moov", ""));
  SetMovLabels(labels, "clip.mov", root);
  EXPECT_EQ(TextOfMovie(root),
            PackAtom("moov", PackAtom("udta", PackAtom("\251nam", BigEndian(3, 2) +
                                                                      BigEndian(0, 2) + "new"))));
}

TEST(MovLabels, NeedAPlace) {
  MovLabels colour;
  colour.colour = Colour{1, 1, 1};
  MovLabels reel;
  reel.reel = "A001";
  MovLabels timecode;
  timecode.timecode = Timecode::Parse("00:00:00:00", {25, 1});
  ExpectRefusedLabels(colour, PackAtom("free", ""), "unknown layout");
  ExpectRefusedLabels(colour, PackAtom("moov", TrackOf(EntryOf("avc1", kVideoEntry))),
                      "unknown layout");
  ExpectRefusedLabels(reel, PackAtom("moov", ""), "has no timecode track");
  ExpectRefusedLabels(timecode, PackAtom("moov", TrackOf(EntryOf("tmcd", kTimecodeEntry))),
                      "has no sample");
}

TEST(MovLabels, RefuseTruncatedDescriptions) {
  MovLabels aspect;
  aspect.sampleAspect = Rational{1, 1};
  MovLabels timecode;
  timecode.timecode = Timecode::Parse("00:00:00:00", {25, 1});
  ExpectRefusedLabels(aspect, PackAtom("moov", TrackOf(EntryOf("apch", 3))), "unknown layout");
  ExpectRefusedLabels(timecode, PackAtom("moov", TrackOf(EntryOf("tmcd", 3), OffsetsFrom(1))),
                      "has no timecode track");
}

TEST(DescriptionLabels, AddKeys) {
  MovLabels labels;
  labels.reel = "A001";
  const std::string meta = PackAtom("hdlr", std::string(25, 0)) +
                           PackAtom("keys", BigEndian(0, 4) + BigEndian(0, 4)) +
                           PackAtom("ilst", "");
  Atom root = ParseMovie(PackAtom("moov", PackAtom("meta", meta)));
  SetDescriptionLabels(labels, "clip.mov", root);
  const std::string keys = BigEndian(0, 4) + BigEndian(1, 4) + PackAtom("mdta", "reel_name");
  EXPECT_THAT(TextOfMovie(root), HasSubstr(PackAtom("keys", keys)));
  EXPECT_THAT(TextOfMovie(root),
              HasSubstr(PackAtom("data", BigEndian(1, 4) + BigEndian(0, 4) + "A001")));
}

}  // namespace
}  // namespace vixprores
