// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "check/Verification.h"

namespace vixprores {
namespace {

}  // namespace
}  // namespace vixprores
