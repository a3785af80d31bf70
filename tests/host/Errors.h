// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_HOST_ERRORS_H
#define TESTS_HOST_ERRORS_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <vector>

#include "vix/Error.h"

namespace vix::test {

/// Returns the VIXError that `call` must throw.
template <typename Call>
VIXError ErrorOf(Call call) {
  try {
    call();
    ADD_FAILURE() << "the call threw nothing";
  } catch (const VIXError& error) {
    return error;
  } catch (const std::exception& error) {
    ADD_FAILURE() << "the call threw something else: " << error.what();
  }
  return {ErrorCode{}, ""};
}

/// Returns the VIXError that an exception pointer must hold.
inline VIXError ErrorOf(const std::exception_ptr& error) {
  return ErrorOf([&] {
    if (error) std::rethrow_exception(error);
  });
}

/// Matches a VIXError with that code whose text contains each of the parts.
MATCHER_P2(IsError, code, parts, "") {
  const std::string text = arg.what();
  *result_listener << "with code " << static_cast<int>(arg.GetCode()) << " and text " << text;
  if (arg.GetCode() != code) return false;
  for (const std::string& part : parts) {
    if (text.find(part) == std::string::npos) return false;
  }
  return true;
}

using Parts = std::vector<std::string>;

/// Names the cases of a parametrised test by their member `name`.
inline constexpr auto kNameOfParameter = [](const auto& parameter) {
  return std::string(parameter.param.name);
};

}  // namespace vix::test

#endif  // TESTS_HOST_ERRORS_H
