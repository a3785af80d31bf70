// SPDX-License-Identifier: BSD-2-Clause
// Runs a fuzz target on the files and folders that are its arguments; options (-runs=0 …) have no
// effect. It stands in for a fuzzing engine where the engine's library cannot be used: the memory
// sanitizer must know all writes to memory, and the engine's are not instrumented. For the same
// reason it reads files by system calls, which the sanitizer knows.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" [[gnu::weak]] int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

int g_inputs = 0;

[[noreturn]] void FailWith(const char* name) {
  std::perror(name);
  std::exit(EXIT_FAILURE);
}

void RunFile(int folder, const char* name) {
  const int file = openat(folder, name, O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (file < 0 || fstat(file, &status) != 0) FailWith(name);
  const auto size = static_cast<std::size_t>(status.st_size);
  // Of exactly the size of the input, so that every read after it is seen.
  auto* const data = static_cast<std::uint8_t*>(std::malloc(size == 0 ? 1 : size));
  if (!data || read(file, data, size) != static_cast<ssize_t>(size)) FailWith(name);
  close(file);
  LLVMFuzzerTestOneInput(data, size);
  std::free(data);
  ++g_inputs;
}

void RunFolder(const char* path) {
  DIR* const folder = opendir(path);
  if (!folder) FailWith(path);
  while (const dirent* const entry = readdir(folder)) {
    if (entry->d_name[0] != '.') RunFile(dirfd(folder), entry->d_name);
  }
  closedir(folder);
}

bool IsFolder(const char* path) {
  struct stat status {};
  return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

int main(int argc, char** argv) {
  if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);
  for (int i = 1; i < argc; ++i) {
    if (argv[i][0] == '-') continue;
    if (IsFolder(argv[i])) {
      RunFolder(argv[i]);
    } else {
      RunFile(AT_FDCWD, argv[i]);
    }
  }
  std::printf("%d inputs\n", g_inputs);
}
