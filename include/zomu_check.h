/* ZOMU: what is wrong with the landmarks of a face, and the picture that begins near it. Header only, C11
 * and C++17, beside zomu.h: nothing here is exported, keeps memory or needs the library.
 *
 * ZomuExtractTemplate computes a template from any coordinates. Those of a mistake (fractions, exchanged
 * sides, another order) give ordinary numbers, which may score high against those of other people with
 * the same mistake. A host that cannot rule such mistakes out calls, before each extraction:
 *
 *     ZomuLandmarkReport report;
 *     if (ZomuCheckLandmarks(&record, width, height, &report) != ZOMU_LANDMARKS_GOOD) {
 *         ... report.text says why there is no template
 *     }
 *     ZomuFaceView view;
 *     ZomuNearFace(image, width, height, stride, &record, &view);
 *     ZomuExtractTemplate(context, view.image, view.width, view.height, view.stride, view.landmarks,
 *                         &face);
 *
 * docs/landmarks.md has the measurements behind the limits. The check sees points that do not form a face
 * in the picture. It does not see a point that is a little off, nor a good face that is another picture's.
 */
#ifndef ZOMU_CHECK_H
#define ZOMU_CHECK_H

#include <math.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "zomu.h"
#include "zomu_check_fit.h"

/* Pixels between the eyes. Shrunk faces score less and less with themselves and more with each other; at 6
 * pixels a face scores less with itself than two people with each other, at 8 it is still clearly above. */
#define ZOMU_SMALLEST_EYE_DISTANCE 8.0
/* Of the points. With a third of its points cut off, a face still scores with itself what two photographs of
 * one person score; with more, it scores less, and cut faces begin to resemble each other. */
#define ZOMU_LARGEST_SHARE_OUTSIDE (1.0 / 3.0)
/* Root of the mean squared distance from the fitted head model, in eye distances. Faces with an error of
 * 3 % of the eye distance in each coordinate stay below 0.15. */
#define ZOMU_LARGEST_RESIDUAL 0.2

typedef enum ZomuLandmarkFault {
    ZOMU_LANDMARKS_GOOD = 0,
    ZOMU_LANDMARKS_RECORD,          /* no record, its count, ids unknown, twice or missing */
    ZOMU_LANDMARKS_NOT_FINITE,      /* a coordinate is NaN or infinite */
    ZOMU_LANDMARKS_NO_FIT,          /* all points at one place or on one line */
    ZOMU_LANDMARKS_TOO_SMALL,       /* eyes nearer than ZOMU_SMALLEST_EYE_DISTANCE */
    ZOMU_LANDMARKS_OUTSIDE,         /* more points outside the picture than that share */
    ZOMU_LANDMARKS_PAIRS_EXCHANGED, /* left and right of some pairs */
    ZOMU_LANDMARKS_UPSIDE_DOWN,     /* y counted from the bottom row */
    ZOMU_LANDMARKS_SIDES_EXCHANGED, /* left and right of all pairs, or x and y */
    ZOMU_LANDMARKS_NOT_A_FACE       /* farther from the model than ZOMU_LARGEST_RESIDUAL */
} ZomuLandmarkFault;

typedef struct ZomuLandmarkReport {
    ZomuLandmarkFault fault;
    char text[256]; /* one sentence for people, without full stop and line end; "" if all is good */
} ZomuLandmarkReport;

/* A face in its picture: the arguments of ZomuExtractTemplate. */
typedef struct ZomuFaceView {
    const uint8_t* image;
    int32_t width, height, stride;
    const LandmarkRecord* landmarks; /* `moved` of this very view, or the caller's record */
    LandmarkRecord moved;
} ZomuFaceView;

