// SPDX-License-Identifier: BSD-2-Clause
#include "base/Errors.h"

#include <cstdlib>
#include <exception>
#include <new>

#include "base/Limits.h"
#include "base/Text.h"

namespace vixprores {
namespace {

#if !defined(NDEBUG) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kAborts = true;
#else
constexpr bool kAborts = false;
#endif

}  // namespace

std::string DescribeException(const std::string& input) {
  try {
    throw;
  } catch (const UsageError& error) {
    return error.what();
  } catch (const Failure& error) {
    return error.what();
  } catch (const Interrupted& error) {
    return error.what();
  } catch (const MemoryLimitError& error) {
    return input + ": " + error.what();
  } catch (const std::bad_alloc&) {
    return input + ": not enough memory";
  } catch (const std::exception& error) {
    return input + ": " + error.what();
  } catch (...) {
    return input + ": unknown error";
  }
}

void FailInternally(const char* invariant, const char* file, int line) {
  const std::string message = std::string("internal error at ") + file + ":" +
                              std::to_string(line) + " (" + invariant + "); please report it";
  if (kAborts) {
    PrintError(message);
    std::abort();
  }
  throw InternalError(message);
}

}  // namespace vixprores
