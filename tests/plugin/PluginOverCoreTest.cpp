// SPDX-License-Identifier: BSD-2-Clause
// The plug-in as hosts use it: loaded by path, over this project's host core and codec library.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "vix/vix.h"

namespace {

using vix::ElementFactoryType;

constexpr std::uint32_t kWidth = 64;
constexpr std::uint32_t kHeight = 48;

/// Collects the messages of failure reports.
struct FailureLog : vix::ILoggerWriter {
  void Write(vix::LogLevel level, const char* message, const char*, const char*, const char*,
             const char*, const char*, const char*) override {
    if (level == vix::LogLevel::Error) messages.emplace_back(message);
  }
  std::vector<std::string> messages;
};

class PluginOverCoreTest : public testing::Test {
 protected:
  PluginOverCoreTest() { vix::SetCurrentLoggerWriter(log); }
  ~PluginOverCoreTest() override { vix::SetCurrentLoggerWriter(nullptr); }

  static std::shared_ptr<const vix::IParametersCollectionInstance> Manifest(
      ElementFactoryType type) {
    return vix::GetManifest(type, "vix", "ProRes");
  }

  /// Returns the description of a stream on no channel.
  template <vix::VCodecFamily F>
  static std::shared_ptr<const vix::IInfoContainer> Describe(vix::ScanMode scanMode) {
    const auto parameters = vix::CreateVideoParameters<F>();
    parameters->SetScanMode(scanMode);
    parameters->SetWidth(kWidth);
    parameters->SetHeight(kHeight);
    parameters->SetStoredHeight(kHeight);
    parameters->SetEditRate({25, 1});
    if constexpr (F == vix::VCodecFamily::Raw) parameters->SetFourCC(vix::kFourCC_UYVY);
    return vix::CreateInfoContainer(vix::CreateVideoInfo(parameters, nullptr, {}, {}), nullptr);
  }

  /// Returns a ProRes frame that the plug-in encoded.
  static std::shared_ptr<const vix::ISampleContainer> EncodeFrame(vix::ScanMode scanMode) {
    vix::ElementDriver encoder(ElementFactoryType::VideoEncoder, "vix", "ProRes");
    encoder.Configure(encoder.CreateConfig());
    const auto input = Describe<vix::VCodecFamily::Raw>(scanMode);
    encoder.Define(input);
    const auto buffer = vix::CreateBuffer(nullptr, nullptr);
    buffer->Allocate(kWidth * 2 * kHeight);
    std::fill_n(buffer->GetData(), buffer->GetSize(), std::uint8_t{128});
    const auto info = input->GetInfo().front();
    encoder.Push(vix::CreateSampleContainer(
        vix::CreateVideoSample(info->GetVideoParameters(), info, buffer, {}, {}), nullptr));
    return encoder.Pull();
  }

