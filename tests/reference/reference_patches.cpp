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
    float XX = 0, XY = 0, XZ = 0, X1 = 0, YY = 0, YZ = 0, Y1 = 0, ZZ = 0, Z1 = 0, one = 0;
    ReferenceFloats s(8, 0.0F);
    for (std::size_t i = 0; i < u.size(); ++i) {
        XX = XX + X[i] * X[i];
        XY = XY + X[i] * Y[i];
        XZ = XZ + X[i] * Z[i];
        X1 = X1 + X[i];
        YY = YY + Y[i] * Y[i];
        YZ = YZ + Y[i] * Z[i];
        Y1 = Y1 + Y[i];
        ZZ = ZZ + Z[i] * Z[i];
        Z1 = Z1 + Z[i];
        one = one + 1.0F;
        s[0] = s[0] + u[i] * X[i];
        s[1] = s[1] + u[i] * Y[i];
        s[2] = s[2] + u[i] * Z[i];
        s[3] = s[3] + u[i];
        s[4] = s[4] + v[i] * X[i];
        s[5] = s[5] + v[i] * Y[i];
        s[6] = s[6] + v[i] * Z[i];
        s[7] = s[7] + v[i];
    }
    const float block[4][4] = {
        {XX, XY, XZ, X1}, {XY, YY, YZ, Y1}, {XZ, YZ, ZZ, Z1}, {X1, Y1, Z1, one}};
    ReferenceFloats A(64, 0.0F);
    for (std::size_t i = 0; i < 4; ++i) {
        for (std::size_t j = 0; j < 4; ++j) {
            A[8 * i + j] = block[i][j];
            A[8 * (i + 4) + j + 4] = block[i][j];
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
    double t = 2.0 * static_cast<double>(y * w - z * x);
    float e0, e1, e2;
    if (t + 1e-6 >= 1.0 && 1.0 >= t - 1e-6) {
        const float turn =
            static_cast<float>(std::atan2(static_cast<double>(x), static_cast<double>(w)));
        e0 = 0.0F;
        e1 = static_cast<float>(halfPi);
        e2 = static_cast<float>(-2.0 * static_cast<double>(turn));
    } else if (t + 1e-6 >= -1.0 && -1.0 >= t - 1e-6) {
        const float turn =
            static_cast<float>(std::atan2(static_cast<double>(x), static_cast<double>(w)));
        e0 = 0.0F;
        e1 = static_cast<float>(-halfPi);
        e2 = static_cast<float>(2.0 * static_cast<double>(turn));
    } else {
        e2 = static_cast<float>(
            std::atan2(2.0 * static_cast<double>(y * x + z * w), ((xx - yy) - zz) + ww));
        e0 = static_cast<float>(
            std::atan2(2.0 * static_cast<double>(x * w + z * y), (zz - (yy + xx)) + ww));
        if (t > 1.0) {
            t = 1.0;
        }
        if (t < -1.0) {
            t = -1.0;
        }
        e1 = static_cast<float>(std::asin(t));
    }
    return {e0, e1, e2};
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

ReferenceAlignment referenceAlignment(const LandmarkEntry& upper, const LandmarkEntry& lower,
                                      int canonicalEyeSpan, float imageEyeSpan) {
    const float x1 = upper.x, y1 = upper.y;
    const float x2 = lower.x, y2 = lower.y;
    const float S = imageEyeSpan;
    const float t = static_cast<float>(canonicalEyeSpan);
    const float dist = root((x1 - x2) * (x1 - x2) + (y1 - y2) * (y1 - y2));
    const float Q = ((t * dist) / S) + 60.0F;

    const float sx = x2 + x1;
    const float sy = y2 + y1;
    const float ss = (y2 * y2 + x2 * x2) + (y1 * y1 + x1 * x1);
    const float dA = (y2 * Q + x2 * 80.0F) + (y1 * 60.0F + x1 * 80.0F);
    const float dB = (x2 * Q - y2 * 80.0F) + (x1 * 60.0F - y1 * 80.0F);
    const float dC = (y2 * 80.0F - x2 * Q) + (y1 * 80.0F - x1 * 60.0F);
    const float tx = 160.0F;
    const float ty = 60.0F + Q;

    ReferenceAlignment result;
    result.Q = Q;
    const float D = ((ss * 2.0F) - sx * sx) - sy * sy;
    result.a = ((dA * 2.0F) - (sy * ty + sx * tx)) / D;
    result.b = ((sy * tx - sx * ty) + (dB * 2.0F)) / D;
    result.c = ((ss * tx - dA * sx) + dB * sy) / D;
    result.d = ((ss * ty - dA * sy) - dB * sx) / D;

    const float ss2 = ((Q * Q) + 6400.0F) + 10000.0F;
    const float D2 = ((ss2 * 2.0F) - 25600.0F) - ty * ty;
    result.A = ((dA * 2.0F) - (ty * sy + tx * sx)) / D2;
    result.B = ((ty * sx - tx * sy) + (dC * 2.0F)) / D2;
    result.C = ((ss2 * sx - dA * tx) + dC * ty) / D2;
    result.E = ((ss2 * sy - dA * ty) - dC * tx) / D2;
    return result;
}

// Only values strictly between -2^31 - 1 and 2^31 survive the cut; no float lies between the former
// and -2^31.
std::int32_t referenceTrunc(float value) {
    if (std::isnan(value) || value >= 2147483648.0F || value < -2147483648.0F) {
        return INT32_MIN;
    }
    return static_cast<std::int32_t>(value);
}

static int clamp(int value, int highest) {
    if (value < 0) {
        return 0;
    }
    return value > highest ? highest : value;
}

// Pixel (x, y) of a picture whose rows may run in either direction.
static const std::uint8_t* pixelOf(const ReferencePicture& picture, int x, int y) {
    return picture.bytes + static_cast<std::ptrdiff_t>(picture.stride) * y +
           static_cast<std::ptrdiff_t>(3) * x;
}

static int greyOf(const std::uint8_t* pixel) {
    return (601 * pixel[1] + 117 * pixel[0] + 306 * pixel[2]) / 1024;
}

ReferenceBytes referenceGrey(const std::uint8_t* image, int width, int height, int stride) {
    ReferenceBytes grey;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            grey.push_back(
                static_cast<std::uint8_t>(greyOf(pixelOf({image, width, height, stride}, x, y))));
        }
    }
    return grey;
}

