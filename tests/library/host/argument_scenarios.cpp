// What a host may hand to an extraction: faces of every kind anywhere in memory, and arguments that
// no template can be made of.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <thread>

#include "library/host/host.h"
#include "reference/reference_patches.h"
#include "support/face_generator.h"

// Top down and packed.
static Picture copyOf(const SourceImage& image) {
    Picture copy(image.width, image.height);
    for (int y = 0; y < image.height; ++y) {
        std::copy_n(image.bytes + static_cast<std::ptrdiff_t>(y) * image.stride, 3 * image.width,
                    copy.pixel(0, y));
    }
    return copy;
}

static std::vector<std::uint8_t> copyOf(const LandmarkRecord& record) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&record);
    return {bytes, bytes + offsetof(LandmarkRecord, entries) +
                       static_cast<std::size_t>(record.count) * sizeof(LandmarkEntry)};
}

// As many faces, from seed 1 on, whose pictures and records stand between guards. Keeps the template
// of each and, where it is not refused, that of the same face in ordinary memory. Last a good one.
static void extractRandomFaces(Host& host) {
    const Library library(host.path);
    const Context context(library);
    FaceGenerator faces;
    for (int seed = 1; seed <= host.number(0); ++seed) {
        Random random(static_cast<std::uint64_t>(seed));
        const auto& [image, record] = faces.make(random);
        FaceTemplate result = numberedTemplate();
        library.extract(context.get(), image.bytes, image.width, image.height, image.stride,
                        &record, &result);
        host.keep(result);
        if (referenceRefusal(record) == nullptr) {
            const Picture picture = copyOf(image);
            const std::vector<std::uint8_t> landmarks = copyOf(record);
            library.extract(context.get(), picture.topRow(), picture.width, picture.height,
                            picture.stride,
                            reinterpret_cast<const LandmarkRecord*>(landmarks.data()), &result);
            host.keep(result);
        }
    }
    host.keep(context.extract(scene(0)));
}

// Nothing is read through a pointer where no template can be made. Keeps those of calls that are
// refused, then those of calls without a context, then a good one.
static void passWhatIsUnusable(Host& host) {
    const Library library(host.path);
    const Context context(library);
    library.destroy(nullptr);
    GuardedPages forbidden(1);
    forbidden.forbid(forbidden.begin());
    const std::uint8_t* image = forbidden.begin();
    const auto* landmarks = reinterpret_cast<const LandmarkRecord*>(forbidden.begin());

    const struct {
        const std::uint8_t* image;
        int width, height;
        const LandmarkRecord* landmarks;
        ZomuContext* context;
    } calls[] = {
        {nullptr, 200, 100, landmarks, context.get()}, {image, 1, 5, landmarks, context.get()},
        {image, 5, 1, landmarks, context.get()},       {image, 0, 0, landmarks, context.get()},
        {image, -200, -100, landmarks, context.get()}, {image, 200, 100, nullptr, context.get()},
        {image, 200, 100, landmarks, nullptr},         {nullptr, 0, 0, nullptr, nullptr},
    };
    for (const auto& call : calls) {
        FaceTemplate face = numberedTemplate();
        library.extract(call.context, call.image, call.width, call.height, 3 * call.width,
                        call.landmarks, &face);
        host.keep(face);
    }
    library.extract(context.get(), image, 200, 100, 600, landmarks, nullptr);
    library.extract(context.get(), nullptr, 0, 0, 0, nullptr, nullptr);
    host.keep(context.extract(scene(0)));
}

// While another thread writes 29 and a huge number to the record's count in turn, N extractions by each
// library (the other one's path is the second argument). There is one entry more, for which a huge count is
// refused, and nothing behind it. Keeps how many templates were refused, and how many were neither that
// nor the face's.
static void changeCountMeanwhile(Host& host) {
    const Library library(host.path);
    const BatchLibrary batches(host.arguments.at(1));
    const Context context(library);
    ZomuBatchContext* const batch = batches.create();
    const Scene face = scene(0);
    const FaceTemplate expected = context.extract(face);

    constexpr std::size_t kBytes = sizeof(LandmarkRecord) + sizeof(LandmarkEntry);
    GuardedPages room(kBytes);
    std::uint8_t* const start = room.end() - kBytes;
    std::memcpy(start, &face.record, sizeof face.record);
    std::memcpy(start + sizeof face.record, face.record.entries, sizeof(LandmarkEntry));
    auto* const record = reinterpret_cast<LandmarkRecord*>(start);
    std::atomic<bool> isOver = false;
    std::thread changing([&] {
        const std::atomic_ref<std::int32_t> count(record->count);
        while (!isOver) {
            count = std::numeric_limits<std::int32_t>::max();
            count = ZOMU_LANDMARK_COUNT;
        }
    });
    const Picture& picture = face.picture;
    int refused = 0;
    int wrong = 0;
    for (int i = 0; i < 2 * host.number(0); ++i) {
        FaceTemplate result = numberedTemplate();
        if (i % 2 == 0) {
            library.extract(context.get(), picture.topRow(), picture.width, picture.height,
                            picture.stride, record, &result);
        } else {
            const ZomuBatchRequest request = {picture.topRow(), picture.width, picture.height,
                                              picture.stride,   record,        &result};
            batches.extract(batch, &request, 1);
        }
        const bool isRefused = std::isnan(result.projectionNorm);
        refused += isRefused ? 1 : 0;
        wrong += isRefused || std::memcmp(&expected, &result, sizeof result) == 0 ? 0 : 1;
    }
    isOver = true;
    changing.join();
    batches.destroy(batch);
    host.keep(static_cast<float>(refused));
    host.keep(static_cast<float>(wrong));
}

const Scenario kArgumentScenarios[] = {
    {"extract-random-faces", extractRandomFaces},
    {"pass-what-is-unusable", passWhatIsUnusable},
    {"change-count-meanwhile", changeCountMeanwhile},
    {nullptr, nullptr},
};
