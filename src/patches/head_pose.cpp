#include "patches/head_pose.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <numbers>
#include <vector>

#include "matrix/float_rules.h"
#include "patches/landmarks.h"

namespace {

float toDegrees(float radians) {
    // The product is rounded to 32 bits, the quotient is taken in 64.
    return static_cast<float>(static_cast<double>(radians * 180.0F) / std::numbers::pi);
}

// Replaces the affine rows a = (s0, s1, s2) and b = (s4, s5, s6) by the nearest two orthogonal rows
// of equal length. Divided by that length, k, they become rows 0 and 1 of R. If a and b are already
// orthogonal, c2 is 0 and k is the mean of their lengths.
void correctToRotation(const float (&s)[8], HeadPose& pose) {
    const float aa = (s[0] * s[0] + s[1] * s[1]) + s[2] * s[2];
    const float bb = (s[4] * s[4] + s[5] * s[5]) + s[6] * s[6];
    const float ab = (s[4] * s[0] + s[5] * s[1]) + s[6] * s[2];
    const float P = bb * aa;
    const float G = ab * ab;
    const float r = narrowSqrt(P - G);
    const float W = (narrowSqrt(P) * r + P) - G;
    const float la = narrowSqrt(aa);
    const float lb = narrowSqrt(bb);
    const float c1 = ((lb * ab) * ab) / ((la * 2.0F) * W) + (la + lb) / (la * 2.0F);
    const float c2 = ab / (r * 2.0F);
    const float c3 = ((la * ab) * ab) / ((lb * 2.0F) * W) + (la + lb) / (lb * 2.0F);

    float(&R)[9] = pose.R;
    for (int i = 0; i < 3; ++i) {
        R[i] = s[i] * c1 - s[4 + i] * c2;
        R[3 + i] = s[4 + i] * c3 - s[i] * c2;
    }
    pose.k = narrowSqrt(R[2] * R[2] + (R[1] * R[1] + R[0] * R[0]));
    // Row 1 is divided by the length of row 0, too.
    for (int i = 0; i < 6; ++i) {
        R[i] /= pose.k;
    }
    // Row 2 is the cross product of rows 0 and 1.
    R[6] = R[5] * R[1] - R[4] * R[2];
    R[7] = R[3] * R[2] - R[5] * R[0];
    R[8] = R[4] * R[0] - R[3] * R[1];
}

}  // namespace

float estimateFacePose(const LandmarkRecord& record, float& roll, float& yaw, float& pitch) {
    const HeadPose pose = fitHeadPose(record);
    float e[3];
    quaternionToEuler(rotationToQuaternion(pose.R), e);
    roll = toDegrees(e[2]);
    yaw = toDegrees(e[1]);
    pitch = toDegrees(e[0]);
    return pose.k * kModelEyeDistance;
}

HeadPose fitHeadPose(const LandmarkRecord& record) {
    const LandmarkEntry* entries = entriesOf(record);
    const auto n = static_cast<std::size_t>(record.count);
    std::vector<ImagePoint> image(n);
    std::vector<ModelPoint> model(n);
    for (std::size_t i = 0; i < n; ++i) {
        const float* row = kHeadModel[kLandmarkRow[entries[i].id]];
        image[i] = {entries[i].x, entries[i].y};
        model[i] = {row[0], row[1], row[2]};
    }
    return fitHeadPose(image.data(), model.data(), record.count);
}

