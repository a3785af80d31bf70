// SPDX-License-Identifier: BSD-2-Clause
// Makes sequences of calls of the C interface, with arguments of all kinds that a C program can
// pass: open, set, encode, decode, query, close. Requires the documented results, and exactly one
// report of each frame call to its observer.
// Each call takes a byte that selects it, and then bytes that select its arguments.
#include <array>
#include <cstdint>
#include <memory>

#include "CodecPictures.h"
#include "Encoding.h"
#include "FuzzInput.h"

namespace {

constexpr int kMostCalls = 24;
constexpr std::uint32_t kSizes[] = {0, 1, 2, 16, 17, 33, 64, 65535, 65536, 0xffffffff};
constexpr std::uint32_t kCodecTypes[] = {
    kWPRCodecProxy,  kWPRCodecLT, kWPRCodec422,  kWPRCodecHQ, kWPRCodec4444,
    kWPRCodec4444XQ, 0,           0x6170636f + 1};
constexpr std::int32_t kThreads[] = {1, 2, 0, -1, 3, INT32_MIN};

template <typename T, std::size_t N>
T Pick(const T (&values)[N], std::uint8_t choice) {
  return values[choice % N];
}

/// Reports that the observers received since the last frame call.
struct Reports {
  int count = 0;
  std::int32_t result = 0;
};

/// One run: handles, and the last frame.
class Calls {
 public:
  explicit Calls(FuzzInput& input) : input_(input) {
    WPRSetEncodeObserver(
        [](void* reports, const EncodeReportRecord* report) {
          Require(report->recordBytes == sizeof *report);
          *static_cast<Reports*>(reports) = {static_cast<Reports*>(reports)->count + 1,
                                             report->result};
        },
        &reports_);
    WPRSetDecodeObserver(
        [](void* reports, const DecodeReportRecord* report) {
          Require(report->recordBytes == sizeof *report && report->damagedSlices <= report->slices);
          *static_cast<Reports*>(reports) = {static_cast<Reports*>(reports)->count + 1,
                                             report->result};
        },
        &reports_);
  }
  ~Calls() {
    WPRSetEncodeObserver(nullptr, nullptr);
    WPRSetDecodeObserver(nullptr, nullptr);
    for (WPREncoderHandle const encoder : encoders_) WPRCloseEncoder(encoder);
    for (WPRDecoderHandle const decoder : decoders_) WPRCloseDecoder(decoder);
    Require(WPRSetDefaultThreads(0) == kWPRSuccess);
    Require(WPRSetProcessorLevel(kWPRProcessorAutomatic) == kWPRSuccess);
  }
  Calls(const Calls&) = delete;
  Calls& operator=(const Calls&) = delete;

  void MakeNext() {
    static constexpr void (Calls::*kCalls[])() = {
        &Calls::Open<WPROpenEncoder, WPRCloseEncoder, &Calls::encoders_>,
        &Calls::Open<WPROpenDecoder, WPRCloseDecoder, &Calls::decoders_>,
        &Calls::Close<WPRCloseEncoder, &Calls::encoders_>,
        &Calls::Close<WPRCloseDecoder, &Calls::decoders_>,
        &Calls::SetEncoder,
        &Calls::SetDecoder,
        &Calls::SetThreads,
        &Calls::SetLevel,
        &Calls::AskSize,
        &Calls::EncodeFrame,
        &Calls::DecodeFrame,
    };
    (this->*Pick(kCalls, input_.Byte()))();
  }

 private:
  using Handles = std::array<void*, 2>;

  /// Returns one of two handles; null unless it was opened.
  void*& Select(Handles& handles) { return handles[input_.Byte() % handles.size()]; }

  template <void* (*open)(std::int32_t, void*), void (*close)(void*), Handles Calls::*handles>
  void Open() {
    void*& handle = Select(this->*handles);
    close(handle);
    const std::int32_t threads = Pick(kThreads, input_.Byte());
    int other = 0;
    void* const reserved = input_.Byte() == 1 ? &other : nullptr;
    handle = open(threads, reserved);
    Require((handle != nullptr) == (threads >= 0 && reserved == nullptr));
  }

