// What the scenarios of the host program share.
#ifndef ZOMU_TESTS_LIBRARY_HOST_HOST_H
#define ZOMU_TESTS_LIBRARY_HOST_HOST_H

#include <cstddef>
#include <cstring>
#include <iterator>
#include <numeric>
#include <string>
#include <vector>

#include "library/host/library.h"
#include "library/host/scene.h"

// One run: how the program was called, and the floats that it will have written in the end.
struct Host {
    std::string path;  // of the library; that of the one for batches is the first argument
    std::vector<std::string> arguments;
    std::vector<float> results;

    int number(std::size_t argument) const { return std::stoi(arguments.at(argument)); }

    void keep(float value) { results.push_back(value); }

    void keep(const FaceTemplate& face) {
        float values[sizeof face / sizeof(float)];
        std::memcpy(values, &face, sizeof face);
        results.insert(results.end(), std::begin(values), std::end(values));
    }
};

// A template that must stay as it is, or be overwritten: each value is its own index.
inline FaceTemplate numberedTemplate() {
    float values[sizeof(FaceTemplate) / sizeof(float)];
    std::iota(std::begin(values), std::end(values), 0.0F);
    FaceTemplate face;
    std::memcpy(&face, values, sizeof face);
    return face;
}

class Context {
  public:
    explicit Context(const Library& opened) : library(opened), context(opened.create()) {}
    ~Context() { library.destroy(context); }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    FaceTemplate extract(const Scene& scene) const {
        const Picture& picture = scene.picture;
        FaceTemplate face;
        library.extract(context, picture.topRow(), picture.width, picture.height, picture.stride,
                        &scene.record, &face);
        return face;
    }

    ZomuContext* get() const { return context; }

  private:
    const Library& library;
    ZomuContext* context;
};

struct Scenario {
    const char* name;
    void (*run)(Host& host);
};

// The scenarios of each file; a null name ends the list.
extern const Scenario kLifecycleScenarios[];
extern const Scenario kArgumentScenarios[];
extern const Scenario kThreadScenarios[];
extern const Scenario kLimitScenarios[];    // not on Windows
extern const Scenario kProcessScenarios[];  // not on Windows
extern const Scenario kOutputScenarios[];   // not on Windows
extern const Scenario kRoundScenarios[];    // not on Windows
extern const Scenario kBatchScenarios[];

#endif