// Column X, row Y of a canvas: one byte of grey, or blue, green and red.
static void canvasPixel(const ReferencePicture& picture, bool isColour,
                        const ReferenceAlignment& alignment, int X, int Y, std::uint8_t* bytes) {
    const float A = alignment.A, B = alignment.B, C = alignment.C, E = alignment.E;
    const float fX = static_cast<float>(X);
    const float fY = static_cast<float>(Y);
    const float sx = ((fX * A) - (fY * B)) + C;
    const float sy = ((fX * B) + (fY * A)) + E;
    const std::int32_t ix = referenceTrunc(sx);
    const std::int32_t iy = referenceTrunc(sy);
    const float fx = sx - static_cast<float>(ix);
    const float fy = sy - static_cast<float>(iy);
    const int cx = clamp(ix, picture.width - 2);
    const int cy = clamp(iy, picture.height - 2);
    const float wTR = (1.0F - fy) * fx;
    const float wTL = (1.0F - fx) * (1.0F - fy);
    const float wBL = (1.0F - fx) * fy;
    const float wBR = fy * fx;
    for (int channel = 0; channel < (isColour ? 3 : 1); ++channel) {
        const auto valueAt = [&](int x, int y) {
            const std::uint8_t* pixel = pixelOf(picture, x, y);
            return static_cast<float>(isColour ? pixel[channel] : greyOf(pixel));
        };
        const float pTL = valueAt(cx, cy);
        const float pTR = valueAt(cx + 1, cy);
        const float pBL = valueAt(cx, cy + 1);
        const float pBR = valueAt(cx + 1, cy + 1);
        const float v = ((((wTR * pTR) + (wTL * pTL)) + (wBL * pBL)) + (wBR * pBR)) + 0.5F;
        const auto low = static_cast<std::uint32_t>(referenceTrunc(v)) & 255U;
        bytes[channel] = static_cast<std::uint8_t>(low);
    }
}

ReferenceBytes referenceWarp(const ReferencePicture& picture, bool isColour,
                             const ReferenceAlignment& alignment) {
    const int channels = isColour ? 3 : 1;
    ReferenceBytes canvas(static_cast<std::size_t>(160 * 160 * channels));
    for (int Y = 0; Y < 160; ++Y) {
        for (int X = 0; X < 160; ++X) {
            const auto at = static_cast<std::size_t>((160 * Y + X) * channels);
            canvasPixel(picture, isColour, alignment, X, Y, &canvas[at]);
        }
    }
    return canvas;
}

