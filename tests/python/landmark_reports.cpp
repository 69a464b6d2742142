// Prints what zomu_check.h says of each case of a table: the fault, its text, and the view near the face.
#include <cstdint>
#include <cstdio>

#include "zomu_check.h"

static const char* g_table = nullptr;
#define ZOMU_LANDMARK_CASES g_table
#include "check/landmark_cases.h"

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: landmark_reports TABLE\n", stderr);
        return 1;
    }
    g_table = arguments[1];
    const std::uint8_t pixels = 0;  // never read
    for (const LandmarkCase& one : landmarkCases()) {
        const auto block = one.block();
        const auto* record = reinterpret_cast<const LandmarkRecord*>(block.get());
        ZomuLandmarkReport report;
        ZomuCheckLandmarks(record, one.width, one.height, &report);
        ZomuFaceView view;
        ZomuNearFace(&pixels, one.width, one.height, 0, record, &view);
        std::printf("%s;%s;%d;%d;", ZomuLandmarkFaultName(report.fault), report.text, view.width,
                    view.height);
        if (report.fault == ZOMU_LANDMARKS_GOOD) {
            const LandmarkEntry& last = view.landmarks->entries[view.landmarks->count - 1];
            std::printf("%.9g %.9g", static_cast<double>(last.x), static_cast<double>(last.y));
        }
        std::puts("");
    }
    return 0;
}
