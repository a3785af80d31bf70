// SPDX-License-Identifier: BSD-2-Clause
extern "C" __attribute__((visibility("default"))) int Dependency() {
  return 1;
}
