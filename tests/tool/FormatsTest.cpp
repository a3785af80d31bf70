// SPDX-License-Identifier: BSD-2-Clause
// What can be encoded, what outputs can hold, and how formats are described.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/Errors.h"
#include "format/InputFormat.h"
#include "format/OutputFormat.h"
#include "format/StreamFormat.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}

namespace vixprores {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::ThrowsMessage;

StreamFormat MakeFormat(std::uint32_t width, std::uint32_t height, FieldOrder order) {
  StreamFormat format;
  format.code = vix::kFourCC_V210;
  format.width = width;
  format.height = height;
  format.rate = {25, 1};
  format.fieldOrder = order;
  return format;
}

TEST(CheckEncodable, AcceptsEncodableFormats) {
  for (const FieldOrder order :
       {FieldOrder::Progressive, FieldOrder::TopFirst, FieldOrder::Unknown}) {
    EXPECT_NO_THROW(CheckEncodable(MakeFormat(2, 2, order), "in"));
    EXPECT_NO_THROW(CheckEncodable(MakeFormat(65535, 1080, order), "in"));
  }
  EXPECT_NO_THROW(CheckEncodable(MakeFormat(720, 577, FieldOrder::Progressive), "in"));
}

TEST(CheckEncodable, RejectsSizesOutOfRange) {
  for (const auto& size : {std::pair{1u, 2u}, {2u, 1u}, {65536u, 2u}, {2u, 65536u}}) {
    const StreamFormat format = MakeFormat(size.first, size.second, FieldOrder::Progressive);
    EXPECT_THAT([&format] { CheckEncodable(format, "in"); },
                ThrowsMessage<Failure>(HasSubstr(DescribeSize(size.first, size.second))));
  }
}

TEST(CheckEncodable, RejectsFieldsOfUnequalMacroblockRows) {
  for (const std::uint32_t height : {33u, 65u, 577u}) {
    EXPECT_THROW(CheckEncodable(MakeFormat(720, height, FieldOrder::TopFirst), "in"), Failure);
  }
}

TEST(CheckEncodable, TakesEitherFieldOrder) {
  EXPECT_NO_THROW(CheckEncodable(MakeFormat(720, 576, FieldOrder::TopFirst), "in.mov"));
  EXPECT_NO_THROW(CheckEncodable(MakeFormat(720, 576, FieldOrder::BottomFirst), "in.mov"));
}

TEST(RefuseUnconverted, ExplainsWhereToPasteTheCommandForAPipe) {
  EXPECT_THAT(
      [] { RefuseUnconverted("standard input", "4:2:0 pictures", "scale=2:2"); },
      ThrowsMessage<Failure>(AllOf(HasSubstr("in place of vixprores at the end of the pipe"),
                                   HasSubstr("\n  ffmpeg -i - -map 0:v:0 -map '0:a?' -vf scale=2:2 "
                                             "-c:v v210 -c:a pcm_s24le "
                                             "converted.v210.mov"))));
  EXPECT_THAT([] { RefuseUnconverted("in.mov", "4:2:0 pictures"); },
              ThrowsMessage<Failure>(Not(HasSubstr("pipe"))));
}

TEST(QuoteForShell, QuotesOnlyWhereNeeded) {
  EXPECT_EQ(QuoteForShell("dir/in-1.mov"), "dir/in-1.mov");
  EXPECT_EQ(QuoteForShell("my clip.mov"), "'my clip.mov'");
  EXPECT_EQ(QuoteForShell("it's.mov"), "'it'\\''s.mov'");
  EXPECT_EQ(QuoteForShell("$(rm).mov"), "'$(rm).mov'");
  EXPECT_EQ(QuoteForShell(""), "''");
}

TEST(FindProResOutput, SelectsByTheExtension) {
  EXPECT_STREQ(FindProResOutput("a.mov").muxer, "mov");
  EXPECT_STREQ(FindProResOutput("a.MKV").muxer, "matroska");
  EXPECT_STREQ(FindProResOutput("dir.x/a.b.mxf").muxer, "mxf");
  EXPECT_STREQ(FindProResOutput("-").muxer, "mov");
  for (const char* path : {"a.avi", "a.nut", "a.y4m", "a.mp4", "mov", "a"}) {
    EXPECT_THROW(FindProResOutput(path), UsageError) << path;
  }
}

TEST(FindRawVideoOutput, SelectsByTheExtension) {
  EXPECT_STREQ(FindRawVideoOutput("a.mov").muxer, "mov");
  EXPECT_STREQ(FindRawVideoOutput("a.avi").muxer, "avi");
  EXPECT_STREQ(FindRawVideoOutput("a.nut").muxer, "nut");
  EXPECT_EQ(FindRawVideoOutput("a.Y4M").kind, OutputKind::Y4m);
  for (const char* path : {"-", "/dev/null", "a", "a.v210", "a.UYVY", "a.raw", "mp4"}) {
    EXPECT_EQ(FindRawVideoOutput(path).kind, OutputKind::RawFrames) << path;
  }
}

TEST(FindRawVideoOutput, TakesImages) {
  for (const char* path : {"a.%d.png", "a.PNG", "a.dpx", "a.tif", "a.exr", "a.jpeg", "a.tga"}) {
    EXPECT_EQ(FindRawVideoOutput(path).kind, OutputKind::Images) << path;
  }
}

TEST(FindRawVideoOutput, RejectsOtherExtensions) {
  for (const char* path : {"a.mp4", "a.MKV", "dir/a.mxf", "a.ts", "a.mvo", "a.yuv", "a.bin",
                           "a.bmp", "a.gif", "a.cin", "frame-%04d.bmp"}) {
    EXPECT_THAT([path] { FindRawVideoOutput(path); },
                ThrowsMessage<UsageError>(HasSubstr(
                    ".mov, .avi, .nut, .y4m, .uyvy, .v210, .y416, .b64a, .exr, .dpx, .tif")))
        << path;
  }
}

TEST(ChooseFourCC, FollowsTheOptionOrTheName) {
  EXPECT_EQ(ChooseFourCC("a.uyvy", std::nullopt), vix::kFourCC_UYVY);
  EXPECT_EQ(ChooseFourCC("a.y416", std::nullopt), vix::kFourCC_Y416);
  EXPECT_EQ(ChooseFourCC("a.b64a", std::nullopt), vix::kFourCC_b64A);
  for (const char* path : {"a.v210", "a.raw", "a.mov", "a.y4m", "a", "-"}) {
    EXPECT_EQ(ChooseFourCC(path, std::nullopt), vix::kFourCC_V210) << path;
  }
  for (const char* path : {"a.uyvy", "a.raw", "a.mov", "a.y4m", "a", "-"}) {
    EXPECT_EQ(ChooseFourCC(path, vix::kFourCC_UYVY), vix::kFourCC_UYVY) << path;
  }
}

TEST(ChooseFourCC, RejectsAnOptionThatContradictsTheName) {
  EXPECT_THAT([] { ChooseFourCC("a.uyvy", vix::kFourCC_V210); },
              ThrowsMessage<UsageError>("'a.uyvy' means UYVY, but --fourcc is V210; change one of "
                                        "them, or end the name in .raw"));
  EXPECT_THROW(ChooseFourCC("a.v210", vix::kFourCC_UYVY), UsageError);
}

TEST(ChooseFourCC, HasNoEffectOnImages) {
  for (const std::string extension : {"png", "tif", "dpx", "exr", "jpg", "tga"}) {
    const std::string name = "a.%04d." + extension;
    EXPECT_THAT([&] { ChooseFourCC(name, vix::kFourCC_b64A); },
                ThrowsMessage<UsageError>("'" + name +
                                          "': --fourcc b64A has no effect on images; "
                                          "leave it out"));
  }
}

TEST(CheckStorable, RejectsFieldsOfDifferentHeightsInMxf) {
  const auto check = [](const char* name, std::uint32_t height, FieldOrder order) {
    CheckStorable(FindProResOutput(name), MakeFormat(720, height, order));
  };
  EXPECT_THROW(check("a.mxf", 575, FieldOrder::TopFirst), Failure);
  EXPECT_NO_THROW(check("a.mxf", 576, FieldOrder::TopFirst));
  EXPECT_NO_THROW(check("a.mxf", 575, FieldOrder::Progressive));
  EXPECT_NO_THROW(check("a.mov", 575, FieldOrder::TopFirst));
}

TEST(CheckStorable, RejectsPicturesOf4444WithoutACodeInTheContainer) {
  const auto check = [](const char* name, vix::FourCC code) {
    StreamFormat format = MakeFormat(64, 48, FieldOrder::Progressive);
    format.code = code;
    CheckStorable(FindRawVideoOutput(name), format);
  };
  for (const char* name : {"a.mov", "a.raw", "a.b64a"}) {
    EXPECT_NO_THROW(check(name, vix::kFourCC_b64A)) << name;
  }
  for (const char* name : {"a.y4m", "a.raw", "a.y416"}) {
    EXPECT_NO_THROW(check(name, vix::kFourCC_Y416)) << name;
  }
  EXPECT_THAT([&] { check("a.y4m", vix::kFourCC_b64A); },
              ThrowsMessage<Failure>(HasSubstr("choose .mov, raw frames as .b64a")));
  EXPECT_THAT([&] { check("a.mov", vix::kFourCC_Y416); },
              ThrowsMessage<Failure>(HasSubstr("choose .y4m, raw frames as .y416")));
  EXPECT_THROW(check("a.nut", vix::kFourCC_b64A), Failure);
  EXPECT_THROW(check("a.avi", vix::kFourCC_Y416), Failure);
}

TEST(FindLostProperties, NamesPropertiesThatTheContainerCannotStore) {
  StreamFormat format = MakeFormat(720, 576, FieldOrder::TopFirst);
  format.colour = {5, 1, 6, ColourRange::Full};
  EXPECT_THAT(FindLostProperties(FindRawVideoOutput("a.mov"), {format}),
              ElementsAre("colour range (full)"));
  EXPECT_THAT(FindLostProperties(FindProResOutput("a.mkv"), {format}), IsEmpty());
  EXPECT_THAT(
      FindLostProperties(FindRawVideoOutput("a.avi"), {format}),
      ElementsAre("field order (top field first)",
                  "colour primaries, transfer and matrix (bt601-625)", "colour range (full)"));
  EXPECT_THAT(FindLostProperties(FindRawVideoOutput("a.y4m"), {format}),
              ElementsAre("colour primaries, transfer and matrix (bt601-625)"));
  EXPECT_THAT(
      FindLostProperties(FindRawVideoOutput("-"), {format}),
      ElementsAre("field order (top field first)",
                  "colour primaries, transfer and matrix (bt601-625)", "colour range (full)"));
}

TEST(FindLostProperties, CountsIncompleteColoursAsColours) {
  StreamFormat format = MakeFormat(720, 576, FieldOrder::Progressive);
  format.colour = {12, 2, 2};
  EXPECT_THAT(FindLostProperties(FindRawVideoOutput("a.avi"), {format}), SizeIs(1));
  EXPECT_FALSE(KeptFormat(FindRawVideoOutput("a.avi"), format).colour.IsSpecified());
  EXPECT_THAT(FindLostProperties(FindRawVideoOutput("a.mov"), {format}), IsEmpty());
  EXPECT_EQ(KeptFormat(FindRawVideoOutput("a.mov"), format).colour, format.colour);
  format.code = FindProResVariant("hq")->code;
  EXPECT_THAT(FindLostProperties(FindProResOutput("a.mov"), {format}), IsEmpty());
  EXPECT_TRUE(KeptFormat(FindProResOutput("a.mov"), format).colour.IsSpecified());
}

TEST(FindLostProperties, NamesATimecode) {
  const StreamFormat format = MakeFormat(720, 576, FieldOrder::Progressive);
  const MovieContent content{format, Timecode::Parse("10:00:00:00", {25, 1})};
  EXPECT_THAT(FindLostProperties(FindRawVideoOutput("a.avi"), content),
              ElementsAre("timecode (10:00:00:00)"));
  EXPECT_THAT(FindLostProperties(FindRawVideoOutput("a.mov"), content), IsEmpty());
  EXPECT_THAT(FindLostProperties(FindRawVideoOutput("-"), content),
              ElementsAre("timecode (10:00:00:00)"));
}

SoundTrack MakeSound(AVCodecID codec, const char* layout) {
  std::shared_ptr<AVCodecParameters> parameters(
      avcodec_parameters_alloc(),
      [](AVCodecParameters* pointer) { avcodec_parameters_free(&pointer); });
  parameters->codec_id = codec;
  av_channel_layout_from_string(&parameters->ch_layout, layout);
  return {parameters, {1, 48000}, {}};
}

TEST(FindLostProperties, NamesTexts) {
  MovieContent content{MakeFormat(720, 576, FieldOrder::Progressive)};
  content.metadata = {
      {"title", "A"}, {"COMMENT", "B"}, {"creation_time", "C"}, {"com.camera.iso", "D"}};
  SoundTrack sound = MakeSound(AV_CODEC_ID_PCM_S16LE, "stereo");
  sound.metadata = {{"language", "deu"}};
  content.sound = {sound};
  EXPECT_THAT(FindLostProperties(FindProResOutput("a.mxf"), content),
              ElementsAre("metadata (com.camera.iso, comment, language, title)"));
  EXPECT_THAT(FindLostProperties(FindRawVideoOutput("a.avi"), content),
              ElementsAre("metadata (com.camera.iso, creation time, language)"));
  for (const char* name : {"a.y4m", "-"}) {
    EXPECT_THAT(FindLostProperties(FindRawVideoOutput(name), content),
                ElementsAre("metadata (com.camera.iso, comment, creation time, language, title)"))
        << name;
  }
  for (const char* name : {"a.mov", "a.nut"}) {
    EXPECT_THAT(FindLostProperties(FindRawVideoOutput(name), content), IsEmpty()) << name;
  }
  content.metadata.clear();
  content.sound.front().metadata = {{"language", "und"}};
  EXPECT_THAT(FindLostProperties(FindProResOutput("a.mxf"), content), IsEmpty());
}

TEST(FindLostProperties, NamesChannelLayoutsThatOnlyTheContainerStates) {
  MovieContent content{MakeFormat(720, 576, FieldOrder::Progressive)};
  content.sound = {MakeSound(AV_CODEC_ID_PCM_S16LE, "5.1"),
                   MakeSound(AV_CODEC_ID_PCM_S16LE, "quad"),
                   MakeSound(AV_CODEC_ID_PCM_S16LE, "quad")};
  EXPECT_THAT(FindLostProperties(FindProResOutput("a.mkv"), content),
              ElementsAre("layout of the sound's channels (5.1, quad)"));
  EXPECT_THAT(FindLostProperties(FindProResOutput("a.mov"), content), IsEmpty());
  content.sound = {MakeSound(AV_CODEC_ID_PCM_S16LE, "stereo"), MakeSound(AV_CODEC_ID_AAC, "5.1")};
  EXPECT_THAT(FindLostProperties(FindProResOutput("a.mkv"), content), IsEmpty());
}

TEST(FindLostProperties, OmitsUnknownProperties) {
  const StreamFormat format = MakeFormat(720, 576, FieldOrder::Progressive);
  EXPECT_THAT(FindLostProperties(FindRawVideoOutput("a.avi"), {format}), IsEmpty());
}

TEST(KeptFormat, LeavesPropertiesUnknownThatTheFormatCannotStore) {
  StreamFormat format = MakeFormat(720, 576, FieldOrder::TopFirst);
  format.colour = {5, 1, 6, ColourRange::Full};
  format.sampleAspect = {64, 45};
  EXPECT_EQ(KeptFormat(FindRawVideoOutput("a.mov"), format).colour,
            (Colour{5, 1, 6, ColourRange::Unknown}));
  const StreamFormat y4m = KeptFormat(FindRawVideoOutput("a.y4m"), format);
  EXPECT_EQ(y4m.fieldOrder, FieldOrder::TopFirst);
  EXPECT_EQ(y4m.colour, (Colour{2, 2, 2, ColourRange::Full}));
  EXPECT_EQ(y4m.sampleAspect, (Rational{64, 45}));
  const StreamFormat kept = KeptFormat(FindRawVideoOutput("-"), format);
  EXPECT_EQ(kept.fieldOrder, FieldOrder::Unknown);
  EXPECT_EQ(kept.colour, Colour());
  EXPECT_EQ(kept.sampleAspect, (Rational{0, 1}));
}

TEST(KeptFormat, IncludesPropertiesStoredInProResFrames) {
  StreamFormat format = MakeFormat(720, 576, FieldOrder::Progressive);
  format.code = vix::MakeFourCC("apcn");
  format.colour = {5, 1, 6, ColourRange::Unknown};
  const StreamFormat kept = KeptFormat(FindProResOutput("a.mxf"), format);
  EXPECT_EQ(kept.fieldOrder, FieldOrder::Progressive);
  EXPECT_EQ(kept.colour, format.colour);
}

TEST(FindProResVariant, FindsVariantsByOptionAndCode) {
  EXPECT_EQ(FindProResVariant(std::string("proxy"))->variant, vix::ProResCodecVariant::Proxy);
  EXPECT_EQ(FindProResVariant(std::string("422"))->code, vix::MakeFourCC("apcn"));
  EXPECT_EQ(FindProResVariant(vix::MakeFourCC("apch"))->variant, vix::ProResCodecVariant::HQ);
  EXPECT_STREQ(FindProResVariant(vix::MakeFourCC("ap4x"))->option, "4444xq");
  EXPECT_EQ(FindProResVariant(std::string("4444"))->code, vix::MakeFourCC("ap4h"));
  EXPECT_EQ(FindProResVariant(vix::kFourCC_V210), nullptr);
}

TEST(IsOf4444, HoldsForItsVariantsAndFormats) {
  for (const char* code : {"ap4h", "ap4x", "Y416", "b64A"}) {
    EXPECT_TRUE(IsOf4444(vix::MakeFourCC({code[0], code[1], code[2], code[3], 0}))) << code;
  }
  for (const vix::FourCC code :
       {vix::MakeFourCC("apch"), vix::kFourCC_UYVY, vix::kFourCC_V210, vix::FourCC{0}}) {
    EXPECT_FALSE(IsOf4444(code)) << DescribeCode(code);
  }
}

TEST(DescribeCode, ShowsNamesAndUnknownCodes) {
  EXPECT_EQ(DescribeCode(vix::kFourCC_V210), "V210");
  EXPECT_EQ(DescribeCode(vix::MakeFourCC("apco")), "ProRes 422 Proxy");
  EXPECT_EQ(DescribeCode(0), "ProRes");
  EXPECT_EQ(DescribeCode(vix::MakeFourCC("RGB\x18")), "RGB?");
}

TEST(StreamFormat, RejectsFramesAbove32Bits) {
  EXPECT_EQ(MakeFormat(1920, 1080, FieldOrder::Unknown).FrameBytes(), 5529600u);
  EXPECT_ANY_THROW(MakeFormat(65535, 65535, FieldOrder::Unknown).FrameBytes());
}

}  // namespace
}  // namespace vixprores
