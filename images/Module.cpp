// SPDX-License-Identifier: BSD-2-Clause
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <string_view>

#include "Colours.h"
#include "Images.h"
#include "vix/Version.h"

namespace vixprores::images {
namespace {

class Module : public ImageModule {
 public:
  ImageHeader ReadHeader(const std::string& path) const override { return ReadImageHeader(path); }
  void Read(const std::string& path, const ImageHeader& first, const ColourTransform* transform,
            const ImagePixels& pixels) const override {
    ReadImage(path, first, transform, pixels);
  }
  bool KeepsAlpha(const std::string& name) const override { return images::KeepsAlpha(name); }
  std::vector<std::uint8_t> Encode(const std::string& name, const ColourTransform* transform,
                                   const ImagePixels& pixels,
                                   const ImageTarget& target) const override {
    return EncodeImage(name, transform, pixels, target);
  }
  std::shared_ptr<const ColourTransform> MakeTransform(const ColourSpaces& spaces) const override {
    return MakeColourTransform(spaces);
  }
};

// Leaves threads to the program, and the library's plug-ins where they are.
void SetUpLibrary() {
  OIIO::attribute("threads", 1);
  OIIO::attribute("exr_threads", -1);
  OIIO::attribute("plugin_searchpath", "");
}

}  // namespace

std::string FormatOf(const std::string& path) {
  std::string extension = path.substr(path.rfind('.') + 1);
  std::ranges::transform(extension, extension.begin(), [](char c) {
    return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return extension;
}

}  // namespace vixprores::images

extern "C" __attribute__((visibility("default"))) const vixprores::ImageModule*
VixproresImageModule(const char* version) {
  if (std::string_view(version) != VIX_VERSION_TEXT) return nullptr;
  static const vixprores::images::Module module;
  [[maybe_unused]] static const bool isSetUp = (vixprores::images::SetUpLibrary(), true);
  return &module;
}
