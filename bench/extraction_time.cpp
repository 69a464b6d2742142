// The time of one extraction as a host sees it: the sample portrait, through the public header.
//
//   zomu_extraction_time RUNS
//
// Prints the median in milliseconds. The size of the team is OMP_NUM_THREADS.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "landmark_file.h"
#include "picture_file.h"
#include "zomu.h"

int main(int argc, char** argv) {
    const int runs = argc == 2 ? std::atoi(argv[1]) : 0;
    if (runs < 1) {
        std::fputs("usage: zomu_extraction_time RUNS\n", stderr);
        return 2;
    }
    Picture picture;
    LandmarkRecord landmarks;
    Problem problem;
    if (!readPicture(ZOMU_PORTRAIT ".png", &picture, &problem) ||
        !readLandmarks(ZOMU_PORTRAIT ".csv", &landmarks, &problem)) {
        std::fprintf(stderr, "the sample portrait %s\n", problem.text);
        return 1;
    }
    ZomuContext* context = ZomuCreate();
    FaceTemplate face;
    const auto extract = [&] {
        ZomuExtractTemplate(context, picture.pixels, picture.width, picture.height, picture.stride,
                            &landmarks, &face);
    };
    extract();  // allocates all buffers
    std::vector<double> milliseconds;
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        extract();
        const std::chrono::duration<double, std::milli> time =
            std::chrono::steady_clock::now() - start;
        milliseconds.push_back(time.count());
    }
    ZomuDestroy(context);
    freePicture(&picture);
    const auto middle = milliseconds.begin() + runs / 2;
    std::nth_element(milliseconds.begin(), middle, milliseconds.end());
    std::printf("%.2f\n", *middle);
    return std::isfinite(face.projectionNorm) ? 0 : 1;
}
