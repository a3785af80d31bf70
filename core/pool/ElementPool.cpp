// SPDX-License-Identifier: BSD-2-Clause
#include "vix/ElementPool.h"

#include <mutex>
#include <utility>

#include "driver/Settings.h"
#include "vix/Error.h"

namespace vix {
namespace {

/// Runs `work`, whose exception becomes the frame's error.
template <typename Work>
void Attach(PoolFrame& frame, Work work) {
  try {
    work();
  } catch (...) {
    frame.error = std::current_exception();
  }
}

}  // namespace

struct __attribute__((visibility("hidden"))) ElementPool::State {
  /// What a frame is processed with. Each part is immutable, and compared by its address.
  struct Setup {
    std::shared_ptr<const IParametersCollectionInstance> config;
    std::shared_ptr<const IInfoContainer> input;
  };

  /// An element, used by one thread at a time.
  struct PooledElement {
    ElementDriver driver;
    Setup setup;  ///< in force

    void Adopt(const Setup& wanted) {
      if (setup.config != wanted.config) {
        driver.Configure(wanted.config);
        setup.config = wanted.config;
      }
      if (setup.input != wanted.input) {
        driver.Define(wanted.input);
        setup.input = wanted.input;
      }
    }
  };

  struct Job {
    PoolFrame frame;
    Setup setup;
  };

  State(ElementFactoryType factoryType, const std::string& implementation, const std::string& type,
        ElementPoolOptions settings)
      : options(std::move(settings)),
        describing(MakeDriver(factoryType, implementation, type)),
        jobs([this](void* job, unsigned element) { Process(*static_cast<Job*>(job), element); },
             options.size) {
    while (elements.size() < jobs.GetWorkers()) {
      elements.push_back({MakeDriver(factoryType, implementation, type), {}});
    }
  }

  ElementDriver MakeDriver(ElementFactoryType factoryType, const std::string& implementation,
                           const std::string& type) const {
    ElementDriver driver(factoryType, implementation, type);
    driver.SetInputChange(options.inputChange);
    driver.SetCodecHook(options.codecHook, options.threadsPerFrame);
    const bool hasMemory = options.memory.allocate != nullptr || options.memory.release != nullptr;
    if (hasMemory) driver.SetFrameMemory(options.memory);
    return driver;
  }

  void Process(Job& job, unsigned element) {
    PoolFrame& frame = job.frame;
    if (options.prepare) {
      Attach(frame, [&] { options.prepare(frame, element); });
      if (frame.error) return;
    }
    if (frame.input) Attach(frame, [&] { Run(job, elements.at(element)); });
    if (options.finish) Attach(frame, [&] { options.finish(frame, element); });
  }

  static void Run(Job& job, PooledElement& element) {
    element.Adopt(job.setup);
    PoolFrame& frame = job.frame;
    try {
      element.driver.Push(frame.input);
      frame.report = element.driver.GetCodecReport();
      frame.output = element.driver.Pull();
    } catch (...) {
      frame.report = element.driver.GetCodecReport();
      throw;
    }
  }

  std::shared_ptr<Job> MakeJob(PoolFrame frame) const {
    const std::lock_guard lock(mutex);
    if (!setup.input) {
      throw VIXError(ErrorCode::WrongOrder,
                     describing.GetName() + ": call Define before a frame is submitted");
    }
    // The host may submit a frame that it has received: the results before are dropped.
    return std::make_shared<Job>(
        Job{{std::move(frame.input), std::move(frame.context), 0, nullptr, nullptr, {}}, setup});
  }

  static std::optional<PoolFrame> ToFrame(const std::optional<OrderedPool::Result>& result) {
    if (!result) return std::nullopt;
    PoolFrame frame = std::move(static_cast<Job*>(result->job.get())->frame);
    frame.number = result->number;
    return frame;
  }

  const ElementPoolOptions options;
  mutable std::mutex mutex;  ///< guards `describing` and `setup`
  ElementDriver describing;  ///< processes no frame: it checks and describes new setups
  Setup setup;
  std::vector<PooledElement> elements;
  OrderedPool jobs;  // the last member, so that its threads end before the elements
};

ElementPool::ElementPool(ElementFactoryType factoryType, const std::string& implementation,
                         const std::string& type, ElementPoolOptions options)
    : state_(std::make_unique<State>(factoryType, implementation, type, std::move(options))) {}

ElementPool::~ElementPool() = default;

const std::string& ElementPool::GetName() const {
  return state_->describing.GetName();
}

unsigned ElementPool::GetElements() const {
  return state_->jobs.GetWorkers();
}

std::size_t ElementPool::GetMostInFlight() const {
  return state_->jobs.GetMostInFlight();
}

std::shared_ptr<IParametersCollectionInstance> ElementPool::CreateConfig() const {
  return state_->describing.CreateConfig();
}

std::vector<ParameterDescription> ElementPool::DescribeParameters() const {
  return state_->describing.DescribeParameters();
}

void ElementPool::Configure(std::shared_ptr<const IParametersCollectionInstance> config) {
  State& state = *state_;
  const std::lock_guard lock(state.mutex);
  state.describing.Configure(config);
  auto copy = state.describing.CreateConfig();
  Settings(*copy->GetPrototype(), *config).Apply(*copy);
  state.setup.config = std::move(copy);
}

std::shared_ptr<const IInfoContainer> ElementPool::Define(
    std::shared_ptr<const IInfoContainer> input) {
  State& state = *state_;
  const std::lock_guard lock(state.mutex);
  auto output = state.describing.Define(input);
  state.setup.input = std::move(input);
  return output;
}

std::shared_ptr<const IInfoContainer> ElementPool::GetOutput() const {
  const std::lock_guard lock(state_->mutex);
  return state_->describing.GetOutput();
}

bool ElementPool::TrySubmit(PoolFrame& frame) {
  OrderedPool::Job job = state_->MakeJob(frame);
  if (!state_->jobs.TrySubmit(job)) return false;
  frame = {};
  return true;
}

bool ElementPool::Submit(PoolFrame frame) {
  return state_->jobs.Submit(state_->MakeJob(std::move(frame)));
}

std::optional<PoolFrame> ElementPool::TryReceive() {
  return State::ToFrame(state_->jobs.TryReceive());
}

std::optional<PoolFrame> ElementPool::Receive() {
  return State::ToFrame(state_->jobs.Receive());
}

void ElementPool::Flush() {
  state_->jobs.Flush();
}

void ElementPool::Interrupt() {
  state_->jobs.Interrupt();
}

void ElementPool::Restart() {
  state_->jobs.Restart();
}

}  // namespace vix
