#include "png_file.h"

#include <png.h>
#include <setjmp.h>
#include <stdint.h>
#include <string.h>
#include <zlib.h>

#include "decoding.h"
#include "upright.h"

/* What libpng's functions work on, here and in the functions that it calls. */
typedef struct Reader {
    png_structp png;
    png_infop info;
    const FileBytes* file;
    size_t at;
    char reason[128]; /* of the error that ended the work */
} Reader;

static void takeBytes(png_structp png, png_bytep bytes, png_size_t count) {
    Reader* reader = png_get_io_ptr(png);
    if (count > reader->file->size - reader->at) {
        png_error(png, "read beyond end of data");
    }
    memcpy(bytes, reader->file->data + reader->at, count);
    reader->at += count;
}

static void keepReason(png_structp png, png_const_charp reason) {
    Reader* reader = png_get_error_ptr(png);
    strncpy(reader->reason, reason, sizeof reader->reason - 1);
    png_longjmp(png, 1);
}

static void ignoreWarning(png_structp png, png_const_charp warning) {
    (void)png;
    (void)warning;
}

/* Only chunks that decide about pixels: whatever else is in the file can't be wrong. */
static void skipOtherChunks(png_structp png) {
    static const png_byte colours[] = "bKGD\0cHRM\0gAMA\0iCCP\0sBIT\0sRGB";
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, NULL, -1);
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_AS_DEFAULT, colours, sizeof colours / 5);
}

/* 8 bits of blue, green and red for the screen, transparent parts on white. The interface of libpng that
 * is called simplified would do the same, but mixes up the rows of interlaced files of 16 bits. */
static void requestPixels(Reader* reader) {
    const png_byte type = png_get_color_type(reader->png, reader->info);
    png_set_expand(reader->png);
    if ((type & PNG_COLOR_MASK_COLOR) == 0) {
        png_set_gray_to_rgb(reader->png);
    }
    /* The first call says what a file means that says nothing about gamma, the second what we want. */
    png_set_alpha_mode_fixed(reader->png, PNG_ALPHA_PNG, PNG_DEFAULT_sRGB);
    if (png_get_bit_depth(reader->png, reader->info) == 16) {
        png_set_scale_16(reader->png);
    }
    if ((type & PNG_COLOR_MASK_ALPHA) != 0 ||
        png_get_valid(reader->png, reader->info, PNG_INFO_tRNS) != 0) {
        const png_color_16 white = {0, 255, 255, 255, 255};
        png_set_background_fixed(reader->png, &white, PNG_BACKGROUND_GAMMA_SCREEN, 0, 0);
    }
    png_set_alpha_mode_fixed(reader->png, PNG_ALPHA_PNG, PNG_DEFAULT_sRGB);
    png_set_bgr(reader->png);
}

static void readRows(const Reader* reader, int passes, const Picture* picture) {
    for (; passes > 0; --passes) {
        png_bytep row = picture->pixels;
        for (int32_t y = 0; y < picture->height; ++y, row += picture->stride) {
            png_read_row(reader->png, row, NULL);
        }
    }
}

/* Errors of libpng come back here by longjmp. */
static bool decodeWith(Reader* reader, Picture* picture, Problem* problem) {
    if (setjmp(png_jmpbuf(reader->png)) != 0) {
        return failDecoding(problem, "PNG", reader->reason);
    }
    png_set_read_fn(reader->png, reader, takeBytes);
    png_set_benign_errors(reader->png, 1);
    skipOtherChunks(reader->png);
    png_read_info(reader->png, reader->info);
    if (!allocatePixels(png_get_image_width(reader->png, reader->info),
                        png_get_image_height(reader->png, reader->info), picture, problem)) {
        return false;
    }
    requestPixels(reader);
    const int passes = png_set_interlace_handling(reader->png);
    png_read_update_info(reader->png, reader->info);
    if (png_get_rowbytes(reader->png, reader->info) != (size_t)picture->stride) {
        png_error(reader->png, "its rows have another length");
    }
    readRows(reader, passes, picture);
    return true;
}

bool decodePng(const FileBytes* file, Picture* picture, Problem* problem) {
    Reader reader = {NULL, NULL, file, 0, ""};
    reader.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reader, keepReason, ignoreWarning);
    reader.info = reader.png == NULL ? NULL : png_create_info_struct(reader.png);
    const bool good = reader.info == NULL ? failDecoding(problem, "PNG", "out of memory")
                                          : decodeWith(&reader, picture, problem);
    png_destroy_read_struct(&reader.png, &reader.info, NULL);
    return good;
}

static size_t bigEndian(const uint8_t* bytes) {
    return (size_t)bytes[0] << 24 | (size_t)bytes[1] << 16 | (size_t)bytes[2] << 8 | bytes[3];
}

int pngOrientation(const FileBytes* file) {
    /* After the signature, each chunk is length, type, contents and checksum. */
    enum { kSignature = 8, kType = 4, kChunk = 12 };
    for (size_t at = kSignature; at + kChunk <= file->size;) {
        const size_t length = bigEndian(file->data + at);
        if (length > file->size - at - kChunk) {
            break;
        }
        const uint8_t* type = file->data + at + 4;
        if (memcmp(type, "eXIf", kType) == 0 &&
            crc32(0, type, (uInt)(kType + length)) == bigEndian(type + kType + length)) {
            return exifOrientation(type + kType, length);
        }
        at += kChunk + length;
    }
    return 1;
}
