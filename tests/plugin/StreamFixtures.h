// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_PLUGIN_STREAMFIXTURES_H
#define TESTS_PLUGIN_STREAMFIXTURES_H

/// @file
/// Streams and samples for tests.

#include <memory>
#include <string>
#include <vector>

#include "FakeStreams.h"

/// Returns properties that differ from each other and from the values that elements set.
inline fake::Properties DistinctProperties() {
  fake::Properties values;
  values.property1 = 101;
  values.property2 = 102;
  values.property3 = 103;
  values.property4 = 104;
  values.scanMode = vix::ScanMode::Progressive;
  values.property6 = 106;
  values.storedWidth = 1936;
  values.storedHeight = 1090;
  values.width = 1920;
  values.height = 1080;
  values.property11 = 111;
  values.bitRate = 12.5;
  values.editRate = {30000, 1001};
  values.fourcc = vix::kFourCC_V210;
  values.variant = vix::ProResCodecVariant::HQ;
  return values;
}

/// Returns the calls of a property-by-property copy from "input" to "output".
inline std::vector<std::string> CopyCalls(const fake::Properties& values) {
  const std::vector<std::pair<std::string, std::string>> properties{
      {"VideoProperty1", fake::Join(values.property1)},
      {"VideoProperty2", fake::Join(values.property2)},
      {"VideoProperty3", fake::Join(values.property3)},
      {"VideoProperty4", fake::Join(values.property4)},
      {"ScanMode", fake::Join(static_cast<int>(values.scanMode))},
      {"VideoProperty6", fake::Join(values.property6)},
      {"StoredWidth", fake::Join(values.storedWidth)},
      {"StoredHeight", fake::Join(values.storedHeight)},
      {"Width", fake::Join(values.width)},
      {"Height", fake::Join(values.height)},
      {"VideoProperty11", fake::Join(values.property11)},
      {"BitRate", fake::Join(values.bitRate)},
      {"EditRate", fake::Join(values.editRate.numerator, values.editRate.denominator)}};
  std::vector<std::string> calls{"input.GetCodecFamily()", "output.GetCodecFamily()"};
  for (const auto& [name, value] : properties) {
    calls.push_back("input.Get" + name + "()");
    calls.push_back("output.Set" + name + "(" + value + ")");
  }
  return calls;
}

/// Makes a container "infos" of "info" with the parameters and "channel" of "track".
inline std::shared_ptr<fake::InfoContainer> MakeStream(
    std::shared_ptr<const vix::IVideoParameters> parameters) {
  const auto track = std::make_shared<fake::Marker<vix::ITrack>>("track");
  const auto channel = std::make_shared<fake::ChannelInfo>("channel", track, 3);
  const auto info = std::make_shared<fake::VideoInfo>("info", std::move(parameters), channel);
  return std::make_shared<fake::InfoContainer>(
      "infos", std::vector<std::shared_ptr<const vix::IVideoInfo>>{info});
}

/// Time limits of the samples of MakeContainer().
inline const std::vector<vix::TimeLimits> kTimeLimits{{10, 20, {25, 1}}, {20, 25, {50, 1}}};

/// Makes a container "container" of samples "sample" with metadata, which no element copies.
inline std::shared_ptr<fake::SampleContainer> MakeContainer(
    std::shared_ptr<const vix::IVideoParameters> parameters,
    std::shared_ptr<const vix::IBuffer> buffer, std::size_t count = 1) {
  const auto container = std::make_shared<fake::SampleContainer>("container");
  for (std::size_t i = 0; i < count; ++i) {
    const auto sample = std::make_shared<fake::VideoSample>("sample");
    sample->parameters = parameters;
    sample->buffer = buffer;
    sample->timeLimits = kTimeLimits;
    sample->metadata = {std::make_shared<fake::Marker<vix::IMetadata>>("metadata")};
    container->samples.push_back(sample);
  }
  return container;
}

/// Returns the single sample of an element's output.
inline std::shared_ptr<const fake::VideoSample> OnlySample(
    const std::shared_ptr<const vix::ISampleContainer>& container) {
  const auto& samples = dynamic_cast<const fake::SampleContainer&>(*container).samples;
  return std::dynamic_pointer_cast<const fake::VideoSample>(samples.at(0));
}

/// Returns the single info of a description.
inline std::shared_ptr<const fake::VideoInfo> OnlyInfo(
    const std::shared_ptr<const vix::IInfoContainer>& container) {
  const auto& infos = dynamic_cast<const fake::InfoContainer&>(*container).infos;
  return std::dynamic_pointer_cast<const fake::VideoInfo>(infos.at(0));
}

#endif  // TESTS_PLUGIN_STREAMFIXTURES_H
