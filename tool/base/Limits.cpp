// SPDX-License-Identifier: BSD-2-Clause
#include "base/Limits.h"

#include "base/Errors.h"
#include "base/Memory.h"
#include "base/Text.h"

namespace vixprores {
namespace {

// Set before any other thread is started.
Limits g_limits;

std::string DescribePixels(std::uint64_t width, std::uint64_t height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

}  // namespace

void SetLimits(const Limits& limits) {
  g_limits = limits;
}

const Limits& GetLimits() {
  return g_limits;
}

bool IsPictureSizeAllowed(std::uint64_t width, std::uint64_t height) {
  return width <= g_limits.width && height <= g_limits.height;
}

std::string DescribePictureLimit(std::uint64_t width, std::uint64_t height) {
  return "pictures of " + DescribePixels(width, height) + " exceed the limit of " +
         DescribePixels(g_limits.width, g_limits.height) +
         "; if they are meant to be that large, allow them with --limit-size " +
         DescribePixels(width, height);
}

void CheckPictureSize(const std::string& name, std::uint64_t width, std::uint64_t height) {
  if (IsPictureSizeAllowed(width, height)) return;
  throw Failure(name + ": " + DescribePictureLimit(width, height));
}

std::uint64_t GetMemoryLimit() {
  static const std::uint64_t standard = FindMachineMemory() / 4 * 3;
  return g_limits.memory.value_or(standard);
}

void CheckMemory(const std::string& purpose, std::uint64_t bytes) {
  const std::uint64_t limit = GetMemoryLimit();
  const std::uint64_t used = FindMemoryInUse();
  if (used <= limit && bytes <= limit - used) return;
  throw MemoryLimitError(purpose + " need " + DescribeBytes(bytes) + " of memory beside the " +
                         DescribeBytes(used) + " in use, which exceeds the limit of " +
                         DescribeBytes(limit) + "; --limit-memory raises it");
}

void CheckOutputSize(const std::string& name, std::uint64_t bytes) {
  if (!g_limits.output || bytes <= *g_limits.output) return;
  throw Failure(name + ": would exceed the limit of " + DescribeBytes(*g_limits.output) +
                "; --limit-output raises it");
}

}  // namespace vixprores
