/* SPDX-License-Identifier: BSD-2-Clause */
#ifndef PRORES_PRORESHOST_H
#define PRORES_PRORESHOST_H

/**
 * @file
 * Calls of libProRes for host programs: programs that load elements which use the codec, and have
 * no other way to reach the codec library.
 *
 * Most calls change how handles are opened and report what frame calls return; they never change
 * the coded bytes or the decoded picture. WPRSetEncodeSettings() and WPRSetDecodeSettings() set
 * what the records of a frame call cannot say.
 *
 * Compatibility: this interface grows by appending calls at the end of this file and members at the
 * end of its records. A call that was added in version N says so. WPRHostVersion() returns the
 * version that the loaded library implements.
 *
 * Environment variables override the calls, so that a user can force a setting on any host:
 * - VIX_PRORES_THREADS: number of threads (1 to 4096), overrides WPRSetDefaultThreads();
 * - VIX_PRORES_CPU: "scalar", "sse4", "avx2" or "avx512", overrides WPRSetProcessorLevel(). A level
 *   that the processor lacks stands for the highest level that it has.
 *
 * Other values of these variables are ignored. They are read when a handle is opened.
 */

#include "ProRes.h"

/** Version of this header. */
#define WPR_HOST_VERSION 4

#ifdef __cplusplus
extern "C" {
#endif

/** The largest number that WPRSetDefaultThreads() takes. */
enum { kWPRMostDefaultThreads = 4096 };

/** Returns the version of this interface that the library implements, at least 1. */
WPR_API uint32_t WPRHostVersion(void);

/**
 * Sets the number of threads of the handles that the calling thread opens with `numThreads` 0,
 * until it sets another number. Handles that are open already and handles that other threads open
 * are not affected.
 * @param numThreads 1 to kWPRMostDefaultThreads, the calling thread included; 0 = one per
 * processor, the initial setting.
 * @return kWPRSuccess, or kWPRBadArgument, after which the setting is unchanged.
 */
WPR_API int32_t WPRSetDefaultThreads(int32_t numThreads);

/**
 * Returns the number of threads, at least 1, of a handle that the calling thread would open now
 * with `numThreads` 0.
 */
WPR_API int32_t WPRGetDefaultThreads(void);

/** Instruction set levels of x86-64 processors, in ascending order. */
enum WPRProcessorLevel {
  kWPRProcessorAutomatic = 0, /**< the highest level of the processor */
  kWPRProcessorScalar = 1,    /**< plain x86-64 */
  kWPRProcessorSse4 = 2,      /**< SSE4.2 */
  kWPRProcessorAvx2 = 3,      /**< AVX2 with BMI1, BMI2 and FMA */
  kWPRProcessorAvx512 = 4     /**< AVX-512 with F, BW, CD, DQ, VL, VNNI, VBMI, VBMI2, VPOPCNTDQ,
                                   BITALG and GFNI */
};

/**
 * Sets the processor level of all handles that this process opens from now on, on any thread.
 * Handles that are open already keep theirs. The call may be made on any thread at any time.
 * @param level a WPRProcessorLevel; initially kWPRProcessorAutomatic.
 * @return kWPRSuccess; kWPRBadArgument for an unknown level; kWPRUnsupported for a level that the
 *         processor lacks. After a failure the setting is unchanged.
 */
WPR_API int32_t WPRSetProcessorLevel(int32_t level);

/** Returns the level of a handle that would be opened now; never kWPRProcessorAutomatic. */
WPR_API int32_t WPRGetProcessorLevel(void);

/** Returns the highest level that the processor and the operating system support. */
WPR_API int32_t WPRGetHighestProcessorLevel(void);

/** Outcome of one WPRDecodeFrame() call. */
typedef struct DecodeReportRecord {
  uint32_t recordBytes;   /**< bytes of the record that the library has filled in */
  int32_t result;         /**< what WPRDecodeFrame() returns */
  uint32_t damagedSlices; /**< damaged slices, all of them concealed; 0 after a failure */
  uint32_t slices;        /**< slices of the decoded pictures; 0 after a failure */
} DecodeReportRecord;

/**
 * Observer of a thread's WPRDecodeFrame() calls. It must not throw, call WPRDecodeFrame() or close
 * the decoder.
 * @param context the pointer that was passed to WPRSetDecodeObserver().
 * @param report  valid during the call only.
 */
typedef void (*WPRDecodeObserver)(void* context, const DecodeReportRecord* report);

/**
 * Sets the observer of the calling thread. From then on every WPRDecodeFrame() call that this
 * thread makes, on any decoder and with any result, calls the observer once on the same thread just
 * before it returns. This reports concealed slices to a host even where an element in between
 * ignores them.
 * @param observer replaces the one before; null removes it.
 * @param context  passed to the observer. It must stay valid until the observer is replaced or the
 *                 thread ends.
 */
WPR_API void WPRSetDecodeObserver(WPRDecodeObserver observer, void* context);

/** Outcome of one WPREncodeFrame() call. Added in version 2. */
typedef struct EncodeReportRecord {
  uint32_t recordBytes;     /**< bytes of the record that the library has filled in */
  int32_t result;           /**< what WPREncodeFrame() returns */
  uint32_t compressedBytes; /**< size of the frame; 0 after a failure */
} EncodeReportRecord;

/** Observer of a thread's WPREncodeFrame() calls, with the duties of a WPRDecodeObserver. */
typedef void (*WPREncodeObserver)(void* context, const EncodeReportRecord* report);

/**
 * Sets the observer of the calling thread's WPREncodeFrame() calls, as WPRSetDecodeObserver() does
 * for decoding. Added in version 2.
 */
WPR_API void WPRSetEncodeObserver(WPREncodeObserver observer, void* context);

/**
 * Returns the version of the library: major * 1000000 + minor * 1000 + patch, such as 1001000 for
 * 1.1.0. Added in version 2.
 */
WPR_API uint32_t WPRGetLibraryVersion(void);

/** Bits of alpha. */
enum WPRAlphaBits {
  kWPRAlphaNone = 0,
  kWPRAlpha8 =
      8, /**< a value v of 16 bits becomes the nearest v / 257, which stands for 257 times itself */
  kWPRAlpha16 = 16 /**< lossless */
};

/** What an encoder needs to know beyond EncodeParamsRecord. Added in version 3. */
typedef struct EncodeSettingsRecord {
  uint32_t recordBytes; /**< size of the record that the caller has filled in */
  int32_t alphaBits;    /**< a WPRAlphaBits, of frames of the 4444 types; initially kWPRAlphaNone */
  /**
   * Written to the frame header (RDD 36, matrix_coefficients); initially 2, unspecified. RGB is
   * converted with it: 1 = BT.709, 5 and 6 = BT.601, 9 = BT.2020 with non-constant luminance. RGB
   * is converted with 9 instead of 10 (BT.2020 with constant luminance) and with 1 instead of any
   * other value, and the header states the matrix that was used.
   */
  uint32_t matrixCoefficients;
} EncodeSettingsRecord;

/**
 * Sets what the encoder does from its next frame on.
 * @return kWPRSuccess, or kWPRBadArgument, after which the settings are unchanged. Added in
 *         version 3.
 */
WPR_API int32_t WPRSetEncodeSettings(WPREncoderHandle encoder,
                                     const EncodeSettingsRecord* settings);

/** What a decoder needs to know beyond PixelBufferRecord. Added in version 3. */
typedef struct DecodeSettingsRecord {
  uint32_t recordBytes; /**< size of the record that the caller has filled in */
  int32_t alphaBits;    /**< a WPRAlphaBits: what is made of a frame's alpha, with kWPRAlphaNone an
                             opaque picture; initially kWPRAlpha16 */
  /**
   * Replaces the matrix of frames whose header does not specify one (0 or 2), where pictures become
   * RGB; initially 1. Values as in EncodeSettingsRecord; others stand for 1.
   */
  uint32_t defaultMatrixCoefficients;
} DecodeSettingsRecord;

/** Sets what the decoder does from its next frame on; as WPRSetEncodeSettings(). */
WPR_API int32_t WPRSetDecodeSettings(WPRDecoderHandle decoder,
                                     const DecodeSettingsRecord* settings);

/**
 * The largest frame that a handle takes. A frame header of a few bytes may claim 65535x65535
 * pixels; the memory that a handle needs follows from the size of its largest frame. Added in
 * version 4.
 */
typedef struct FrameLimitsRecord {
  uint32_t recordBytes; /**< size of the record that the caller has filled in */
  uint32_t width;       /**< 1 to 65535; initially 65535 */
  uint32_t height;      /**< of the whole frame, 1 to 65535; initially 65535 */
  uint32_t pixels;      /**< width times height, at least 1; initially 4294836225, 65535x65535 */
} FrameLimitsRecord;

/**
 * Sets the limits of the decoder from its next frame on. WPRDecodeFrame() returns kWPRTooLarge for
 * a frame whose header states a larger size, before it allocates memory for it and without touching
 * the destination; the decoder stays usable. Memory of earlier frames is kept.
 * @return kWPRSuccess, or kWPRBadArgument, after which the limits are unchanged. Added in
 *         version 4.
 */
WPR_API int32_t WPRSetDecodeLimits(WPRDecoderHandle decoder, const FrameLimitsRecord* limits);

/** Sets the limits of the encoder, for WPREncodeFrame(); as WPRSetDecodeLimits(). */
WPR_API int32_t WPRSetEncodeLimits(WPREncoderHandle encoder, const FrameLimitsRecord* limits);

#ifdef __cplusplus
}
#endif

#endif /* PRORES_PRORESHOST_H */
