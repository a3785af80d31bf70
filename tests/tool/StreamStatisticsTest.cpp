// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>

#include "SyntheticFrame.h"
#include "frames/FrameHeaders.h"
#include "frames/StreamStatistics.h"
#include "report/InspectionReport.h"

namespace vixprores {
namespace {

std::string Written(void (*write)(const StreamStatistics&, const TextSink&),
                    const StreamStatistics& stream) {
  std::string text;
  write(stream, [&text](std::string_view part) { text += part; });
  return text;
}

using testing::HasSubstr;
using testing::Not;
using State = ComparedProperty::State;

TEST(FrameHeaders, RatesAreThoseOfTheCodes) {
  EXPECT_EQ(RateOfCode(4), (Rational{30000, 1001}));
  EXPECT_EQ(RateOfCode(0).numerator, 0);
}

TEST(FrameHeaders, AspectIsThatOfPixels) {
  prores::FrameHeader header = HeaderOf(720, 576);
  EXPECT_EQ(SampleAspectOf(header).numerator, 0);
  header.aspectRatio = 1;
  EXPECT_EQ(SampleAspectOf(header), (Rational{1, 1}));
  header.aspectRatio = 2;
  EXPECT_EQ(SampleAspectOf(header), (Rational{16, 15}));
  header.aspectRatio = 3;
  EXPECT_EQ(SampleAspectOf(header), (Rational{64, 45}));
}

StreamFormat Container() {
  StreamFormat format;
  format.code = vix::MakeFourCC("apcn");
  format.width = 720;
  format.height = 576;
  format.rate = {25, 1};
  format.fieldOrder = FieldOrder::Progressive;
  format.colour = {1, 1, 1, ColourRange::Limited};
  return format;
}

std::map<std::string, State> StatesOf(const StreamFormat& container,
                                      const prores::FrameHeader& header) {
  std::map<std::string, State> states;
  for (const auto& property : CompareWithContainer(container, header)) {
    states[property.key] = property.state;
  }
  return states;
}

TEST(HeaderComparison, DistinguishesSameUnspecifiedAndMismatch) {
  prores::FrameHeader header = HeaderOf(720, 480);
  header.colorPrimaries = 9;
  header.transferCharacteristic = 1;
  header.matrixCoefficients = 0;  // unknown, as 2 is
  const auto states = StatesOf(Container(), header);
  EXPECT_EQ(states.at("size"), State::Mismatch);
  EXPECT_EQ(states.at("fieldOrder"), State::Same);
  EXPECT_EQ(states.at("colourPrimaries"), State::Mismatch);
  EXPECT_EQ(states.at("transfer"), State::Same);
  EXPECT_EQ(states.at("matrix"), State::Unspecified);
  EXPECT_EQ(states.at("sampleAspect"), State::Unspecified);
  EXPECT_EQ(states.at("frameRate"), State::Unspecified);
}

TEST(HeaderComparison, AcceptsBothWidthConventionsOfStandardDefinition) {
  prores::FrameHeader header = HeaderOf(720, 576);
  header.aspectRatio = 3;
  StreamFormat container = Container();
  for (const Rational aspect : {Rational{64, 45}, Rational{118, 81}}) {
    container.sampleAspect = aspect;
    EXPECT_EQ(StatesOf(container, header).at("sampleAspect"), State::Same);
  }
  container.sampleAspect = {16, 15};
  EXPECT_EQ(StatesOf(container, header).at("sampleAspect"), State::Mismatch);
}

TEST(HeaderComparison, TakesBothCodesOfBt601ForOneMatrix) {
  prores::FrameHeader header = HeaderOf(720, 576);
  StreamFormat container = Container();
  const auto compare = [&](int inContainer, std::uint8_t inHeader) {
    container.colour.matrix = inContainer;
    header.matrixCoefficients = inHeader;
    return StatesOf(container, header).at("matrix");
  };
  EXPECT_EQ(compare(5, 6), State::Same);
  EXPECT_EQ(compare(6, 5), State::Same);
  EXPECT_EQ(compare(5, 1), State::Mismatch);
  EXPECT_EQ(compare(5, 2), State::Unspecified);
}

TEST(HeaderComparison, AcceptsWholeMacroblocksOnlyInContainersThatStoreThem) {
  prores::FrameHeader header = HeaderOf(1920, 1080);
  StreamFormat container = Container();
  container.width = 1920;
  container.height = 1088;
  EXPECT_EQ(StatesOf(container, header).at("size"), State::Mismatch);
  container.isPadded = true;
  EXPECT_EQ(StatesOf(container, header).at("size"), State::Same);
  header.height = 1064;
  EXPECT_EQ(StatesOf(container, header).at("size"), State::Mismatch);
  header.interlaceMode = prores::InterlaceMode::kTopFieldFirst;  // two fields of 544 lines
  EXPECT_EQ(StatesOf(container, header).at("size"), State::Same);
}

void Add(StreamStatistics& stream, const Bytes& frame) {
  const FrameStructure structure = ReadFrameStructure(frame);
  FrameStatistics statistics = MeasureFrame(structure, frame);
  statistics.number = std::ssize(stream.frames);
  AddFrame(stream, structure, std::move(statistics));
}

StreamStatistics MakeStream() {
  StreamStatistics stream;
  stream.name = "clip.mov";
  stream.format = Container();
  stream.container = Container();
  stream.targetBytes = 1000;
  return stream;
}

Bytes Coloured(int primaries) {
  prores::FrameHeader header = HeaderOf(32, 32);
  header.colorPrimaries = static_cast<std::uint8_t>(primaries);
  return MakeFrame(header, {MakePicture({MakeSlice(1), MakeSlice(1), MakeSlice(1), MakeSlice(1)})});
}

TEST(StreamStatistics, ReportsTheFirstFrameThatDiffers) {
  StreamStatistics stream = MakeStream();
  for (const int primaries : {1, 1, 9, 1, 12}) Add(stream, Coloured(primaries));
  ASSERT_EQ(stream.changes.size(), 1u);
  EXPECT_EQ(stream.changes[0].property, "colour primaries");
  EXPECT_EQ(stream.changes[0].frame, 2);
  EXPECT_EQ(stream.changes[0].from, "1 (bt709)");
  EXPECT_EQ(stream.changes[0].to, "9 (bt2020)");
}

TEST(StreamStatistics, CountsFaultsAndContinues) {
  StreamStatistics stream = MakeStream();
  Add(stream, MakeFrame({2, 2, 2, 2}));
  Add(stream, Bytes(40));
  Add(stream, MakeFrame({4, 4, 4, 4}));
  EXPECT_EQ(stream.faulty, 1);
  EXPECT_EQ(stream.frames.size(), 3u);
  EXPECT_EQ(stream.quantisers.GetMean(), 3);
  EXPECT_EQ(stream.meanQuantisers.GetMin(), 2);
  EXPECT_EQ(stream.meanQuantisers.GetMax(), 4);
}

TEST(StreamStatistics, CountsMissingFrames) {
  StreamStatistics stream = MakeStream();
  Add(stream, MakeFrame({2, 2, 2, 2}));
  AddMissing(stream, FrameFailure("clip.mov", 1, "is missing", {}, 3));
  EXPECT_EQ(stream.faulty, 3);
  EXPECT_EQ(stream.bytes.GetCount(), 1);
  EXPECT_THAT(Written(WriteInspectionText, stream),
              HasSubstr("Faults:\n  frames 1-3: are missing\n"));
  const auto json = nlohmann::json::parse(Written(WriteInspectionJson, stream));
  EXPECT_EQ(json["framesInspected"], 1);
  EXPECT_EQ(json["frames"][1]["count"], 3);
  EXPECT_FALSE(json["frames"][1].contains("bytes"));
}

TEST(StreamStatistics, ComparesNothingWithoutAContainer) {
  StreamStatistics stream = MakeStream();
  stream.container.reset();
  Add(stream, MakeFrame({2, 2, 2, 2}));
  EXPECT_THAT(CompareProperties(stream), testing::IsEmpty());
  EXPECT_THAT(Written(WriteInspectionText, stream), Not(HasSubstr("container")));
}

TEST(StreamStatistics, HasATargetForEveryVariant) {
  StreamFormat format = Container();
  format.width = 1920;
  format.height = 1080;
  const auto standard = FindTargetBytes(format);
  format.code = vix::MakeFourCC("apch");
  const auto high = FindTargetBytes(format);
  ASSERT_TRUE(standard && high);
  EXPECT_LT(*standard, *high);
  format.code = vix::MakeFourCC("ap4h");
  const auto deep = FindTargetBytes(format);
  ASSERT_TRUE(deep);
  EXPECT_LT(*high, *deep);
  format.code = 0;
  EXPECT_FALSE(FindTargetBytes(format));
}

TEST(InspectionReport, MarksMismatchesAndFaults) {
  StreamStatistics stream = MakeStream();
  Add(stream, MakeFrame({2, 2, 2, 2}));
  EXPECT_THAT(Written(WriteInspectionText, stream), Not(HasSubstr("Faults")));
  Add(stream, Bytes(40));
  const std::string text = Written(WriteInspectionText, stream);
  EXPECT_THAT(text, HasSubstr("720x576      32x32         <- MISMATCH\n"));
  EXPECT_THAT(text, HasSubstr("Faults:\n  frame 1: "));
}

TEST(InspectionReport, WritesNullForUnknownValues) {
  StreamStatistics stream = MakeStream();
  stream.targetBytes.reset();
  Add(stream, Bytes(40));
  const auto json = nlohmann::json::parse(Written(WriteInspectionJson, stream));
  EXPECT_EQ(json["status"], "faults");
  EXPECT_TRUE(json["size"]["targetBytes"].is_null());
  EXPECT_TRUE(json["quantiser"].is_null());
  EXPECT_TRUE(json["frames"][0]["timecode"].is_null());
  EXPECT_TRUE(json["frames"][0]["quantiser"].is_null());
  EXPECT_EQ(json["frames"][0]["bits"], 320);
}

TEST(InspectionReport, DescribesMatrices) {
  StreamStatistics stream;
  stream.header.emplace();
  stream.header->lumaMatrix = prores::kDefaultQuantMatrix;
  stream.header->chromaMatrix = prores::kDefaultQuantMatrix;
  stream.header->chromaMatrix[63] = 63;
  const std::string text = Written(WriteInspectionText, stream);
  EXPECT_THAT(text, HasSubstr("luma matrix    flat, all 4\n"));
  EXPECT_THAT(text, HasSubstr("chroma matrix  4 to 63; first row 4 4 4 4 4 4 4 4\n"));
}

}  // namespace
}  // namespace vixprores
