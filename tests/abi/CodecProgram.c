/* SPDX-License-Identifier: BSD-2-Clause */
/* Encodes and decodes a grey frame through the seven calls and the records of version 1.0. */
#include <ProRes/ProRes.h>
#include <stdio.h>
#include <string.h>

enum { kWidth = 64, kHeight = 48, kBytes = kWidth * kHeight * 2 };

static uint8_t frame[1 << 20];

int main(void) {
  static uint8_t grey[kBytes];
  static uint8_t decoded[kBytes];
  const EncodeParamsRecord params = {kWPRCodecHQ, kWPRProgressive};
  PixelBufferRecord picture = {grey, kWidth * 2, kWPRPixelFormat2vuy, kWidth, kHeight};
  WPREncoderHandle encoder = WPROpenEncoder(1, NULL);
  WPRDecoderHandle decoder = WPROpenDecoder(1, NULL);
  uint32_t bytes = 0;
  uint32_t maxBytes = 0;
  int32_t result;

  memset(grey, 0x80, sizeof grey);
  result = WPRGetCompressedFrameSize(kWPRCodecHQ, kWidth, kHeight, &maxBytes, NULL);
  if (result != kWPRSuccess || maxBytes > sizeof frame) return 1;
  if (WPREncodeFrame(encoder, &params, &picture, frame, maxBytes, &bytes) != kWPRSuccess) return 1;
  picture.baseAddress = decoded;
  if (WPRDecodeFrame(decoder, frame, bytes, &picture, 0) != kWPRSuccess) return 1;
  WPRCloseEncoder(encoder);
  WPRCloseDecoder(decoder);
  printf("%u bytes\n", bytes);
  return memcmp(grey, decoded, sizeof grey) == 0 ? 0 : 1;
}
