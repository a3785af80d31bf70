// SPDX-License-Identifier: BSD-2-Clause
#include "driver/StreamShape.h"

#include <algorithm>
#include <string>

#include "EnumText.h"
#include "FourCCText.h"
#include "FrameParsing.h"
#include "bitstream/BigEndian.h"
#include "bitstream/PictureGeometry.h"
#include "vix/RawVideoUtils.h"
#include "vix/Registry.h"

namespace vix {
namespace {

constexpr std::uint32_t kLeastEncodedSide = 2;
constexpr std::uint32_t kLeastDecodedSide = 1;
constexpr std::uint32_t kMostSide = 65535;

constexpr EnumText<std::int32_t> kChromaTexts[] = {
    {static_cast<std::int32_t>(VideoChroma::C422), "4:2:2"},
    {static_cast<std::int32_t>(VideoChroma::C444), "4:4:4"},
    {static_cast<std::int32_t>(VideoChroma::C4444), "4:4:4 with alpha"},
};

void CheckSide(const char* name, std::uint32_t value, std::uint32_t least) {
  if (value >= least && value <= kMostSide) return;
  throw VIXError(ErrorCode::BadArgument, std::string("a ") + name + " of " + std::to_string(value) +
                                             "; allowed: " + std::to_string(least) + " to " +
                                             std::to_string(kMostSide));
}

void CheckEditRate(EditRate rate) {
  if (rate.numerator >= 0 && rate.denominator > 0) return;
  throw VIXError(ErrorCode::BadArgument, "an edit rate of " + std::to_string(rate.numerator) + '/' +
                                             std::to_string(rate.denominator) +
                                             "; allowed: positive numbers, or 0/1 if unknown");
}

void CheckScanMode(ScanMode scanMode) {
  if (scanMode == ScanMode::Interlaced || scanMode == ScanMode::Progressive) return;
  throw VIXError(ErrorCode::BadArgument, "the unknown scan mode " +
                                             std::to_string(static_cast<std::int32_t>(scanMode)) +
                                             "; allowed: 1 (interlaced), 2 (progressive)");
}

/// Decoders disagree about two fields that need different numbers of macroblock rows.
void CheckFields(const StreamShape& shape) {
  constexpr auto kMode = prores::InterlaceMode::kTopFieldFirst;
  const auto rows = [&](unsigned field) {
    return prores::GeometryOf(shape.height, kMode, field).MacroblockRows();
  };
  if (shape.scanMode != ScanMode::Interlaced || rows(0) == rows(1)) return;
  throw VIXError(ErrorCode::Unsupported,
                 "an interlaced height of " + std::to_string(shape.height) +
                     ", whose fields have different numbers of macroblock rows; crop or pad a row");
}

void CheckRaw(const IVideoParameters_RAW& raw, const ElementLimits& limits) {
  const FourCC fourcc = raw.GetFourCC();
  if (std::ranges::find(limits.pixelFormats, fourcc) == limits.pixelFormats.end()) {
    std::string allowed;
    for (const FourCC format : limits.pixelFormats) {
      allowed += (allowed.empty() ? "\"" : ", \"") + FourCCCharacters(format) + '"';
    }
    throw VIXError(ErrorCode::Unsupported,
                   "the pixel format " + FourCCText(fourcc) + "; allowed: " + allowed);
  }
  // Throws if the picture does not fit a buffer.
  RawVideoUtils::GetFrameBytes(fourcc, VideoChroma::C422, raw.GetWidth(), raw.GetHeight());
}

/// Returns null if the element supports the frame.
const char* FindRefusal(const ParsedFrame& frame, const ElementLimits& limits) {
  if (frame.header.version > limits.latestVersion) return "bitstream version 1 is not supported";
  if (!frame.isBare) return nullptr;
  if (!limits.takesBareFrames) return "frames without the 8-byte prefix are not supported";
  if (frame.header.interlaceMode == prores::InterlaceMode::kProgressive) return nullptr;
  return "fields without frame prefix are not supported; join two fields into a frame first";
}

/// Rejects what no element for ProRes processes.
/// @param least smallest width and height
void CheckStream(const IVideoParameters& parameters, std::uint32_t least) {
  const StreamShape shape = ShapeOf(parameters);
  CheckSide("width", shape.width, least);
  CheckSide("height", shape.height, least);
  CheckScanMode(shape.scanMode);
  CheckEditRate(parameters.GetEditRate());
}

}  // namespace

bool StreamShape::Matches(const StreamShape& other) const {
  return width == other.width && height == other.height && scanMode == other.scanMode &&
         (chroma == other.chroma || chroma == 0 || other.chroma == 0);
}

std::string StreamShape::GetText() const {
  std::string text = std::to_string(width) + 'x' + std::to_string(height) + ' ' +
                     (scanMode == ScanMode::Interlaced ? "interlaced" : "progressive");
  if (chroma != 0) text += ' ' + TextOf(chroma, kChromaTexts, "chroma");
  return text;
}

StreamShape ShapeOf(const IVideoParameters& parameters) {
  return {parameters.GetWidth(), parameters.GetHeight(), parameters.GetScanMode(),
          parameters.GetVideoProperty1()};
}

void SetShape(const StreamShape& shape, IVideoParameters& parameters) {
  parameters.SetWidth(shape.width);
  parameters.SetHeight(shape.height);
  parameters.SetStoredWidth(shape.width);
  parameters.SetStoredHeight(shape.height);
  parameters.SetScanMode(shape.scanMode);
  if (shape.chroma != 0) parameters.SetVideoProperty1(shape.chroma);
}

FrameShape ReadFrameShape(std::span<const std::uint8_t> frame, const ElementLimits& limits) {
  FrameShape found;
  const ParsedFrame parsed = ParseFrame(frame);
  const prores::FrameHeader& header = parsed.header;
  if (header.interlaceMode != prores::InterlaceMode::kProgressive) {
    found.fieldOrder = header.interlaceMode == prores::InterlaceMode::kTopFieldFirst
                           ? FieldOrder::TopFirst
                           : FieldOrder::BottomFirst;
  }
  if (!parsed.isBare) found.stated = prores::ReadU32(frame.data());
  found.refusal = FindRefusal(parsed, limits);
  found.shape = {header.width, header.height,
                 header.interlaceMode == prores::InterlaceMode::kProgressive ? ScanMode::Progressive
                                                                             : ScanMode::Interlaced,
                 static_cast<std::int32_t>(header.chromaFormat)};
  return found;
}

void CheckDescription(const IVideoParameters& parameters) {
  CheckStream(parameters, kLeastDecodedSide);
}

void CheckSource(const IVideoParameters& parameters, const ElementLimits& limits) {
  CheckStream(parameters, kLeastEncodedSide);
  CheckFields(ShapeOf(parameters));
  const auto* const raw = dynamic_cast<const IVideoParameters_RAW*>(&parameters);
  if (raw != nullptr) CheckRaw(*raw, limits);
}

std::shared_ptr<IVideoParameters> CopyOf(
    const std::shared_ptr<const IVideoParameters>& parameters) {
  auto copy = CreateVideoParameters(parameters->GetCodecFamily());
  copy->CopyFrom(parameters);
  return copy;
}

}  // namespace vix
