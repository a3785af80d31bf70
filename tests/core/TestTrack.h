// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CORE_TESTTRACK_H
#define TESTS_CORE_TESTTRACK_H

#include "vix/Samples.h"

namespace vix::test {

/// A track without properties.
struct Track : ITrack {};

}  // namespace vix::test

#endif  // TESTS_CORE_TESTTRACK_H
