// Many faces in one call, beside the same faces one by one: both libraries in one process.
#include <algorithm>
#include <cfenv>
#include <memory>
#include <thread>
#include <vector>

#include "library/host/host.h"
#include "support/face_generator.h"
#include "support/start_line.h"

namespace {

using Requests = std::vector<ZomuBatchRequest>;
using Templates = std::vector<FaceTemplate>;

class BatchContext {
  public:
    explicit BatchContext(const BatchLibrary& opened) : library(opened), context(opened.create()) {}
    ~BatchContext() { library.destroy(context); }
    BatchContext(const BatchContext&) = delete;
    BatchContext& operator=(const BatchContext&) = delete;

    // One template for each request, whose own pointer is not used.
    Templates extract(Requests requests) const {
        Templates results(requests.size(), numberedTemplate());
        for (std::size_t i = 0; i < requests.size(); ++i) {
            requests[i].templateOut = &results[i];
        }
        library.extract(context, requests.data(), requests.size());
        return results;
    }

    ZomuBatchContext* get() const { return context; }

  private:
    const BatchLibrary& library;
    ZomuBatchContext* context;
};

std::vector<Scene> scenes(int count) {
    std::vector<Scene> result;
    for (int i = 0; i < count; ++i) {
        result.push_back(scene(i));
    }
    return result;
}

ZomuBatchRequest requestOf(const Scene& face) {
    const Picture& picture = face.picture;
    return {picture.topRow(), picture.width, picture.height, picture.stride, &face.record, nullptr};
}

Requests requestsOf(const std::vector<Scene>& faces) {
    Requests requests;
    for (const Scene& face : faces) {
        requests.push_back(requestOf(face));
    }
    return requests;
}

void keepAll(Host& host, const Templates& faces) {
    for (const FaceTemplate& face : faces) {
        host.keep(face);
    }
}

// What the library without batches makes of the same requests.
void keepSingly(Host& host, const Requests& requests) {
    const Library library(host.path);
    const Context context(library);
    for (const ZomuBatchRequest& request : requests) {
        FaceTemplate result = numberedTemplate();
        library.extract(context.get(), request.image, request.width, request.height, request.stride,
                        request.landmarks, &result);
        host.keep(result);
    }
}

// Batches of the sizes that the arguments name, one after another in one context, each of the first so
// many faces. Keeps the templates of single extractions, as many as the largest batch has, then those
// of each batch.
void extractBatches(Host& host) {
    int largest = 0;
    for (std::size_t i = 1; i < host.arguments.size(); ++i) {
        largest = std::max(largest, host.number(i));
    }
    const std::vector<Scene> faces = scenes(largest);
    const Requests requests = requestsOf(faces);
    keepSingly(host, requests);
    const BatchLibrary library(host.arguments.at(0));
    const BatchContext context(library);
    for (std::size_t i = 1; i < host.arguments.size(); ++i) {
        keepAll(host, context.extract({requests.begin(), requests.begin() + host.number(i)}));
    }
}

// As many faces, from seed 1 on, whose pictures and records stand between guards: one by one, then in
// one batch.
void extractBatchOfRandomFaces(Host& host) {
    std::vector<std::unique_ptr<FaceGenerator>> generators;
    Requests requests;
    for (int seed = 1; seed <= host.number(1); ++seed) {
        generators.push_back(std::make_unique<FaceGenerator>());
        Random random(static_cast<std::uint64_t>(seed));
        const auto& [image, record] = generators.back()->make(random);
        requests.push_back(
            {image.bytes, image.width, image.height, image.stride, &record, nullptr});
    }
    keepSingly(host, requests);
    const BatchLibrary library(host.arguments.at(0));
    keepAll(host, BatchContext(library).extract(requests));
}

// Calls that must neither read nor write; then a batch of 24 faces with five unusable requests between
// them and one without a template. Keeps what was not to be written, the 29 others, then the 24 faces
// one by one.
void passUnusableBatches(Host& host) {
    const BatchLibrary library(host.arguments.at(0));
    const BatchContext context(library);
    library.destroy(nullptr);
    GuardedPages forbidden(1);
    forbidden.forbid(forbidden.begin());
    const std::uint8_t* image = forbidden.begin();
    const auto* landmarks = reinterpret_cast<const LandmarkRecord*>(forbidden.begin());
    const auto* requests = reinterpret_cast<const ZomuBatchRequest*>(forbidden.begin());
    FaceTemplate untouched = numberedTemplate();
    const ZomuBatchRequest good = {image, 200, 100, 600, landmarks, &untouched};
    library.extract(nullptr, &good, 1);
    library.extract(nullptr, requests, 3);
    library.extract(context.get(), nullptr, 3);
    library.extract(context.get(), requests, 0);
    host.keep(untouched);

    const std::vector<Scene> faces = scenes(24);
    LandmarkRecord tooFew = faces[0].record;
    tooFew.count = 24;
    Requests batch = requestsOf(faces);
    batch.insert(batch.begin(), {nullptr, 200, 100, 600, landmarks, nullptr});
    batch.insert(batch.begin() + 5, {image, 1, 5, 3, landmarks, nullptr});
    batch.insert(batch.begin() + 6, {image, 200, 100, 600, nullptr, nullptr});
    batch.insert(batch.begin() + 17, {image, 200, 100, 600, &tooFew, nullptr});
    batch.push_back({image, 200, -1, 600, landmarks, nullptr});
    Templates results(batch.size(), numberedTemplate());
    for (std::size_t i = 0; i < batch.size(); ++i) {
        batch[i].templateOut = &results[i];
    }
    batch.insert(batch.begin() + 11, {image, 200, 100, 600, landmarks, nullptr});
    library.extract(context.get(), batch.data(), batch.size());
    keepAll(host, results);
    keepSingly(host, requestsOf(faces));
}

// Two contexts at work at the same time. Keeps 20 templates one by one, then those of each context.
void extractBatchesOnThreads(Host& host) {
    const std::vector<Scene> faces = scenes(20);
    const Requests requests = requestsOf(faces);
    keepSingly(host, requests);
    const BatchLibrary library(host.arguments.at(0));
    StartLine start(2);
    Templates results[2];
    std::vector<std::thread> threads;
    for (Templates& result : results) {
        threads.emplace_back([&] {
            start.arriveAndWait();
            const BatchContext context(library);
            context.extract({requests.begin(), requests.begin() + 3});
            result = context.extract(requests);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    keepAll(host, results[0]);
    keepAll(host, results[1]);
}

// Keeps 3 templates one by one, those of a host that rounds upwards, and 1 if it still does then.
void extractBatchInHostMode(Host& host) {
    const std::vector<Scene> faces = scenes(3);
    const Requests requests = requestsOf(faces);
    keepSingly(host, requests);
    const BatchLibrary library(host.arguments.at(0));
    std::fesetround(FE_UPWARD);
    const Templates results = BatchContext(library).extract(requests);
    const bool isLeft = std::fegetround() == FE_UPWARD;
    std::fesetround(FE_TONEAREST);
    keepAll(host, results);
    host.keep(isLeft ? 1.0F : 0.0F);
}

// Opens the library for batches, extracts one face and closes it again, twice.
void reloadBatchLibrary(Host& host) {
    const std::vector<Scene> faces = scenes(1);
    for (int i = 0; i < 2; ++i) {
        const BatchLibrary library(host.arguments.at(0));
        keepAll(host, BatchContext(library).extract(requestsOf(faces)));
    }
}

// A context outlives the library as the host sees it. Keeps a template from before and one from after.
void closeBatchLibraryWhileUsed(Host& host) {
    const Scene face = scene(0);
    Templates results(1);
    ZomuBatchRequest request = requestOf(face);
    request.templateOut = results.data();
    auto library = std::make_unique<BatchLibrary>(host.arguments.at(0));
    const auto extract = library->extract;
    const auto destroy = library->destroy;
    ZomuBatchContext* const context = library->create();
    for (int i = 0; i < 2; ++i) {
        extract(context, &request, 1);
        keepAll(host, results);
        library.reset();
    }
    destroy(context);
}

}  // namespace

const Scenario kBatchScenarios[] = {
    {"extract-batches", extractBatches},
    {"extract-batch-of-random-faces", extractBatchOfRandomFaces},
    {"pass-unusable-batches", passUnusableBatches},
    {"extract-batches-on-threads", extractBatchesOnThreads},
    {"extract-batch-in-host-mode", extractBatchInHostMode},
    {"reload-batch-library", reloadBatchLibrary},
    {"close-batch-library-while-used", closeBatchLibraryWhileUsed},
    {nullptr, nullptr},
};
