/* ZOMU: face templates on the CPU, and a score for two of them. The whole public interface.
 *
 * Conventions, for every function below:
 *  1. Handles. A ZomuContext is opaque. ZomuCreate gives one, ZomuDestroy takes it back.
 *  2. Units. Landmark coordinates count pixels of the picture that they are passed with, from the
 *     centre of its top left pixel, which is (0, 0); x grows to the right and y downwards.
 *  3. Pixels. A pixel is one byte of blue, one of green and one of red; rows are `stride` bytes apart.
 *  4. Threads. Different contexts may be used at the same time, but each by only one thread.
 *     A context has threads of its own, from its first extraction to ZomuDestroy: with the calling one
 *     as many as the first number in OMP_NUM_THREADS, else as the processors that the process may use,
 *     at most 25; fewer if the system cannot start so many. They sleep between extractions and get no
 *     signals. Any thread with a stack of 64 KB may call. After a fork, the child may use and destroy
 *     all contexts that no other thread was using.
 *  5. Files. All trained numbers come from the folder "~zvplugintmp~" in the temporary directory: on
 *     Windows what GetTempPathA says, elsewhere the first of TMPDIR, TMP, TEMP and TEMPDIR that is set
 *     and not empty, else /tmp. Mean images and projection tables are read once, while the library is
 *     loaded; weights at every ZomuCreate.
 *     For a file that cannot be opened the line "load <path> failed" goes to standard output, and that
 *     is all: tables stay zero, and a network without usable weights yields NaN.
 *  6. Unloading. A host may close the library and load it again, which reads the tables anew. If
 *     contexts are left when it is closed, they go on working, and the last ZomuDestroy unloads it.
 *  7. Windows. The functions of ZOMU.dll have numbers and no names: 1 ZomuCreate,
 *     2 ZomuExtractTemplate, 3 ZomuCompareTemplates, 4 ZomuDestroy.
 *  8. Errors. There are no error codes. What cannot be computed is NaN, and what went wrong is one
 *     line on standard output. Running out of memory raises std::bad_alloc through the call.
 *     Coordinates are computed with as they are: landmarks that are not those of a face in the picture,
 *     NaN among them, may give ordinary numbers, which score high against others of the same kind.
 *     zomu_check.h says what is wrong with landmarks: call it before each extraction.
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

/* The template of one face: 2008 bytes without a header, floats in the byte order of the machine. It
 * belongs to the caller, who may store it or send it to another process and compare it there. */
typedef struct FaceTemplate {
    float projection[ZOMU_PROJECTION_SIZE]; /* the features, projected */
    float quadraticTerm;                    /* squared length of a second projection of them */
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

/* Builds a context: 25 networks with their weights, about 28 MB, and 1 MB more once it is used.
 *
 * Returns  a context, never null. The caller owns it and gives it to ZomuDestroy.
 * Threads  may be called from any thread, and from several at once.
 * Failure  a weight file that cannot be opened prints "load <path> failed"; the context is created
 *          nevertheless, and its templates are NaN. */
ZOMU_API ZomuContext* ZomuCreate(void);

/* Computes the template of one face.
 *
 * context      from ZomuCreate. If it is null, nothing is read and nothing is written.
 * image        the picture, at least 2 x 2 pixels; only read, and only during the call.
 * width        pixels in a row.
 * height       rows.
 * stride       how many bytes further the next row begins. Any value: padding behind the 3 x width
 *              bytes of a row is never read, and a negative stride walks a bottom-up picture, whose
 *              top row `image` then points at.
 * landmarks    the face in it; only read, and only during the call. Coordinates are not checked: see
 *              zomu_check.h, also for faces more than a thousand pixels from the picture's corner.
 * templateOut  receives the template: all 502 values, at the end of the call. If it is null, nothing
 *              happens.
 *
 * Threads  one call at a time for one context. The same input gives the same bits with any number of
 *          threads, in any context, in the first and in the hundredth call, on every processor with
 *          a fused multiply-add (x86-64 with AVX2, 64-bit ARM).
 * Failure  a null image or record, a picture under 2 x 2, or a record whose count or ids are outside
 *          its contract prints "template refused: " and the reason, and all 502 values are NaN; wrong
 *          coordinates do not. The values are NaN, too, where
 *          weights are missing or unusable. A NaN template scores NaN, which passes no threshold. */
ZOMU_API void ZomuExtractTemplate(ZomuContext* context, const uint8_t* image, int32_t width,
                                  int32_t height, int32_t stride, const LandmarkRecord* landmarks,
                                  FaceTemplate* templateOut);

/* Compares two templates. A higher score means that the same person is more likely.
 *
 * a, b     two templates; only read. Neither may be null. Swapping them gives the same bits.
 * Returns  a number without a fixed range, which is not a probability; the caller chooses the
 *          threshold. NaN where a template holds NaN, or where both the numerator and a length are 0.
 * Threads  any thread at any time; needs no context and no model files. */
ZOMU_API float ZomuCompareTemplates(const FaceTemplate* a, const FaceTemplate* b);

/* Releases a context with everything in it. Null has no effect.
 *
 * context  from ZomuCreate, not in use by any thread; invalid afterwards.
 * Threads  may be called from any thread. */
ZOMU_API void ZomuDestroy(ZomuContext* context);

#ifdef __cplusplus
}
#endif

#endif
