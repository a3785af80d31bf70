// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_STREAMDESCRIPTION_H
#define VIX_STREAMDESCRIPTION_H

/// @file
/// Descriptions of streams: containers of infos, infos with parameters and a channel, and
/// parameters with thirteen properties that every video stream has. One thread fills a description;
/// any number of threads may read it as const.

#include <cstdint>
#include <memory>
#include <vector>

#include "vix/Export.h"
#include "vix/Types.h"

namespace vix {

/// Track of channels. Two tracks are equal if they are the same object.
class VIX_API ITrack {
 public:
  virtual ~ITrack() = default;
};

/// Packaging of samples or infos. This core does not interpret it.
class VIX_API IPackagingInfo {
 public:
  virtual ~IPackagingInfo() = default;
};

/// Clock of a stream. This core does not interpret it.
class VIX_API IClockInfo {
 public:
  virtual ~IClockInfo() = default;
};

/// Metadata of an info or a sample. This core does not interpret it.
class VIX_API IMetadata {
 public:
  virtual ~IMetadata() = default;
};

/// Order of the fields of an interlaced frame in time.
enum class FieldOrder : std::int32_t {
  TopFirst = 1,     ///< the field with the rows 0, 2, 4, ...
  BottomFirst = 2,  ///< the field with the rows 1, 3, 5, ...
};

/// Metadata that drivers add to the decoded pictures of interlaced frames, where descriptions only
/// state ScanMode::Interlaced. A picture of one field holds the first one.
class VIX_API IFieldOrder : public IMetadata {
 public:
  /// Returns the order that the frame's header states.
  virtual FieldOrder GetFieldOrder() const = 0;
};

/// Channel of a track.
class VIX_API IChannelInfo {
 public:
  virtual ~IChannelInfo() = default;
  /// Returns the track of the channel; may be null.
  virtual std::shared_ptr<const ITrack> GetTrack() const = 0;
  /// Returns the index of the channel in its track.
  virtual int GetIndex() const { return 0; }
};

/// Root of stream parameter descriptions.
class VIX_API IEncodingParameters {
 public:
  virtual ~IEncodingParameters() = default;
};

/// Parameters of a video stream. The codec family is fixed at creation.
///
/// The numbered properties are 32-bit values that elements copy from input to output. Host programs
/// of this core use them as follows: 1 chroma sampling (a VideoChroma); 2, 3, 4
/// colour primaries, transfer characteristics and matrix coefficients (code points of ISO/IEC
/// 23091-2); 6 sample structure (2 = packed 4:2:2, 4 = packed 4:4:4:4); 11 picture structure as
/// stored (1 = frames).
class VIX_API IVideoParameters : public IEncodingParameters {
 public:
  /// Sets a property without checks.
  /// @{
  virtual void SetVideoProperty1(std::int32_t value) = 0;
  virtual void SetVideoProperty2(std::int32_t value) = 0;
  virtual void SetVideoProperty3(std::int32_t value) = 0;
  virtual void SetVideoProperty4(std::int32_t value) = 0;
  virtual void SetScanMode(ScanMode value) = 0;
  virtual void SetVideoProperty6(std::int32_t value) = 0;
  virtual void SetStoredWidth(std::uint32_t pixels) = 0;
  virtual void SetStoredHeight(std::uint32_t rows) = 0;
  virtual void SetWidth(std::uint32_t pixels) = 0;
  virtual void SetHeight(std::uint32_t rows) = 0;
  virtual void SetVideoProperty11(std::int32_t value) = 0;
  virtual void SetEditRate(EditRate value) = 0;
  /// @}
  /// Sets the bit rate in megabits per second.
  virtual void SetBitRate(double mbps) = 0;

