// SPDX-License-Identifier: BSD-2-Clause
// A library to be preloaded, which lets FAILED_ALLOCATIONS successive allocations of a program
// fail. FAIL_ALLOCATION is the number of the first one, counted from the start of main(); 0 = none.
// At the end of the program the number of all allocations is written to the file that
// COUNT_ALLOCATIONS names. FAIL_THREAD is the number of the first thread that cannot be started,
// from 1; neither can any later one.
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "MainHook.h"

extern "C" {

void* __libc_malloc(size_t bytes);                      // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(size_t count, size_t bytes);        // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* block, size_t bytes);        // NOLINT(bugprone-reserved-identifier)
void* __libc_memalign(size_t alignment, size_t bytes);  // NOLINT(bugprone-reserved-identifier)

}  // extern "C"

namespace {

std::atomic<bool> g_isCounting = false;
std::atomic<long> g_count = 0;
long g_firstFailing = 0;
long g_failures = 0;
std::atomic<long> g_threads = 0;
long g_firstFailingThread = 0;

bool Fails() {
  if (!g_isCounting) return false;
  const long number = ++g_count;
  if (number < g_firstFailing || number >= g_firstFailing + g_failures) return false;
  errno = ENOMEM;
  return true;
}

void WriteCount() {
  g_isCounting = false;
  const char* const path = std::getenv("COUNT_ALLOCATIONS");
  const int file = path ? open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600) : -1;
  if (file < 0) return;
  char text[24];
  const int length = std::snprintf(text, sizeof text, "%ld", g_count.load());
  [[maybe_unused]] const ssize_t written = write(file, text, static_cast<size_t>(length));
  close(file);
}

long NumberIn(const char* variable) {
  const char* const text = std::getenv(variable);
  return text ? std::atol(text) : 0;
}

}  // namespace

int HookedMain(Main main, int count, char** arguments, char** environment) {
  g_firstFailing = NumberIn("FAIL_ALLOCATION");
  g_failures = g_firstFailing > 0 ? NumberIn("FAILED_ALLOCATIONS") : 0;
  g_firstFailingThread = NumberIn("FAIL_THREAD");
  std::atexit(WriteCount);
  g_isCounting = true;
  return main(count, arguments, environment);
}

#pragma GCC visibility push(default)
extern "C" {

void* malloc(size_t bytes) {
  return Fails() ? nullptr : __libc_malloc(bytes);
}

void* calloc(size_t count, size_t bytes) {
  return Fails() ? nullptr : __libc_calloc(count, bytes);
}

void* realloc(void* block, size_t bytes) {
  return Fails() ? nullptr : __libc_realloc(block, bytes);
}

void* aligned_alloc(size_t alignment, size_t bytes) {
  return Fails() ? nullptr : __libc_memalign(alignment, bytes);
}

int posix_memalign(void** block, size_t alignment, size_t bytes) {
  if (Fails()) return ENOMEM;
  *block = __libc_memalign(alignment, bytes);
  return *block ? 0 : ENOMEM;
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*work)(void*),
                   void* data) noexcept {
  using Create = decltype(&pthread_create);
  static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  const long number = ++g_threads;
  if (g_firstFailingThread > 0 && number >= g_firstFailingThread) return EAGAIN;
  return create(thread, attributes, work, data);
}

}  // extern "C"

#pragma GCC visibility pop
