#include "upright.h"

#include <libexif/exif-data.h>
#include <stdlib.h>
#include <string.h>

static const size_t kExifLimit = (size_t)1 << 20;
static const uint8_t kExifName[6] = {'E', 'x', 'i', 'f', 0, 0};

/* libexif reads a block as it is in a JPEG file, with the name before it. */
static ExifData* loadExif(const uint8_t* exif, size_t size) {
    uint8_t* named = malloc(sizeof kExifName + size);
    ExifData* data = named == NULL ? NULL : exif_data_new();
    if (data != NULL) {
        memcpy(named, kExifName, sizeof kExifName);
        memcpy(named + sizeof kExifName, exif, size);
        /* Otherwise it would add what a complete block has. */
        exif_data_unset_option(data, EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
        exif_data_load_data(data, named, (unsigned int)(sizeof kExifName + size));
    }
    free(named);
    return data;
}

int exifOrientation(const uint8_t* exif, size_t size) {
    if (exif == NULL || size > kExifLimit) {
        return 1;
    }
    ExifData* data = loadExif(exif, size);
    if (data == NULL) {
        return 1;
    }
    int orientation = 1;
    const ExifEntry* entry = exif_content_get_entry(data->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION);
    if (entry != NULL && entry->format == EXIF_FORMAT_SHORT && entry->components == 1 &&
        entry->size >= 2) {
        orientation = exif_get_short(entry->data, exif_data_get_byte_order(data));
    }
    exif_data_unref(data);
    return orientation >= 1 && orientation <= 8 ? orientation : 1;
}

/* Where the pixels of the upright picture are in the stored one: that of column x and row y is
 * `first + x * column + y * row`, in pixels. */
typedef struct Way {
    int64_t first, column, row;
    bool exchangesSides;
} Way;

static Way wayOf(int orientation, int64_t width, int64_t height) {
    const int64_t right = width - 1;
    const int64_t bottom = width * (height - 1);
    switch (orientation) {
        case 2:
            return (Way){right, -1, width, false};
        case 3:
            return (Way){bottom + right, -1, -width, false};
        case 4:
            return (Way){bottom, 1, -width, false};
        case 5:
            return (Way){0, width, 1, true};
        case 6:
            return (Way){bottom, -width, 1, true};
        case 7:
            return (Way){bottom + right, -width, -1, true};
        case 8:
            return (Way){right, width, -1, true};
        default:
            return (Way){0, 1, width, false};
    }
}

bool turnUpright(int orientation, Picture* picture, Problem* problem) {
    if (orientation <= 1 || orientation > 8) {
        return true;
    }
    const Way way = wayOf(orientation, picture->width, picture->height);
    const int32_t width = way.exchangesSides ? picture->height : picture->width;
    const int32_t height = way.exchangesSides ? picture->width : picture->height;
    uint8_t* pixels = malloc((size_t)3 * (size_t)width * (size_t)height);
    if (pixels == NULL) {
        return fail(problem,
                    "does not fit into memory: %d x %d pixels, to be turned upright; shrink it",
                    (int)width, (int)height);
    }
    uint8_t* to = pixels;
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x, to += 3) {
            memcpy(to, picture->pixels + 3 * (way.first + x * way.column + y * way.row), 3);
        }
    }
    free(picture->pixels);
    *picture = (Picture){width, height, 3 * width, pixels};
    return true;
}
