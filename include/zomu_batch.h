/* ZOMU: the templates of many faces in one call. The interface of a library of its own, ZOMUbatch, which
 * stands beside ZOMU and needs it for nothing.
 *
 * ZOMU reads all weights and tables again for every face. ZOMUbatch reads them once for up to 16 faces,
 * and so computes more faces a second. It pays where many faces wait: a gallery, the frames of a film.
 * Templates have the bits that ZomuExtractTemplate gives; compare them with ZomuCompareTemplates.
 *
 * Conventions, for every function below:
 *  1. Units and pixels are those of zomu.h.
 *  2. Handles. A ZomuBatchContext is opaque. ZomuBatchCreate gives one, ZomuBatchDestroy takes it back.
 *     Handles of the two libraries are not interchangeable.
 *  3. Threads. Different contexts may be used at the same time, but each by only one thread. The work of
 *     a call is shared by threads that belong to the context: as many as OMP_NUM_THREADS says, or else
 *     as the process may use processors; at most 25.
 *  4. Files. The model folder is the one that zomu.h describes. This library reads its 28 tables while it
 *     is loaded, and the weights at every ZomuBatchCreate, with the same lines for files that cannot be
 *     opened. It shares nothing with ZOMU: a host that loads both reads the tables twice, and has to
 *     see to it that both find the same model.
 *  5. Memory. The tables take 32 MB once for the process, beside those of ZOMU. A context takes 29 MB, 1 MB
 *     more once it is used, and 15 MB more after a call for 16 or more faces; each thread but the first
 *     takes half a megabyte of its own. Contexts keep that until they are destroyed. It does not matter how
 *     many more than 16 the requests of a call are.
 *  6. Unloading. The library stays in memory as long as a context exists. Closed after its last context,
 *     it gives everything back.
 *  7. Windows. ZOMUbatch.dll exports its three functions by their names.
 *  8. Errors. There are no error codes. What cannot be computed is NaN, and what went wrong is one
 *     line on standard output. Running out of memory raises std::bad_alloc through the call.
 *     Coordinates are not checked: zomu_check.h, which serves this library as well, says what is wrong
 *     with them.
 */
#ifndef ZOMU_BATCH_H
#define ZOMU_BATCH_H

#include <stddef.h>
#include <stdint.h>

#include "zomu.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One face: where it is, and where its template goes. The fields are the arguments of
 * ZomuExtractTemplate, under the same rules. The caller owns the record and all that it points at, and
 * keeps it until the call returns. Requests may share pictures and landmarks, but not a template. */
typedef struct ZomuBatchRequest {
    const uint8_t* image;            /* the picture, at least 2 x 2 pixels; only read */
    int32_t width;                   /* pixels in a row */
    int32_t height;                  /* rows */
    int32_t stride;                  /* bytes from a row to the next; may be negative */
    const LandmarkRecord* landmarks; /* in pixels of the picture; only read */
    FaceTemplate* templateOut;       /* receives the template; if it is null, nothing happens */
} ZomuBatchRequest;

typedef struct ZomuBatchContext ZomuBatchContext;

/* Builds a context: 25 networks with their weights.
 *
 * Returns  a context, never null. The caller owns it and gives it to ZomuBatchDestroy.
 * Threads  may be called from any thread, and from several at once.
 * Failure  a weight file that cannot be opened prints "load <path> failed"; the context is created
 *          nevertheless, and its templates are NaN. */
ZOMU_API ZomuBatchContext* ZomuBatchCreate(void);

/* Computes the templates of any number of faces.
 *
 * context   from ZomuBatchCreate. If it is null, nothing is read and nothing is written.
 * requests  `count` records, one behind the other; only read, and only during the call. If it is null,
 *           nothing happens.
 * count     how many; 0 is allowed.
 *
 * The faces are computed in the order of the requests, 16 at a time, refused ones not counted. The
 * templates of these 16 are written, all 502 values of each, when all 16 are computed; until then they are
 * as they were.
 *
 * Threads  one call at a time for one context. A template has the same bits whatever it is computed
 *          together with, with any number of threads, in any context, in the first and in the hundredth
 *          call: those of ZomuExtractTemplate on the same machine with the same model.
 * Failure  a request that ZomuExtractTemplate would refuse is refused here with the same line,
 *          "template refused: " and the reason, and its 502 values are NaN. The lines come in the order of
 *          the requests. No other request is affected. After std::bad_alloc each template is complete, or
 *          NaN because it was refused, or as it was; and the context may be used again. */
ZOMU_API void ZomuBatchExtract(ZomuBatchContext* context, const ZomuBatchRequest* requests,
                               size_t count);

/* Releases a context with everything in it. Null has no effect.
 *
 * context  from ZomuBatchCreate, not in use by any thread; invalid afterwards.
 * Threads  may be called from any thread. */
ZOMU_API void ZomuBatchDestroy(ZomuBatchContext* context);

#ifdef __cplusplus
}
#endif

#endif
