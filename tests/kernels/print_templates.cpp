// Prints the template of the sample portrait by the kernels of each instruction set that this processor
// has: a line with the set's name and the bits of the 502 values. scripts/check.sh aarch64 compares the
// lines of two processors. Sets without a fused multiply-add run the networks as layers, in the order of
// a BLAS, and are left out.
#include <bit>
#include <cstdint>
#include <cstdio>
#include <span>

#include "model/model_tables.h"
#include "service/attach.h"
#include "service/extraction.h"
#include "sheets/face_picture.h"
#include "support/program.h"

static constexpr std::size_t kValues = ZOMU_PROJECTION_SIZE + 2;

static void printTemplate(const Kernels& kernels, const FacePicture& face) {
    ZomuContext context(modelDir);
    context.kernels = &kernels;
    FaceTemplate result;
    extractTemplate(context, g_modelTables, face.picture.pixels.data(), face.picture.width,
                    face.picture.height, 3 * face.picture.width, face.landmarks, result);
    static_assert(sizeof result == kValues * sizeof(float));
    std::printf("%s", kernels.name);
    for (const float value : std::span(reinterpret_cast<const float*>(&result), kValues)) {
        std::printf(" %08x", unsigned{std::bit_cast<std::uint32_t>(value)});
    }
    std::printf("\n");
}

static int print() {
    attachLibrary();
    const FacePicture face =
        loadFacePicture(ZOMU_EXAMPLE_DATA "/portrait.png", ZOMU_EXAMPLE_DATA "/portrait.csv");
    for (const Kernels* kernels : runnableKernels()) {
        if (kernels->runConvolutions != nullptr) {
            printTemplate(*kernels, face);
        }
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}

int main() {
    return runProgram("print_templates", 1, print);
}
