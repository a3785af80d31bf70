// SPDX-License-Identifier: BSD-2-Clause
// Calls everything that is safe to call from any thread on eight threads at once. The thread
// sanitizer detects more faults here than the expectations do.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "SilentLog.h"
#include "vix/Buffers.h"
#include "vix/ElementDriver.h"
#include "vix/Logging.h"
#include "vix/PluginLoader.h"
#include "vix/Registry.h"
#include "vix/WorkflowStepImplementation.h"

namespace vix {
namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 200;

/// Runs `work` with the number of the thread on every thread and waits for all of them.
void OnAllThreads(const std::function<void(int thread)>& work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

/// Repeats `work` on its own thread until it is destroyed.
class Background {
 public:
  explicit Background(std::function<void()> work)
      : thread_([this, work = std::move(work)] {
          while (!stop_) work();
        }) {}
  ~Background() {
    stop_ = true;
    thread_.join();
  }
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;

 private:
  std::atomic<bool> stop_ = false;
  std::thread thread_;
};

class Concurrency : public ::testing::Test {
 protected:
  SilentLog silentLog;
};

void PassOneSample(ElementFactoryType factoryType) {
  ElementDriver driver(factoryType, "fake", "Pass");
  driver.Configure(driver.CreateConfig());
  driver.Define(CreateInfoContainer(
      CreateVideoInfo(CreateVideoParameters(VCodecFamily::Raw), nullptr, {}, {}), nullptr));
  const auto buffer = CreateBuffer(
      ImplementElement<ElementFactoryType::MemoryBlockAllocator>("vix", "Recycler", nullptr),
      nullptr);
  buffer->Allocate(1000);
  const auto sample = CreateVideoSample(nullptr, nullptr, buffer, {}, {});
  driver.Push(CreateSampleContainer(sample, nullptr));
  EXPECT_EQ(driver.Pull()->GetVideoSamples(nullptr, nullptr).front(), sample);
  driver.Release();
}

TEST_F(Concurrency, ElementsAreMadeUsedAndDroppedOnManyThreads) {
  const auto plugin = LoadPlugin(FAKE_PLUGIN, "test");
  OnAllThreads([](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      PassOneSample(thread % 2 ? ElementFactoryType::VideoEncoder
                               : ElementFactoryType::VideoDecoder);
    }
  });
}

TEST_F(Concurrency, PluginsAreLoadedAndUnloadedWhileInUse) {
  const Background loader([] { LoadPlugin(FAKE_PLUGIN, "test"); });
  OnAllThreads([](int) {
    using Factory = ElementFactory<ElementFactoryType::VideoDecoder>;
    for (int round = 0; round < kRounds; ++round) {
      const auto factory = std::dynamic_pointer_cast<Factory>(
          GetFactory(ElementFactoryType::VideoDecoder, "fake", "Pass"));
      if (factory) {
        EXPECT_EQ(factory->GetCreator()(nullptr)->GetSample(), nullptr);
      }
    }
  });
}

TEST_F(Concurrency, ManyThreadsLoadOnePluginAtOnce) {
  OnAllThreads([](int) {
    for (int round = 0; round < kRounds / 10; ++round) {
      EXPECT_NE(LoadPlugin(FAKE_PLUGIN, "test"), nullptr);
    }
  });
}

TEST_F(Concurrency, FactoriesAreRegisteredOnManyThreads) {
  OnAllThreads([](int thread) {
    const std::string name = "thread " + std::to_string(thread);
    const auto factory = std::make_shared<ElementFactory<ElementFactoryType::VideoDecoder>>(
        [](std::shared_ptr<const IParametersCollectionInstance>) { return nullptr; });
    const auto entry = CreateParametersCollectionInstance(GetRegistryEntryPrototype());
    entry->SetElementFactoryType("class", ElementFactoryType::VideoDecoder);
    entry->SetString("implementation", "test");
    entry->SetString("type", name);
    entry->SetParametersCollectionPrototype("init_config", CreateParametersCollectionPrototype());
    for (int round = 0; round < kRounds; ++round) {
      RegisterFactory(name, GetVIXCoreIdInternal("0.7.0.0.0"), factory, entry);
      EXPECT_EQ(GetFactory(ElementFactoryType::VideoDecoder, "test", name), factory);
      EXPECT_FALSE(GetRegistryEntries().empty());
      UnregisterFactories(name);
      EXPECT_EQ(GetFactory(ElementFactoryType::VideoDecoder, "test", name), nullptr);
    }
  });
}

TEST_F(Concurrency, AWriterIsReplacedWhileOthersLog) {
  std::atomic<int> lines = 0;
  std::atomic<int> activeSinks = 0;
  const auto makeWriter = [&] {
    return CreateLineLoggerWriter(
        [&, own = std::make_shared<int>(0)](LogLevel, const std::string& line) {
          // Not atomic, because calls of one sink must not overlap.
          ++*own;
          ++activeSinks;
          if (line.find("record") != std::string::npos) ++lines;
          --activeSinks;
        });
  };
  SetCurrentLoggerWriter(makeWriter());
  {
    const Background swapper([&] { SetCurrentLoggerWriter(makeWriter()); });
    OnAllThreads([](int thread) {
      const ContextScope scope("thread " + std::to_string(thread));
      for (int round = 0; round < kRounds; ++round) {
        WriteLogRecord(LogLevel::Info, "record", round, "File.cpp");
      }
    });
  }
  EXPECT_EQ(lines, kThreads * kRounds);
  EXPECT_EQ(activeSinks, 0);
}

TEST_F(Concurrency, ARecyclerServesManyThreads) {
  const auto recycler =
      ImplementElement<ElementFactoryType::MemoryBlockAllocator>("vix", "Recycler", nullptr);
  std::mutex mutex;
  std::deque<std::shared_ptr<IMemoryBlock>> shared;
  OnAllThreads([&](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      auto block = recycler->AllocateBlock(static_cast<std::size_t>(5000 + 700 * (round % 5)));
      std::memset(block->GetData(), thread, block->GetSize());
      EXPECT_EQ(block->GetData()[block->GetSize() - 1], thread);
      const std::lock_guard lock(mutex);
      shared.push_back(std::move(block));
      if (shared.size() > 16) shared.pop_front();  // mostly a block of another thread
    }
  });
  shared.clear();
  const auto statistics = std::dynamic_pointer_cast<IRecyclerStatistics>(recycler)->GetStatistics();
  EXPECT_EQ(statistics.blocksInUse, 0u);
  EXPECT_EQ(statistics.blocksFromSystem + statistics.blocksRecycled,
            static_cast<std::uint64_t>(kThreads * kRounds));
  EXPECT_LE(statistics.idleBytes, statistics.bytesFromSystem);
}