  /// Returns the codec family.
  virtual VCodecFamily GetCodecFamily() const = 0;
  /// Returns a property; 0 (edit rate: 0/1) if it was not set. Sizes are in pixels and rows, the
  /// bit rate is in megabits per second.
  /// @{
  virtual std::int32_t GetVideoProperty1() const = 0;
  virtual std::int32_t GetVideoProperty2() const = 0;
  virtual std::int32_t GetVideoProperty3() const = 0;
  virtual std::int32_t GetVideoProperty4() const = 0;
  virtual EditRate GetEditRate() const = 0;
  virtual ScanMode GetScanMode() const = 0;
  virtual std::int32_t GetVideoProperty6() const = 0;
  virtual std::uint32_t GetStoredWidth() const = 0;
  virtual std::uint32_t GetStoredHeight() const = 0;
  virtual std::uint32_t GetWidth() const = 0;
  virtual std::uint32_t GetHeight() const = 0;
  virtual std::int32_t GetVideoProperty11() const = 0;
  virtual double GetBitRate() const = 0;
  /// @}
  /// Copies a whole description. Rejects null and a description of another codec family.
  virtual void CopyFrom(std::shared_ptr<const IVideoParameters> source) = 0;
};

/// Parameters of uncompressed video.
class VIX_API IVideoParameters_RAW : public IVideoParameters {
 public:
  /// Returns the pixel format.
  virtual FourCC GetFourCC() const = 0;
  /// Sets the pixel format.
  virtual void SetFourCC(FourCC value) = 0;
};

/// Parameters of ProRes video.
class VIX_API IVideoParameters_ProRes : public IVideoParameters {
 public:
  /// Returns the variant of the frames; 0 for frames of 4444, whose variants are not enumerated.
  virtual ProResCodecVariant GetProResCodecVariant() const = 0;
  /// Sets the variant.
  virtual void SetProResCodecVariant(ProResCodecVariant value) = 0;
};

/// Root of stream infos.
class VIX_API IInfo {
 public:
  virtual ~IInfo() = default;
};

/// Info of one video stream.
class VIX_API IVideoInfo : public IInfo {
 public:
  /// Returns the channel of the stream; may be null.
  virtual std::shared_ptr<const IChannelInfo> GetChannelInfo() const = 0;
  /// Returns the description of the stream; may be null.
  virtual std::shared_ptr<const IVideoParameters> GetVideoParameters() const = 0;
};

/// Infos of the streams at one input or output.
class VIX_API IInfoContainer {
 public:
  virtual ~IInfoContainer() = default;
  /// Returns the video infos of the container.
  virtual std::vector<std::shared_ptr<const IVideoInfo>> GetInfo() const = 0;
};

/// Creates parameters: an IVideoParameters_RAW for Raw, an IVideoParameters_ProRes for ProRes;
/// returns null for any other family. Every property is 0, even if its enumeration has no 0; the
/// edit rate is 0/1.
VIX_API std::shared_ptr<IVideoParameters> CreateVideoParameters(VCodecFamily family);
/// Creates an info. Every pointer may be null.
VIX_API std::shared_ptr<IVideoInfo> CreateVideoInfo(
    std::shared_ptr<const IVideoParameters> parameters,
    std::shared_ptr<const IChannelInfo> channelInfo,
    std::vector<std::shared_ptr<const IMetadata>> metadata,
    std::vector<std::shared_ptr<const IClockInfo>> clockInfos);
/// Creates a channel of `track`, which may be null.
VIX_API std::shared_ptr<IChannelInfo> CreateChannelInfo(std::shared_ptr<const ITrack> track,
                                                        int index);
/// Creates a container of one info, or an empty one if `info` is null.
VIX_API std::shared_ptr<IInfoContainer> CreateInfoContainer(
    std::shared_ptr<const IInfo> info, std::shared_ptr<const IPackagingInfo> packagingInfo);

/// Interface of the parameters of a codec family.
template <VCodecFamily F>
struct VideoParameters_trait;
/// Interface of the parameters of uncompressed video.
template <>
struct VideoParameters_trait<VCodecFamily::Raw> {
  /// The interface.
  using Type = IVideoParameters_RAW;
};
/// Interface of the parameters of ProRes video.
template <>
struct VideoParameters_trait<VCodecFamily::ProRes> {
  /// The interface.
  using Type = IVideoParameters_ProRes;
};

/// Creates parameters of family F; null if the host returns null or an object of another class.
template <VCodecFamily F>
std::shared_ptr<typename VideoParameters_trait<F>::Type> CreateVideoParameters() {
  return std::dynamic_pointer_cast<typename VideoParameters_trait<F>::Type>(
      CreateVideoParameters(F));
}

}  // namespace vix

#endif  // VIX_STREAMDESCRIPTION_H