HeadPose fitHeadPose(const ImagePoint* image, const ModelPoint* model, int n) {
    float mu = 0.0F;
    float mv = 0.0F;
    float mX = 0.0F;
    float mY = 0.0F;
    float mZ = 0.0F;
    for (int i = 0; i < n; ++i) {
        mu += image[i].u;
        mv += image[i].v;
        mX += model[i].X;
        mY += model[i].Y;
        mZ += model[i].Z;
    }
    const auto count = static_cast<float>(n);
    mu /= count;
    mv /= count;
    mX /= count;
    mY /= count;
    mZ /= count;

    std::vector<ImagePoint> centredImage(static_cast<std::size_t>(n));
    std::vector<ModelPoint> centredModel(static_cast<std::size_t>(n));
    std::transform(image, image + n, centredImage.begin(), [=](const ImagePoint& p) {
        return ImagePoint{p.u - mu, p.v - mv};
    });
    std::transform(model, model + n, centredModel.begin(), [=](const ModelPoint& p) {
        return ModelPoint{p.X - mX, p.Y - mY, p.Z - mZ};
    });

    // A singular system is not an error: the pose is then computed from the raw right-hand sides.
    float s[8];
    fitAffineCamera(centredImage.data(), centredModel.data(), n, s);

    HeadPose pose;
    correctToRotation(s, pose);
    const float(&R)[9] = pose.R;
    const float k = pose.k;
    // The fit was centred: T maps the model's mean to the image's mean, at depth 0.
    pose.T[0] = mu - ((R[0] * mX + R[1] * mY) + R[2] * mZ) * k;
    pose.T[1] = mv - ((R[4] * mY + R[3] * mX) + R[5] * mZ) * k;
    pose.T[2] = -(((R[6] * mX + R[7] * mY) + R[8] * mZ) * k);
    return pose;
}

bool fitAffineCamera(const ImagePoint* image, const ModelPoint* model, int n, float (&s)[8]) {
    float XX = 0.0F;
    float XY = 0.0F;
    float XZ = 0.0F;
    float X = 0.0F;
    float YY = 0.0F;
    float YZ = 0.0F;
    float Y = 0.0F;
    float ZZ = 0.0F;
    float Z = 0.0F;
    float one = 0.0F;
    std::fill(std::begin(s), std::end(s), 0.0F);
    for (int i = 0; i < n; ++i) {
        const ModelPoint& m = model[i];
        const ImagePoint& p = image[i];
        XX += m.X * m.X;
        XY += m.X * m.Y;
        XZ += m.X * m.Z;
        X += m.X;
        YY += m.Y * m.Y;
        YZ += m.Y * m.Z;
        Y += m.Y;
        ZZ += m.Z * m.Z;
        Z += m.Z;
        one += 1.0F;
        s[0] += p.u * m.X;
        s[1] += p.u * m.Y;
        s[2] += p.u * m.Z;
        s[3] += p.u;
        s[4] += p.v * m.X;
        s[5] += p.v * m.Y;
        s[6] += p.v * m.Z;
        s[7] += p.v;
    }
    // Normal equations: `block` sums (X, Y, Z, 1) times itself, s sums it times u and v.
    const float block[4][4] = {
        {XX, XY, XZ, X},
        {XY, YY, YZ, Y},
        {XZ, YZ, ZZ, Z},
        {X, Y, Z, one},
    };
    // u and v share one block of coefficients; the zeros between the two do not change either
    // solution.
    float a[8][8] = {};
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            a[i][j] = block[i][j];
            a[4 + i][4 + j] = block[i][j];
        }
    }
    return solveCholesky8(a, s);
}

bool solveCholesky8(float (&a)[8][8], float (&g)[8]) {
    // a = L L^T in the lower triangle, with the reciprocals of L's diagonal on the diagonal.
    for (int i = 0; i < 8; ++i) {
        for (int j = 0; j < i; ++j) {
            float t = a[i][j];
            for (int k = 0; k < j; ++k) {
                t -= a[i][k] * a[j][k];
            }
            a[i][j] = a[j][j] * t;
        }
        float t = a[i][i];
        for (int k = 0; k < i; ++k) {
            t -= a[i][k] * a[i][k];
        }
        if (t < FLT_MIN) {  // false for NaN, which propagates to the solution
            return false;
        }
        a[i][i] = 1.0F / narrowSqrt(t);
    }
    // Forward substitution, L y = g, then backward, L^T x = y.
    for (int i = 0; i < 8; ++i) {
        float t = g[i];
        for (int k = 0; k < i; ++k) {
            t -= g[k] * a[i][k];
        }
        g[i] = a[i][i] * t;
    }
    for (int i = 7; i >= 0; --i) {
        float t = g[i];
        for (int k = 7; k > i; --k) {
            t -= g[k] * a[k][i];
        }
        g[i] = a[i][i] * t;
    }
    return true;
}

