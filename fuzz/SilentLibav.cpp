// SPDX-License-Identifier: BSD-2-Clause
// The start of targets that hand arbitrary files to libav, whose messages take time.
#include "media/container/Libav.h"

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  vixprores::SetLibavMessages(false);
  return 0;
}
