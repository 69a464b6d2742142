// Fits the head model to the landmarks of one face: how the head is turned, and how large it is in
// the picture. The camera is taken to be so far away that perspective does not matter.
//
// Floats are 32 bits, every operation rounds, and sums follow the order of the record, so that the
// result is the same bits everywhere. Square roots are taken in 64 bits and narrowed.
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

// Fits the pose of all entries of a record; writes the head's angles in degrees. Returns the length
// in image pixels that the model's eye distance measures on this face. `record` keeps the contract.
float estimateFacePose(const LandmarkRecord& record, float& roll, float& yaw, float& pitch);

// The fit alone. `record` keeps the contract.
HeadPose fitHeadPose(const LandmarkRecord& record);

HeadPose fitHeadPose(const ImagePoint* image, const ModelPoint* model, int n);

// Least squares over centred points: u = s0 X + s1 Y + s2 Z + s3, v = s4 X + s5 Y + s6 Z + s7.
// Returns false, with the raw right-hand sides in s, where the system is singular.
bool fitAffineCamera(const ImagePoint* image, const ModelPoint* model, int n, float (&s)[8]);

// Solves a x = g in place by Cholesky's factorisation. False, with g untouched, where a pivot is
// below the smallest normal float.
bool solveCholesky8(float (&a)[8][8], float (&g)[8]);

// Rotation matrix (row-major) to unit quaternion.
Quaternion rotationToQuaternion(const float (&R)[9]);

// e[0] to e[2] in radians: about x, y and z.
void quaternionToEuler(const Quaternion& q, float (&e)[3]);

#endif
