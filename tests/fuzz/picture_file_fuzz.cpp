// Picture files of any contents. Every pixel of what is accepted can be read, and comes back from
// the PNG that is written of it; what is refused leaves no picture and a reason of one line.
//
// Under the address sanitizer requests of more than 24 MB fail, so that a short file of a large
// picture takes no seconds: the reader has to say that it does not fit.
#include "picture_file.h"

#include <cstring>
#include <string>

#include "fuzz/fuzz_problem.h"
#include "fuzz/fuzz_target.h"
#include "fuzz/memory_file.h"
#include "support/temporary_folder.h"

extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
const char* __asan_default_options() {
    return "allocator_may_return_null=1:max_allocation_size_mb=24";
}

namespace {

void checkWayBack(const Picture& picture) {
    static const TemporaryFolder folder;
    static const std::string path = folder.prefix() + "written.png";
    Problem problem;
    REQUIRE(writePng(path.c_str(), &picture, &problem));
    Picture again;
    REQUIRE(readPicture(path.c_str(), &again, &problem));
    REQUIRE(again.width == picture.width && again.height == picture.height);
    REQUIRE(again.stride == picture.stride);
    REQUIRE(std::memcmp(again.pixels, picture.pixels,
                        static_cast<std::size_t>(picture.stride) *
                            static_cast<std::size_t>(picture.height)) == 0);
    freePicture(&again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const MemoryFile file;
    file.hold(data, size);
    Picture picture;
    Problem problem;
    std::memset(&problem, 'x', sizeof problem);
    if (readPicture(file.path().c_str(), &picture, &problem)) {
        REQUIRE(picture.width > 0 && picture.height > 0 && picture.stride == 3 * picture.width);
        if (static_cast<std::int64_t>(picture.width) * picture.height <= 4096) {
            checkWayBack(picture);
        }
    } else {
        checkReason(problem);
        REQUIRE(picture.pixels == nullptr && picture.width == 0 && picture.height == 0);
    }
    freePicture(&picture);
    return 0;
}
