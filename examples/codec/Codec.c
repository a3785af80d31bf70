/* SPDX-License-Identifier: BSD-2-Clause */
/* The codec library without elements: encodes a picture, decodes it, and prints the difference. */
#include <ProRes/ProResHost.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

enum { kWidth = 320, kHeight = 180, kRowBytes = 2 * kWidth, kPictureBytes = kRowBytes * kHeight };

/* A ramp in UYVY: the bytes U Y V Y for each two pixels. */
static void DrawPicture(uint8_t* picture) {
  for (int i = 0; i < kPictureBytes; ++i) {
    const int isLuma = i % 2;
    picture[i] = (uint8_t)(isLuma ? 40 + i % kRowBytes / 4 : 128);
  }
}

static PixelBufferRecord DescribePicture(uint8_t* picture) {
  PixelBufferRecord record;
  record.baseAddress = picture;
  record.rowBytes = kRowBytes;
  record.pixelFormat = kWPRPixelFormat2vuy;
  record.width = kWidth;
  record.height = kHeight;
  return record;
}

/* Returns the frame, to be freed, or null. */
static uint8_t* Encode(uint8_t* picture, uint32_t* frameBytes) {
  const EncodeParamsRecord params = {kWPRCodecHQ, kWPRProgressive};
  const PixelBufferRecord source = DescribePicture(picture);
  uint32_t maxBytes = 0;
  if (WPRGetCompressedFrameSize(params.codecType, kWidth, kHeight, &maxBytes, NULL) != kWPRSuccess)
    return NULL;
  uint8_t* frame = malloc(maxBytes);
  WPREncoderHandle encoder = WPROpenEncoder(0, NULL); /* 0 threads = one per processor */
  const int32_t result = WPREncodeFrame(encoder, &params, &source, frame, maxBytes, frameBytes);
  WPRCloseEncoder(encoder);
  if (result == kWPRSuccess) return frame;
  free(frame);
  return NULL;
}

/* Returns 0, or a negative WPRResult. A positive result counts slices that were concealed. */
static int32_t Decode(const uint8_t* frame, uint32_t frameBytes, uint8_t* picture) {
  PixelBufferRecord destination = DescribePicture(picture);
  WPRDecoderHandle decoder = WPROpenDecoder(0, NULL);
  const FrameLimitsRecord limits = {sizeof limits, kWidth, kHeight, kWidth * kHeight};
  WPRSetDecodeLimits(decoder, &limits); /* larger frames give kWPRTooLarge */
  const int32_t result = WPRDecodeFrame(decoder, frame, frameBytes, &destination, 0);
  WPRCloseDecoder(decoder);
  if (result > 0) fprintf(stderr, "%d slices are damaged\n", (int)result);
  return result < 0 ? result : 0;
}

int main(void) {
  static uint8_t picture[kPictureBytes];
  static uint8_t decoded[kPictureBytes];
  uint32_t frameBytes = 0;
  DrawPicture(picture);
  uint8_t* const frame = Encode(picture, &frameBytes);
  if (frame == NULL) return 1;
  const int32_t result = Decode(frame, frameBytes, decoded);
  free(frame);
  if (result != 0) {
    fprintf(stderr, "decoding failed with result %d\n", (int)result);
    return 1;
  }
  int largest = 0;
  for (int i = 0; i < kPictureBytes; ++i) {
    const int difference = abs(picture[i] - decoded[i]);
    if (difference > largest) largest = difference;
  }
  printf("%u bytes, largest difference %d\n", (unsigned)frameBytes, largest);
  return 0;
}