  /// Returns the text of the std::runtime_error that `call` throws.
  template <typename Call>
  static std::string FailureOf(Call call) {
    try {
      call();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "no failure";
  }

  std::shared_ptr<FailureLog> log = std::make_shared<FailureLog>();
  std::shared_ptr<vix::IPlugin> plugin = vix::LoadPlugin(VIX_PLUGIN, "test");
};

TEST_F(PluginOverCoreTest, RegistersTheDecoderThenTheEncoder) {
  const auto entries = vix::GetRegistryEntries();
  ASSERT_GE(entries.size(), 2U);
  const auto decoder = entries.at(entries.size() - 2);
  const auto encoder = entries.at(entries.size() - 1);
  EXPECT_EQ(decoder->GetElementFactoryType("class"), ElementFactoryType::VideoDecoder);
  EXPECT_EQ(encoder->GetElementFactoryType("class"), ElementFactoryType::VideoEncoder);
  for (const auto& entry : {decoder, encoder}) {
    EXPECT_EQ(entry->GetString("implementation"), "vix");
    EXPECT_EQ(entry->GetString("type"), "ProRes");
  }
}

TEST_F(PluginOverCoreTest, IsFoundInThePluginFolder) {
  unsetenv("VIX_PLUGIN_PATH");
  const auto found = vix::LoadPlugins("test");
  const std::string path = vix::GetPluginFolder() + "/libvixVideoCodecProRes.so";
  EXPECT_EQ(std::count_if(found.plugins.begin(), found.plugins.end(),
                          [&](const auto& loaded) { return loaded->GetPath() == path; }),
            1);
  EXPECT_TRUE(found.failures.empty());
}

TEST_F(PluginOverCoreTest, ReportsTheFiveDefaults) {
  const auto encoder = Manifest(ElementFactoryType::VideoEncoder);
  EXPECT_EQ(encoder->GetInt("NumThreads"), 0);
  EXPECT_EQ(encoder->GetProResCodecVariant("ProResCodecVariant"), vix::ProResCodecVariant{3});
  const auto decoder = Manifest(ElementFactoryType::VideoDecoder);
  EXPECT_FALSE(decoder->GetBool("SkipField"));
  EXPECT_FALSE(decoder->HasFourCC("OutputFourCC"));
  EXPECT_FALSE(decoder->HasString("Allocator"));
  EXPECT_EQ(decoder->GetString("Allocator"), "");
}

TEST_F(PluginOverCoreTest, AcceptsTwoOutputFourCCsAndRejectsAThird) {
  vix::ElementDriver decoder(ElementFactoryType::VideoDecoder, "vix", "ProRes");
  const auto config = decoder.CreateConfig();
  for (const vix::FourCC accepted : {vix::kFourCC_UYVY, vix::kFourCC_V210}) {
    config->SetFourCC("OutputFourCC", accepted);
    EXPECT_EQ(config->GetFourCC("OutputFourCC"), accepted);
  }
  EXPECT_NE(FailureOf([&] {
              config->SetFourCC("OutputFourCC", vix::MakeFourCC("NV12"));
            }).find("OutputFourCC"),
            std::string::npos);
  EXPECT_EQ(config->GetFourCC("OutputFourCC"), vix::kFourCC_V210);
}

/// A host's own configuration object, which checks nothing.
class HostConfig : public vix::IParametersCollectionInstance {
 public:
  bool GetBool(const std::string&) const override { return skipField; }
  std::int32_t GetInt(const std::string&) const override { return 0; }
  std::string GetString(const std::string&) const override { return ""; }
  void SetString(const std::string&, const std::string&) override {}
  bool HasString(const std::string&) const override { return false; }
  vix::FourCC GetFourCC(const std::string&) const override { return *outputFourCC; }
  bool HasFourCC(const std::string&) const override { return outputFourCC.has_value(); }
  vix::ProResCodecVariant GetProResCodecVariant(const std::string&) const override { return {}; }
  void SetParametersCollectionPrototype(
      const std::string&, std::shared_ptr<const vix::IParametersCollectionPrototype>) override {}
  void SetElementFactoryType(const std::string&, ElementFactoryType) override {}

  bool skipField = false;
  std::optional<vix::FourCC> outputFourCC;
};

TEST_F(PluginOverCoreTest, ReportsAnUnsupportedOutputFourCCOnceAndKeepsTheDecoderOpen) {
  const auto frame = EncodeFrame(vix::ScanMode::Progressive);
  const auto config = std::make_shared<HostConfig>();
  config->outputFourCC = vix::MakeFourCC("NV12");
  // Without a driver, which would reject the configuration.
  const auto decoder =
      vix::ImplementElement<ElementFactoryType::VideoDecoder>("vix", "ProRes", nullptr);
  decoder->SetInitConfig(config);
  decoder->DefineInput(Describe<vix::VCodecFamily::ProRes>(vix::ScanMode::Progressive), "");
  EXPECT_EQ(FailureOf([&] { decoder->PushSample(frame); }), "Unsupported fourcc");
  EXPECT_EQ(log->messages, std::vector<std::string>{"Unsupported fourcc"});
  // An open decoder is used again, without a pixel format that the library accepts.
  EXPECT_EQ(FailureOf([&] { decoder->PushSample(frame); }),
            "[Failed to decode frame] [ value1 (0) is not == value2 (-5) ]");
}

TEST_F(PluginOverCoreTest, DecodesSingleFieldsOfAStreamOnNoChannel) {
  const auto config = std::make_shared<HostConfig>();
  config->skipField = true;
  vix::ElementDriver decoder(ElementFactoryType::VideoDecoder, "vix", "ProRes");
  decoder.Configure(config);
  const auto output =
      decoder.Define(Describe<vix::VCodecFamily::ProRes>(vix::ScanMode::Interlaced));
  EXPECT_EQ(output->GetInfo().at(0)->GetVideoParameters()->GetStoredHeight(), kHeight / 2);
  EXPECT_EQ(output->GetInfo().at(0)->GetChannelInfo()->GetTrack(), nullptr);
  decoder.Push(EncodeFrame(vix::ScanMode::Interlaced));
  const auto picture = decoder.Pull()->GetVideoSamples(nullptr, nullptr).at(0)->GetBuffer();
  EXPECT_EQ(picture->GetSize(), 256 * (kHeight / 2));  // 64 pixels of "V210" have 256 bytes
}

}  // namespace