// p is 4 w^2. Where it is not above 0, as at half a turn, x, y or z takes the place of w as the
// divisor: the one whose diagonal element is largest, which keeps s away from 0.
Quaternion rotationToQuaternion(const float (&R)[9]) {
    Quaternion q;
    const float p = ((R[4] + R[0]) + R[8]) + 1.0F;
    if (p > 0.0F) {
        const float s = narrowSqrt(p) * 2.0F;
        q = {(R[7] - R[5]) / s, (R[2] - R[6]) / s, (R[3] - R[1]) / s, s * 0.25F};
    } else if (R[0] > R[4] && R[0] > R[8]) {
        const float s = narrowSqrt(((R[0] + 1.0F) - R[4]) - R[8]) * 2.0F;
        q = {s * 0.25F, (R[1] + R[3]) / s, (R[2] + R[6]) / s, (R[7] - R[5]) / s};
    } else if (R[4] > R[8]) {
        const float s = narrowSqrt(((R[4] + 1.0F) - R[0]) - R[8]) * 2.0F;
        q = {(R[1] + R[3]) / s, s * 0.25F, (R[5] + R[7]) / s, (R[2] - R[6]) / s};
    } else {
        const float s = narrowSqrt(((R[8] + 1.0F) - R[0]) - R[4]) * 2.0F;
        q = {(R[2] + R[6]) / s, (R[5] + R[7]) / s, s * 0.25F, (R[3] - R[1]) / s};
    }
    const float m = ((q.x * q.x + q.y * q.y) + q.z * q.z) + q.w * q.w;
    if (m != 1.0F) {
        const float scale = 1.0F / narrowSqrt(m);
        q = {q.x * scale, q.y * scale, q.z * scale, q.w * scale};
    }
    return q;
}

void quaternionToEuler(const Quaternion& q, float (&e)[3]) {
    const double x = static_cast<double>(q.x);
    const double w = static_cast<double>(q.w);
    const double xx = static_cast<double>(q.x * q.x);
    const double yy = static_cast<double>(q.y * q.y);
    const double zz = static_cast<double>(q.z * q.z);
    const double ww = static_cast<double>(q.w * q.w);
    // The sine of the angle about y.
    const double t = 2.0 * static_cast<double>(q.y * q.w - q.z * q.x);
    constexpr double kSlack = 1e-6;
    constexpr auto kQuarterTurn = static_cast<float>(std::numbers::pi / 2.0);

    // Gimbal lock at t = 1 and -1: only one combination of the other two angles is determined, and
    // all of it goes to e[2].
    if (t + kSlack >= 1.0 && 1.0 >= t - kSlack) {
        e[0] = 0.0F;
        e[1] = kQuarterTurn;
        e[2] = static_cast<float>(-2.0 * static_cast<double>(static_cast<float>(std::atan2(x, w))));
        return;
    }
    if (t + kSlack >= -1.0 && -1.0 >= t - kSlack) {
        e[0] = 0.0F;
        e[1] = -kQuarterTurn;
        e[2] = static_cast<float>(2.0 * static_cast<double>(static_cast<float>(std::atan2(x, w))));
        return;
    }
    const double sine0 = 2.0 * static_cast<double>(q.x * q.w + q.z * q.y);
    const double cosine0 = (zz - (yy + xx)) + ww;
    const double sine2 = 2.0 * static_cast<double>(q.y * q.x + q.z * q.w);
    const double cosine2 = ((xx - yy) - zz) + ww;
    e[0] = static_cast<float>(std::atan2(sine0, cosine0));
    e[1] = static_cast<float>(std::asin(std::clamp(t, -1.0, 1.0)));
    e[2] = static_cast<float>(std::atan2(sine2, cosine2));
}
