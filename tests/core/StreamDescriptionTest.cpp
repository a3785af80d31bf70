// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "ErrorText.h"
#include "vix/StreamDescription.h"

namespace vix {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct OtherInfo : IInfo {};

void Fill(IVideoParameters& parameters) {
  parameters.SetVideoProperty1(1);
  parameters.SetVideoProperty2(-2);
  parameters.SetVideoProperty3(3);
  parameters.SetVideoProperty4(4);
  parameters.SetScanMode(ScanMode::Progressive);
  parameters.SetVideoProperty6(6);
  parameters.SetStoredWidth(4294967295u);
  parameters.SetStoredHeight(1088);
  parameters.SetWidth(1920);
  parameters.SetHeight(1080);
  parameters.SetVideoProperty11(11);
  parameters.SetEditRate({30000, 1001});
  parameters.SetBitRate(147.5);
}

void ExpectFilled(const IVideoParameters& parameters) {
  EXPECT_EQ(parameters.GetVideoProperty1(), 1);
  EXPECT_EQ(parameters.GetVideoProperty2(), -2);
  EXPECT_EQ(parameters.GetVideoProperty3(), 3);
  EXPECT_EQ(parameters.GetVideoProperty4(), 4);
  EXPECT_EQ(parameters.GetScanMode(), ScanMode::Progressive);
  EXPECT_EQ(parameters.GetVideoProperty6(), 6);
  EXPECT_EQ(parameters.GetStoredWidth(), 4294967295u);
  EXPECT_EQ(parameters.GetStoredHeight(), 1088u);
  EXPECT_EQ(parameters.GetWidth(), 1920u);
  EXPECT_EQ(parameters.GetHeight(), 1080u);
  EXPECT_EQ(parameters.GetVideoProperty11(), 11);
  EXPECT_EQ(parameters.GetEditRate(), (EditRate{30000, 1001}));
  EXPECT_EQ(parameters.GetBitRate(), 147.5);
}

TEST(VideoParameters, AreMadeForTheTwoFamilies) {
  EXPECT_EQ(CreateVideoParameters(VCodecFamily::Raw)->GetCodecFamily(), VCodecFamily::Raw);
  EXPECT_EQ(CreateVideoParameters(VCodecFamily::ProRes)->GetCodecFamily(), VCodecFamily::ProRes);
  EXPECT_NE(CreateVideoParameters<VCodecFamily::Raw>(), nullptr);
  EXPECT_NE(CreateVideoParameters<VCodecFamily::ProRes>(), nullptr);
  EXPECT_EQ(CreateVideoParameters(static_cast<VCodecFamily>(3)), nullptr);
}

TEST(VideoParameters, AreEmptyWhenNew) {
  const auto raw = CreateVideoParameters<VCodecFamily::Raw>();
  EXPECT_EQ(raw->GetFourCC(), 0u);
  EXPECT_EQ(raw->GetWidth(), 0u);
  EXPECT_EQ(raw->GetScanMode(), ScanMode{});
  EXPECT_EQ(raw->GetEditRate(), (EditRate{0, 1}));
  EXPECT_EQ(raw->GetBitRate(), 0);
  const auto proRes = CreateVideoParameters<VCodecFamily::ProRes>();
  EXPECT_EQ(proRes->GetProResCodecVariant(), ProResCodecVariant{});
}

TEST(VideoParameters, KeepEveryProperty) {
  for (const auto family : {VCodecFamily::Raw, VCodecFamily::ProRes}) {
    const auto parameters = CreateVideoParameters(family);
    Fill(*parameters);
    ExpectFilled(*parameters);
  }
}

TEST(VideoParameters, CopyAWholeDescriptionOfTheirFamily) {
  const auto raw = CreateVideoParameters<VCodecFamily::Raw>();
  Fill(*raw);
  raw->SetFourCC(kFourCC_V210);
  const auto rawCopy = CreateVideoParameters<VCodecFamily::Raw>();
  rawCopy->CopyFrom(raw);
  ExpectFilled(*rawCopy);
  EXPECT_EQ(rawCopy->GetFourCC(), kFourCC_V210);

  const auto proRes = CreateVideoParameters<VCodecFamily::ProRes>();
  Fill(*proRes);
  proRes->SetProResCodecVariant(ProResCodecVariant::LT);
  const auto proResCopy = CreateVideoParameters<VCodecFamily::ProRes>();
  proResCopy->CopyFrom(proRes);
  ExpectFilled(*proResCopy);
  EXPECT_EQ(proResCopy->GetProResCodecVariant(), ProResCodecVariant::LT);
}

TEST(VideoParameters, RejectCopiesOfNullAndAnotherFamily) {
  const auto raw = CreateVideoParameters(VCodecFamily::Raw);
  Fill(*raw);
  EXPECT_THAT(ErrorTextOf([&] { raw->CopyFrom(nullptr); }), HasSubstr("codec family"));
  EXPECT_THAT(ErrorTextOf([&] { raw->CopyFrom(CreateVideoParameters(VCodecFamily::ProRes)); }),
              HasSubstr("codec family"));
  ExpectFilled(*raw);
}

TEST(VideoInfo, KeepsParametersAndChannel) {
  struct InputTrack : ITrack {};
  const auto track = std::make_shared<InputTrack>();
  const auto channel = CreateChannelInfo(track, 7);
  EXPECT_EQ(channel->GetTrack(), track);
  EXPECT_EQ(channel->GetIndex(), 7);
  const auto parameters = CreateVideoParameters(VCodecFamily::Raw);
  const auto info = CreateVideoInfo(parameters, channel, {}, {});
  EXPECT_EQ(info->GetVideoParameters(), parameters);
  EXPECT_EQ(info->GetChannelInfo(), channel);
}

TEST(VideoInfo, KeepsNullPointers) {
  const auto info = CreateVideoInfo(nullptr, nullptr, {nullptr}, {nullptr});
  EXPECT_EQ(info->GetVideoParameters(), nullptr);
  EXPECT_EQ(info->GetChannelInfo(), nullptr);
  EXPECT_EQ(CreateChannelInfo(nullptr, 0)->GetTrack(), nullptr);
}

TEST(InfoContainer, HoldsItsVideoInfo) {
  const std::shared_ptr<const IVideoInfo> info = CreateVideoInfo(nullptr, nullptr, {}, {});
  EXPECT_THAT(CreateInfoContainer(info, nullptr)->GetInfo(), ElementsAre(info));
  EXPECT_THAT(CreateInfoContainer(nullptr, nullptr)->GetInfo(), IsEmpty());
  EXPECT_THAT(CreateInfoContainer(std::make_shared<OtherInfo>(), nullptr)->GetInfo(), IsEmpty());
}

}  // namespace
}  // namespace vix
