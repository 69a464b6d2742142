#include "jpeg_markers.h"

#include <stdbool.h>
#include <string.h>

enum {
    kTemporary = 0x01,
    kFirstRestart = 0xD0,
    kLastRestart = 0xD7,
    kStartOfImage = 0xD8,
    kEndOfImage = 0xD9,
    kStartOfScan = 0xDA,
    kExifSegment = 0xE1,
    kFill = 0xFF
};

static const char kExifName[6] = "Exif\0";

static bool standsAlone(uint8_t marker) {
    return marker == kTemporary || (marker >= kFirstRestart && marker <= kStartOfImage);
}

/* The pixels of a scan hold 0xFF only before a zero or a restart marker. Returns the place of the next
 * marker of another kind, or the size of the file. */
static size_t behindScan(const FileBytes* file, size_t at) {
    while (at < file->size) {
        const uint8_t* found = memchr(file->data + at, kFill, file->size - at);
        if (found == NULL) {
            break;
        }
        at = (size_t)(found - file->data);
        const uint8_t next = at + 1 < file->size ? found[1] : kEndOfImage;
        if (next != 0 && (next < kFirstRestart || next > kLastRestart)) {
            return at;
        }
        at += 2;
    }
    return file->size;
}

JpegMarkers readJpegMarkers(const FileBytes* file) {
    JpegMarkers markers = {0, NULL, 0};
    size_t at = 0;
    while (at + 1 < file->size && file->data[at] == kFill) {
        const uint8_t marker = file->data[at + 1];
        if (marker == kFill) {
            ++at;
            continue;
        }
        at += 2;
        if (marker == kEndOfImage) {
            break;
        }
        if (standsAlone(marker)) {
            continue;
        }
        if (at + 2 > file->size) {
            break;
        }
        const size_t length = (size_t)file->data[at] << 8 | file->data[at + 1];
        if (length < 2 || length > file->size - at) {
            break;
        }
        const uint8_t* content = file->data + at + 2;
        const size_t size = length - 2;
        at += length;
        if (marker == kStartOfScan) {
            ++markers.scans;
            at = behindScan(file, at);
        } else if (marker == kExifSegment && markers.scans == 0 && markers.exif == NULL &&
                   size >= sizeof kExifName && memcmp(content, kExifName, sizeof kExifName) == 0) {
            markers.exif = content + sizeof kExifName;
            markers.exifSize = size - sizeof kExifName;
        }
    }
    return markers;
}
