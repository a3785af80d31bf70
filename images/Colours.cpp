// SPDX-License-Identifier: BSD-2-Clause
#include "Colours.h"

#include <OpenColorIO/OpenColorIO.h>

#include <sstream>
#include <stdexcept>
#include <string>

namespace vixprores::images {

// Text of Colours.ocio.
extern const char* const kOwnConfig;

namespace {

namespace ocio = OCIO_NAMESPACE;

class OcioTransform : public ColourTransform {
 public:
  OcioTransform(std::string target, ocio::ConstCPUProcessorRcPtr processor)
      : target_(std::move(target)), processor_(std::move(processor)) {}

  std::string GetTarget() const override { return target_; }

  void Apply(float* pixels, std::uint32_t width, std::uint32_t height, int channels) const {
    ocio::PackedImageDesc image(pixels, static_cast<long>(width), static_cast<long>(height),
                                channels);
    processor_->apply(image);
  }

 private:
  std::string target_;
  ocio::ConstCPUProcessorRcPtr processor_;
};

ocio::ConstConfigRcPtr LoadConfig(const std::string& path) {
  if (!path.empty()) return ocio::Config::CreateFromFile(path.c_str());
  std::istringstream text(kOwnConfig);
  return ocio::Config::CreateFromStream(text);
}

std::string ListSpaces(const ocio::Config& config) {
  std::string list;
  for (int i = 0; i < config.getNumColorSpaces(); ++i) {
    list += (i > 0 ? ", " : "") + std::string(config.getColorSpaceNameByIndex(i));
  }
  return list;
}

// Returns the name as the configuration spells it.
std::string FindSpace(const ocio::Config& config, const std::string& name) {
  if (const auto space = config.getColorSpace(name.c_str())) return space->getName();
  throw std::runtime_error("has no colour space '" + name + "' (found " + ListSpaces(config) + ")");
}

}  // namespace

std::shared_ptr<const ColourTransform> MakeColourTransform(const ColourSpaces& spaces) {
  try {
    const auto config = LoadConfig(spaces.config);
    const std::string from = FindSpace(*config, spaces.from);
    const std::string to = FindSpace(*config, spaces.to);
    const auto processor = config->getProcessor(from.c_str(), to.c_str());
    // Lossless: without fast approximations of curves, which depend on the processor.
    return std::make_shared<OcioTransform>(
        to, processor->getOptimizedCPUProcessor(ocio::OPTIMIZATION_LOSSLESS));
  } catch (const ocio::Exception& error) {
    throw std::runtime_error(std::string("cannot convert colours: ") + error.what());
  }
}

void Apply(const ColourTransform& transform, float* pixels, std::uint32_t width,
           std::uint32_t height, int channels) {
  static_cast<const OcioTransform&>(transform).Apply(pixels, width, height, channels);
}

}  // namespace vixprores::images
