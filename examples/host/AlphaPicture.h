// SPDX-License-Identifier: BSD-2-Clause
#ifndef EXAMPLES_HOST_ALPHAPICTURE_H
#define EXAMPLES_HOST_ALPHAPICTURE_H

/// Encodes and decodes an RGB picture with alpha through the elements for 4444, if their plug-in is
/// loaded, and prints whether its alpha is the same.
void CodeAlphaPicture();

#endif  // EXAMPLES_HOST_ALPHAPICTURE_H
