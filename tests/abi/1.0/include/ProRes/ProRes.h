/* SPDX-License-Identifier: BSD-2-Clause */
#ifndef PRORES_PRORES_H
#define PRORES_PRORES_H

/**
 * @file
 * C interface of libProRes, an encoder and decoder of the intra-frame video codec described by
 * SMPTE RDD 36.
 *
 * One handle serves one stream in one direction. A handle is used by one thread at a time; any
 * number of handles may be used at once, each on its own thread, and never share state. A handle
 * starts its worker threads on the first frame that can use them and ends them when it is closed.
 * Every frame call returns when its frame is complete. The same input gives the same bytes and
 * the same picture for every thread count and on every CPU.
 *
 * Two environment variables are read when a handle is opened: VIX_PRORES_THREADS is the number of
 * threads of handles that are opened with 0 of them (unset: one per processor); VIX_PRORES_CPU
 * ("scalar", "sse4", "avx2" or "avx512") keeps to instructions of that level even where the
 * processor has more.
 *
 * No call throws, aborts or prints. No call reads outside `[frame, frame + frameBytes)` or the rows
 * of the source picture, or writes outside the destination, whatever the bytes say.
 */

#include <stdint.h>

/** Marks what is visible outside the library. */
#if defined(__GNUC__)
#define WPR_API __attribute__((visibility("default")))
#else
#define WPR_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Opaque encoder; null stands for "no encoder". */
typedef void* WPREncoderHandle;
/** Opaque decoder; null stands for "no decoder". */
typedef void* WPRDecoderHandle;

/**
 * What a call answers. Zero is success, every failure is negative with one meaning each. A decoded
 * frame with damaged slices answers the number of those slices, a positive value.
 */
enum WPRResult {
  /** The call did all that it was asked. */
  kWPRSuccess = 0,
  /** A null pointer, an unknown code, a size out of range or a row that does not hold the width. */
  kWPRBadArgument = -1,
  /** A frame or picture header, or a slice table, that contradicts itself or RDD 36. */
  kWPRBadHeader = -2,
  /** The frame ends before its headers and slice tables say it does. */
  kWPRTruncated = -3,
  /** Well-formed, but outside what this library codes. */
  kWPRUnsupported = -4,
  /** The compressed frame does not fit the destination. */
  kWPRDestinationTooSmall = -5,
  /** Memory or threads could not be obtained. */
  kWPROutOfMemory = -6
};

/** Codec types (four-character codes, first character in the most significant byte). */
enum WPRCodecType {
  kWPRCodecProxy = 0x6170636F, /**< 'apco', 422 Proxy */
  kWPRCodecLT = 0x61706373,    /**< 'apcs', 422 LT */
  kWPRCodec422 = 0x6170636E,   /**< 'apcn', 422 */
  kWPRCodecHQ = 0x61706368     /**< 'apch', 422 HQ */
};

/** Interlace modes (the values of the frame header, RDD 36, 6.1.1 frame header semantics). */
enum WPRInterlaceMode {
  kWPRProgressive = 0,   /**< one picture, the whole frame */
  kWPRTopFieldFirst = 1, /**< two pictures, the first one holds lines 0, 2, 4, ... */
  kWPRBottomFieldFirst =
      2 /**< two pictures, the first one holds lines 1, 3, 5, ...; decoding only */
};

/** Pixel formats of packed 4:2:2 pictures (first character in the most significant byte). */
enum WPRPixelFormat {
  /** '2vuy': 8 bits per component in the byte order U Y V Y. */
  kWPRPixelFormat2vuy = 0x32767579,
  /** 'v210': 10 bits per component, three components in each little-endian 32-bit word. */
  kWPRPixelFormatV210 = 0x76323130
};

/** How a frame is to be encoded. 8 bytes. */
typedef struct EncodeParamsRecord {
  uint32_t codecType;     /**< a WPRCodecType */
  uint32_t interlaceMode; /**< kWPRProgressive or kWPRTopFieldFirst */
} EncodeParamsRecord;

