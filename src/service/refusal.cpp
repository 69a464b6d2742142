#include "service/refusal.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "platform/host_output.h"
#include "service/extraction.h"

bool refuseRequest(const std::uint8_t* image, std::int32_t width, std::int32_t height,
                   const LandmarkRecord* landmarks, RecordCopy& copy, FaceTemplate& templateOut) {
    const char* reason = whyTemplateIsRefused(image, width, height, landmarks, copy);
    if (reason == nullptr) {
        return false;
    }
    printLine("template refused: ", reason);
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    std::fill(std::begin(templateOut.projection), std::end(templateOut.projection), kNaN);
    templateOut.quadraticTerm = kNaN;
    templateOut.projectionNorm = kNaN;
    return true;
}
