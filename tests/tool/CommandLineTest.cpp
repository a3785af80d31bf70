// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/Errors.h"
#include "cli/Command.h"
#include "cli/Commands.h"
#include "cli/Help.h"
#include "cli/Options.h"

namespace vixprores {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::string kVersion = "1.2.3";

Request Parse(const std::vector<Command>& commands, std::vector<const char*> words) {
  words.insert(words.begin(), "vixprores");
  return ParseCommandLine(
      commands, [] { return kVersion; }, static_cast<int>(words.size()), words.data());
}

// Returns the options of a command after parsing the given words.
template <typename Options>
Options Take(Command (*describe)(Options&), std::vector<const char*> words) {
  Options options;
  const std::vector<Command> commands{describe(options)};
  words.insert(words.begin(), commands.front().name.c_str());
  EXPECT_EQ(Parse(commands, words).command, &commands.front());
  return options;
}

std::string Refuse(std::vector<const char*> words) {
  try {
    const auto commands = AllCommands();
    Parse(commands, std::move(words));
  } catch (const UsageError& error) {
    return error.what();
  }
  return "taken";
}

std::string Answer(std::vector<const char*> words) {
  const auto commands = AllCommands();
  return Parse(commands, std::move(words)).text;
}

TEST(CommandLine, EncodesWithDefaults) {
  const auto options = Take(DescribeEncode, {"in.mov", "out.mov"});
  EXPECT_EQ(options.input, "in.mov");
  EXPECT_EQ(options.output, "out.mov");
  EXPECT_EQ(options.variant->variant, vix::ProResCodecVariant::Standard);
  EXPECT_EQ(options.threads, 0);
  EXPECT_FALSE(options.frames || options.overwrite || options.json || options.quiet ||
               options.verbose || options.plugin || options.rawFrames || options.cpu);
}

TEST(CommandLine, EncodesWithEveryOption) {
  const auto options =
      Take(DescribeEncode,
           {"--variant",   "hq",         "--threads",    "3",         "--frames", "5-9",
            "--overwrite", "--json",     "--quiet",      "--verbose", "--cpu",    "avx2",
            "--plugin",    "/x/y.so",    "--fourcc",     "uyvy",      "--size",   "1920x1080",
            "--rate",      "30000/1001", "--interlaced", "-",         "out.mkv"});
  EXPECT_EQ(options.variant->variant, vix::ProResCodecVariant::HQ);
  EXPECT_EQ(options.threads, 3);
  EXPECT_EQ(options.frames->first, 5);
  EXPECT_EQ(options.frames->last, 9);
  EXPECT_TRUE(options.overwrite && options.json && options.quiet && options.verbose);
  EXPECT_EQ(options.plugin, "/x/y.so");
  EXPECT_EQ(options.cpu, "avx2");
  EXPECT_EQ(options.input, "-");
  ASSERT_TRUE(options.rawFrames);
  EXPECT_EQ(options.rawFrames->fourcc, vix::kFourCC_UYVY);
  EXPECT_EQ(options.rawFrames->width, 1920u);
  EXPECT_EQ(options.rawFrames->height, 1080u);
  EXPECT_EQ(options.rawFrames->rate, (Rational{30000, 1001}));
  EXPECT_TRUE(options.rawFrames->interlaced);
}

TEST(CommandLine, AcceptsLabelsAndSound) {
  const auto options =
      Take(DescribeEncode, {"--color",      "bt2020-pq", "--matrix", "bt709",      "--fields",
                            "top",          "--par",     "64:45",    "--timecode", "01:00:00:00",
                            "--compressor", "Name",      "--vendor", "abcd",       "--audio-tracks",
                            "3,1",          "--rate",    "25",       "a.mov",      "b.mov"});
  EXPECT_EQ(options.overrides.colour, (Colour{9, 16, 9}));
  EXPECT_EQ(options.overrides.matrix, 1);
  EXPECT_EQ(options.overrides.primaries, std::nullopt);
  EXPECT_EQ(options.overrides.fields, FieldOrder::TopFirst);
  EXPECT_EQ(options.overrides.sampleAspect, (Rational{64, 45}));
  EXPECT_EQ(options.overrides.rate, (Rational{25, 1}));
  EXPECT_EQ(options.timecode, "01:00:00:00");
  EXPECT_EQ(options.compressor, "Name");
  EXPECT_EQ(options.vendor, vix::MakeFourCC("abcd"));
  EXPECT_EQ(options.audioTracks, (std::vector<std::size_t>{2, 0}));
  EXPECT_FALSE(options.rawFrames || options.noAudio);
  EXPECT_TRUE(Take(DescribeDecode, {"--no-audio", "a.mov", "b.mov"}).noAudio);
}

TEST(CommandLine, CollectsMetadata) {
  const auto metadata =
      Take(DescribeEncode, {"--title", "A Title", "--reel", "A001", "--metadata", "Artist=a=b",
                            "--metadata=comment=", "a.mov", "b.mov"})
          .metadata;
  EXPECT_EQ(
      metadata,
      (Metadata{{"artist", "a=b"}, {"comment", ""}, {"reel_name", "A001"}, {"title", "A Title"}}));
  EXPECT_THAT(Refuse({"encode", "--metadata", "artist", "a", "b"}), HasSubstr("write KEY=VALUE"));
  EXPECT_THAT(Refuse({"encode", "--metadata", "=x", "a", "b"}), HasSubstr("write KEY=VALUE"));
  EXPECT_THAT(Refuse({"encode", "--metadata", "timecode=x", "a", "b"}),
              HasSubstr("use --timecode"));
}

TEST(CommandLine, TakesOptionsOfDecode) {
  const auto plain = Take(DescribeDecode, {"in.mov", "-"});
  EXPECT_EQ(plain.fourcc, std::nullopt);
  EXPECT_EQ(plain.output, "-");
  EXPECT_FALSE(plain.skipField);
  EXPECT_EQ(plain.threads, 0);
  const auto other = Take(DescribeDecode, {"--fourcc", "UYVY", "--skip-field", "--threads", "8",
                                           "--cpu", "auto", "in.mov", "out.raw"});
  EXPECT_EQ(other.fourcc, vix::kFourCC_UYVY);
  EXPECT_TRUE(other.skipField);
  EXPECT_EQ(other.threads, 8);
  EXPECT_EQ(other.cpu, "auto");
}

TEST(CommandLine, StopsAtDamageByDefault) {
  EXPECT_EQ(Take(DescribeDecode, {"a", "b"}).onDamage, DamagePolicy::Stop);
  EXPECT_EQ(Take(DescribeDecode, {"--on-error", "skip", "a", "b"}).onDamage, DamagePolicy::Skip);
  EXPECT_EQ(Take(DescribeDecode, {"--on-error", "CONCEAL", "a", "b"}).onDamage,
            DamagePolicy::Conceal);
  EXPECT_EQ(Take(DescribeDecode, {"--on-error", "stop", "a", "b"}).onDamage, DamagePolicy::Stop);
}

TEST(CommandLine, ScansOnRequest) {
  EXPECT_FALSE(Take(DescribeDecode, {"a", "b"}).scan);
  const auto options = Take(DescribeDecode, {"--scan", "--rate", "24000/1001", "a", "b"});
  EXPECT_TRUE(options.scan);
  EXPECT_EQ(options.rate, (Rational{24000, 1001}));
}

TEST(CommandLine, MeasuresFullHighDefinitionByDefault) {
  const auto plain = Take(DescribeBench, {});
  EXPECT_EQ(plain.size.width, 1920u);
  EXPECT_EQ(plain.size.height, 1080u);
  EXPECT_EQ(plain.variant->variant, vix::ProResCodecVariant::HQ);
  EXPECT_EQ(plain.fourcc, vix::kFourCC_V210);
  EXPECT_EQ(plain.threads, 0);
  EXPECT_FALSE(plain.interlaced || plain.json || plain.cpu);
  const auto other =
      Take(DescribeBench, {"--size", "64x48", "--variant", "lt", "--fourcc", "UYVY", "--interlaced",
                           "--frames", "3", "--threads", "2", "--cpu", "scalar", "--json"});
  EXPECT_EQ(other.size.width, 64u);
  EXPECT_EQ(other.size.height, 48u);
  EXPECT_EQ(other.variant->variant, vix::ProResCodecVariant::LT);
  EXPECT_EQ(other.fourcc, vix::kFourCC_UYVY);
  EXPECT_EQ(other.frames, 3);
  EXPECT_EQ(other.threads, 2);
  EXPECT_EQ(other.cpu, "scalar");
  EXPECT_TRUE(other.interlaced && other.json);
}

TEST(CommandLine, AcceptsCpuLevelsInAnyCase) {
  EXPECT_EQ(Take(DescribeBench, {"--cpu", "AVX2"}).cpu, "avx2");
}

TEST(CommandLine, AcceptsUpTo256Threads) {
  EXPECT_EQ(Take(DescribeBench, {"--threads", "256"}).threads, 256);
}

TEST(CommandLine, PrintsHelpAndVersion) {
  EXPECT_THAT(Answer({"--help"}), HasSubstr("Examples:"));
  EXPECT_THAT(Answer({"help"}), HasSubstr("encode"));
  EXPECT_THAT(Answer({"help", "decode"}), HasSubstr("--skip-field"));
  EXPECT_THAT(Answer({"decode", "--help"}), HasSubstr("--skip-field"));
  EXPECT_THAT(Answer({"decode", "-h", "--json"}), HasSubstr("--skip-field"));
  EXPECT_EQ(Answer({"--version"}), kVersion);
}

TEST(CommandLine, AcceptsShortNames) {
  for (const char* name : {"-o", "--output-dir"}) {
    std::optional<std::string> folder;
    std::string input;
    Command command;
    command.name = "thumbs";
    Option option = Text("--output-dir", "DIR", folder, "folder");
    option.shortName = "-o";
    command.groups = {{"Stills", {option}}};
    command.takeArguments = TakeWords({"FILE"}, {input});
    const std::vector<Command> commands{command};
    EXPECT_EQ(Parse(commands, {"thumbs", name, "stills", "in.mov"}).command, &commands.front());
    EXPECT_EQ(folder, "stills");
    EXPECT_EQ(input, "in.mov");
    EXPECT_THAT(CommandHelp(command), HasSubstr("-o, --output-dir DIR  folder"));
  }
}

TEST(CommandLine, AcceptsOtherNamesOfOptions) {
  const auto options = Take(DescribeEncode, {"--profile", "hq", "--fps", "29.97", "--colour",
                                             "bt709", "-y", "-q", "-o", "out.mov", "in.mov"});
  EXPECT_EQ(options.variant->variant, vix::ProResCodecVariant::HQ);
  EXPECT_EQ(options.overrides.rate, (Rational{30000, 1001}));
  EXPECT_EQ(options.overrides.colour, (Colour{1, 1, 1}));
  EXPECT_TRUE(options.overwrite && options.quiet);
  EXPECT_EQ(options.input, "in.mov");
  EXPECT_EQ(options.output, "out.mov");
  EXPECT_EQ(Take(DescribeDecode, {"--output-dir", "d", "-j4", "a.mov", "b.mov"}).jobs, 4);
}

TEST(CommandLine, AcceptsOtherWordsForChoices) {
  const auto variant = [](const char* word) {
    return Take(DescribeEncode, {"--variant", word, "a", "b.mov"}).variant->variant;
  };
  using Variant = vix::ProResCodecVariant;
  for (const char* word : {"apco", "422proxy"}) EXPECT_EQ(variant(word), Variant::Proxy);
  for (const char* word : {"apcs", "422LT", "422-lt"}) EXPECT_EQ(variant(word), Variant::LT);
  for (const char* word : {"apcn", "standard"}) EXPECT_EQ(variant(word), Variant::Standard);
  for (const char* word : {"APCH", "422hq", "422-hq"}) EXPECT_EQ(variant(word), Variant::HQ);
  const auto labels =
      Take(DescribeEncode, {"--color", "rec2020", "--fields", "tff", "a", "b.mov"}).overrides;
  EXPECT_EQ(labels.colour, (Colour{9, 1, 9}));
  EXPECT_EQ(labels.fields, FieldOrder::TopFirst);
  EXPECT_EQ(Take(DescribeEncode, {"--fields", "bff", "a", "b.mov"}).overrides.fields,
            FieldOrder::BottomFirst);
}

TEST(CommandLine, RefusesTwoOutputs) {
  EXPECT_THAT(Refuse({"encode", "-o", "a.mov", "b.mov", "c.mov"}),
              HasSubstr("unexpected argument 'c.mov'"));
  EXPECT_THAT(Refuse({"encode", "-o", "a.mov", "--output-dir", "d", "b.mov"}),
              HasSubstr("--output and --output-dir contradict each other"));
  EXPECT_THAT(Refuse({"encode", "-o", "", "b.mov"}), HasSubstr("OUTPUT: empty name"));
  EXPECT_THAT(Refuse({"encode", "--variant", "hq", "--profile", "lt", "a", "b"}),
              HasSubstr("--variant is given twice"));
}

TEST(CommandLine, NoTwoOptionsShareAName) {
  for (const Command& command : AllCommands()) {
    std::vector<std::string> names;
    for (const Option* option : OptionsOf(command)) {
      for (const std::string& name : NamesOf(*option)) names.push_back(name);
    }
    std::ranges::sort(names);
    const auto twice = std::ranges::adjacent_find(names);
    EXPECT_EQ(twice, names.end()) << command.name << " has two options " << *twice;
  }
}

TEST(CommandLine, HelpOfEveryCommandFitsTwoScreens) {
  constexpr auto kLines = 100;
  constexpr std::size_t kColumns = 88;
  for (const Command& command : AllCommands()) {
    const std::string help = CommandHelp(command);
    EXPECT_LE(std::ranges::count(help, '\n'), kLines) << command.name;
    for (std::size_t begin = 0; begin < help.size();) {
      const std::size_t end = help.find('\n', begin);
      EXPECT_LE(end - begin, kColumns) << help.substr(begin, end - begin);
      begin = end + 1;
    }
  }
}

TEST(CommandLine, SuggestsSimilarWords) {
  EXPECT_THAT(Refuse({"encod", "a", "b"}), HasSubstr("did you mean 'encode'?"));
  EXPECT_THAT(Refuse({"encode", "--varaint", "hq", "a", "b"}),
              HasSubstr("encode: unknown option --varaint (did you mean '--variant'?)"));
  EXPECT_THAT(Refuse({"encode", "--over", "a", "b"}), HasSubstr("did you mean '--overwrite'?"));
  EXPECT_THAT(Refuse({"encode", "--variant", "hp", "a", "b"}), HasSubstr("did you mean 'hq'?"));
  EXPECT_THAT(Refuse({"encode", "--upside-down", "a", "b"}), Not(HasSubstr("did you mean")));
  EXPECT_THAT(Refuse({"encode", "--crf", "25", "a", "b"}), Not(HasSubstr("did you mean")));
  EXPECT_THAT(Refuse({"encode", "--profle", "hq", "a", "b"}),
              HasSubstr("did you mean '--profile'"));
  EXPECT_THAT(Refuse({"encode", "--variant", "4444xq", "a", "b"}), Not(HasSubstr("did you mean")));
}

TEST(CommandLine, ReportsMissingValuesAndUnknownShortOptions) {
  EXPECT_THAT(Refuse({"encode", "--variant"}), HasSubstr("--variant needs a value"));
  EXPECT_THAT(Refuse({"inspect", "--html", "--overwrite", "a"}),
              HasSubstr("--html needs a value: --html"));
  EXPECT_THAT(Refuse({"decode", "-in.mov", "b"}),
              HasSubstr("for a file of that name write ./-in.mov"));
}

TEST(CommandLine, AcceptsChoicesInAnyCaseAndValuesBehindAnEqualsSign) {
  EXPECT_EQ(Take(DescribeEncode, {"--variant=HQ", "a", "b.mov"}).variant->variant,
            vix::ProResCodecVariant::HQ);
}

TEST(CommandLine, AcceptsNamesWithALeadingDashBehindTwoDashes) {
  EXPECT_EQ(Take(DescribeDecode, {"--", "--json", "b"}).input, "--json");
}

TEST(CommandLine, RejectsWrongUse) {
  const std::vector<std::vector<const char*>> wrong{
      {},
      {"remux", "a", "b"},
      {"help", "remux"},
      {"encode", "a"},
      {"encode", "a", "b", "c"},
      {"encode", "a", ""},
      {"encode", "--variant", "xq", "a", "b"},
      {"encode", "--threads", "257", "a", "b"},
      {"encode", "--skip-field", "a", "b"},
      {"encode", "--size", "2x2", "a", "b"},
      {"encode", "--fourcc", "UYVY", "--size", "2x2", "a", "b"},
      {"decode", "--threads", "-1", "a", "b"},
      {"decode", "--cpu", "mmx", "a", "b"},
      {"decode", "--on-error", "ignore", "a", "b"},
      {"verify"},
      {"verify", "--threads", "257", "a"},
      {"encode", "--cpu", "", "a", "b"},
      {"encode", "--vendor", "abcde", "a", "b"},
      {"encode", "--par", "1/1", "a", "b"},
      {"encode", "--audio-tracks", "0", "a", "b"},
      {"encode", "--audio-tracks", "1,1", "a", "b"},
      {"encode", "--audio-tracks", "", "a", "b"},
      {"encode", "--color", "bt710", "a", "b"},
      {"--json", "encode", "a", "b"},
      {"encode", "--variant"},
      {"encode", "--frames", "0-1", "--frames", "2-3", "a", "b"},
      {"decode", "--fourcc", "2vuy", "a", "b"},
      {"elements", "a"},
      {"bench", "a"},
      {"bench", "--frames", "0"},
      {"bench", "--size", "1920"},
      {"bench", "--size", "65535x65535"},
  };
  for (const auto& words : wrong) EXPECT_NE(Refuse(words), "taken");
}

}  // namespace
}  // namespace vixprores