static int cropRow(int patch, float py, int r) {
    const ReferencePatch& layout = kReferencePatches[patch];
    const float shift = static_cast<float>(layout.canonicalEyeSpan) * layout.shiftFactor;
    const float i = static_cast<float>(r - layout.size / 2);
    return clamp(referenceTrunc(((i + py) + shift) + 0.5F), 159);
}

static int cropColumn(int patch, float px, bool mirrored, int q) {
    const float j = static_cast<float>(q - kReferencePatches[patch].size / 2);
    const float across = mirrored ? px - j : j + px;
    return clamp(referenceTrunc(across + 0.5F), 159);
}

bool referenceInMargin(int patch, int r, int q) {
    const ReferencePatch& layout = kReferencePatches[patch];
    if (layout.sideMargin > 0) {
        return q < layout.sideMargin || q >= layout.size - layout.sideMargin;
    }
    if (layout.capMargin > 0) {
        return r < layout.capMargin || r >= layout.size - layout.capMargin;
    }
    return false;
}

// `pixelAt(column, row)` gives the bytes of a canvas pixel.
template <typename PixelAt>
static ReferenceFloats crop(const PixelAt& pixelAt, float px, float py, int patch, bool mirrored,
                            const float* mean) {
    const int size = kReferencePatches[patch].size;
    const int planes = kReferencePatches[patch].isColour ? 3 : 1;
    ReferenceFloats row(static_cast<std::size_t>(planes * size * size));
    for (int r = 0; r < size; ++r) {
        for (int q = 0; q < size; ++q) {
            const std::uint8_t* bytes =
                pixelAt(cropColumn(patch, px, mirrored, q), cropRow(patch, py, r));
            for (int plane = 0; plane < planes; ++plane) {
                // Planes run red, green, blue; bytes run blue, green, red.
                const float value = static_cast<float>(bytes[planes - 1 - plane]);
                const auto e = static_cast<std::size_t>((plane * size + r) * size + q);
                row[e] = referenceInMargin(patch, r, q) ? 0.0F : value - mean[e];
            }
        }
    }
    return row;
}

ReferenceFloats referenceCrop(const ReferenceBytes& canvas, float px, float py, int patch,
                              bool mirrored, const float* mean) {
    const int channels = kReferencePatches[patch].isColour ? 3 : 1;
    const auto pixelAt = [&](int X, int Y) {
        return &canvas[static_cast<std::size_t>((160 * Y + X) * channels)];
    };
    return crop(pixelAt, px, py, patch, mirrored, mean);
}

// Works out a canvas pixel whenever a crop asks for it, and so no more than the crops read.
ReferenceFloats referencePatch(const ReferencePicture& picture, const LandmarkRecord& record,
                               int patch, const float* mean) {
    const ReferencePatch& layout = kReferencePatches[patch];
    const std::vector<LandmarkEntry> kept = referenceKeptLandmarks(record);
    const ReferenceAlignment f = referenceAlignment(kept[6], kept[8], layout.canonicalEyeSpan,
                                                    referencePose(record).imageEyeSpan);
    std::uint8_t bytes[3];
    const auto pixelAt = [&](int X, int Y) {
        canvasPixel(picture, layout.isColour, f, X, Y, bytes);
        return bytes;
    };
    ReferenceFloats rows;
    for (const bool mirrored : {false, true}) {
        const int position = mirrored ? layout.secondCentre : layout.firstCentre;
        const LandmarkEntry& centre = kept[static_cast<std::size_t>(position)];
        const ReferenceFloats row =
            crop(pixelAt, ((f.a * centre.x) - (f.b * centre.y)) + f.c,
                 ((f.b * centre.x) + (f.a * centre.y)) + f.d, patch, mirrored, mean);
        rows.insert(rows.end(), row.begin(), row.end());
    }
    return rows;
}

std::vector<ReferenceFloats> referencePatches(const std::uint8_t* image, int width, int height,
                                              int stride, const LandmarkRecord& record,
                                              const float* meanImages) {
    std::vector<ReferenceFloats> patches;
    for (int patch = 0; patch < 25; ++patch) {
        patches.push_back(referencePatch({image, width, height, stride}, record, patch,
                                         meanImages + std::ptrdiff_t{9075} * patch));
    }
    return patches;
}
