#include "picture_file.h"

#include <errno.h>
#include <png.h>
#include <stdlib.h>
#include <string.h>
#include <turbojpeg.h>

#include "decoding.h"
#include "jpeg_markers.h"
#include "new_file.h"
#include "other_kinds.h"
#include "png_file.h"
#include "upright.h"

/* Cameras and programs write about ten scans. Each goes over all pixels, so that at the limit of pixels
 * no more than this is worth of time: 16 times the largest picture. */
enum { kScanLimit = 100, kFullSizeScans = 16 };

static const size_t kFileLimit = (size_t)1 << 30;
static const uint8_t kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
static const uint8_t kJpegSignature[3] = {0xFF, 0xD8, 0xFF};

static bool startsWith(const FileBytes* file, const uint8_t* signature, size_t size) {
    return file->size >= size && memcmp(file->data, signature, size) == 0;
}

/* Pictures beyond the limit of pixels are refused for that. */
static bool hasTooManyScans(int scans, int64_t width, int64_t height) {
    const int64_t pixels = width * height;
    return scans > kScanLimit || (pixels <= PICTURE_PIXEL_LIMIT &&
                                  pixels * scans > (int64_t)kFullSizeScans * PICTURE_PIXEL_LIMIT);
}

static bool decodeJpegWith(tjhandle decoder, const FileBytes* file, Picture* picture,
                           Problem* problem) {
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colourSpace = 0;
    if (tjDecompressHeader3(decoder, file->data, (unsigned long)file->size, &width, &height,
                            &subsampling, &colourSpace) != 0) {
        return failDecoding(problem, "JPEG", tjGetErrorStr2(decoder));
    }
    if (width < 1 || height < 1) {
        return failDecoding(problem, "JPEG", "it has no size");
    }
    if (colourSpace == TJCS_CMYK || colourSpace == TJCS_YCCK) {
        return fail(problem,
                    "is a JPEG in printing colours, which are not supported; convert it to RGB");
    }
    const JpegMarkers markers = readJpegMarkers(file);
    if (hasTooManyScans(markers.scans, width, height)) {
        return fail(problem, "is a JPEG with too many scans: %d; save it again", markers.scans);
    }
    if (!allocatePixels(width, height, picture, problem)) {
        return false;
    }
    /* Warnings count as damage: behind one, part of the face may be plain grey. */
    if (tjDecompress2(decoder, file->data, (unsigned long)file->size, picture->pixels, width,
                      picture->stride, height, TJPF_BGR, TJFLAG_STOPONWARNING) != 0) {
        return failDecoding(problem, "JPEG", tjGetErrorStr2(decoder));
    }
    return turnUpright(exifOrientation(markers.exif, markers.exifSize), picture, problem);
}

static bool decodeJpeg(const FileBytes* file, Picture* picture, Problem* problem) {
    tjhandle decoder = tjInitDecompress();
    if (decoder == NULL) {
        return fail(problem, "cannot be decoded: %s", tjGetErrorStr2(NULL));
    }
    const bool good = decodeJpegWith(decoder, file, picture, problem);
    tjDestroy(decoder);
    return good;
}

static bool refuseOther(const FileBytes* file, Problem* problem) {
    const char* kind = nameOfOtherKind(file);
    if (file->size == 0) {
        return fail(problem, "is neither PNG nor JPEG but empty; take another copy");
    }
    return kind != NULL ? fail(problem, "is neither PNG nor JPEG but %s; convert it", kind)
                        : fail(problem, "is neither PNG nor JPEG; convert it, or take another");
}

bool readPicture(const char* path, Picture* picture, Problem* problem) {
    memset(picture, 0, sizeof *picture);
    FileBytes file;
    if (!readFile(path, kFileLimit, &file, problem)) {
        return false;
    }
    bool good = false;
    if (startsWith(&file, kPngSignature, sizeof kPngSignature)) {
        good = decodePng(&file, picture, problem) &&
               turnUpright(pngOrientation(&file), picture, problem);
    } else if (startsWith(&file, kJpegSignature, sizeof kJpegSignature)) {
        good = decodeJpeg(&file, picture, problem);
    } else {
        refuseOther(&file, problem);
    }
    freeFileBytes(&file);
    if (!good) {
        freePicture(picture);
    }
    return good;
}

bool writePng(const char* path, const Picture* picture, Problem* problem) {
    png_image image;
    memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = (png_uint_32)picture->width;
    image.height = (png_uint_32)picture->height;
    image.format = PNG_FORMAT_BGR;
    NewFile file;
    if (!beginNewFile(path, &file, problem)) {
        return false;
    }
    errno = 0;
    if (!png_image_write_to_stdio(&image, file.stream, 0, picture->pixels, picture->stride, NULL)) {
        if (errno != 0) {
            failWriting(problem);
        } else {
            fail(problem, "cannot be written: %s", image.message);
        }
        discardNewFile(&file);
        return false;
    }
    return finishNewFile(&file, problem);
}

bool writeJpeg(const char* path, const Picture* picture, int quality, Problem* problem) {
    tjhandle encoder = tjInitCompress();
    if (encoder == NULL) {
        return fail(problem, "cannot be encoded: %s", tjGetErrorStr2(NULL));
    }
    unsigned char* data = NULL;
    unsigned long size = 0;
    bool good = tjCompress2(encoder, picture->pixels, picture->width, picture->stride,
                            picture->height, TJPF_BGR, &data, &size, TJSAMP_420, quality, 0) == 0;
    if (!good) {
        fail(problem, "cannot be encoded: %s", tjGetErrorStr2(encoder));
    } else {
        good = writeFile(path, data, size, problem);
    }
    tjFree(data);
    tjDestroy(encoder);
    return good;
}

void freePicture(Picture* picture) {
    free(picture->pixels);
    memset(picture, 0, sizeof *picture);
}
