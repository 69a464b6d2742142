// The pose of reference_patches.h: which landmarks count, and the head that is fitted to them.
#include "reference/reference_patches.h"

#include <cfloat>
#include <cmath>
#include <cstddef>

#include "reference/reference_tables.h"

static_assert(FLT_EVAL_METHOD == 0, "a float operation must round to float");

static float root(float value) {
    return static_cast<float>(std::sqrt(static_cast<double>(value)));
}

// The model row of an id; ids without a landmark count as the first row.
static const ReferenceLandmark& modelOf(int id) {
    for (const ReferenceLandmark& landmark : kReferenceLandmarks) {
        if (landmark.id == id) {
            return landmark;
        }
    }
    return kReferenceLandmarks[0];
}

// Selection by repeated search for the next larger id, which needs no sort.
std::vector<LandmarkEntry> referenceKeptLandmarks(const LandmarkRecord& record) {
    const LandmarkEntry* entries = record.entries;
    std::vector<LandmarkEntry> kept;
    for (int id = 0; id <= 317; ++id) {
        if (id == 240 || id == 241 || id == 315 || id == 316) {
            continue;
        }
        for (int i = 0; i < record.count; ++i) {
            if (entries[i].id == id) {
                kept.push_back(entries[i]);
            }
        }
    }
    return kept;
}

const char* referenceRefusal(const LandmarkRecord& record) {
    if (record.count < 25) {
        return "fewer than 25 landmarks";
    }
    const LandmarkEntry* entries = record.entries;
    int kept = 0;
    for (int i = 0; i < record.count; ++i) {
        const int id = entries[i].id;
        if (id < 0 || id > 317) {
            return "a landmark id outside 0 to 317";
        }
        kept += id == 240 || id == 241 || id == 315 || id == 316 ? 0 : 1;
        if (kept == 26) {
            return "more than 25 landmarks besides the sides of the head";
        }
    }
    return kept == 25 ? nullptr : "fewer than 25 landmarks besides the sides of the head";
}

bool referenceSolve(ReferenceFloats& A, ReferenceFloats& g) {
    const auto at = [](std::size_t row, std::size_t column) { return 8 * row + column; };
    for (std::size_t i = 0; i < 8; ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            float t = A[at(i, j)];
            for (std::size_t k = 0; k < j; ++k) {
                t = t - A[at(i, k)] * A[at(j, k)];
            }
            A[at(i, j)] = A[at(j, j)] * t;
        }
        float t = A[at(i, i)];
        for (std::size_t k = 0; k < i; ++k) {
            t = t - A[at(i, k)] * A[at(i, k)];
        }
        if (t < 1.1754944e-38F) {
            return false;
        }
        A[at(i, i)] = 1.0F / root(t);
    }
    for (std::size_t i = 0; i < 8; ++i) {
        float t = g[i];
        for (std::size_t k = 0; k < i; ++k) {
            t = t - g[k] * A[at(i, k)];
        }
        g[i] = A[at(i, i)] * t;
    }
    for (std::size_t i = 8; i-- > 0;) {
        float t = g[i];
        for (std::size_t k = 7; k > i; --k) {
            t = t - g[k] * A[at(k, i)];
        }
        g[i] = A[at(i, i)] * t;
    }
    return true;
}

// Fills s0 to s7 of u = s0 X + s1 Y + s2 Z + s3 and v = s4 X + s5 Y + s6 Z + s7.
static ReferenceFloats affineCamera(const ReferenceFloats& u, const ReferenceFloats& v,
                                    const ReferenceFloats& X, const ReferenceFloats& Y,
                                    const ReferenceFloats& Z) {
    ReferenceFloats A(64, 0.0F);
    ReferenceFloats s(8, 0.0F);
    for (std::size_t n = 0; n < u.size(); ++n) {
        const float point[4] = {X[n], Y[n], Z[n], 1.0F};
        for (std::size_t i = 0; i < 4; ++i) {
            for (std::size_t j = 0; j < 4; ++j) {
                A[8 * i + j] = A[8 * i + j] + point[i] * point[j];
                A[8 * (i + 4) + j + 4] = A[8 * i + j];
            }
            s[i] = s[i] + u[n] * point[i];
            s[i + 4] = s[i + 4] + v[n] * point[i];
        }
    }
    // Where the system is singular the right-hand sides serve as the answer.
    referenceSolve(A, s);
    return s;
}

static float mean(const ReferenceFloats& values) {
    float sum = 0.0F;
    for (const float value : values) {
        sum = sum + value;
    }
    return sum / static_cast<float>(values.size());
}

static ReferenceFloats minus(const ReferenceFloats& values, float subtrahend) {
    ReferenceFloats result;
    for (const float value : values) {
        result.push_back(value - subtrahend);
    }
    return result;
}

