// The alignment and the pixels of reference_patches.h.
#include "reference/reference_patches.h"

#include <cfloat>
#include <cmath>
#include <cstddef>

#include "reference/reference_tables.h"

static_assert(FLT_EVAL_METHOD == 0, "a float operation must round to float");

static float root(float value) {
    return static_cast<float>(std::sqrt(static_cast<double>(value)));
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
static std::int32_t truncated(float value) {
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
    const std::int32_t ix = truncated(sx);
    const std::int32_t iy = truncated(sy);
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
        const auto low = static_cast<std::uint32_t>(truncated(v)) & 255U;
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
    return clamp(truncated(((i + py) + shift) + 0.5F), 159);
}

static int cropColumn(int patch, float px, bool mirrored, int q) {
    const float j = static_cast<float>(q - kReferencePatches[patch].size / 2);
    const float across = mirrored ? px - j : j + px;
    return clamp(truncated(across + 0.5F), 159);
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
