// Filters that differ from position to position, once more: straight from the definition, with
// nothing unfolded. Every product and every sum is rounded to float, in the order of a filter's
// elements.
#ifndef ZOMU_TESTS_REFERENCE_REFERENCE_LOCAL_H
#define ZOMU_TESTS_REFERENCE_REFERENCE_LOCAL_H

#include <vector>

struct ReferenceLocal {
    int images = 0;
    int channels = 0;
    int height = 0;
    int width = 0;
    int filters = 0;
    int k = 0;  // side of a filter
    int padding = 0;
    int stride = 0;

    int outH() const { return (height + 2 * padding - k) / stride + 1; }
    int outW() const { return (width + 2 * padding - k) / stride + 1; }
    int modules() const { return outH() * outW(); }
    int filterElements() const { return channels * k * k; }
    int imageElements() const { return channels * height * width; }
};

// The sums without biases, image by image, filter by filter, module by module. `pixels` holds
// planes x height x width for each image; `bank` holds modules x planes x k x k for each filter.
inline std::vector<float> referenceLocalSums(const ReferenceLocal& c, const float* pixels,
                                             const float* bank) {
    std::vector<float> sums;
    for (int n = 0; n < c.images; ++n) {
        for (int f = 0; f < c.filters; ++f) {
            for (int m = 0; m < c.modules(); ++m) {
                const int top = m / c.outW() * c.stride - c.padding;
                const int left = m % c.outW() * c.stride - c.padding;
                const float* filter = bank + (f * c.modules() + m) * c.filterElements();
                float sum = 0;
                for (int plane = 0; plane < c.channels; ++plane) {
                    for (int dy = 0; dy < c.k; ++dy) {
                        for (int dx = 0; dx < c.k; ++dx) {
                            const int y = top + dy;
                            const int x = left + dx;
                            const bool isInside = 0 <= y && y < c.height && 0 <= x && x < c.width;
                            const float pixel =
                                isInside
                                    ? pixels[((n * c.channels + plane) * c.height + y) * c.width +
                                             x]
                                    : 0.0F;
                            const float product = pixel * filter[(plane * c.k + dy) * c.k + dx];
                            sum = sum + product;
                        }
                    }
                }
                sums.push_back(sum);
            }
        }
    }
    return sums;
}

#endif