static void fitPose(const ReferenceFloats& u, const ReferenceFloats& v, const ReferenceFloats& X,
                    const ReferenceFloats& Y, const ReferenceFloats& Z, ReferencePose& pose) {
    const float mu = mean(u), mv = mean(v), mX = mean(X), mY = mean(Y), mZ = mean(Z);
    const ReferenceFloats s =
        affineCamera(minus(u, mu), minus(v, mv), minus(X, mX), minus(Y, mY), minus(Z, mZ));

    const float aa = (s[0] * s[0] + s[1] * s[1]) + s[2] * s[2];
    const float bb = (s[4] * s[4] + s[5] * s[5]) + s[6] * s[6];
    const float ab = (s[4] * s[0] + s[5] * s[1]) + s[6] * s[2];
    const float P = bb * aa;
    const float G = ab * ab;
    const float r = root(P - G);
    const float W = (root(P) * r + P) - G;
    const float la = root(aa);
    const float lb = root(bb);
    const float c1 = ((lb * ab) * ab) / ((la * 2.0F) * W) + (la + lb) / (la * 2.0F);
    const float c2 = ab / (r * 2.0F);
    const float c3 = ((la * ab) * ab) / ((lb * 2.0F) * W) + (la + lb) / (lb * 2.0F);

    float* R = pose.R;
    for (std::size_t i = 0; i < 3; ++i) {
        R[i] = s[i] * c1 - s[4 + i] * c2;
        R[3 + i] = s[4 + i] * c3 - s[i] * c2;
    }
    const float k = root(R[2] * R[2] + (R[1] * R[1] + R[0] * R[0]));
    for (std::size_t i = 0; i < 6; ++i) {
        R[i] = R[i] / k;
    }
    R[6] = R[5] * R[1] - R[4] * R[2];
    R[7] = R[3] * R[2] - R[5] * R[0];
    R[8] = R[4] * R[0] - R[3] * R[1];

    pose.T[0] = mu - ((R[0] * mX + R[1] * mY) + R[2] * mZ) * k;
    pose.T[1] = mv - ((R[4] * mY + R[3] * mX) + R[5] * mZ) * k;
    pose.T[2] = -(((R[6] * mX + R[7] * mY) + R[8] * mZ) * k);
    pose.k = k;
}

static float degrees(float radians) {
    const float scaled = radians * 180.0F;
    return static_cast<float>(static_cast<double>(scaled) / 3.14159265358979323846);
}

ReferenceAngles referenceAngles(const float* R) {
    float x, y, z, w;
    const float p = ((R[4] + R[0]) + R[8]) + 1.0F;
    if (p > 0.0F) {
        const float s = root(p) * 2.0F;
        x = (R[7] - R[5]) / s;
        y = (R[2] - R[6]) / s;
        z = (R[3] - R[1]) / s;
        w = s * 0.25F;
    } else if (R[0] > R[4] && R[0] > R[8]) {
        const float s = root(((R[0] + 1.0F) - R[4]) - R[8]) * 2.0F;
        x = s * 0.25F;
        y = (R[1] + R[3]) / s;
        z = (R[2] + R[6]) / s;
        w = (R[7] - R[5]) / s;
    } else if (R[4] > R[8]) {
        const float s = root(((R[4] + 1.0F) - R[0]) - R[8]) * 2.0F;
        x = (R[1] + R[3]) / s;
        y = s * 0.25F;
        z = (R[5] + R[7]) / s;
        w = (R[2] - R[6]) / s;
    } else {
        const float s = root(((R[8] + 1.0F) - R[0]) - R[4]) * 2.0F;
        x = (R[2] + R[6]) / s;
        y = (R[5] + R[7]) / s;
        z = s * 0.25F;
        w = (R[3] - R[1]) / s;
    }
    const float m = ((x * x + y * y) + z * z) + w * w;
    if (m != 1.0F) {
        const float f = 1.0F / root(m);
        x = x * f;
        y = y * f;
        z = z * f;
        w = w * f;
    }

    const double halfPi = 3.14159265358979323846 / 2.0;
    const double xx = static_cast<double>(x * x);
    const double yy = static_cast<double>(y * y);
    const double zz = static_cast<double>(z * z);
    const double ww = static_cast<double>(w * w);
    const double sine = 2.0 * static_cast<double>(y * w - z * x);
    for (const double side : {1.0, -1.0}) {
        if (sine + 1e-6 >= side && side >= sine - 1e-6) {
            const auto turn =
                static_cast<float>(std::atan2(static_cast<double>(x), static_cast<double>(w)));
            return {0.0F, static_cast<float>(side * halfPi),
                    static_cast<float>(-2.0 * side * static_cast<double>(turn))};
        }
    }
    const double e0 = std::atan2(2.0 * static_cast<double>(x * w + z * y), (zz - (yy + xx)) + ww);
    const double e1 = std::asin(sine > 1.0 ? 1.0 : sine < -1.0 ? -1.0 : sine);
    const double e2 = std::atan2(2.0 * static_cast<double>(y * x + z * w), ((xx - yy) - zz) + ww);
    return {static_cast<float>(e0), static_cast<float>(e1), static_cast<float>(e2)};
}

ReferencePose referencePose(const LandmarkRecord& record) {
    const LandmarkEntry* entries = record.entries;
    ReferenceFloats u, v, X, Y, Z;
    for (int i = 0; i < record.count; ++i) {
        const ReferenceLandmark& model = modelOf(entries[i].id);
        u.push_back(entries[i].x);
        v.push_back(entries[i].y);
        X.push_back(model.X);
        Y.push_back(model.Y);
        Z.push_back(model.Z);
    }
    ReferencePose pose = {};
    fitPose(u, v, X, Y, Z, pose);
    const ReferenceAngles angles = referenceAngles(pose.R);
    pose.roll = degrees(angles.e2);
    pose.yaw = degrees(angles.e1);
    pose.pitch = degrees(angles.e0);
    pose.imageEyeSpan = pose.k * 6.2773F;
    return pose;
}
