// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include "base/IdleObjects.h"

namespace vixprores {
namespace {

TEST(IdleObjects, AreMadeWhileOthersAreInUseAndTakenAgain) {
  int made = 0;
  const auto make = [&made] { return std::make_unique<int>(++made); };
  IdleObjects<int> objects;
  auto first = objects.Take(make);
  const auto second = objects.Take(make);
  EXPECT_EQ(made, 2);
  const int* const place = first.get();
  objects.GiveBack(std::move(first));
  EXPECT_EQ(objects.Take(make).get(), place);
  EXPECT_EQ(made, 2);
}

}  // namespace
}  // namespace vixprores
