// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SEQUENCE_IMAGEMODULE_H
#define TOOL_MEDIA_SEQUENCE_IMAGEMODULE_H

/// @file
/// Reading and encoding of single image files, and colour transforms. A module of its own does it,
/// because its libraries take long to load: the program loads it when it meets an image sequence.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vixprores {

/// What samples are proportional to.
enum class ImageLight {
  Video,   ///< the signal of a display
  Linear,  ///< light of the scene
  Log,     ///< its logarithm, as of a camera or a film scanner
};

/// What the header of an image file states.
struct ImageHeader {
  std::string path;  ///< of the file
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  int channels = 0;              ///< of all layers
  int bits = 0;                  ///< of a sample
  bool isFloat = false;          ///< samples are floating-point numbers
  bool hasAlpha = false;         ///< beside the colour
  bool isPremultiplied = false;  ///< colours are stored multiplied by alpha
  double rate = 0;               ///< frames per second; 0 = unknown
  /// Bits of a SMPTE ST 12-1 timecode: binary-coded decimals, and a flag for drop frame.
  std::optional<std::uint32_t> timecode = std::nullopt;
  std::string reel;        ///< empty = unknown
  double pixelAspect = 1;  ///< width to height
  ImageLight light = ImageLight::Video;
  int primaries = 2;         ///< code points of ISO/IEC 23091-2; 2 = unspecified
  int transfer = 2;          ///< code point
  std::string creationTime;  ///< "YYYY-MM-DDTHH:MM:SSZ"; empty = unknown
  int orientation = 1;       ///< how to turn the stored picture, a code of Exif; 1 = not at all

  /// Returns true if the shown picture is as wide as the stored one is high.
  bool IsTurnedOver() const { return orientation > 4; }
};

/// Full-range RGB in the memory of the caller, interleaved, with rows one after the other.
struct ImagePixels {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  int channels = 3;  ///< 4 = with alpha, which is straight: it does not scale the colours
  int bits = 16;     ///< of a sample: 8 in one byte, or 16 in two
  void* samples = nullptr;
};

/// Names of colour spaces of a configuration.
struct ColourSpaces {
  std::string config;  ///< path; empty = the module's own configuration
  std::string from;
  std::string to;
};

/// Labels of an image file to be written, as far as its format has a place for them.
struct ImageTarget {
  std::string timecode;    ///< "HH:MM:SS:FF", with drop frame "HH:MM:SS;FF"; empty = unknown
  double rate = 0;         ///< frames per second; 0 = unknown
  double pixelAspect = 1;  ///< width to height
  std::string reel;
};

/// Converts pixels between two colour spaces. May be used by several threads at once.
class ColourTransform {
 public:
  virtual ~ColourTransform() = default;
  /// Returns the name of the target space as the configuration spells it.
  virtual std::string GetTarget() const = 0;
};

/// The module. May be used by several threads at once. Functions throw a std::runtime_error whose
/// text follows the name of the file.
class ImageModule {
 public:
  virtual ~ImageModule() = default;

  virtual ImageHeader ReadHeader(const std::string& path) const = 0;
  /// Reads the colour of an image. Grey gets three equal components; alpha is opaque in an image
  /// without it.
  /// @param first     header of the sequence's first file; size, channels and depth must be the
  ///                  same, and its orientation is that of all files. Where it says that colours
  ///                  are premultiplied, they are divided by alpha before anything else, if alpha
  ///                  is read.
  /// @param transform of the colours, to pixels of 16 bits; null = none
  /// @param pixels    with the size of the first file, as shown
  virtual void Read(const std::string& path, const ImageHeader& first,
                    const ColourTransform* transform, const ImagePixels& pixels) const = 0;
  /// Whether files of that name can have alpha.
  virtual bool KeepsAlpha(const std::string& name) const = 0;
  /// Returns the bytes of a file in the format of the extension of `name`. Alpha is stored as the
  /// format has it: multiplied with the colours in an .exr, else straight.
  virtual std::vector<std::uint8_t> Encode(const std::string& name,
                                           const ColourTransform* transform,
                                           const ImagePixels& pixels,
                                           const ImageTarget& target) const = 0;
  /// @throws std::runtime_error that lists the known names if one of them is unknown
  virtual std::shared_ptr<const ColourTransform> MakeTransform(
      const ColourSpaces& spaces) const = 0;
};

/// Name and type of the function that the module exports. It returns null if the module is of
/// another version than `version`.
inline constexpr const char* kImageModuleEntry = "VixproresImageModule";
using ImageModuleEntry = const ImageModule* (*)(const char* version);

/// Returns the module, which is loaded by the first call.
/// @throws Failure that names the package to install if there is none
const ImageModule& LoadImageModule();

}  // namespace vixprores

#endif  // TOOL_MEDIA_SEQUENCE_IMAGEMODULE_H
