// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CORE_REFUSAL_H
#define TESTS_CORE_REFUSAL_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "vix/Error.h"

/// Runs `call`, which has to throw a VIXRuntimeError, and returns the error's text.
template <typename Call>
std::string RefusalOf(Call call) {
  try {
    call();
  } catch (const vix::VIXRuntimeError& error) {
    return error.what();
  }
  ADD_FAILURE() << "the call was not refused";
  return {};
}

#endif  // TESTS_CORE_REFUSAL_H
