// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/Errors.h"
#include "check/Expectations.h"

namespace vixprores {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class DescribedReader : public FrameReader {
 public:
  DescribedReader() {
    StreamFormat& format = description_.format;
    format.code = vix::MakeFourCC("apch");
    format.width = 1920;
    format.height = 1080;
    format.rate = {30000, 1001};
    format.sampleAspect = {1, 1};
    format.fieldOrder = FieldOrder::TopFirst;
    format.colour = {1, 1, 1};
    format.contentLight = ContentLight{1000, 400};
    description_.timecode = Timecode::Parse("10:00:00;00", format.rate);
    description_.metadata = {{"title", "A, B"}};
  }

  void SetAlphaBits(int bits) { description_.format.alphaBits = bits; }
  std::optional<NumberedFrame> Read() override { return std::nullopt; }
};

// Returns what the video above lacks, with 1800 frames.
std::vector<std::string> Lacks(const std::string& text) {
  DescribedReader reader;
  std::vector<std::string> lacks;
  for (const auto& [property, found, expected] :
       FindShortfalls(ParseExpectations(text), reader, 1800)) {
    lacks.push_back(property + " " + found + " instead of " + expected);
  }
  return lacks;
}

std::string Refuse(const std::string& text) {
  try {
    ParseExpectations(text);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "taken";
}

TEST(Expectations, AreMetInEveryNotation) {
  EXPECT_THAT(Lacks("variant=hq,size=1920x1080,rate=30000/1001,fields=top,color=bt709"), IsEmpty());
  EXPECT_THAT(Lacks("variant=apch,size=1080p,rate=29.97,fields=tff,colour=rec709"), IsEmpty());
  EXPECT_THAT(Lacks("par=1:1,timecode=10:00:00;00,audio-tracks=0,frames=1800"), IsEmpty());
  EXPECT_THAT(Lacks("duration=60-60.1,frames=1000-2000,content-light=1000,400,par=1:1"), IsEmpty());
}

TEST(Expectations, OfAlphaAreCodedBits) {
  EXPECT_THAT(Lacks("alpha=none"), IsEmpty());
  EXPECT_THAT(Lacks("alpha=16"), ElementsAre("alpha none instead of 16"));
  for (const int bits : {8, 16}) {
    DescribedReader reader;
    reader.SetAlphaBits(bits);
    const std::string text = std::to_string(bits);
    EXPECT_THAT(FindShortfalls(ParseExpectations("alpha=" + text), reader, 1), IsEmpty());
    const auto shortfalls = FindShortfalls(ParseExpectations("alpha=none"), reader, 1);
    ASSERT_EQ(shortfalls.size(), 1u);
    EXPECT_EQ(shortfalls[0].found, text);
  }
  EXPECT_THAT(Refuse("alpha=auto"), HasSubstr("choose one of none, 8"));
}

TEST(Expectations, MayBeLinesWithComments) {
  EXPECT_THAT(Lacks("# delivery\nvariant=hq\n\ntitle=A, B\n"), IsEmpty());
}

TEST(Expectations, ReportWhatWasFound) {
  EXPECT_THAT(Lacks("variant=lt,size=1280x720,rate=30,fields=bff"),
              ElementsAre("variant hq instead of lt", "size 1920x1080 instead of 1280x720",
                          "rate 30000/1001 instead of 30", "fields top instead of bottom"));
  EXPECT_THAT(Lacks("duration=58-60,frames=1801,audio-tracks=1-8,audio-rate=48000"),
              ElementsAre("duration 60.06 instead of 58-60", "frames 1800 instead of 1801",
                          "audio-tracks 0 instead of 1-8", "audio-rate none instead of 48000"));
  EXPECT_THAT(
      Lacks("timecode=10:00:00:00,reel=A001,mastering-display="
            "G(8500,39850)B(6550,2300)R(35400,14600)WP(15635,16450)L(10000000,1)"),
      ElementsAre("timecode 10:00:00;00 instead of 10:00:00:00", "reel none instead of A001",
                  "mastering-display none instead of "
                  "G(8500,39850)B(6550,2300)R(35400,14600)WP(15635,16450)L(10000000,1)"));
}

TEST(Expectations, RefuseUnknownPropertiesAndValues) {
  EXPECT_THAT(Refuse("varient=hq"),
              HasSubstr("unknown property 'varient' (did you mean 'variant'?)"));
  EXPECT_THAT(Refuse("variant=best"), HasSubstr("choose one of proxy, lt, 422, hq, 4444"));
  EXPECT_THAT(Refuse("duration=62-58"), HasSubstr("write a number or a range such as 58-62"));
  EXPECT_THAT(Refuse("rate=fast"), HasSubstr("'fast' is not a frame rate"));
  EXPECT_THAT(Refuse("hq"), HasSubstr("'hq' is not PROPERTY=VALUE"));
  EXPECT_THAT(Refuse(""), HasSubstr("is not PROPERTY=VALUE"));
}

}  // namespace
}  // namespace vixprores