/* Says what is wrong with the landmarks of a face in a picture of this size. Faults are judged in the order of
 * their list, and what cannot be judged is a fault. A face may be turned in the plane of the picture by any
 * angle.
 *
 * landmarks      only read, each value once; null is a fault
 * width, height  of the picture in which the landmarks are; nothing of the picture is read
 * report         receives the fault and its text; may be null
 * Returns        the fault, 0 for none
 * Threads        any thread at any time */
static inline ZomuLandmarkFault ZomuCheckLandmarks(const LandmarkRecord* landmarks, int32_t width,
                                                   int32_t height, ZomuLandmarkReport* report);

/* Makes of a picture one that begins near the face. The library computes with 32-bit floats, which far from
 * (0, 0) have fewer digits for fractions of a pixel: the same face scores less there.
 *
 * Whole columns on the left and whole rows above are left out, as many as are a multiple of 256, lie farther
 * from all landmarks than twice the larger side of their bounding box, and leave 2 columns and 2 rows. The
 * coordinates are reduced by the same numbers, which is exact. No pixel that a template depends on is left
 * out. A face near the origin, and one whose landmarks do not pass the check, is handed over as it is.
 *
 * image ... landmarks  as for ZomuExtractTemplate; not kept, but the view points at them
 * view                 receives the arguments for ZomuExtractTemplate. It points into itself: do not copy it. */
static inline void ZomuNearFace(const uint8_t* image, int32_t width, int32_t height, int32_t stride,
                                const LandmarkRecord* landmarks, ZomuFaceView* view);

/* The name of a fault in one word: "good", "record", "not-finite" and so on. */
static inline const char* ZomuLandmarkFaultName(ZomuLandmarkFault fault) {
    static const char* const kNames[] = {
        "good",    "record",          "not-finite",  "no-fit",          "too-small",
        "outside", "pairs-exchanged", "upside-down", "sides-exchanged", "not-a-face"};
    return kNames[fault];
}

/* --- From here on: how it is done. Not for hosts. --- */

/* By its bits, because compilers that are told to expect finite numbers only take isfinite for true. */
static inline bool zomuCheckIsFinite(float value) {
    uint32_t bits;
    memcpy(&bits, &value, sizeof bits);
    return (bits & 0x7F800000U) != 0x7F800000U;
}

static inline ZomuLandmarkFault zomuCheckRecord(const LandmarkRecord* record,
                                                ZomuCheckPoints* points, char* text, size_t size) {
    memset(points, 0, sizeof *points);
    points->count = record == NULL ? 0 : record->count;
    if (points->count < ZOMU_LANDMARK_COUNT - 4 || points->count > ZOMU_LANDMARK_COUNT) {
        snprintf(text, size, "%d landmarks are there, and 25 to 29 are needed", points->count);
        return ZOMU_LANDMARKS_RECORD;
    }
    int notFinite = -1;
    for (int i = 0; i < points->count; ++i) {
        const LandmarkEntry entry = record->entries[i];
        int row = 0;
        while (row < ZOMU_LANDMARK_COUNT && zomuCheckPlace(row)->id != entry.id) {
            ++row;
        }
        if (row == ZOMU_LANDMARK_COUNT || points->isThere[row]) {
            snprintf(text, size,
                     row < ZOMU_LANDMARK_COUNT ? "landmark %d is there twice"
                                               : "%d is not the id of a landmark",
                     entry.id);
            return ZOMU_LANDMARKS_RECORD;
        }
        points->isThere[row] = true;
        points->at[row][0] = ZOMU_CHECK_CAST(double, entry.x);
        points->at[row][1] = ZOMU_CHECK_CAST(double, entry.y);
        if (!zomuCheckIsFinite(entry.x) || !zomuCheckIsFinite(entry.y)) {
            notFinite = notFinite < 0 ? entry.id : notFinite;
        }
    }
    for (int row = 0; row < ZOMU_LANDMARK_COUNT; ++row) {
        const int32_t id = zomuCheckPlace(row)->id;
        const bool mayBeMissing = id == 240 || id == 241 || id == 315 || id == 316;
        if (!points->isThere[row] && !mayBeMissing) {
            snprintf(text, size, "landmark %d is missing", id);
            return ZOMU_LANDMARKS_RECORD;
        }
    }
    if (notFinite >= 0) {
        snprintf(text, size, "landmark %d has a coordinate that is not finite", notFinite);
        return ZOMU_LANDMARKS_NOT_FINITE;
    }
    return ZOMU_LANDMARKS_GOOD;
}

