// A host whose memory runs short while it opens the library, and which has enough again afterwards.
//
//   zomu_starved_host LIBRARY RESULTS FIRST once|on
//
// Lets request FIRST (0: none) of the opening fail, or that one and all after it. RESULTS receives
// the number of requests as a float, then the 502 floats of a template made by a new context.
// The exit status is 3 where the library could not be opened or an exception came out.
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "library/host/host.h"
#include "support/failing_allocator.h"
#include "support/model_folder.h"
#include "support/program.h"

static std::unique_ptr<Library> openStarved(const char* path, long first, Failing kind) {
    // Before memory is short: what the host needs for itself, and the loader to find its way.
    void* room = ::operator new(sizeof(Library));
    const std::string name = path;
    failAllocations(first, kind);
    try {
        return std::unique_ptr<Library>(new (room) Library(name));
    } catch (...) {
        stopFailing();
        ::operator delete(room);
        throw;
    }
}

int main(int argc, char** argv) {
    if (argc != 5) {
        return wrongUsage("zomu_starved_host LIBRARY RESULTS FIRST once|on");
    }
    return runProgram("zomu_starved_host", 3, [&] {
        const Failing kind =
            std::strcmp(argv[4], "once") == 0 ? Failing::once : Failing::fromThenOn;
        const auto library = openStarved(argv[1], std::stol(argv[3]), kind);
        Host host{};
        host.keep(static_cast<float>(stopFailing()));
        const Context context(*library);
        host.keep(context.extract(scene(0)));
        writeFloats(argv[2], host.results);
        return 0;
    });
}
