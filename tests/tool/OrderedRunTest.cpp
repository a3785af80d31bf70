// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <latch>
#include <numeric>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "run/OrderedRun.h"

namespace vixprores {
namespace {

using testing::ElementsAre;

// Fixture: a run of numbers and its result. Each test changes one stage.
class OrderedRunOf : public testing::TestWithParam<unsigned> {
 protected:
  struct Stages : RunEnds<int> {
    std::function<void(int& item, unsigned worker)> process;
  };

  // Returns stages for the numbers 0 to `count` - 1, which `written_` collects.
  Stages CountTo(int count) {
    Stages stages;
    stages.read = [this, count]() -> std::optional<int> {
      if (next_ == count) return std::nullopt;
      return next_++;
    };
    stages.process = [](int& /*item*/, unsigned /*worker*/) {};
    stages.write = [this](int& item, const std::exception_ptr& failure) {
      if (failure) std::rethrow_exception(failure);
      written_.push_back(item);
    };
    return stages;
  }

  static void Run(const Stages& stages) { RunInOrder<int>(GetParam(), stages, stages.process); }

  // Returns the message of the exception that ends the run, or an empty string.
  static std::string FailureOf(const Stages& stages) {
    try {
      Run(stages);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return {};
  }

  static std::vector<int> NumbersUpTo(int count) {
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
  }

  // Makes every third of `count` items wait for a while until the next one overtakes it. Not for
  // ever: the next one may have to wait for the thread that processes this one.
  void LetTheNextOneOvertake(int item, int count) {
    const auto& next = processed_[static_cast<std::size_t>(item) + 1];
    for (int i = 0; i < 100 && item % 3 == 0 && item + 1 < count && !next.test(); ++i) {
      std::this_thread::yield();
    }
    processed_[static_cast<std::size_t>(item)].test_and_set();
  }

  // Items in the pool, one that is being read and one that is being written.
  static int MostInFlight() { return 2 * static_cast<int>(GetParam()) + 2; }

  int next_ = 0;
  std::array<std::atomic_flag, 201> processed_{};
  std::vector<int> written_;
};

TEST_P(OrderedRunOf, WritesInTheOrderOfReading) {
  Stages stages = CountTo(100);
  stages.process = [this](int& item, unsigned /*worker*/) {
    LetTheNextOneOvertake(item, 100);
    item *= 2;
  };
  Run(stages);
  auto expected = NumbersUpTo(100);
  for (int& number : expected) number *= 2;
  EXPECT_EQ(written_, expected);
}

TEST_P(OrderedRunOf, AcceptsAnEmptyInput) {
  Run(CountTo(0));
  EXPECT_TRUE(written_.empty());
}

TEST_P(OrderedRunOf, RethrowsTheFirstFailureInOrder) {
  Stages stages = CountTo(40);
  // The later failure happens first if there are enough workers. Both items find room in the pool
  // before any is written.
  std::latch later(1);
  stages.process = [&later](int& item, unsigned /*worker*/) {
    if (item == 2) later.count_down();
    if (item == 1 && GetParam() > 1) later.wait();
    if (item == 1 || item == 2) throw std::runtime_error(std::to_string(item));
  };
  EXPECT_EQ(FailureOf(stages), "1");
  EXPECT_EQ(written_, NumbersUpTo(1));
}

TEST_P(OrderedRunOf, WritesTheItemsBeforeAFailureToRead) {
  Stages stages = CountTo(40);
  stages.read = [read = stages.read, this]() {
    if (next_ == 7) throw std::runtime_error("unreadable");
    return read();
  };
  stages.process = [this](int& item, unsigned /*worker*/) { LetTheNextOneOvertake(item, 7); };
  EXPECT_EQ(FailureOf(stages), "unreadable");
  EXPECT_EQ(written_, NumbersUpTo(7));
}

TEST_P(OrderedRunOf, PrefersAFailureToProcessToALaterOneToRead) {
  Stages stages = CountTo(40);
  std::latch unreadable(1);
  stages.read = [read = stages.read, &unreadable, this]() {
    if (next_ == 7) {
      unreadable.count_down();
      throw std::runtime_error("unreadable");
    }
    return read();
  };
  stages.process = [&unreadable](int& item, unsigned /*worker*/) {
    if (item != 6) return;
    if (GetParam() > 1) unreadable.wait();
    throw std::runtime_error("unprocessable");
  };
  EXPECT_EQ(FailureOf(stages), "unprocessable");
  EXPECT_EQ(written_, NumbersUpTo(6));
}

TEST_P(OrderedRunOf, WritesNothingAfterAFailureToWrite) {
  Stages stages = CountTo(1000);
  stages.write = [write = stages.write](int& item, const std::exception_ptr& failure) {
    if (item == 5) throw std::runtime_error("unwritable");
    write(item, failure);
  };
  EXPECT_EQ(FailureOf(stages), "unwritable");
  EXPECT_EQ(written_, NumbersUpTo(5));
  EXPECT_LE(next_, 5 + MostInFlight()) << "reading continued";
}

TEST_P(OrderedRunOf, StopsAWaitingReadAfterAFailure) {
  std::atomic<bool> stopped = false;
  Stages stages = CountTo(1);
  stages.read = [read = stages.read, &stopped]() {
    auto item = read();
    while (!item && GetParam() > 1 && !stopped) std::this_thread::yield();
    return item;
  };
  stages.write = [](int& /*item*/, const std::exception_ptr& /*failure*/) {
    throw std::runtime_error("unwritable");
  };
  stages.stopReading = [&stopped] { stopped = true; };
  EXPECT_EQ(FailureOf(stages), "unwritable");
}

TEST_P(OrderedRunOf, HasABoundedNumberOfItemsInFlight) {
  std::atomic<int> inFlight = 0;
  std::atomic<int> most = 0;
  Stages stages = CountTo(200);
  stages.read = [read = stages.read, &inFlight, &most]() {
    auto item = read();
    if (item) most = std::max(most.load(), ++inFlight);
    return item;
  };
  stages.process = [this](int& item, unsigned /*worker*/) { LetTheNextOneOvertake(item, 200); };
  stages.write = [write = stages.write, &inFlight](int& item, const std::exception_ptr& failure) {
    --inFlight;
    write(item, failure);
  };
  Run(stages);
  EXPECT_LE(most, MostInFlight());
  EXPECT_EQ(written_, NumbersUpTo(200));
}

TEST_P(OrderedRunOf, GivesEachWorkerOneItemAtATime) {
  std::vector<std::atomic<int>> working(GetParam());
  std::atomic<bool> overlapped = false;
  Stages stages = CountTo(100);
  stages.process = [&](int& item, unsigned worker) {
    if (++working.at(worker) != 1) overlapped = true;
    LetTheNextOneOvertake(item, 100);
    --working.at(worker);
  };
  Run(stages);
  EXPECT_FALSE(overlapped);
}

TEST_P(OrderedRunOf, RunsWorkersAtTheSameTime) {
  std::atomic<unsigned> arrived = 0;
  Stages stages = CountTo(static_cast<int>(GetParam()));
  // Each item waits for all others.
  stages.process = [&arrived](int& /*item*/, unsigned /*worker*/) {
    ++arrived;
    while (arrived < GetParam()) std::this_thread::yield();
  };
  Run(stages);
  EXPECT_EQ(written_, NumbersUpTo(static_cast<int>(GetParam())));
}

TEST(OrderedRun, OneWorkerStaysOnTheCallingThread) {
  std::set<std::thread::id> threads;
  int next = 0;
  const auto note = [&threads] { threads.insert(std::this_thread::get_id()); };
  RunEnds<int> ends;
  ends.read = [&]() -> std::optional<int> {
    note();
    return next == 5 ? std::nullopt : std::optional<int>(next++);
  };
  ends.write = [&](int& /*item*/, const std::exception_ptr& /*failure*/) { note(); };
  RunInOrder<int>(1, ends, [&](int& /*item*/, unsigned /*worker*/) { note(); });
  EXPECT_THAT(threads, ElementsAre(std::this_thread::get_id()));
}

INSTANTIATE_TEST_SUITE_P(Threads, OrderedRunOf, testing::Values(1, 2, 3, 5, 8));

}  // namespace
}  // namespace vixprores
