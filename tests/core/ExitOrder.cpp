// SPDX-License-Identifier: BSD-2-Clause
// Uses the core before main() and in destructors of static and thread-local objects, whose order a
// library cannot control. Exits with status 0 on success.
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "vix/Buffers.h"
#include "vix/Diagnostics.h"
#include "vix/Logging.h"
#include "vix/PluginLoader.h"
#include "vix/Registry.h"
#include "vix/WorkflowStepImplementation.h"

namespace {

void Require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "failed: %s\n", what);
  _exit(1);
}

std::shared_ptr<vix::IMemoryBlockAllocator> MakeRecycler() {
  return vix::ImplementElement<vix::ElementFactoryType::MemoryBlockAllocator>("vix", "Recycler",
                                                                              nullptr);
}

/// Keeps objects of the core and of a plug-in after main().
struct Holder {
  std::shared_ptr<vix::IMemoryBlockAllocator> recycler;
  std::shared_ptr<vix::IMemoryBlock> block;
  std::shared_ptr<vix::IBuffer> buffer;
  std::shared_ptr<vix::IPlugin> plugin;
  std::shared_ptr<vix::IVideoDecoder> decoder;

  ~Holder() {
    const auto milestone = vix::CreateMilestone("exit");
    buffer->Resize(20000);
    recycler.reset();
    Require(MakeRecycler() != nullptr, "a recycler after main()");
    Require(vix::GetCurrentContextString() == "exit", "a context after main()");
    Require(vix::GetCurrentLoggerWriter() != nullptr, "the writer after main()");
    vix::WriteLogRecord(vix::LogLevel::Info, "after main()", 1, "ExitOrder.cpp");
    plugin.reset();
    Require(decoder->GetSample() == nullptr, "an element after its plug-in");
    const auto ext = vix::GetAllocator("ExtBufferAllocator");
    Require(ext != nullptr && ext->AllocateBlock(10) != nullptr, "callbacks after main()");
    const auto system = vix::CreateBuffer(nullptr, nullptr);
    system->Allocate(100);
    vix::SetCurrentLoggerWriter(nullptr);
    vix::SetExtBufferCallbacks({});
  }
};

// Constructed before the first use of the core, so destroyed after the static objects of the core.
Holder holder;

const bool usedBeforeMain = [] {
  vix::CreateBuffer(nullptr, nullptr)->Allocate(100);
  return MakeRecycler() != nullptr;
}();

/// Writes a record when its thread ends.
struct ThreadEnd {
  ~ThreadEnd() {
    const vix::ContextScope scope("thread end");
    vix::WriteLogRecord(vix::LogLevel::Info, "thread ends", 1, "ExitOrder.cpp");
  }
};

}  // namespace

int main() {
  thread_local ThreadEnd threadEnd;
  static_cast<void>(&threadEnd);
  vix::SetCurrentLoggerWriter(
      vix::CreateLineLoggerWriter([](vix::LogLevel, const std::string&) {}));
  vix::SetExtBufferCallbacks({[](std::size_t bytes) { return new std::uint8_t[bytes]; },
                              [](std::uint8_t* data, std::size_t) { delete[] data; }});
  holder.recycler = MakeRecycler();
  holder.block = holder.recycler->AllocateBlock(10000);
  holder.buffer = vix::CreateBuffer(holder.recycler, nullptr);
  holder.plugin = vix::LoadPlugin(FAKE_PLUGIN, "exit order");
  holder.decoder =
      vix::ImplementElement<vix::ElementFactoryType::VideoDecoder>("fake", "Pass", nullptr);
  return 0;
}
