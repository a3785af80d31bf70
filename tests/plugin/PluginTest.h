// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_PLUGIN_PLUGINTEST_H
#define TESTS_PLUGIN_PLUGINTEST_H

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "FakeCodec.h"
#include "FakeHost.h"

using CallList = std::vector<std::string>;

/// Starts every test with a host that has a writer and a recycling allocator.
class PluginTest : public ::testing::Test {
 protected:
  PluginTest() {
    fake::ResetHost();
    fake::TheCodec() = fake::Codec();
    fake::TheHost().writer = std::make_shared<fake::Writer>("writer");
    fake::TheHost().manifest = std::make_shared<fake::Instance>("manifest");
    UseRecyclerCreator([](std::shared_ptr<const vix::IParametersCollectionInstance> config) {
      fake::TheHost().Call("creator", fake::NameOf(config));
      return std::make_shared<fake::Allocator>(fake::TheHost().NextName("recycler"));
    });
  }
  ~PluginTest() override { fake::ResetHost(); }

  using RecyclerFactory = vix::ElementFactory<vix::ElementFactoryType::MemoryBlockAllocator>;
  static void UseRecyclerCreator(RecyclerFactory::Creator creator) {
    fake::TheHost().factory = std::make_shared<RecyclerFactory>(std::move(creator));
  }

  static const std::vector<fake::LogRecord>& Records() { return fake::TheHost().records; }

  /// Expects a VIXRuntimeError with `message` and one record at level 2 with the same message, the
  /// source file and, if given, the line.
  static void ExpectReport(const std::function<void()>& call, const std::string& message,
                           const std::string& sourceFile, const std::string& line = "") {
    fake::TheHost().records.clear();
    EXPECT_EQ(CatchReport(call), message);
    ASSERT_EQ(Records().size(), 1U);
    const fake::LogRecord& record = Records().front();
    EXPECT_EQ(record.level, vix::LogLevel::Error);
    EXPECT_EQ(record.message, message);
    EXPECT_NE(record.sourceFile.find(sourceFile), std::string::npos) << record.sourceFile;
    if (!line.empty()) {
      EXPECT_EQ(record.line, line);
    } else {
      EXPECT_GT(std::stoi(record.line), 0);
    }
  }

  /// Expects a plain std::runtime_error with `message` and no record.
  static void ExpectPlainError(const std::function<void()>& call, const std::string& message) {
    fake::TheHost().records.clear();
    try {
      call();
      ADD_FAILURE() << "nothing thrown";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(typeid(error), typeid(std::runtime_error));
      EXPECT_EQ(error.what(), message);
    }
    EXPECT_TRUE(Records().empty());
  }

  /// Returns the text of the VIXRuntimeError that `call` throws.
  static std::string CatchReport(const std::function<void()>& call) {
    try {
      call();
    } catch (const vix::VIXRuntimeError& error) {
      return error.what();
    }
    ADD_FAILURE() << "nothing thrown";
    return "";
  }
};

/// Returns the slot of a virtual operation in the table of its class, counted from 1 with the two
/// destructor entries as one.
template <typename Member>
std::size_t SlotOf(Member member) {
  // The Itanium ABI stores the offset in the table plus one.
  std::size_t offset = 0;
  static_assert(sizeof(member) >= sizeof(offset));
  std::memcpy(&offset, &member, sizeof(offset));
  return (offset - 1) / sizeof(void*);
}

#endif  // TESTS_PLUGIN_PLUGINTEST_H
