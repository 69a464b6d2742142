#include "dump_files.h"

#include <array>
#include <cstdint>
#include <stdexcept>

#include "patches/face_patches.h"
#include "patches/head_pose.h"
#include "patches/landmarks.h"
#include "patches/patch_layout.h"

OutputFile::OutputFile(const std::filesystem::path& file)
    : path(file.string()), stream(std::fopen(path.c_str(), "wb")) {
    if (stream == nullptr) {
        throw std::runtime_error(path + ": cannot be written");
    }
}

OutputFile::~OutputFile() {
    if (stream != nullptr) {
        std::fclose(stream);
    }
}

void OutputFile::close() {
    const bool failed = std::ferror(stream) != 0;
    const bool unfinished = std::fclose(stream) != 0;
    stream = nullptr;
    if (failed || unfinished) {
        throw std::runtime_error(path + ": cannot be written");
    }
}

void writeBytes(const std::filesystem::path& path, const void* bytes, std::size_t count) {
    OutputFile file(path);
    std::fwrite(bytes, 1, count, file.get());
    file.close();
}

std::string numbered(const char* stem, int number) {
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), "%s-%02d.f32", stem, number);
    return name.data();
}

void writeAlignment(const std::filesystem::path& path, const FacePicture& face) {
    float roll;
    float yaw;
    float pitch;
    const float imageEyeSpan = estimateFacePose(face.landmarks, roll, yaw, pitch);
    const KeptLandmarks keptLandmarks = selectKeptLandmarks(face.landmarks);
    const LandmarkEntry* kept = keptLandmarks.data();

    OutputFile file(path);
    std::fprintf(file.get(),
                 "patch,size,span,colour,A,B,C,E,firstX,firstY,secondX,secondY,shift,sideMargin,"
                 "capMargin,width,height\n");
    for (int k = 0; k < kPatchCount; ++k) {
        const std::int32_t span = kPatchLayout.canonicalEyeSpan[k];
        const PatchAlignment alignment =
            alignPatch(kept[kUpperAnchor], kept[kLowerAnchor], span, imageEyeSpan);
        const CanvasPoint first = toCanvas(alignment, kept[kPatchLayout.firstCentre[k]]);
        const CanvasPoint second = toCanvas(alignment, kept[kPatchLayout.secondCentre[k]]);
        std::fprintf(file.get(), "%d,%d,%d,%d", k + 1, kPatchLayout.size[k], span,
                     kPatchLayout.isColour[k]);
        for (const float value : {alignment.inverse.A, alignment.inverse.B, alignment.inverse.C,
                                  alignment.inverse.E, first.x, first.y, second.x, second.y,
                                  static_cast<float>(span) * kPatchLayout.shiftFactor[k]}) {
            std::fprintf(file.get(), ",%.9g", static_cast<double>(value));
        }
        std::fprintf(file.get(), ",%d,%d,%d,%d\n", kPatchLayout.sideMargin[k],
                     kPatchLayout.capMargin[k], face.picture.width, face.picture.height);
    }
    file.close();
}
