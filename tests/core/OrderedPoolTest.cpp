// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ErrorText.h"
#include "vix/Error.h"
#include "vix/OrderedPool.h"

namespace vix {
namespace {

OrderedPool::Job MakeJob(int value) {
  return std::make_shared<int>(value);
}

int ValueOf(const OrderedPool::Job& job) {
  return *static_cast<const int*>(job.get());
}

void Square(void* job, unsigned /*worker*/) {
  int& value = *static_cast<int*>(job);
  value *= value;
}

/// Holds jobs in processing until it is opened.
class Gate {
 public:
  void Open() { opened_.set_value(); }
  void Wait() const { future_.wait(); }

 private:
  std::promise<void> opened_;
  std::shared_future<void> future_ = opened_.get_future().share();
};

struct Shape {
  unsigned workers;
  std::size_t mostInFlight;
  bool receiverWorks;
};

std::string NameOf(const ::testing::TestParamInfo<Shape>& shape) {
  return std::to_string(shape.param.workers) + "Workers" +
         std::to_string(shape.param.mostInFlight) + "InFlight" +
         (shape.param.receiverWorks ? "WithTheReceiver" : "");
}

// Else its bytes would be printed, of which some have no value.
void PrintTo(const Shape& shape, std::ostream* out) {
  *out << shape.workers << " workers, " << shape.mostInFlight << " in flight";
}

class OrderedPools : public ::testing::TestWithParam<Shape> {
 protected:
  static OrderedPoolOptions Options() {
    const Shape& shape = GetParam();
    return {shape.workers, shape.mostInFlight, shape.receiverWorks};
  }
};

TEST_P(OrderedPools, ReturnJobsInTheOrderOfSubmission) {
  constexpr int kJobs = 500;
  OrderedPool pool(
      [](void* job, unsigned worker) {
        if (worker % 2 == 0) std::this_thread::yield();
        Square(job, worker);
      },
      Options());
  std::thread submitter([&] {
    for (int i = 0; i < kJobs; ++i) EXPECT_TRUE(pool.Submit(MakeJob(i)));
    pool.Flush();
  });
  for (int i = 0; i < kJobs; ++i) {
    const auto result = pool.Receive();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->number, static_cast<std::uint64_t>(i));
    EXPECT_EQ(ValueOf(result->job), i * i);
    EXPECT_EQ(result->failure, nullptr);
  }
  EXPECT_FALSE(pool.Receive());
  submitter.join();
}

TEST_P(OrderedPools, AttachFailuresToTheirJobs) {
  OrderedPool pool(
      [](void* job, unsigned) {
        if (*static_cast<int*>(job) % 3 == 1) throw std::runtime_error("one of three");
      },
      Options());
  std::thread submitter([&] {
    for (int i = 0; i < 60; ++i) pool.Submit(MakeJob(i));
    pool.Flush();
  });
  for (int i = 0; i < 60; ++i) EXPECT_EQ(pool.Receive()->failure != nullptr, i % 3 == 1) << i;
  submitter.join();
}

TEST_P(OrderedPools, ServeOneThreadThatSubmitsAndReceives) {
  OrderedPool pool(Square, Options());
  int received = 0;
  for (int i = 0; i < 50; ++i) {
    auto job = MakeJob(i);
    while (!pool.TrySubmit(job)) EXPECT_EQ(pool.Receive()->number, received++);
    EXPECT_EQ(job, nullptr);
  }
  pool.Flush();
  while (pool.Receive()) ++received;
  EXPECT_EQ(received, 50);
}

TEST_P(OrderedPools, AcceptJobsAgainAfterAFlush) {
  OrderedPool pool(Square, Options());
  for (int round = 0; round < 3; ++round) {
    EXPECT_TRUE(pool.Submit(MakeJob(round)));
    pool.Flush();
    EXPECT_EQ(ValueOf(pool.Receive()->job), round * round);
    EXPECT_FALSE(pool.Receive());
  }
}

TEST_P(OrderedPools, ProcessEachJobOnItsWorkerAlone) {
  std::vector<std::atomic<int>> busy(Options().workers);
  OrderedPool pool(
      [&](void*, unsigned worker) {
        EXPECT_EQ(busy.at(worker)++, 0);
        --busy[worker];
      },
      Options());
  std::thread submitter([&] {
    for (int i = 0; i < 200; ++i) pool.Submit(MakeJob(i));
    pool.Flush();
  });
  while (pool.Receive()) {
  }
  submitter.join();
}

INSTANTIATE_TEST_SUITE_P(Sizes, OrderedPools,
                         ::testing::Values(Shape{1, 1, true}, Shape{1, 2, true}, Shape{2, 4, true},
                                           Shape{3, 6, true}, Shape{4, 1, false},
                                           Shape{4, 9, false}, Shape{2, 4, false}),
                         NameOf);

TEST(OrderedPool, ChoosesItsSize) {
  const OrderedPool pool(Square, {});
  EXPECT_EQ(pool.GetWorkers(), std::max(1u, std::thread::hardware_concurrency()));
  EXPECT_EQ(pool.GetMostInFlight(), 2 * pool.GetWorkers());
}

TEST(OrderedPool, RefusesJobsWhileItIsFull) {
  Gate gate;
  OrderedPool pool([&](void*, unsigned) { gate.Wait(); }, {2, 3, false});
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(pool.Submit(MakeJob(i)));
  auto fourth = MakeJob(3);
  EXPECT_FALSE(pool.TrySubmit(fourth));
  EXPECT_EQ(ValueOf(fourth), 3);
  EXPECT_FALSE(pool.TryReceive());
  gate.Open();
  EXPECT_EQ(pool.Receive()->number, 0u);
  EXPECT_TRUE(pool.TrySubmit(fourth));
}

TEST(OrderedPool, RefusesJobsBetweenFlushAndTheLastResult) {
  OrderedPool pool(Square, {1, 2, false});
  pool.Submit(MakeJob(1));
  pool.Flush();
  EXPECT_THAT(ErrorTextOf([&] { pool.Submit(MakeJob(2)); }), testing::HasSubstr("after Flush"));
  auto job = MakeJob(2);
  EXPECT_THROW(static_cast<void>(pool.TrySubmit(job)), VIXError);
}

TEST(OrderedPool, InterruptReleasesWaitingCallsAndDropsJobs) {
  Gate gate;
  OrderedPool pool([&](void*, unsigned) { gate.Wait(); }, {1, 1, false});
  const std::weak_ptr<void> dropped = [&] {
    auto job = MakeJob(1);
    pool.Submit(job);
    return std::weak_ptr<void>(job);
  }();
  std::promise<bool> submitted;
  std::thread submitter([&] { submitted.set_value(pool.Submit(MakeJob(2))); });
  std::promise<bool> received;
  std::thread receiver([&] { received.set_value(pool.Receive().has_value()); });
  pool.Interrupt();
  EXPECT_FALSE(submitted.get_future().get());
  EXPECT_FALSE(received.get_future().get());
  submitter.join();
  receiver.join();
  EXPECT_FALSE(pool.Submit(MakeJob(3)));
  EXPECT_FALSE(pool.Receive());
  gate.Open();
  pool.Restart();
  EXPECT_TRUE(dropped.expired());
}

TEST(OrderedPool, RestartForgetsTheJobsBefore) {
  OrderedPool pool(Square, {2, 4, false});
  for (int round = 0; round < 100; ++round) {
    for (int i = 0; i < 4; ++i) pool.Submit(MakeJob(i));
    if (round % 2 == 0) pool.Interrupt();
    pool.Restart();
    pool.Submit(MakeJob(7));
    const auto result = pool.Receive();
    EXPECT_EQ(result->number, 0u);
    EXPECT_EQ(ValueOf(result->job), 49);
    pool.Restart();
  }
}

TEST(OrderedPool, MayBeInterruptedWhileItRestarts) {
  OrderedPool pool([](void* job, unsigned) { EXPECT_NE(job, nullptr); }, {2, 4, false});
  const auto job = MakeJob(1);
  std::thread other([&] {
    for (int i = 0; i < 200; ++i) pool.Interrupt();
  });
  for (int round = 0; round < 100; ++round) {
    pool.Restart();
    for (int i = 0; i < 4; ++i) pool.Submit(job);
    while (pool.TryReceive()) {
    }
  }
  other.join();
  pool.Restart();
  EXPECT_EQ(job.use_count(), 1);
}

TEST(OrderedPool, DestructorDropsWaitingJobs) {
  const auto job = MakeJob(3);
  {
    OrderedPool pool(Square, {1, 8, true});  // no thread of its own
    for (int i = 0; i < 8; ++i) pool.Submit(job);
  }
  EXPECT_EQ(job.use_count(), 1);
}

}  // namespace
}  // namespace vix
