// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CORE_ERRORTEXT_H
#define TESTS_CORE_ERRORTEXT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "vix/Error.h"

/// Returns the text of the VIXRuntimeError that `call` must throw.
template <typename Call>
std::string ErrorTextOf(Call call) {
  try {
    call();
  } catch (const vix::VIXRuntimeError& error) {
    return error.what();
  }
  ADD_FAILURE() << "the call threw no VIXRuntimeError";
  return {};
}

/// Returns the code of the VIXError that `call` must throw.
template <typename Call>
vix::ErrorCode ErrorCodeOf(Call call) {
  try {
    call();
  } catch (const vix::VIXError& error) {
    return error.GetCode();
  }
  ADD_FAILURE() << "the call threw no VIXError";
  return {};
}

#endif  // TESTS_CORE_ERRORTEXT_H
