// SPDX-License-Identifier: BSD-2-Clause
#include <stdexcept>
#include <string>

#include "PluginTest.h"

namespace {

using fake::TheHost;

constexpr const char* kMilestone = "[MILESTONE][ImplementElement Type23.vix.Recycler]";
std::string CanNotImplement(const std::string& cause) {
  return "can not implement Type23 with implementation=\"vix\" and type=\"Recycler\"\n" + cause;
}

std::shared_ptr<vix::IMemoryBlockAllocator> Implement() {
  return vix::ImplementElement<vix::ElementFactoryType::MemoryBlockAllocator>("vix", "Recycler",
                                                                              nullptr);
}

class ImplementElementTest : public PluginTest {
 protected:
  /// Expects the records of the milestone, of the failed check and of the whole failure.
  static void ExpectFailedCheck(const std::string& label, const std::string& line) {
    const std::string check = "[" + label + "] [ Pointer is null ]";
    EXPECT_EQ(CatchReport(Implement), CanNotImplement(check));
    ASSERT_EQ(Records().size(), 3U);
    ExpectRecord(0, vix::LogLevel::Info, kMilestone, "240");
    ExpectRecord(1, vix::LogLevel::Error, check, line);
    ExpectRecord(2, vix::LogLevel::Error, CanNotImplement(check), "259");
  }

  static void ExpectRecord(std::size_t index, vix::LogLevel level, const std::string& message,
                           const std::string& line) {
    const fake::LogRecord& record = Records().at(index);
    EXPECT_EQ(record.level, level);
    EXPECT_EQ(record.message, message);
    EXPECT_EQ(record.line, line);
    EXPECT_NE(record.sourceFile.find("WorkflowStepImplementation"), std::string::npos);
  }
};

TEST_F(ImplementElementTest, LooksUpChecksAndCreatesCallByCall) {
  TheHost().noteReleases = true;
  EXPECT_EQ(fake::NameOf(Implement()), "recycler1");
  EXPECT_EQ(
      TheHost().TakeCalls(),
      (CallList{"GetLabel(factory type, 23)", "GetCurrentLoggerWriter()", "GetCurrentTimeString()",
                "GetThreadId()", "ToString(240)", "GetCurrentContextString()", "writer.Write(4)",
                "CreateMilestone(ImplementElement Type23.vix.Recycler)",
                "GetFactory(23, vix, Recycler)", "GetManifest(23, vix, Recycler)",
                "creator(manifest)", "~milestone", "~recycler1"}));
  ASSERT_EQ(Records().size(), 1U);
  ExpectRecord(0, vix::LogLevel::Info, kMilestone, "240");
}

TEST_F(ImplementElementTest, AMissingFactoryIsReportedAsRegistryEntry) {
  TheHost().factory = nullptr;
  ExpectFailedCheck("registryEntry", "244");
  EXPECT_EQ(TheHost().CountCalls("GetManifest"), 0U);
}

TEST_F(ImplementElementTest, AMissingFactoryIsReportedBeforeAMissingManifest) {
  TheHost().factory = nullptr;
  TheHost().manifest = nullptr;
  ExpectFailedCheck("registryEntry", "244");
}

TEST_F(ImplementElementTest, AMissingManifestIsReported) {
  TheHost().manifest = nullptr;
  ExpectFailedCheck("manifest", "248");
}

TEST_F(ImplementElementTest, AFactoryOfAnotherClassIsReported) {
  TheHost().factory =
      std::make_shared<vix::ElementFactory<vix::ElementFactoryType::VideoEncoder>>(nullptr);
  ExpectFailedCheck("factory", "252");
}

TEST_F(ImplementElementTest, AFailingCreatorBecomesTheSecondLine) {
  UseRecyclerCreator([](auto) -> std::shared_ptr<vix::IMemoryBlockAllocator> {
    throw vix::VIXRuntimeError("[x]");
  });
  EXPECT_EQ(CatchReport(Implement), CanNotImplement("[x]"));
  ASSERT_EQ(Records().size(), 2U);
  ExpectRecord(1, vix::LogLevel::Error, CanNotImplement("[x]"), "259");
}

TEST_F(ImplementElementTest, FailuresOfHostCallsAreConverted) {
  for (const char* const function : {"CreateMilestone", "GetFactory", "GetManifest"}) {
    TheHost().hooks = {{function, [] { throw std::runtime_error("broken"); }}};
    EXPECT_EQ(CatchReport(Implement), CanNotImplement("broken")) << function;
  }
}

TEST_F(ImplementElementTest, ErrorsOfOtherTypesPassThrough) {
  TheHost().hooks["GetFactory"] = [] { throw std::logic_error("broken"); };
  EXPECT_THROW(Implement(), std::logic_error);
  EXPECT_EQ(Records().size(), 1U);  // the milestone's
}

TEST_F(ImplementElementTest, AnEmptyCreatorThrowsTheStandardLibrarysError) {
  UseRecyclerCreator(nullptr);
  EXPECT_THROW(Implement(), std::bad_function_call);
  EXPECT_EQ(Records().size(), 1U);
}

TEST_F(ImplementElementTest, ANullInstanceIsReturned) {
  UseRecyclerCreator([](auto) { return nullptr; });
  EXPECT_EQ(Implement(), nullptr);
}

TEST_F(ImplementElementTest, TheMilestoneEndsOnEveryPath) {
  TheHost().noteReleases = true;
  TheHost().factory = nullptr;
  EXPECT_THROW(Implement(), vix::VIXRuntimeError);
  EXPECT_EQ(TheHost().CountCalls("~milestone"), 1U);
  TheHost().hooks["GetFactory"] = [] { throw 42; };
  EXPECT_THROW(Implement(), int);
  EXPECT_EQ(TheHost().CountCalls("~milestone"), 2U);
}

TEST_F(ImplementElementTest, TheStepIsHeldDuringTheCallOnly) {
  auto step = std::make_shared<fake::Marker<vix::IStep>>("step");
  const std::weak_ptr<vix::IStep> watched = step;
  UseRecyclerCreator([&](auto) {
    EXPECT_FALSE(watched.expired());
    return nullptr;
  });
  vix::ImplementElement<vix::ElementFactoryType::MemoryBlockAllocator>("vix", "Recycler",
                                                                       std::move(step));
  EXPECT_TRUE(watched.expired());
}

TEST_F(ImplementElementTest, EachCallMakesANewInstance) {
  EXPECT_NE(Implement(), Implement());
}

}  // namespace