/* A reflection: where the model's y runs in the picture says which one. */
static inline ZomuLandmarkFault zomuCheckMirrored(const ZomuCheckFit* fit, char* text,
                                                  size_t size) {
    const double x = fit->rows[0][1];
    const double y = fit->rows[1][1];
    if (y < 0.0 && -y > fabs(x)) {
        snprintf(
            text, size,
            "y runs upwards: it counts from the first row of the picture, which is 0, downwards");
        return ZOMU_LANDMARKS_UPSIDE_DOWN;
    }
    const char* sides =
        "left and right look exchanged in all landmarks: id 0 is the eye on the left of the "
        "picture, not the person's left eye";
    const char* axes =
        "x and y look exchanged, or left and right in all landmarks: x runs to the right, y "
        "downwards, and id 0 is the eye on the left of an upright face";
    snprintf(text, size, "%s", y > fabs(x) ? sides : axes);
    return ZOMU_LANDMARKS_SIDES_EXCHANGED;
}

static inline ZomuLandmarkFault zomuCheckFace(ZomuCheckPoints* points, int32_t width,
                                              int32_t height, char* text, size_t size) {
    const ZomuCheckFit fit = zomuCheckFitHead(points);
    if (!(fit.eyeDistance > 0.0)) {
        snprintf(
            text, size,
            "the landmarks do not lie like a face: all of them are at one place or on one line");
        return ZOMU_LANDMARKS_NO_FIT;
    }
    if (!(fit.eyeDistance >= ZOMU_SMALLEST_EYE_DISTANCE)) {
        const int tenths = ZOMU_CHECK_CAST(int, fit.eyeDistance * 10.0);
        snprintf(text, size,
                 "the eyes are %d.%d pixels apart, and 8 are needed: landmarks are pixels of this "
                 "picture, not fractions of it",
                 tenths / 10, tenths % 10);
        return ZOMU_LANDMARKS_TOO_SMALL;
    }
    const int outside = zomuCheckOutside(points, width, height);
    if (!(ZOMU_CHECK_CAST(double, outside) / points->count <= ZOMU_LARGEST_SHARE_OUTSIDE)) {
        snprintf(text, size,
                 "%d of %d landmarks lie outside the picture of %d x %d pixels: are they those of "
                 "another picture?",
                 outside, points->count, width, height);
        return ZOMU_LANDMARKS_OUTSIDE;
    }
    /* Pairs are named only if they are all that is wrong. */
    ZomuCheckPoints exchanged = *points;
    snprintf(text, size, "left and right look exchanged: ");
    if (zomuCheckExchange(&fit, &exchanged, text, size) > 0) {
        const ZomuCheckFit other = zomuCheckFitHead(&exchanged);
        if (other.residual <= ZOMU_LARGEST_RESIDUAL && other.facesTheViewer) {
            return ZOMU_LANDMARKS_PAIRS_EXCHANGED;
        }
    }
    if (!(fit.residual <= ZOMU_LARGEST_RESIDUAL)) {
        const double most = 9999.0;
        const int hundredths =
            ZOMU_CHECK_CAST(int, (fit.residual < most ? fit.residual : most) * 100.0 + 0.5);
        snprintf(
            text, size,
            "the landmarks do not lie like a face: they miss the head model by %d.%02d eye "
            "distances (up to 0.20 is usual), most of all landmark %d; is the order another one?",
            hundredths / 100, hundredths % 100, zomuCheckPlace(fit.farthest)->id);
        return ZOMU_LANDMARKS_NOT_A_FACE;
    }
    return fit.facesTheViewer ? ZOMU_LANDMARKS_GOOD : zomuCheckMirrored(&fit, text, size);
}

