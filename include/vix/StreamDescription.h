// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_STREAMDESCRIPTION_H
#define VIX_STREAMDESCRIPTION_H

/// @file
/// What a stream carries: containers of infos, infos with parameters and channel, thirteen
/// properties that every video stream has. A description is filled by one thread and may be read
/// by any number of threads once it is handed out as const.

#include <cstdint>
#include <memory>
#include <vector>

#include "vix/Export.h"
#include "vix/Types.h"

namespace vix {

/// Track that channels belong to; compared by identity.
class VIX_API ITrack {
 public:
  virtual ~ITrack() = default;
};

/// How samples or infos are packaged; this core attaches no meaning to it.
class VIX_API IPackagingInfo {
 public:
  virtual ~IPackagingInfo() = default;
};

/// Clock of a stream; this core attaches no meaning to it.
class VIX_API IClockInfo {
 public:
  virtual ~IClockInfo() = default;
};

/// Metadata attached to an info or a sample; this core carries it along unread.
class VIX_API IMetadata {
 public:
  virtual ~IMetadata() = default;
};

/// Channel of a track.
class VIX_API IChannelInfo {
 public:
  virtual ~IChannelInfo() = default;
  /// The track that the channel belongs to, possibly null.
  virtual std::shared_ptr<const ITrack> GetTrack() const = 0;
  /// Index of the channel inside its track.
  virtual int GetIndex() const { return 0; }
};

/// Root of stream parameter descriptions.
class VIX_API IEncodingParameters {
 public:
  virtual ~IEncodingParameters() = default;
};

/// Parameters of a video stream. The codec family is fixed at creation.
///
/// The numbered properties are 32-bit values that elements carry from input to output. Host
/// programs of this core give them these meanings: 1 chroma sampling (a VideoChroma); 2, 3, 4
/// colour primaries, transfer characteristics and matrix coefficients (code points of ISO/IEC
/// 23091-2); 6 sample structure (2 = packed 4:2:2); 11 picture structure as stored (1 = frames).
class VIX_API IVideoParameters : public IEncodingParameters {
 public:
  /// Sets a property; none is checked against another.
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
  /// Bit rate in megabits per second.
  virtual void SetBitRate(double mbps) = 0;

  /// Family that the parameters were made for.
  virtual VCodecFamily GetCodecFamily() const = 0;
  /// The property as it was set; 0 (an edit rate: 0/1) before. Sizes in pixels and rows, the bit
  /// rate in megabits per second.
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
  /// Takes over a whole description of the same codec family; refuses null and another family.
  virtual void CopyFrom(std::shared_ptr<const IVideoParameters> source) = 0;
};

/// Parameters of uncompressed video.
class VIX_API IVideoParameters_RAW : public IVideoParameters {
 public:
  /// Pixel format of the pictures.
  virtual FourCC GetFourCC() const = 0;
  /// Sets the pixel format.
  virtual void SetFourCC(FourCC value) = 0;
};

/// Parameters of ProRes video.
class VIX_API IVideoParameters_ProRes : public IVideoParameters {
 public:
  /// Variant that the frames are coded in.
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
  /// The channel that the stream is on, possibly null.
  virtual std::shared_ptr<const IChannelInfo> GetChannelInfo() const = 0;
  /// Description of the stream, possibly null.
  virtual std::shared_ptr<const IVideoParameters> GetVideoParameters() const = 0;
};

/// The infos that describe what flows through one input or output.
class VIX_API IInfoContainer {
 public:
  virtual ~IInfoContainer() = default;
  /// The video infos of the container.
  virtual std::vector<std::shared_ptr<const IVideoInfo>> GetInfo() const = 0;
};

/// New, empty parameters: an IVideoParameters_RAW for Raw, an IVideoParameters_ProRes for ProRes,
/// null for any other family. Every property is 0, also those whose enumeration has no 0, until it
/// is set; the edit rate is 0/1.
VIX_API std::shared_ptr<IVideoParameters> CreateVideoParameters(VCodecFamily family);
/// A new info. Null pointers are kept as they are.
VIX_API std::shared_ptr<IVideoInfo> CreateVideoInfo(
    std::shared_ptr<const IVideoParameters> parameters,
    std::shared_ptr<const IChannelInfo> channelInfo,
    std::vector<std::shared_ptr<const IMetadata>> metadata,
    std::vector<std::shared_ptr<const IClockInfo>> clockInfos);
/// A new channel of `track` (possibly null).
VIX_API std::shared_ptr<IChannelInfo> CreateChannelInfo(std::shared_ptr<const ITrack> track,
                                                        int index);
/// A new container of one info; a null info gives an empty container, one that is not a video info
/// a container without video infos.
VIX_API std::shared_ptr<IInfoContainer> CreateInfoContainer(
    std::shared_ptr<const IInfo> info, std::shared_ptr<const IPackagingInfo> packagingInfo);

/// Names the parameters interface of a codec family.
template <VCodecFamily F>
struct VideoParameters_trait;
/// Parameters of uncompressed video.
template <>
struct VideoParameters_trait<VCodecFamily::Raw> {
  /// Their interface.
  using Type = IVideoParameters_RAW;
};
/// Parameters of ProRes video.
template <>
struct VideoParameters_trait<VCodecFamily::ProRes> {
  /// Their interface.
  using Type = IVideoParameters_ProRes;
};

/// New parameters of family F under their own interface; null when the host gives null or an
/// object of another class.
template <VCodecFamily F>
std::shared_ptr<typename VideoParameters_trait<F>::Type> CreateVideoParameters() {
  return std::dynamic_pointer_cast<typename VideoParameters_trait<F>::Type>(
      CreateVideoParameters(F));
}

}  // namespace vix

#endif  // VIX_STREAMDESCRIPTION_H
