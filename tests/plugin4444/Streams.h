// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_PLUGIN4444_STREAMS_H
#define TESTS_PLUGIN4444_STREAMS_H

/// @file
/// Descriptions, frames and elements of the tests.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Pictures.h"
#include "SilentLog.h"
#include "vix/ElementDriver.h"
#include "vix/PluginLoader.h"
#include "vix/Samples.h"
#include "vix/StreamDescription.h"

namespace vix::test4444 {

using Bytes = std::vector<std::uint8_t>;
using Container = std::shared_ptr<const ISampleContainer>;
using Stream = std::shared_ptr<const IInfoContainer>;
/// Sets parameters of a configuration.
using Set = std::function<void(IParametersCollectionInstance&)>;

inline constexpr const char* kImplementation = "vix4444";
inline constexpr const char* kType = "ProRes";

inline constexpr FourCC kVariant4444 = MakeFourCC("ap4h");
inline constexpr FourCC kVariant4444XQ = MakeFourCC("ap4x");

/// Sets nothing.
inline const Set kDefaults = [](IParametersCollectionInstance&) {};
Set SetInt(const std::string& name, int value);
Set SetFourCC(const std::string& name, FourCC value);

/// Configures an element that is not driven.
template <typename Element>
void SetConfig(Element& element, const Set& set = kDefaults) {
  const auto config = CreateParametersCollectionInstance(element.GetManifest()->GetPrototype());
  set(*config);
  element.SetInitConfig(config);
}
/// Configures a driver or a pool.
template <typename Host>
void Configure(Host& host, const Set& set = kDefaults) {
  const auto config = host.CreateConfig();
  set(*config);
  host.Configure(config);
}

/// Describes raw pictures, or the frames that result from them.
std::shared_ptr<IVideoParameters_RAW> RawParameters(const Shape& shape);
std::shared_ptr<IVideoParameters_ProRes> ProResParameters(const Shape& shape);
Stream Describe(std::shared_ptr<const IVideoParameters> parameters);
Stream DescribeRaw(const Shape& shape);
Stream DescribeProRes(const Shape& shape);
/// Returns the parameters of the only stream.
std::shared_ptr<const IVideoParameters> ParametersOf(const Stream& stream);

/// Returns a sample of time [number, number + 1).
Container Wrap(const Bytes& bytes, const Stream& stream, unsigned number = 0,
               std::vector<std::shared_ptr<const IMetadata>> metadata = {});
/// Returns picture `number` as a raw frame.
Container MakeRawFrame(const Shape& shape, unsigned number);
std::shared_ptr<const IVideoSample> SampleOf(const Container& container);
Bytes BytesOf(const Container& container);

/// Expects that a sample is picture `number`, of its time and with its colours and alpha.
void ExpectPicture(const Container& container, const Shape& shape, unsigned number,
                   int alphaBits = 16);

/// Makes elements of the plug-in, which is loaded while the test runs.
class Elements : public ::testing::Test {
 protected:
  static std::shared_ptr<IVideoEncoder> MakeEncoder();
  static std::shared_ptr<IVideoDecoder> MakeDecoder();
  static ElementDriver MakeEncoderDriver() {
    return {ElementFactoryType::VideoEncoder, kImplementation, kType};
  }
  static ElementDriver MakeDecoderDriver() {
    return {ElementFactoryType::VideoDecoder, kImplementation, kType};
  }
  /// Encodes picture `number` with an element of its own.
  static Container Encode(const Shape& shape, unsigned number, const Set& set = kDefaults);
  /// Decodes a frame of a stream with an element of its own.
  static Container Decode(const Container& frame, const Shape& shape, const Set& set = kDefaults);

  SilentLog silentLog;
  std::shared_ptr<IPlugin> plugin = LoadPlugin(VIX_PLUGIN_4444, "tests");
};

/// Pushes a frame and returns the output.
template <typename Element>
Container Process(Element& element, const Container& frame) {
  element.PushSample(frame);
  return element.GetSample();
}
inline Container Process(ElementDriver& driver, const Container& frame) {
  driver.Push(frame);
  return driver.Pull();
}

}  // namespace vix::test4444

#endif  // TESTS_PLUGIN4444_STREAMS_H
