// SPDX-License-Identifier: BSD-2-Clause
// A program outside the tree: loads the installed plug-in given as its argument, makes both elements
// through the registry, and asks the codec library for a size.
#include <ProRes/ProRes.h>
#include <vix/vix.h>

#include <cstdio>
#include <exception>

int main(int argc, char** argv) try {
  if (argc != 2) return 2;
  const auto plugin = vix::LoadPlugin(argv[1], "consumer");
  const auto type = vix::GetLabel(vix::VCodecFamily::ProRes);
  const auto encoder =
      vix::ImplementElement<vix::ElementFactoryType::VideoEncoder>("vix", type, nullptr);
  const auto decoder =
      vix::ImplementElement<vix::ElementFactoryType::VideoDecoder>("vix", type, nullptr);
  uint32_t maxBytes = 0;
  const bool sized =
      WPRGetCompressedFrameSize(kWPRCodecHQ, 1920, 1080, &maxBytes, nullptr) == kWPRSuccess;
  std::printf("%zu elements, %u bytes at most\n", vix::GetRegistryEntries().size(), maxBytes);
  return encoder && decoder && sized && maxBytes > 0 ? 0 : 1;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
