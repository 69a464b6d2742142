/* newlocale and uselocale, which choose the decimal point for this thread alone. */
#define _POSIX_C_SOURCE 200809L

#include "landmark_file.h"

#include <errno.h>
#include <locale.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kTextLimit = 1 << 20, kFieldRoom = 64 };

/* The library's landmarks, ascending; those at the sides of the head last. */
static const int32_t kIds[ZOMU_LANDMARK_COUNT] = {0,   1,   2,   3,   4,   5,   6,   9,   10,  11,
                                                  12,  13,  43,  44,  45,  200, 221, 222, 223, 225,
                                                  226, 227, 300, 302, 314, 240, 241, 315, 316};
enum { kRequiredCount = 25 };

static int placeOfId(long id) {
    for (int i = 0; i < ZOMU_LANDMARK_COUNT; ++i) {
        if (kIds[i] == id) {
            return i;
        }
    }
    return -1;
}

typedef struct Field {
    const char* start;
    size_t size;
} Field;

static bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

static Field trimmed(Field field) {
    while (field.size > 0 && isBlank(field.start[0])) {
        ++field.start;
        --field.size;
    }
    while (field.size > 0 && isBlank(field.start[field.size - 1])) {
        --field.size;
    }
    return field;
}

/* Takes the text up to `separator` off the front of `rest`; all of it where there is none. */
static Field takeField(Field* rest, char separator) {
    const char* end = memchr(rest->start, separator, rest->size);
    Field field = *rest;
    if (end == NULL) {
        rest->start += rest->size;
        rest->size = 0;
    } else {
        field.size = (size_t)(end - rest->start);
        rest->start = end + 1;
        rest->size -= field.size + 1;
    }
    return field;
}

/* Spreadsheets put the mark in front of UTF-8. */
static Field withoutByteOrderMark(Field text) {
    if (text.size >= 3 && memcmp(text.start, "\xEF\xBB\xBF", 3) == 0) {
        text.start += 3;
        text.size -= 3;
    }
    return text;
}

static size_t countOf(Field field, char c) {
    size_t count = 0;
    for (size_t i = 0; i < field.size; ++i) {
        count += field.start[i] == c;
    }
    return count;
}

/* The characters are checked first, which keeps out what strtod takes besides decimals: hexadecimal
 * digits, "inf" and "nan". False where the field is not a number. */
static bool parseNumber(Field field, const char* characters, double* value) {
    char text[kFieldRoom];
    if (field.size == 0 || field.size >= sizeof text) {
        return false;
    }
    memcpy(text, field.start, field.size);
    text[field.size] = '\0';
    if (strspn(text, characters) != field.size) {
        return false;
    }
    char* end = NULL;
    *value = strtod(text, &end);
    return end == text + field.size;
}

static bool parseId(Field field, long* id) {
    double value = 0;
    if (!parseNumber(field, "0123456789", &value) || value > 999999) {
        return false;
    }
    *id = (long)value;
    return true;
}

static bool parseCoordinate(Field field, char name, int line, float* value, Problem* problem) {
    double wide = 0;
    if (!parseNumber(field, "+-.0123456789eE", &wide)) {
        return fail(problem, "line %d: %c is not a number", line, name);
    }
    *value = (float)wide;
    return isfinite(*value) || fail(problem, "line %d: %c is too large", line, name);
}

static bool isHeader(Field line) {
    const char* const names[3] = {"id", "x", "y"};
    for (int i = 0; i < 3; ++i) {
        const Field field = trimmed(takeField(&line, ','));
        if (field.size != strlen(names[i]) || memcmp(field.start, names[i], field.size) != 0) {
            return false;
        }
    }
    return line.size == 0;
}

static bool parseEntry(Field text, int line, int* lineOfId, LandmarkRecord* landmarks,
                       Problem* problem) {
    if (countOf(text, ',') != 2) {
        return fail(problem, "line %d: expected id,x,y", line);
    }
    LandmarkEntry entry;
    long id = 0;
    if (!parseId(trimmed(takeField(&text, ',')), &id)) {
        return fail(problem, "line %d: id is not a whole number", line);
    }
    const int place = placeOfId(id);
    if (place < 0) {
        return fail(problem, "line %d: there is no landmark %ld", line, id);
    }
    if (lineOfId[place] != 0) {
        return fail(problem, "line %d: landmark %ld already appears in line %d", line, id,
                    lineOfId[place]);
    }
    entry.id = (int32_t)id;
    if (!parseCoordinate(trimmed(takeField(&text, ',')), 'x', line, &entry.x, problem) ||
        !parseCoordinate(trimmed(text), 'y', line, &entry.y, problem)) {
        return false;
    }
    lineOfId[place] = line;
    /* No id stands twice, so that the record cannot overflow. */
    landmarks->entries[landmarks->count++] = entry;
    return true;
}

