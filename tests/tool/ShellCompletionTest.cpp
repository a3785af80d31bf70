// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/Help.h"

namespace vixprores {
namespace {

using testing::HasSubstr;

std::vector<Command> Commands() {
  Command command;
  command.name = "twist";
  command.summary = "Twist a file's frames: [all] of them";
  command.arguments = {{"INPUT", "a file"}};
  Option folder{"--into", "FOLDER", "where the files go; it's made", {}};
  folder.shortName = "-o";
  folder.completion = Completion::Folder;
  command.groups = {{"Twisting", {folder}}};
  return {command};
}

TEST(ShellCompletion, OffersBothNamesOfAnOptionInBash) {
  const std::string script = BashCompletion(Commands());
  EXPECT_THAT(script, HasSubstr("'twist --into') kind=folder"));
  EXPECT_THAT(script, HasSubstr("'twist -o') kind=folder"));
  EXPECT_THAT(script, HasSubstr("options='-o --into --help'"));
}

TEST(ShellCompletion, QuotesSpecialCharactersOfZsh) {
  const std::string script = ZshCompletion(Commands());
  EXPECT_THAT(script, HasSubstr("'twist:Twist a file'\\''s frames\\: \\[all\\] of them'"));
  EXPECT_THAT(script,
              HasSubstr("'--into=[where the files go; it'\\''s made]:FOLDER:_path_files -/'"));
  EXPECT_THAT(script, HasSubstr("'-o[where the files go; it'\\''s made]:FOLDER:_path_files -/'"));
}

TEST(ShellCompletion, QuotesSpecialCharactersOfFish) {
  const std::string script = FishCompletion(Commands());
  EXPECT_THAT(script, HasSubstr("-a twist -d 'Twist a file\\'s frames: [all] of them'"));
  EXPECT_THAT(script, HasSubstr("-s o -l into -d 'where the files go; it\\'s made' -x"));
}

TEST(ShellCompletion, OffersHelp) {
  EXPECT_THAT(BashCompletion(Commands()), HasSubstr("words='twist help'"));
}

}  // namespace
}  // namespace vixprores
