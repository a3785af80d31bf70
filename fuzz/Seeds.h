// SPDX-License-Identifier: BSD-2-Clause
#ifndef FUZZ_SEEDS_H
#define FUZZ_SEEDS_H

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

inline void Append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

inline void Write(const std::filesystem::path& folder, const std::string& name,
                  const Bytes& bytes) {
  std::filesystem::create_directories(folder);
  std::ofstream file(folder / name, std::ios::binary);
  for (const std::uint8_t byte : bytes) file.put(static_cast<char>(byte));
  if (!file.flush()) throw std::filesystem::filesystem_error("cannot write", folder / name, {});
}

/// Returns a frame as targets read one of several: 16-bit size, then the bytes.
inline Bytes Sized(const Bytes& frame) {
  Bytes sized{static_cast<std::uint8_t>(frame.size() >> 8),
              static_cast<std::uint8_t>(frame.size())};
  Append(sized, frame);
  return sized;
}

/// Writes the seeds of the targets that need no frames of other encoders.
void WriteSeedsWithoutFrames(const std::filesystem::path& corpus);

#endif  // FUZZ_SEEDS_H
