/* ZOMU: the head model fitted to the landmarks of a face, for zomu_check.h, which includes this file. Not for
 * hosts. The library has a fit of its own, with 32-bit floats. */
#ifndef ZOMU_CHECK_FIT_H
#define ZOMU_CHECK_FIT_H

#include <math.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "zomu.h"

#ifdef __cplusplus
#define ZOMU_CHECK_CAST(type, value) static_cast<type>(value)
#else
#define ZOMU_CHECK_CAST(type, value) ((type)(value))
#endif

/* Of the model, in its units. */
#define ZOMU_CHECK_EYE_DISTANCE 6.2773
/* In squared eye distances: a pair that lies farther the wrong way round is exchanged. */
#define ZOMU_CHECK_PAIR_LIMIT (-0.05)
/* How far the rows of a camera are from being parallel, or one of them 0: in a head this is 1. */
#define ZOMU_CHECK_LINE_LIMIT 1e-6

typedef struct ZomuCheckPlace {
    int32_t id;
    int32_t partner; /* of the left one of a pair: the row of the right one; else -1 */
    double model[3]; /* x across the face, y down it, z towards the viewer */
} ZomuCheckPlace;

/* In the order of their ids. */
static inline const ZomuCheckPlace* zomuCheckPlace(int row) {
    static const ZomuCheckPlace kPlaces[ZOMU_LANDMARK_COUNT] = {
        {0, 1, {-3.227, -3.484, 9.589}},     {1, -1, {3.05, -3.546, 9.59}},
        {2, 5, {-5.7, -4.652, 8.292}},       {3, 4, {-1.549, -5.085, 10.83}},
        {4, -1, {1.612, -5.106, 10.83}},     {5, -1, {5.705, -4.704, 8.148}},
        {6, -1, {-0.0185, -3.543, 11.07}},   {9, -1, {0.01795, -0.2319, 13.32}},
        {10, -1, {-0.02015, 2.274, 11.62}},  {11, -1, {-0.04147, 4.102, 11.41}},
        {12, 11, {-2.673, 3.301, 10.002}},   {13, -1, {2.528, 3.315, 9.962}},
        {43, -1, {1.661, 0.3568, 10.66}},    {44, 12, {-1.74, 0.2793, 10.69}},
        {45, -1, {0.07737, 3.101, 11.32}},   {200, -1, {-0.01402, 1.045, 11.69}},
        {221, 21, {-1.782, -3.277, 9.267}},  {222, 20, {-3.255, -2.946, 9.531}},
        {223, 19, {-4.436, -3.397, 8.747}},  {225, -1, {4.376, -3.418, 8.762}},
        {226, -1, {3.056, -2.961, 9.522}},   {227, -1, {1.626, -3.367, 9.263}},
        {240, 23, {-7.386, 0.05087, 1.039}}, {241, -1, {7.377, 0.0564, 1.298}},
        {300, 25, {-3.956, -5.678, 10.06}},  {302, -1, {3.664, -5.768, 10.18}},
        {314, -1, {-0.0435, 6.917, 10.75}},  {315, 28, {-6.365, 3.718, 3.913}},
        {316, -1, {6.252, 3.752, 3.822}},
    };
    return &kPlaces[row];
}

/* The landmarks by the rows of the model, in pixels. */
typedef struct ZomuCheckPoints {
    int count;
    bool isThere[ZOMU_LANDMARK_COUNT];
    double at[ZOMU_LANDMARK_COUNT][2];
} ZomuCheckPoints;

/* The head model in the picture: seen by a camera without perspective. */
typedef struct ZomuCheckFit {
    double eyeDistance;  /* pixels; 0 if there is no solution */
    double residual;     /* eye distances */
    double rows[2][3];   /* of the rotation from model to picture */
    bool facesTheViewer; /* else sides are exchanged: the model is then seen from behind */
    int farthest;        /* the row of the landmark that is farthest from its place */
} ZomuCheckFit;

