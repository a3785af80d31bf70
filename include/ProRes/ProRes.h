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
 * Where the system refuses to start a thread, the handle continues with fewer threads, at worst
 * with the calling thread alone. Every frame call returns when its frame is complete. The same
 * input gives the same bytes and the same picture for every thread count and on every CPU.
 *
 * A process that was forked has none of its parent's threads. A handle that has started threads in
 * the parent returns kWPRForked from every frame call in the child, and closing it there frees only
 * part of its memory. Handles without threads, and handles that the child opens, work as usual.
 *
 * ProResHost.h has calls for programs that use the codec through elements. Two environment
 * variables override settings of every handle that is opened: VIX_PRORES_THREADS is the number of
 * threads of handles that are opened with 0 threads, VIX_PRORES_CPU ("scalar", "sse4", "avx2" or
 * "avx512") the highest instruction set that is used.
 *
 * No call throws, aborts or prints (debug builds of the library abort on its own faults). No call
 * reads outside `[frame, frame + frameBytes)` or the rows of the source picture, or writes outside
 * the destination, whatever the bytes are.
 */

#include <stdint.h>

/** Exports a call from the library. */
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
 * Result codes. Zero is success; every failure is negative, with one meaning each. Decoding a frame
 * with damaged slices returns their number, a positive value.
 */
enum WPRResult {
  /** The call succeeded. */
  kWPRSuccess = 0,
  /** A null pointer, an unknown code, a size out of range or a row too short for the width. */
  kWPRBadArgument = -1,
  /** A frame or picture header, or a slice table, that contradicts itself or RDD 36. */
  kWPRBadHeader = -2,
  /** The frame is shorter than its headers and slice tables require. */
  kWPRTruncated = -3,
  /** Well-formed, but not supported by this library. */
  kWPRUnsupported = -4,
  /** The compressed frame does not fit the destination. */
  kWPRDestinationTooSmall = -5,
  /** Memory could not be obtained. */
  kWPROutOfMemory = -6,
  /** The library found one of its own invariants violated: a fault of the library. */
  kWPRInternalError = -7,
  /** The handle has started threads in the parent of this process. */
  kWPRForked = -8,
  /** The frame exceeds the limits that were set for the handle (FrameLimitsRecord). */
  kWPRTooLarge = -9
};

/** Codec types (four-character codes, first character in the most significant byte). */
enum WPRCodecType {
  kWPRCodecProxy = 0x6170636F, /**< 'apco', 422 Proxy */
  kWPRCodecLT = 0x61706373,    /**< 'apcs', 422 LT */
  kWPRCodec422 = 0x6170636E,   /**< 'apcn', 422 */
  kWPRCodecHQ = 0x61706368,    /**< 'apch', 422 HQ */
  kWPRCodec4444 = 0x61703468,  /**< 'ap4h', 4444 */
  kWPRCodec4444XQ = 0x61703478 /**< 'ap4x', 4444 XQ */
};

/** Interlace modes (the values of the frame header, RDD 36, 6.1.1 frame header semantics). */
enum WPRInterlaceMode {
  kWPRProgressive = 0,   /**< one picture, the whole frame */
  kWPRTopFieldFirst = 1, /**< two pictures, the first one holds lines 0, 2, 4, ... */
  kWPRBottomFieldFirst =
      2 /**< two pictures, the first one holds lines 1, 3, 5, ...; decoding only */
};

/**
 * Pixel formats of packed pictures (first character in the most significant byte). The codec types
 * of 422 take the formats of 4:2:2, those of 4444 the formats of 4:4:4 with alpha. A decoder makes
 * any format from any frame.
 *
 * Colours of 'y416' are coded with 12 bits: v becomes min((v + 8) / 16, 4095), rounded down, and a
 * decoder returns a multiple of 16. So twelve bits that are shifted up survive exactly. RGB becomes
 * YCbCr of 12 bits in video range, see matrixCoefficients in ProResHost.h. Alpha is straight: it
 * does not scale the colours; 65535 is opaque.
 */
