/* ZOMU: face templates on the CPU, and a score for two of them. The whole public interface.
 *
 * Conventions, for every function below:
 *  1. Handles. A ZomuContext is opaque. ZomuCreate gives one, ZomuDestroy takes it back.
 *  2. Units. Landmark coordinates are pixels of the picture that is passed with them: origin at the
 *     first pixel of the first row, x to the right, y down, whole numbers on pixel centres.
 *  3. Pixels. Three bytes a pixel in the order blue, green, red; rows `stride` bytes apart.
 *  4. Threads. Different contexts may be used at the same time; one context by one thread at a time.
 *     An extraction runs its 25 networks on an OpenMP team of the default size (OMP_NUM_THREADS).
 *  5. Files. All trained numbers come from the folder "~zvplugintmp~" in the temporary directory: on
 *     Windows what GetTempPathA says, elsewhere the first of TMPDIR, TMP, TEMP and TEMPDIR that is set
 *     and not empty, else /tmp. Mean images and projection tables are read once, while the library is
 *     loaded; weights at every ZomuCreate.
 *     A file that cannot be opened puts the line "load <path> failed" on standard output and nothing
 *     else happens: tables stay zero, and a network without usable weights yields NaN.
 *  6. Unloading. The library stays in memory once it is loaded, whatever a host closes: the threads
 *     of its team live on between extractions.
 *  7. Windows. The functions of ZOMU.dll have numbers and no names: 1 ZomuCreate,
 *     2 ZomuExtractTemplate, 3 ZomuCompareTemplates, 4 ZomuDestroy.
 *  8. Errors. There are no error codes. What cannot be computed is NaN, and what went wrong is one
 *     line on standard output. Running out of memory raises std::bad_alloc through the call.
 */
#ifndef ZOMU_H
#define ZOMU_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define ZOMU_API
#else
#define ZOMU_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define ZOMU_STATIC_ASSERT static_assert
extern "C" {
#else
#define ZOMU_STATIC_ASSERT _Static_assert
#endif

/* Values of a template's main part, and landmarks of a full record. */
#define ZOMU_PROJECTION_SIZE 500
#define ZOMU_LANDMARK_COUNT 29

/* What the library makes of one face: 502 floats in the host's byte order, 2008 bytes, no header.
 * The caller owns it and may store it, send it to another process and compare it there. */
typedef struct FaceTemplate {
    float projection[ZOMU_PROJECTION_SIZE]; /* the projected feature vector */
    float quadraticTerm;                    /* squared length of a second projection, no root */
    float projectionNorm;                   /* Euclidean length of `projection` */
} FaceTemplate;

/* One landmark: which one (docs/landmarks.md lists the 29 ids) and where, in pixels. Fractions count. */
typedef struct LandmarkEntry {
    int32_t id;
    float x;
    float y;
} LandmarkEntry;

/* The landmarks of one face, in any order. `count` entries are read, however long the array below is
 * declared: a host may allocate a shorter or longer block. The four landmarks at the side of the head
 * (240, 241, 315, 316) may be left out; of all others exactly 25 entries must be there. */
typedef struct LandmarkRecord {
    int32_t count;       /* entries that follow, 29 in a full record */
    uint8_t reserved[4]; /* never read */
    LandmarkEntry entries[ZOMU_LANDMARK_COUNT];
} LandmarkRecord;

ZOMU_STATIC_ASSERT(sizeof(FaceTemplate) == 2008, "a template is 502 floats without padding");
ZOMU_STATIC_ASSERT(sizeof(LandmarkEntry) == 12, "a landmark is 12 bytes without padding");
ZOMU_STATIC_ASSERT(offsetof(LandmarkRecord, entries) == 8, "landmarks start at byte 8 of a record");

typedef struct ZomuContext ZomuContext;

/* Builds a context: 25 networks with their weights, about 27 MB, and 14 MB more once it is used.
 *
 * Returns  a context, never null. The caller owns it and gives it to ZomuDestroy.
 * Threads  may be called from any thread; calls that overlap wait for each other.
 * Failure  a weight file that cannot be opened prints "load <path> failed"; the context is made all
 *          the same and its templates are NaN. */
ZOMU_API ZomuContext* ZomuCreate(void);

/* Computes the template of one face.
 *
 * context      from ZomuCreate; null makes the call return at once with nothing read or written.
 * image        the picture, at least 2 x 2 pixels; only read, and only during the call.
 * width        pixels in a row.
 * height       rows.
 * stride       bytes from the start of one row to the start of the next. Any value: what lies behind
 *              the 3 x width bytes of a row is never read, and a negative stride walks a bottom-up
 *              picture, `image` then pointing at its top row.
 * landmarks    the face in it; only read, and only during the call. Landmarks outside the picture are
 *              legal.
 * templateOut  receives the template; all 502 values are written at the end of the call. Null: return.
 *
 * Threads  one call at a time for one context. The same input gives the same bits with any number of
 *          threads, in any context, in the first and in the hundredth call.
 * Failure  a null image or record, a picture under 2 x 2, or a record outside its contract prints
 *          "template refused: " and the reason, and all 502 values are NaN. They are NaN, too, where
 *          weights are missing or unusable. A NaN template scores NaN, which passes no threshold. */
ZOMU_API void ZomuExtractTemplate(ZomuContext* context, const uint8_t* image, int32_t width,
                                  int32_t height, int32_t stride, const LandmarkRecord* landmarks,
                                  FaceTemplate* templateOut);

/* Scores how much two templates look like the same person: the larger, the more alike.
 *
 * a, b     two templates; only read. Neither may be null. Swapping them gives the same bits.
 * Returns  a number without fixed range, no probability; any threshold is the caller's. NaN where a
 *          template holds NaN or a length is zero and so is the numerator.
 * Threads  may run anywhere at any time; needs no context and no model files. */
ZOMU_API float ZomuCompareTemplates(const FaceTemplate* a, const FaceTemplate* b);

/* Releases a context with everything in it. Null has no effect.
 *
 * context  from ZomuCreate, not in use by any thread; the pointer is dead afterwards.
 * Threads  may be called from any thread. */
ZOMU_API void ZomuDestroy(ZomuContext* context);

#ifdef __cplusplus
}
#endif

#endif