static inline double zomuCheckDot(const double* a, const double* b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/* Least squares for an affine camera, then the nearest rotation with one scale. */
static inline ZomuCheckFit zomuCheckFitHead(const ZomuCheckPoints* points) {
    ZomuCheckFit fit;
    double modelMean[3] = {0.0, 0.0, 0.0};
    double imageMean[2] = {0.0, 0.0};
    double from0[ZOMU_LANDMARK_COUNT]
                [2];     /* from landmark 0: nothing, exactly, for points at one place */
    double m[3][3];      /* sums of the model times itself */
    double camera[2][3]; /* first of the picture times the model, then the solution */
    memset(&fit, 0, sizeof fit);
    memset(from0, 0, sizeof from0);
    memset(m, 0, sizeof m);
    memset(camera, 0, sizeof camera);
    for (int row = 0; row < ZOMU_LANDMARK_COUNT; ++row) {
        for (int k = 0; k < 3 && points->isThere[row]; ++k) {
            modelMean[k] += zomuCheckPlace(row)->model[k] / points->count;
        }
        for (int k = 0; k < 2 && points->isThere[row]; ++k) {
            from0[row][k] = points->at[row][k] - points->at[0][k];
            imageMean[k] += from0[row][k] / points->count;
        }
    }
    for (int row = 0; row < ZOMU_LANDMARK_COUNT; ++row) {
        for (int i = 0; i < 3 && points->isThere[row]; ++i) {
            const double along = zomuCheckPlace(row)->model[i] - modelMean[i];
            for (int k = 0; k < 3; ++k) {
                m[i][k] += along * (zomuCheckPlace(row)->model[k] - modelMean[k]);
            }
            for (int k = 0; k < 2; ++k) {
                camera[k][i] += along * (from0[row][k] - imageMean[k]);
            }
        }
    }
    double inverse[3][3]; /* of m: its cofactors over its determinant */
    for (int i = 0; i < 3; ++i) {
        for (int k = 0; k < 3; ++k) {
            const int a = (i + 1) % 3, b = (i + 2) % 3, c = (k + 1) % 3, d = (k + 2) % 3;
            inverse[i][k] = m[a][c] * m[b][d] - m[a][d] * m[b][c];
        }
    }
    const double determinant = zomuCheckDot(m[0], inverse[0]);
    for (int k = 0; k < 2; ++k) {
        const double sums[3] = {camera[k][0], camera[k][1], camera[k][2]};
        for (int i = 0; i < 3; ++i) {
            camera[k][i] = zomuCheckDot(inverse[i], sums) / determinant;
        }
    }

    const double* a = camera[0];
    const double* b = camera[1];
    const double aa = zomuCheckDot(a, a), bb = zomuCheckDot(b, b), ab = zomuCheckDot(a, b);
    const double square = aa * bb - ab * ab;
    const double mean = (aa + bb) / 2.0;
    if (!(square > ZOMU_CHECK_LINE_LIMIT * mean * mean)) {
        return fit;
    }
    const double la = sqrt(aa), lb = sqrt(bb), r = sqrt(square);
    const double w = la * lb * r + square;
    const double ca = lb * ab * ab / (2.0 * la * w) + (la + lb) / (2.0 * la);
    const double cb = la * ab * ab / (2.0 * lb * w) + (la + lb) / (2.0 * lb);
    for (int i = 0; i < 3; ++i) {
        fit.rows[0][i] = ca * a[i] - ab / (2.0 * r) * b[i];
        fit.rows[1][i] = cb * b[i] - ab / (2.0 * r) * a[i];
    }
    const double scale = sqrt(zomuCheckDot(fit.rows[0], fit.rows[0]));
    for (int i = 0; i < 3; ++i) {
        fit.rows[0][i] /= scale;
        fit.rows[1][i] /= scale;
    }
    fit.facesTheViewer = fit.rows[0][0] * fit.rows[1][1] - fit.rows[0][1] * fit.rows[1][0] > 0.0;
    fit.eyeDistance = scale * ZOMU_CHECK_EYE_DISTANCE;
    double squares = 0.0, largest = -1.0;
    for (int row = 0; row < ZOMU_LANDMARK_COUNT; ++row) {
        const double* model = zomuCheckPlace(row)->model;
        const double from[3] = {model[0] - modelMean[0], model[1] - modelMean[1],
                                model[2] - modelMean[2]};
        double miss = 0.0;
        for (int k = 0; k < 2 && points->isThere[row]; ++k) {
            const double along =
                from0[row][k] - imageMean[k] - scale * zomuCheckDot(fit.rows[k], from);
            miss += along * along;
        }
        squares += miss;
        fit.farthest = miss > largest ? row : fit.farthest;
        largest = miss > largest ? miss : largest;
    }
    fit.residual = sqrt(squares / points->count) / fit.eyeDistance;
    return fit;
}

/* Exchanges the pairs that lie the wrong way round, and appends their names. Returns how many. */
static inline int zomuCheckExchange(const ZomuCheckFit* fit, ZomuCheckPoints* points, char* text,
                                    size_t size) {
    int pairs = 0;
    for (int left = 0; left < ZOMU_LANDMARK_COUNT; ++left) {
        const ZomuCheckPlace* place = zomuCheckPlace(left);
        const int right = place->partner;
        if (right < 0 || !points->isThere[left] || !points->isThere[right]) {
            continue;
        }
        double along = 0.0;
        for (int k = 0; k < 2; ++k) {
            const double* model = zomuCheckPlace(right)->model;
            const double step[3] = {model[0] - place->model[0], model[1] - place->model[1],
                                    model[2] - place->model[2]};
            along += (points->at[right][k] - points->at[left][k]) / fit->eyeDistance *
                     (zomuCheckDot(fit->rows[k], step) / ZOMU_CHECK_EYE_DISTANCE);
        }
        if (along < ZOMU_CHECK_PAIR_LIMIT) {
            const size_t used = strlen(text);
            snprintf(text + used, size - used, "%s%d and %d", pairs == 0 ? "" : ", ", place->id,
                     zomuCheckPlace(right)->id);
            for (int k = 0; k < 2; ++k) {
                const double kept = points->at[left][k];
                points->at[left][k] = points->at[right][k];
                points->at[right][k] = kept;
            }
            ++pairs;
        }
    }
    return pairs;
}

static inline int zomuCheckOutside(const ZomuCheckPoints* points, int32_t width, int32_t height) {
    int outside = 0;
    for (int row = 0; row < ZOMU_LANDMARK_COUNT; ++row) {
        const double* at = points->at[row];
        const bool isInside =
            at[0] >= -0.5 && at[0] <= width - 0.5 && at[1] >= -0.5 && at[1] <= height - 0.5;
        outside += points->isThere[row] && !isInside ? 1 : 0;
    }
    return outside;
}

#endif
