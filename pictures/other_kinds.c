#include "other_kinds.h"

#include <string.h>

typedef struct Kind {
    const char* name;
    size_t place;
    const char* bytes;
    size_t size;
} Kind;

static const Kind kKinds[] = {
    {"GIF", 0, "GIF8", 4},         {"WebP", 8, "WEBP", 4},        {"AVIF", 4, "ftypavif", 8},
    {"AVIF", 4, "ftypavis", 8},    {"HEIC", 4, "ftyphei", 7},     {"HEIC", 4, "ftyphev", 7},
    {"HEIC", 4, "ftypmif1", 8},    {"HEIC", 4, "ftypmsf1", 8},    {"TIFF", 0, "II*\0", 4},
    {"TIFF", 0, "MM\0*", 4},       {"BMP", 0, "BM", 2},           {"PDF", 0, "%PDF-", 5},
    {"JPEG XL", 0, "\xFF\x0A", 2}, {"JPEG XL", 4, "JXL \r\n", 6}, {"JPEG 2000", 4, "jP  \r\n", 6},
};

const char* nameOfOtherKind(const FileBytes* file) {
    for (size_t i = 0; i < sizeof kKinds / sizeof kKinds[0]; ++i) {
        const Kind* kind = &kKinds[i];
        if (file->size >= kind->place + kind->size &&
            memcmp(file->data + kind->place, kind->bytes, kind->size) == 0) {
            return kind->name;
        }
    }
    return NULL;
}