  template <void (*close)(void*), Handles Calls::*handles>
  void Close() {
    void*& handle = Select(this->*handles);
    close(handle);
    handle = nullptr;
  }

  /// Sets one of the handles by a record of a size, bits of alpha and a matrix that the input
  /// selects. A record may be longer than this version's.
  template <typename Record, std::uint32_t Record::*matrix, typename SetRecord>
  void Set(void* handle, SetRecord set, std::uint32_t mostMatrix) {
    constexpr std::uint32_t kLater = 4;
    static constexpr std::uint32_t kSizesOfRecords[] = {sizeof(Record), sizeof(Record) + kLater, 0,
                                                        sizeof(Record) - 1};
    struct {
      Record record;
      std::array<std::uint8_t, kLater> later{};
    } longer;
    longer.record.recordBytes = Pick(kSizesOfRecords, input_.Byte());
    longer.record.alphaBits = static_cast<std::int8_t>(input_.Byte());
    longer.record.*matrix = input_.Word();
    const bool isNull = input_.Byte() == 1;
    const std::int32_t bits = longer.record.alphaBits;
    const bool valid =
        handle != nullptr && !isNull && longer.record.recordBytes >= sizeof(Record) &&
        (bits == 0 || bits == 8 || bits == 16) && longer.record.*matrix <= mostMatrix;
    Require(set(handle, isNull ? nullptr : &longer.record) ==
            (valid ? kWPRSuccess : kWPRBadArgument));
  }

  void SetEncoder() {
    Set<EncodeSettingsRecord, &EncodeSettingsRecord::matrixCoefficients>(
        Select(encoders_), WPRSetEncodeSettings, UINT8_MAX);
  }
  void SetDecoder() {
    Set<DecodeSettingsRecord, &DecodeSettingsRecord::defaultMatrixCoefficients>(
        Select(decoders_), WPRSetDecodeSettings, UINT32_MAX);
  }

  void SetThreads() {
    const std::int32_t before = WPRGetDefaultThreads();
    const auto threads = static_cast<std::int16_t>(input_.Word());
    const bool valid = threads >= 0 && threads <= kWPRMostDefaultThreads;
    Require(WPRSetDefaultThreads(threads) == (valid ? kWPRSuccess : kWPRBadArgument));
    Require(WPRGetDefaultThreads() >= 1);
    if (!valid) Require(WPRGetDefaultThreads() == before);
    if (valid && threads > 0) Require(WPRGetDefaultThreads() == threads);
  }

  void SetLevel() {
    const std::int32_t before = WPRGetProcessorLevel();
    const auto level = static_cast<std::int8_t>(input_.Byte());
    const std::int32_t result = WPRSetProcessorLevel(level);
    if (level < kWPRProcessorAutomatic || level > kWPRProcessorAvx512) {
      Require(result == kWPRBadArgument);
    } else {
      Require(result == (level > WPRGetHighestProcessorLevel() ? kWPRUnsupported : kWPRSuccess));
    }
    const std::int32_t after = WPRGetProcessorLevel();
    Require(after >= kWPRProcessorScalar && after <= WPRGetHighestProcessorLevel());
    if (result != kWPRSuccess) Require(after == before);
  }

  void AskSize() {
    const std::uint32_t type = Pick(kCodecTypes, input_.Byte());
    const std::uint32_t width = Pick(kSizes, input_.Byte()), height = Pick(kSizes, input_.Byte());
    const std::uint8_t nulls = input_.Byte();
    constexpr std::uint32_t kUnset = 0xabcdef01;
    std::uint32_t maxBytes = kUnset, targetBytes = kUnset;
    const std::int32_t result = WPRGetCompressedFrameSize(
        type, width, height, nulls == 1 ? nullptr : &maxBytes, nulls == 2 ? nullptr : &targetBytes);
    const bool valid = IsType(type) && nulls != 1 && width - 2 < 65534 && height - 2 < 65534;
    Require(valid ? result == kWPRSuccess || result == kWPRUnsupported : result == kWPRBadArgument);
    if (result != kWPRSuccess) Require(maxBytes == kUnset && targetBytes == kUnset);
    if (result == kWPRSuccess && nulls == 0) Require(targetBytes <= maxBytes);
  }