/** A packed picture in the caller's memory. 24 bytes. */
typedef struct PixelBufferRecord {
  void* baseAddress; /**< first byte of the first row; no alignment is asked for */
  uint32_t rowBytes; /**< distance between rows in bytes, at least the bytes of one row's pixels */
  uint32_t pixelFormat; /**< a WPRPixelFormat */
  uint32_t width;       /**< pixels */
  uint32_t height;      /**< rows: of the whole frame, or of one field where one field is decoded */
} PixelBufferRecord;

/**
 * Opens an encoder. Nothing is known of the stream yet: variant, size and format come with every
 * frame.
 * @param numThreads threads that code slices, the calling thread included; 0 = automatic; a
 *                   negative value is refused.
 * @param reserved   must be null.
 * @return the encoder, to be closed with WPRCloseEncoder(), or null.
 */
WPR_API WPREncoderHandle WPROpenEncoder(int32_t numThreads, void* reserved);

/**
 * Tells how many bytes a compressed frame can take at most.
 * @param codecType  a WPRCodecType.
 * @param width,height size of the frame in pixels, 2 to 65535 each.
 * @param maxBytes   receives the bound: no frame of this type and size is ever larger.
 * @param targetBytes receives the size that the encoder aims at for a frame that needs its bytes;
 *                   may be null.
 * @return kWPRSuccess, kWPRBadArgument, or kWPRUnsupported when the bound exceeds 32 bits; on
 * failure nothing is written.
 */
WPR_API int32_t WPRGetCompressedFrameSize(uint32_t codecType, uint32_t width, uint32_t height,
                                          uint32_t* maxBytes, uint32_t* targetBytes);

/**
 * Encodes one frame. The source is read in place, the frame is written straight to the
 * destination; neither is kept.
 * @param compressedBytes receives the size of the frame, on success only.
 * @return kWPRSuccess or a negative WPRResult; after a failure the destination's contents are
 *         unspecified and the encoder stays usable.
 */
WPR_API int32_t WPREncodeFrame(WPREncoderHandle encoder, const EncodeParamsRecord* params,
                               const PixelBufferRecord* source, uint8_t* destination,
                               uint32_t destinationSize, uint32_t* compressedBytes);

/** Closes an encoder and ends its threads. Null is allowed and does nothing. */
WPR_API void WPRCloseEncoder(WPREncoderHandle encoder);

/**
 * Opens a decoder.
 * @param numThreads threads that decode slices, the calling thread included; 0 = automatic; a
 *                   negative value is refused.
 * @param reserved   must be null.
 * @return the decoder, to be closed with WPRCloseDecoder(), or null.
 */
WPR_API WPRDecoderHandle WPROpenDecoder(int32_t numThreads, void* reserved);

/**
 * Decodes one frame (8-byte prefix with size and 'icpf', frame header, one or two pictures) into a
 * packed picture. 4:4:4 frames are brought to 4:2:2, an alpha channel is skipped. Bytes behind the
 * frame are ignored.
 * @param destination its width must be that of the frame; its height the frame's, or where a single
 *                    field is decoded half of the frame's, rounded down or up to the field's own.
 * @param fieldFlag   0 = the whole frame; 1 = only the first field of an interlaced frame, which
 * with a progressive frame is the same as 0; other values are refused.
 * @return kWPRSuccess; a positive number of damaged slices, which were concealed; or a negative
 *         WPRResult, after which the destination is untouched and the decoder stays usable.
 */
WPR_API int32_t WPRDecodeFrame(WPRDecoderHandle decoder, const uint8_t* frame, uint32_t frameBytes,
                               PixelBufferRecord* destination, uint8_t fieldFlag);

/** Closes a decoder and ends its threads. Null is allowed and does nothing. */
WPR_API void WPRCloseDecoder(WPRDecoderHandle decoder);

#ifdef __cplusplus
}
#endif

#endif /* PRORES_PRORES_H */