enum WPRPixelFormat {
  /** '2vuy': 8 bits per component in the byte order U Y V Y. */
  kWPRPixelFormat2vuy = 0x32767579,
  /** 'v210': 10 bits per component, three components in each little-endian 32-bit word. */
  kWPRPixelFormatV210 = 0x76323130,
  /** 'y416': 16 bits per component, little-endian, in the order A Y Cb Cr; video range. */
  kWPRPixelFormatY416 = 0x79343136,
  /** 'b64a': 16 bits per component, big-endian, in the order A R G B; full range. */
  kWPRPixelFormatB64a = 0x62363461
};

/** Parameters of an encoded frame. 8 bytes. */
typedef struct EncodeParamsRecord {
  uint32_t codecType;     /**< a WPRCodecType */
  uint32_t interlaceMode; /**< kWPRProgressive or kWPRTopFieldFirst */
} EncodeParamsRecord;

/** A packed picture in the caller's memory. 24 bytes. */
typedef struct PixelBufferRecord {
  void* baseAddress; /**< first byte of the first row, of any alignment */
  uint32_t rowBytes; /**< distance between rows in bytes, at least the bytes of one row's pixels */
  uint32_t pixelFormat; /**< a WPRPixelFormat */
  uint32_t width;       /**< pixels */
  uint32_t height;      /**< rows of the whole frame, or of the one field that is decoded */
} PixelBufferRecord;

/**
 * Opens an encoder. Variant, size and format are parameters of every frame.
 * @param numThreads threads that code slices, the calling thread included; 0 = automatic (see
 *                   WPRSetDefaultThreads()); negative values are rejected.
 * @param reserved   must be null.
 * @return the encoder, to be closed with WPRCloseEncoder(), or null.
 */
WPR_API WPREncoderHandle WPROpenEncoder(int32_t numThreads, void* reserved);

/**
 * Returns the size that compressed frames never exceed.
 * @param codecType  a WPRCodecType. The bound of a 4444 type has room for 16 bits of alpha; the
 *                   target is that of the colours, to which alpha is added.
 * @param width,height size of the frame in pixels, 2 to 65535 each.
 * @param maxBytes   receives the bound: no frame of this type and size is ever larger.
 * @param targetBytes receives the size that the encoder aims at, which simple pictures fall short
 * of; may be null.
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

/** Closes an encoder and ends its threads. Does nothing for null. */
WPR_API void WPRCloseEncoder(WPREncoderHandle encoder);

/**
 * Opens a decoder.
 * @param numThreads threads that decode slices, the calling thread included; 0 = automatic (see
 *                   WPRSetDefaultThreads()); negative values are rejected.
 * @param reserved   must be null.
 * @return the decoder, to be closed with WPRCloseDecoder(), or null.
 */
WPR_API WPRDecoderHandle WPROpenDecoder(int32_t numThreads, void* reserved);

/**
 * Decodes one frame (8-byte prefix with size and 'icpf', frame header, one or two pictures) into a
 * packed picture. Bytes after the frame are ignored.
 *
 * Into a format of 4:2:2, chroma of 4:4:4 frames is filtered and an alpha channel is skipped. Into
 * a format of 4:4:4 with alpha, all formats of frames are decoded with 12 bits and chroma of 4:2:2
 * is interpolated. Alpha that is missing or damaged is opaque; a slice whose alpha is damaged
 * counts as damaged, but keeps its colours where they are intact.
 * @param destination its width must be that of the frame; its height the frame's, or where a single
 *                    field is decoded half of the frame's, rounded down or up to the field's own.
 * @param fieldFlag   0 = the whole frame; 1 = only the first field of an interlaced frame (for a
 *                    progressive frame the same as 0); other values are rejected.
 * @return kWPRSuccess; a positive number of damaged slices, which were concealed; or a negative
 *         WPRResult, after which the destination is untouched and the decoder stays usable.
 */
WPR_API int32_t WPRDecodeFrame(WPRDecoderHandle decoder, const uint8_t* frame, uint32_t frameBytes,
                               PixelBufferRecord* destination, uint8_t fieldFlag);

/** Closes a decoder and ends its threads. Does nothing for null. */
WPR_API void WPRCloseDecoder(WPRDecoderHandle decoder);

#ifdef __cplusplus
}
#endif

#endif /* PRORES_PRORES_H */
