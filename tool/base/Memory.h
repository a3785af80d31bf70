// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_MEMORY_H
#define TOOL_BASE_MEMORY_H

/// @file
/// Memory that the machine has and that the program uses.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vixprores {

/// Returns the smallest memory limit in bytes of a process's control groups; nullopt = none.
/// @param groups text of /proc/self/cgroup
/// @param root   folder of the control groups, "/sys/fs/cgroup"
std::optional<std::uint64_t> FindGroupLimit(std::string_view groups, const std::string& root);

/// Returns the bytes of memory that the program may use: that of the machine, or less if a control
/// group limits it.
std::uint64_t FindMachineMemory();

/// Returns the bytes of memory that the program uses, without those of mapped files; 0 = unknown.
std::uint64_t FindMemoryInUse();

}  // namespace vixprores

#endif  // TOOL_BASE_MEMORY_H
