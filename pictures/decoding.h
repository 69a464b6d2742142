/* What the decoders of all kinds of pictures have in common. */
#ifndef ZOMU_PICTURES_DECODING_H
#define ZOMU_PICTURES_DECODING_H

#include <stdbool.h>
#include <stdint.h>

#include "file_bytes.h"
#include "picture_file.h"

/* Fills in `picture`, with rows packed and pixels not yet written. Both sizes are 1 or more; those beyond
 * the limit of pixels are refused. */
bool allocatePixels(int64_t width, int64_t height, Picture* picture, Problem* problem);

/* Says that a PNG or JPEG is damaged, or that memory ran out, by the decoder's own reason. Returns
 * false. */
bool failDecoding(Problem* problem, const char* kind, const char* reason);

#endif
