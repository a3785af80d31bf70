// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_LIMITS_H
#define TOOL_BASE_LIMITS_H

/// @file
/// What a file may ask of the program. A file beyond a limit gets an error that names the limit and
/// the option that raises it, before memory is allocated for it.

#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

namespace vixprores {

/// Limits that users set with the options of the group "Limits".
struct Limits {
  std::uint32_t width = 16384;          ///< of a picture of an input, in pixels
  std::uint32_t height = 16384;         ///< of a picture of an input, in lines
  std::optional<std::uint64_t> memory;  ///< bytes; nullopt = three quarters of the machine's
  std::optional<std::uint64_t> output;  ///< bytes of an output; nullopt = unlimited
};

/// Sets the limits of the process. Call it before any input is opened and any thread started.
void SetLimits(const Limits& limits);
const Limits& GetLimits();

/// Returns true if an input may have pictures of that size.
bool IsPictureSizeAllowed(std::uint64_t width, std::uint64_t height);
/// Returns what is wrong with a size that is not allowed, and what to do: "pictures of 20000x100
/// exceed ...".
std::string DescribePictureLimit(std::uint64_t width, std::uint64_t height);
/// Fails if the input `name` must not have pictures of that size.
void CheckPictureSize(const std::string& name, std::uint64_t width, std::uint64_t height);

/// The memory limit does not allow what a file asks for. Handled as missing memory, but with the
/// reason.
class MemoryLimitError : public std::bad_alloc {
 public:
  explicit MemoryLimitError(std::string message)
      : message_(std::make_shared<const std::string>(std::move(message))) {}
  const char* what() const noexcept override { return message_->c_str(); }

 private:
  std::shared_ptr<const std::string> message_;  // copies of exceptions must not throw
};

/// Throws a MemoryLimitError if the program would use more memory than the limit allows.
/// @param purpose plural noun for the message: "8 pictures of 8192x8192"
/// @param bytes   about to be allocated
void CheckMemory(const std::string& purpose, std::uint64_t bytes);

/// Fails if an output of that many bytes exceeds the limit.
void CheckOutputSize(const std::string& name, std::uint64_t bytes);

}  // namespace vixprores

#endif  // TOOL_BASE_LIMITS_H
