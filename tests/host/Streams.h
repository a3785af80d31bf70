// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_HOST_STREAMS_H
#define TESTS_HOST_STREAMS_H

/// @file
/// Descriptions, frames and elements of the tests, and what every sample of a driver must satisfy.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Pictures.h"
#include "vix/ElementDriver.h"
#include "vix/PluginLoader.h"
#include "vix/Samples.h"
#include "vix/StreamDescription.h"

namespace vix::test {

using Container = std::shared_ptr<const ISampleContainer>;
using Stream = std::shared_ptr<const IInfoContainer>;
using Config = std::shared_ptr<IParametersCollectionInstance>;

/// Loads the plug-in of the build.
std::shared_ptr<IPlugin> LoadProRes();

/// The type of the ProRes elements in the registry.
std::string ProResType();
ElementDriver MakeEncoder();
ElementDriver MakeDecoder();

/// Configures a driver or a pool with the defaults and what `set` changes.
template <typename Host>
void Configure(
    Host& host, const std::function<void(IParametersCollectionInstance&)>& set = [](auto&) {}) {
  const auto config = host.CreateConfig();
  set(*config);
  host.Configure(config);
}

std::function<void(IParametersCollectionInstance&)> SetVariant(ProResCodecVariant variant);
std::function<void(IParametersCollectionInstance&)> SetFormat(FourCC fourcc);
std::function<void(IParametersCollectionInstance&)> SetSkipField(bool skipField);

/// Describes a stream of raw frames, or of encoded frames.
Stream DescribeRaw(const Shape& shape);
Stream DescribeProRes(const Shape& shape);
/// Describes a stream with these parameters, which may be null.
Stream Describe(std::shared_ptr<const IVideoParameters> parameters);

/// Returns picture `number` of a stream as a raw frame.
Container MakeRawFrame(const Shape& shape, unsigned number);
/// Returns it as a frame that the codec library encodes.
Container MakeProResFrame(const Shape& shape, unsigned number,
                          ProResCodecVariant variant = ProResCodecVariant::Standard);
std::vector<std::uint8_t> EncodeDirectly(const Shape& shape, unsigned number,
                                         ProResCodecVariant variant);
/// Returns a sample with those bytes.
Container Wrap(const std::vector<std::uint8_t>& bytes, const Stream& stream, unsigned number = 0,
               std::vector<std::shared_ptr<const IMetadata>> metadata = {});

/// Pushes a frame and pulls the output.
Container Process(ElementDriver& driver, const Container& frame);
std::shared_ptr<const IVideoSample> SampleOf(const Container& container);
std::vector<std::uint8_t> BytesOf(const Container& container);
std::shared_ptr<const IVideoParameters_RAW> RawOf(const Container& container);
std::shared_ptr<const IVideoParameters_ProRes> ProResOf(const Container& container);

/// How a picture was decoded.
struct Decoding {
  FourCC fourcc = kFourCC_V210;
  bool skipField = false;
  std::uint32_t stride = 0;  ///< bytes; 0 = that of RawVideoUtils
};

/// Expects that a sample is picture `number` of a stream, and that its description fits its bytes.
void ExpectPicture(const Container& container, const Shape& shape, unsigned number,
                   const Decoding& decoding);
/// Expects that a sample is the encoded picture `number` of a stream, and its description.
void ExpectFrame(const Container& container, const Shape& shape, unsigned number,
                 ProResCodecVariant variant);

}  // namespace vix::test

#endif  // TESTS_HOST_STREAMS_H
