// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "commandline/CommandLine.h"
#include "run/Errors.h"

namespace vixprores {
namespace {

using testing::HasSubstr;

Command Parse(std::vector<const char*> words) {
  words.insert(words.begin(), "vixprores");
  return ParseCommandLine(static_cast<int>(words.size()), words.data());
}

TEST(CommandLine, EncodesWithDefaults) {
  const auto options = std::get<EncodeOptions>(Parse({"encode", "in.mov", "out.mov"}));
  EXPECT_EQ(options.input, "in.mov");
  EXPECT_EQ(options.output, "out.mov");
  EXPECT_EQ(options.variant->variant, vix::ProResCodecVariant::Standard);
  EXPECT_EQ(options.threads, 0);
  EXPECT_FALSE(options.frames || options.overwrite || options.json || options.quiet ||
               options.verbose || options.plugin || options.headless || options.cpu);
}

TEST(CommandLine, EncodesWithEveryOption) {
  const auto options = std::get<EncodeOptions>(
      Parse({"encode",    "--variant",   "hq",         "--threads",    "3",         "--frames",
             "5-9",       "--overwrite", "--json",     "--quiet",      "--verbose", "--cpu",
             "avx2",      "--plugin",    "/x/y.so",    "--fourcc",     "uyvy",      "--size",
             "1920x1080", "--rate",      "30000/1001", "--interlaced", "-",         "out.mkv"}));
  EXPECT_EQ(options.variant->variant, vix::ProResCodecVariant::HQ);
  EXPECT_EQ(options.threads, 3);
  EXPECT_EQ(options.frames->first, 5);
  EXPECT_EQ(options.frames->last, 9);
  EXPECT_TRUE(options.overwrite && options.json && options.quiet && options.verbose);
  EXPECT_EQ(options.plugin, "/x/y.so");
  EXPECT_EQ(options.cpu, "avx2");
  EXPECT_EQ(options.input, "-");
  ASSERT_TRUE(options.headless);
  EXPECT_EQ(options.headless->fourcc, vix::kFourCC_UYVY);
  EXPECT_EQ(options.headless->width, 1920u);
  EXPECT_EQ(options.headless->height, 1080u);
  EXPECT_EQ(options.headless->rate, (Rational{30000, 1001}));
  EXPECT_TRUE(options.headless->interlaced);
}

TEST(CommandLine, DecodesToV210UnlessToldOtherwise) {
  const auto plain = std::get<DecodeOptions>(Parse({"decode", "in.mov", "-"}));
  EXPECT_EQ(plain.fourcc, vix::kFourCC_V210);
  EXPECT_EQ(plain.output, "-");
  EXPECT_FALSE(plain.skipField);
  EXPECT_EQ(plain.threads, 0);
  const auto other =
      std::get<DecodeOptions>(Parse({"decode", "--fourcc", "UYVY", "--skip-field", "--threads", "8",
                                     "--cpu", "auto", "in.mov", "out.raw"}));
  EXPECT_EQ(other.fourcc, vix::kFourCC_UYVY);
  EXPECT_TRUE(other.skipField);
  EXPECT_EQ(other.threads, 8);
  EXPECT_EQ(other.cpu, "auto");
}

TEST(CommandLine, MeasuresFullHighDefinitionUnlessToldOtherwise) {
  const auto plain = std::get<BenchOptions>(Parse({"bench"}));
  EXPECT_EQ(plain.size.width, 1920u);
  EXPECT_EQ(plain.size.height, 1080u);
  EXPECT_EQ(plain.variant->variant, vix::ProResCodecVariant::HQ);
  EXPECT_EQ(plain.fourcc, vix::kFourCC_V210);
  EXPECT_EQ(plain.threads, 0);
  EXPECT_FALSE(plain.interlaced || plain.json || plain.cpu);
  const auto other = std::get<BenchOptions>(
      Parse({"bench", "--size", "64x48", "--variant", "lt", "--fourcc", "UYVY", "--interlaced",
             "--frames", "3", "--threads", "2", "--cpu", "scalar", "--json"}));
  EXPECT_EQ(other.size.width, 64u);
  EXPECT_EQ(other.size.height, 48u);
  EXPECT_EQ(other.variant->variant, vix::ProResCodecVariant::LT);
  EXPECT_EQ(other.fourcc, vix::kFourCC_UYVY);
  EXPECT_EQ(other.frames, 3);
  EXPECT_EQ(other.threads, 2);
  EXPECT_EQ(other.cpu, "scalar");
  EXPECT_TRUE(other.interlaced && other.json);
}

TEST(CommandLine, TakesCpuLevelsInAnyCase) {
  EXPECT_EQ(std::get<BenchOptions>(Parse({"bench", "--cpu", "AVX2"})).cpu, "avx2");
}

TEST(CommandLine, TakesUpTo256Threads) {
  EXPECT_EQ(std::get<BenchOptions>(Parse({"bench", "--threads", "256"})).threads, 256);
}

TEST(CommandLine, ListsElements) {
  EXPECT_FALSE(std::get<ElementsOptions>(Parse({"elements"})).plugin);
  EXPECT_EQ(std::get<ElementsOptions>(Parse({"elements", "--plugin", "x.so"})).plugin, "x.so");
}

TEST(CommandLine, AnswersQuestions) {
  EXPECT_THAT(std::get<TextOnly>(Parse({"--help"})).text, HasSubstr("Examples:"));
  EXPECT_THAT(std::get<TextOnly>(Parse({"help"})).text, HasSubstr("encode"));
  EXPECT_THAT(std::get<TextOnly>(Parse({"help", "decode"})).text, HasSubstr("--skip-field"));
  EXPECT_THAT(std::get<TextOnly>(Parse({"decode", "--help"})).text, HasSubstr("--skip-field"));
  EXPECT_THAT(std::get<TextOnly>(Parse({"--version"})).text, HasSubstr("vixprores "));
}

TEST(CommandLine, RefusesWrongUse) {
  const std::vector<std::vector<const char*>> wrong{
      {},
      {"remux", "a", "b"},
      {"help", "remux"},
      {"encode", "a"},
      {"encode", "a", "b", "c"},
      {"encode", "--variant", "xq", "a", "b"},
      {"encode", "--threads", "257", "a", "b"},
      {"encode", "--skip-field", "a", "b"},
      {"encode", "--size", "2x2", "a", "b"},
      {"encode", "--fourcc", "UYVY", "--size", "2x2", "a", "b"},
      {"decode", "--threads", "-1", "a", "b"},
      {"decode", "--cpu", "mmx", "a", "b"},
      {"encode", "--cpu", "", "a", "b"},
      {"decode", "--fourcc", "2vuy", "a", "b"},
      {"elements", "a"},
      {"bench", "a"},
      {"bench", "--frames", "0"},
      {"bench", "--size", "1920"},
      {"bench", "--size", "65535x65535"},
  };
  for (const auto& words : wrong) EXPECT_THROW(Parse(words), UsageError);
}

}  // namespace
}  // namespace vixprores
