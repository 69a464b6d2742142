#include "picture_file.h"

#include <errno.h>
#include <png.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <turbojpeg.h>

#include "jpeg_markers.h"
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

/* Both sizes are 1 or more. */
static bool allocatePixels(int64_t width, int64_t height, Picture* picture, Problem* problem) {
    if (width > PICTURE_PIXEL_LIMIT / height) {
        return fail(problem, "is too large: %lld x %lld pixels", (long long)width,
                    (long long)height);
    }
    picture->width = (int32_t)width;
    picture->height = (int32_t)height;
    picture->stride = 3 * picture->width;
    picture->pixels = malloc((size_t)picture->stride * (size_t)height);
    if (picture->pixels == NULL) {
        return fail(problem, "does not fit into memory: %lld x %lld pixels", (long long)width,
                    (long long)height);
    }
    return true;
}

/* The decoders say "Insufficient memory" and "out of memory" where the file is none the worse. */
static bool failDecoding(Problem* problem, const char* kind, const char* reason) {
    return strstr(reason, "memory") != NULL ? fail(problem, "does not fit into memory: %s", reason)
                                            : fail(problem, "is a damaged %s: %s", kind, reason);
}

static bool decodePng(const FileBytes* file, Picture* picture, Problem* problem) {
    png_image image;
    memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&image, file->data, file->size)) {
        return failDecoding(problem, "PNG", image.message);
    }
    image.format = PNG_FORMAT_BGR;
    /* Without a word about gamma, libpng would take 16 bits for linear light. */
    image.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
    if (!allocatePixels(image.width, image.height, picture, problem)) {
        png_image_free(&image);
        return false;
    }
    const png_color white = {255, 255, 255};
    if (!png_image_finish_read(&image, &white, picture->pixels, picture->stride, NULL)) {
        return failDecoding(problem, "PNG", image.message);
    }
    return turnUpright(pngOrientation(file), picture, problem);
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
        return fail(problem, "is a damaged JPEG: it has no size");
    }
    if (colourSpace == TJCS_CMYK || colourSpace == TJCS_YCCK) {
        return fail(problem, "is a JPEG in printing colours, which are not supported");
    }
    const JpegMarkers markers = readJpegMarkers(file);
    if (hasTooManyScans(markers.scans, width, height)) {
        return fail(problem, "is a JPEG with too many scans: %d", markers.scans);
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

bool readPicture(const char* path, Picture* picture, Problem* problem) {
    memset(picture, 0, sizeof *picture);
    FileBytes file;
    if (!readFile(path, kFileLimit, &file, problem)) {
        return false;
    }
    bool good = false;
    if (startsWith(&file, kPngSignature, sizeof kPngSignature)) {
        good = decodePng(&file, picture, problem);
    } else if (startsWith(&file, kJpegSignature, sizeof kJpegSignature)) {
        good = decodeJpeg(&file, picture, problem);
    } else {
        fail(problem, "is neither PNG nor JPEG");
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
    FILE* stream = fopen(path, "wb");
    if (stream == NULL) {
        return fail(problem, "cannot be created: %s", strerror(errno));
    }
    const bool written =
        png_image_write_to_stdio(&image, stream, 0, picture->pixels, picture->stride, NULL);
    const bool closed = fclose(stream) == 0;
    if (!written) {
        return fail(problem, "cannot be written: %s", image.message);
    }
    return closed || fail(problem, "cannot be written: %s", strerror(errno));
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
