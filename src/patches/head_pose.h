// Fits the head model to the landmarks of one face: how the head is turned, and how large it is in
// the picture. The camera is a scaled orthographic one, without perspective.
//
// Floats have 32 bits, every operation rounds, and sums follow the order of the record: the result
// has the same bits everywhere. Square roots are computed in 64 bits and narrowed.
#ifndef ZOMU_PATCHES_HEAD_POSE_H
#define ZOMU_PATCHES_HEAD_POSE_H

#include "zomu.h"

struct ImagePoint {
    float u, v;  // pixels
};

struct ModelPoint {
    float X, Y, Z;  // model units
};

struct HeadPose {
    float R[9];  // rotation, row-major
    float T[3];  // translation, pixels
    float k;     // image pixels per model unit
};

struct Quaternion {
    float x, y, z, w;
};

// Distance between rows 0 and 1 of the head model, its eyes, in model units.
constexpr float kModelEyeDistance = 6.2773F;

// Fits the pose to all entries of a record and writes the head's angles in degrees. Returns the
// length of the model's eye distance on this face, in image pixels. `record` must meet the
// contract.
float estimateFacePose(const LandmarkRecord& record, float& roll, float& yaw, float& pitch);

// The fit alone. `record` must meet the contract.
HeadPose fitHeadPose(const LandmarkRecord& record);

HeadPose fitHeadPose(const ImagePoint* image, const ModelPoint* model, int n);

// Least squares over centred points: u = s0 X + s1 Y + s2 Z + s3, v = s4 X + s5 Y + s6 Z + s7.
// Returns false, with the raw right-hand sides in s, if the system is singular.
bool fitAffineCamera(const ImagePoint* image, const ModelPoint* model, int n, float (&s)[8]);

// Solves a x = g in place by Cholesky's factorisation. Returns false, with g unchanged, if a pivot
// is below the smallest normal float.
bool solveCholesky8(float (&a)[8][8], float (&g)[8]);

// Rotation matrix (row-major) to unit quaternion.
Quaternion rotationToQuaternion(const float (&R)[9]);

// Writes the angles about x, y and z, in radians, to e[0], e[1] and e[2].
void quaternionToEuler(const Quaternion& q, float (&e)[3]);

#endif