TEST_F(Concurrency, CallbacksAreReplacedWhileOthersAllocate) {
  std::atomic<int> allocated = 0;
  const auto setCallbacks = [&] {
    SetExtBufferCallbacks({[&](std::size_t bytes) {
                             ++allocated;
                             return new std::uint8_t[bytes];
                           },
                           [&](std::uint8_t* data, std::size_t) {
                             --allocated;
                             delete[] data;
                           }});
  };
  setCallbacks();
  {
    const Background swapper(setCallbacks);
    OnAllThreads([](int) {
      for (int round = 0; round < kRounds; ++round) {
        const auto buffer = CreateBuffer(GetAllocator("ExtBufferAllocator"), nullptr);
        buffer->Allocate(64);
        buffer->Resize(128);
      }
    });
  }
  SetExtBufferCallbacks({});
  EXPECT_EQ(allocated, 0);
}

TEST_F(Concurrency, ASchemaIsSharedByManyThreads) {
  const auto schema = CreateParametersCollectionPrototype();
  schema->AddParameterInt("Shared", 1, "");
  OnAllThreads([&](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      const auto values = CreateParametersCollectionInstance(schema);
      values->SetInt("Shared", thread);
      EXPECT_EQ(values->GetInt("Shared"), thread);
      EXPECT_FALSE(schema->GetDescriptions().empty());
    }
    schema->AddParameterInt("Thread " + std::to_string(thread), 0, "");
  });
  EXPECT_EQ(schema->GetDescriptions().size(), 1u + kThreads);
}

}  // namespace
}  // namespace vix
