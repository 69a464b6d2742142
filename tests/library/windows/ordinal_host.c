/* A host in plain C. It knows the library by its file name and the four functions by their numbers,
 * and goes through all of them once.
 *
 *   zomu_ordinal_host LIBRARY
 *
 * Prints what it found; exit status 0 where everything was as it should be. */
#include <stdio.h>
#include <string.h>
#include <windows.h>

#include "zomu.h"

typedef ZomuContext* (*Create)(void);
typedef void (*Extract)(ZomuContext*, const uint8_t*, int32_t, int32_t, int32_t,
                        const LandmarkRecord*, FaceTemplate*);
typedef float (*Compare)(const FaceTemplate*, const FaceTemplate*);
typedef void (*Destroy)(ZomuContext*);

enum { kSide = 200 };

/* A face that looks into the camera, roughly: the landmarks that a record needs. */
static const LandmarkEntry kFace[25] = {
    {0, 75, 80},     {1, 125, 80},   {2, 55, 65},    {3, 90, 66},    {4, 110, 66},
    {5, 145, 65},    {6, 100, 80},   {9, 100, 110},  {10, 100, 130}, {11, 100, 145},
    {12, 80, 137},   {13, 120, 137}, {43, 112, 115}, {44, 88, 115},  {45, 100, 137},
    {200, 100, 118}, {221, 85, 81},  {222, 75, 84},  {223, 65, 81},  {225, 135, 81},
    {226, 125, 84},  {227, 115, 81}, {300, 72, 60},  {302, 128, 60}, {314, 100, 175}};

static FARPROC lookUp(HMODULE library, WORD number) {
    FARPROC function = GetProcAddress(library, MAKEINTRESOURCEA(number));
    if (function == NULL) {
        printf("no function %u\n", (unsigned)number);
    }
    return function;
}

static int countNan(const FaceTemplate* face) {
    int count = face->quadraticTerm != face->quadraticTerm;
    count += face->projectionNorm != face->projectionNorm;
    for (int i = 0; i < ZOMU_PROJECTION_SIZE; ++i) {
        count += face->projection[i] != face->projection[i];
    }
    return count;
}

static int useAll(Create create, Extract extract, Compare compare, Destroy destroy) {
    static uint8_t picture[3 * kSide * kSide];
    for (int i = 0; i < 3 * kSide * kSide; ++i) {
        picture[i] = (uint8_t)(i * 7 + i / (3 * kSide) * 5);
    }
    LandmarkRecord record;
    memset(&record, 0, sizeof record);
    record.count = 25;
    memcpy(record.entries, kFace, sizeof kFace);

    ZomuContext* context = create();
    FaceTemplate first, second;
    extract(context, picture, kSide, kSide, 3 * kSide, &record, &first);
    extract(context, picture, kSide, kSide, 3 * kSide, &record, &second);
    const float score = compare(&first, &second);
    destroy(context);
    destroy(NULL);

    const int nan = countNan(&first);
    const int same = memcmp(&first, &second, sizeof first) == 0;
    printf("%d values are NaN, both templates are %s, score %g\n", nan,
           same ? "the same" : "different", (double)score);
    return nan == 0 && same && score > 0;
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fputs("usage: zomu_ordinal_host LIBRARY\n", stderr);
        return 2;
    }
    HMODULE library = LoadLibraryA(argv[1]);
    if (library == NULL) {
        printf("%s cannot be loaded: error %lu\n", argv[1], GetLastError());
        return 1;
    }
    /* Nothing is there by name, nor under the numbers beside the four. */
    static const char* const kNames[] = {"ZomuCreate", "ZomuExtractTemplate",
                                         "ZomuCompareTemplates", "ZomuDestroy"};
    for (int i = 0; i < 4; ++i) {
        if (GetProcAddress(library, kNames[i]) != NULL) {
            printf("%s has a name\n", kNames[i]);
            return 1;
        }
    }
    if (GetProcAddress(library, MAKEINTRESOURCEA(5)) != NULL) {
        puts("there is a function 5");
        return 1;
    }
    const Create create = (Create)(void (*)(void))lookUp(library, 1);
    const Extract extract = (Extract)(void (*)(void))lookUp(library, 2);
    const Compare compare = (Compare)(void (*)(void))lookUp(library, 3);
    const Destroy destroy = (Destroy)(void (*)(void))lookUp(library, 4);
    if (create == NULL || extract == NULL || compare == NULL || destroy == NULL) {
        return 1;
    }
    const int good = useAll(create, extract, compare, destroy);
    FreeLibrary(library);
    return good ? 0 : 1;
}