  static bool IsType(std::uint32_t type) {
    return std::find(kCodecTypes, kCodecTypes + 6, type) != kCodecTypes + 6;
  }

  /// Requires that an observer received exactly this result since the last call.
  void RequireReport(std::int32_t result) {
    Require(reports_.count == 1 && reports_.result == result);
    reports_ = {};
    Require(result != kWPRInternalError && result != kWPROutOfMemory && result != kWPRForked);
  }

  /// Returns a picture whose size, and whose rows at times, may not be allowed.
  std::unique_ptr<PackedPicture> MakePicture(std::uint32_t format) {
    std::uint32_t width = Pick(kSizes, input_.Byte()), height = Pick(kSizes, input_.Byte());
    if (std::uint64_t{width} * height > kMostPixels) width = height = 16;
    return std::make_unique<PackedPicture>(format, width, height);
  }

  void EncodeFrame() {
    void* const encoder = Select(encoders_);
    const EncoderChoice choice(input_.Byte());
    const auto picture = MakePicture(choice.format);
    Fill(picture->Content(), input_.Take(3));
    PixelBufferRecord source = picture->Record();
    EncodeParamsRecord params = choice.params;
    Bytes destination(MaxFrameBytes(choice, source, 64));
    std::uint32_t bytes = 0;
    const std::uint8_t fault = input_.Byte();
    if (fault == 1) params.codecType ^= 0x80;
    if (fault == 2) source.pixelFormat ^= 0x80;
    if (fault == 3) --source.rowBytes;
    if (fault == 4) source.baseAddress = nullptr;
    const bool nulls[] = {fault == 5, fault == 6, fault == 7, fault == 8};
    const std::int32_t result =
        WPREncodeFrame(encoder, nulls[0] ? nullptr : &params, nulls[1] ? nullptr : &source,
                       nulls[2] ? nullptr : destination.data(),
                       static_cast<std::uint32_t>(destination.size()), nulls[3] ? nullptr : &bytes);
    RequireReport(result);
    if (encoder == nullptr || (fault >= 1 && fault <= 8)) Require(result == kWPRBadArgument);
    Require((result == kWPRSuccess) == (bytes != 0) && bytes <= destination.size());
    if (result != kWPRSuccess) return;
    destination.resize(bytes);
    frame_.assign(destination.begin(), destination.end());
    frame_.shrink_to_fit();
    isWhole_ = true;
  }

  void DecodeFrame() {
    void* const decoder = Select(decoders_);
    if (input_.Byte() == 1 && !frame_.empty()) {
      frame_[input_.Word() % frame_.size()] ^= input_.Byte();
      isWhole_ = false;
    }
    const std::uint8_t fieldFlag = input_.Byte() % 3;
    const StatedSize size(frame_, fieldFlag == 1);
    if (size.Pixels() > kMostPixels) return;
    PackedPicture picture(Pick(kFormats, input_.Byte()), size.width, size.height, 0, 0xa5);
    PixelBufferRecord destination = picture.Record();
    const std::uint8_t fault = input_.Byte();
    if (fault == 1) destination.pixelFormat ^= 0x80;
    if (fault == 2) --destination.rowBytes;
    if (fault == 3) --destination.height;
    if (fault == 4) destination.baseAddress = nullptr;
    const std::int32_t result = WPRDecodeFrame(decoder, fault == 5 ? nullptr : frame_.data(),
                                               static_cast<std::uint32_t>(frame_.size()),
                                               fault == 6 ? nullptr : &destination, fieldFlag);
    RequireReport(result);
    picture.RequireUntouched(result);
    const bool refused = decoder == nullptr || fieldFlag == 2 || (fault >= 1 && fault <= 6);
    if (isWhole_) Require(result == (refused ? kWPRBadArgument : kWPRSuccess));
  }

  FuzzInput& input_;
  Handles encoders_{};
  Handles decoders_{};
  Reports reports_;
  Bytes frame_;
  bool isWhole_ = false;  ///< the last frame is as an encoder wrote it
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  Calls calls(input);
  for (int i = 0; i < kMostCalls && input.Left() > 0; ++i) calls.MakeNext();
  return 0;
}
