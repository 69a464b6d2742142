// Any picture and any record through the patch stage, beside the reference. Each input names one
// patch and goes through every step of the stage for that one; one input in 128, and every stored
// one, goes through the whole stage, which takes as long as all the others together.
#include <string>

#include "fuzz/fuzz_target.h"
#include "support/face_generator.h"
#include "support/patch_stage_check.h"

static void require(const std::string& difference) {
    std::fputs(difference.c_str(), stderr);
    REQUIRE(difference.empty());
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static FaceGenerator faces;
    static PatchStage stage;
    Random input(data, size);
    const int patch = input.between(0, 24);
    const Face face = faces.make(input);
    require(stage.checkOnePatch(face, patch));
    if (isChosen(data, size, 128)) {
        require(stage.check(face));
    }
    return 0;
}