static inline ZomuLandmarkFault ZomuCheckLandmarks(const LandmarkRecord* landmarks, int32_t width,
                                                   int32_t height, ZomuLandmarkReport* report) {
    ZomuCheckPoints points;
    char text[sizeof report->text] = "";
    ZomuLandmarkFault fault = zomuCheckRecord(landmarks, &points, text, sizeof text);
    if (fault == ZOMU_LANDMARKS_GOOD) {
        fault = zomuCheckFace(&points, width, height, text, sizeof text);
    }
    if (report != NULL) {
        report->fault = fault;
        snprintf(report->text, sizeof report->text, "%s", fault == ZOMU_LANDMARKS_GOOD ? "" : text);
    }
    return fault;
}

/* How many columns, or rows, may be left out before the first landmark. */
static inline int32_t zomuCheckLeadIn(double first, double margin, int32_t size) {
    const double atMost = first - margin < size - 2.0 ? first - margin : size - 2.0;
    return atMost >= 256.0 ? ZOMU_CHECK_CAST(int32_t, atMost / 256.0) * 256 : 0;
}

static inline void ZomuNearFace(const uint8_t* image, int32_t width, int32_t height, int32_t stride,
                                const LandmarkRecord* landmarks, ZomuFaceView* view) {
    memset(view, 0, sizeof *view);
    view->image = image;
    view->width = width;
    view->height = height;
    view->stride = stride;
    view->landmarks = landmarks;
    const int32_t count = landmarks == NULL ? 0 : landmarks->count;
    if (image == NULL || count < 0 || count > ZOMU_LANDMARK_COUNT) {
        return;
    }
    view->moved.count = count;
    memcpy(view->moved.entries, landmarks->entries,
           ZOMU_CHECK_CAST(size_t, count) * sizeof(LandmarkEntry));
    if (ZomuCheckLandmarks(&view->moved, width, height, NULL) != ZOMU_LANDMARKS_GOOD) {
        return;
    }
    LandmarkEntry* entries = view->moved.entries;
    float low[2] = {entries[0].x, entries[0].y};
    float high[2] = {entries[0].x, entries[0].y};
    for (int i = 1; i < view->moved.count; ++i) {
        low[0] = entries[i].x < low[0] ? entries[i].x : low[0];
        low[1] = entries[i].y < low[1] ? entries[i].y : low[1];
        high[0] = entries[i].x > high[0] ? entries[i].x : high[0];
        high[1] = entries[i].y > high[1] ? entries[i].y : high[1];
    }
    const double across = ZOMU_CHECK_CAST(double, high[0]) - ZOMU_CHECK_CAST(double, low[0]);
    const double down = ZOMU_CHECK_CAST(double, high[1]) - ZOMU_CHECK_CAST(double, low[1]);
    const double margin = 2.0 * (across > down ? across : down);
    const int32_t x0 = zomuCheckLeadIn(ZOMU_CHECK_CAST(double, low[0]), margin, width);
    const int32_t y0 = zomuCheckLeadIn(ZOMU_CHECK_CAST(double, low[1]), margin, height);
    view->image += ZOMU_CHECK_CAST(ptrdiff_t, y0) * stride + ZOMU_CHECK_CAST(ptrdiff_t, x0) * 3;
    view->width -= x0;
    view->height -= y0;
    view->landmarks = &view->moved;
    for (int i = 0; i < view->moved.count; ++i) {
        entries[i].x -= ZOMU_CHECK_CAST(float, x0);
        entries[i].y -= ZOMU_CHECK_CAST(float, y0);
    }
}

#undef ZOMU_CHECK_CAST

#endif