static bool parseText(Field text, LandmarkRecord* landmarks, Problem* problem) {
    int lineOfId[ZOMU_LANDMARK_COUNT] = {0};
    bool headerAllowed = true;
    for (int line = 1; text.size > 0; ++line) {
        const Field entry = trimmed(takeField(&text, '\n'));
        if (entry.size == 0 || (headerAllowed && isHeader(entry))) {
            headerAllowed = headerAllowed && entry.size == 0;
            continue;
        }
        headerAllowed = false;
        if (!parseEntry(entry, line, lineOfId, landmarks, problem)) {
            return false;
        }
    }
    int missing = 0;
    int32_t firstMissing = 0;
    for (int i = kRequiredCount - 1; i >= 0; --i) {
        if (lineOfId[i] == 0) {
            ++missing;
            firstMissing = kIds[i];
        }
    }
    if (missing == kRequiredCount) {
        return fail(problem, "holds no landmarks");
    }
    if (missing > 1) {
        return fail(problem, "%d landmarks are missing, the first is %d", missing,
                    (int)firstMissing);
    }
    return missing == 0 || fail(problem, "landmark %d is missing", (int)firstMissing);
}

/* This thread's locale while numbers have a point; other threads notice nothing. */
#if defined(_WIN32)
typedef struct PointLocale {
    int mode;
    char* before;
} PointLocale;

static bool enterPointLocale(PointLocale* locale, Problem* problem) {
    locale->before = _strdup(setlocale(LC_ALL, NULL));
    locale->mode = _configthreadlocale(_ENABLE_PER_THREAD_LOCALE);
    if (locale->before == NULL) {
        return fail(problem, "cannot be converted: out of memory");
    }
    setlocale(LC_ALL, "C");
    return true;
}

static void leavePointLocale(const PointLocale* locale) {
    setlocale(LC_ALL, locale->before);
    _configthreadlocale(locale->mode);
    free(locale->before);
}
#else
typedef struct PointLocale {
    locale_t point;
    locale_t before;
} PointLocale;

static bool enterPointLocale(PointLocale* locale, Problem* problem) {
    locale->before = (locale_t)0;
    locale->point = newlocale(LC_ALL_MASK, "C", (locale_t)0);
    if (locale->point == (locale_t)0) {
        return fail(problem, "cannot be converted: out of memory");
    }
    locale->before = uselocale(locale->point);
    return true;
}

static void leavePointLocale(const PointLocale* locale) {
    uselocale(locale->before);
    freelocale(locale->point);
}
#endif

bool readLandmarks(const char* path, LandmarkRecord* landmarks, Problem* problem) {
    memset(landmarks, 0, sizeof *landmarks);
    FileBytes file;
    errno = 0;
    if (!readFile(path, kTextLimit, &file, problem)) {
        return errno == ENOENT ? fail(problem,
                                      "cannot be opened: %s; `zomu find PICTURE --csv FOLDER` "
                                      "writes landmark files",
                                      strerror(ENOENT))
                               : false;
    }
    PointLocale locale;
    bool good = enterPointLocale(&locale, problem);
    if (good) {
        const Field text = {(const char*)file.data, file.size};
        good = parseText(withoutByteOrderMark(text), landmarks, problem);
        leavePointLocale(&locale);
    }
    freeFileBytes(&file);
    return good;
}

bool writeLandmarks(const char* path, const LandmarkRecord* landmarks, Problem* problem) {
    if (landmarks->count < 0 || landmarks->count > ZOMU_LANDMARK_COUNT) {
        return fail(problem, "cannot be written: %d landmarks", (int)landmarks->count);
    }
    PointLocale locale;
    if (!enterPointLocale(&locale, problem)) {
        return false;
    }
    /* Nine digits bring every float back; a line takes 46 characters at most. */
    char text[16 + ZOMU_LANDMARK_COUNT * 48] = "id,x,y\n";
    size_t size = strlen(text);
    for (int32_t i = 0; i < landmarks->count; ++i) {
        const LandmarkEntry* entry = &landmarks->entries[i];
        size += (size_t)snprintf(text + size, sizeof text - size, "%d,%.9g,%.9g\n", (int)entry->id,
                                 (double)entry->x, (double)entry->y);
    }
    leavePointLocale(&locale);
    return writeFile(path, text, size, problem);
}
