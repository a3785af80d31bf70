/* SPDX-License-Identifier: BSD-2-Clause */
#ifndef TESTS_CODEC_HOSTAPIFROMC_H
#define TESTS_CODEC_HOSTAPIFROMC_H

#include "ProRes/ProRes.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Decodes a frame in a C source and returns the number of slices that the observer receives. */
uint32_t DecodeFromC(const uint8_t* frame, uint32_t frameBytes,
                     const PixelBufferRecord* destination);

#ifdef __cplusplus
}
#endif

#endif
