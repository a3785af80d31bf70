// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/Help.h"

namespace vixprores {
namespace {

using testing::HasSubstr;
using testing::Not;

Command MakeTwistCommand() {
  Command command;
  command.name = "twist";
  command.summary = "Twist a file";
  command.description = "First.\n\n.so begins no request, nor does\n'this one.";
  command.usages = {"[OPTION]... INPUT", "--all"};
  command.arguments = {{"INPUT", "a file"}};
  Option angle{"--angle", "N", "degrees", {}};
  angle.shortName = "-a";
  angle.details = "More than 360 is \"often\" too much.";
  Option way{"--way", "NAME", "where to", {}};
  way.choices = {"left", "right"};
  command.groups = {{"Twisting", {angle, way}}, {"Nothing", {}}};
  command.examples = {{"vixprores twist --angle 3 a \\\n  b", "Over two lines."}};
  return command;
}

TEST(Manual, EscapesRequestsAndEscapesInText) {
  const std::string page = CommandManual(MakeTwistCommand(), "1.2.3");
  EXPECT_THAT(page,
              HasSubstr("First.\n.PP\n\\&.so begins no request, nor does\n\\&\\(aqthis one."));
  EXPECT_THAT(page, HasSubstr("vixprores twist \\-\\-angle 3 a \\e\n  b\n"));
  EXPECT_THAT(page, HasSubstr("\\(dqoften\\(dq"));
}

TEST(Manual, DescribesAllPropertiesOfAnOption) {
  const std::string page = CommandManual(MakeTwistCommand(), "1.2.3");
  EXPECT_THAT(page, HasSubstr(".SS \"Twisting\"\n.TP\n.BI \"\\-a, \\-\\-angle \" \"N\"\ndegrees.\n"
                              "More than 360"));
  EXPECT_THAT(page, HasSubstr("where to.\nOne of left and right.\n"));
  EXPECT_THAT(page, Not(HasSubstr("\"Nothing\"")));
}

TEST(Manual, NamesProgramVersionAndEveryUse) {
  const std::string page = CommandManual(MakeTwistCommand(), "1.2.3");
  EXPECT_THAT(page, HasSubstr(".TH \"VIXPRORES\\-TWIST\" 1 \"\" \"vixprores 1.2.3\""));
  EXPECT_THAT(page, HasSubstr(".B \"vixprores twist\"\n[OPTION]... INPUT\n.br\n"
                              ".B \"vixprores twist\"\n\\-\\-all\n"));
}

TEST(Manual, OfTheProgramListsTheCommands) {
  const std::string page = ProgramManual({MakeTwistCommand()}, "1.2.3");
  EXPECT_THAT(page, HasSubstr(".BR vixprores\\-twist (1)\nTwist a file.\n"));
}

}  // namespace
}  // namespace vixprores
