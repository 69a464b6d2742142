// dump_stages: one extraction, stage by stage. Writes the data between stages to raw float files,
// from which another implementation can start, and prints the time of each stage.
//
// The model is that of the temporary directory, as for the library. Files in OUTDIR:
//   picture.bgr                    the picture's bytes, rows packed
//   alignment.csv                  one line for each patch: transform, centres, layout
//   patch-01.f32, output-01.f32    patch matrix and network output of each network
//   template.f32                   the template
//   ours-T.json                    medians in milliseconds with T threads, by instruction set
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_line/command_line.h"
#include "dump_files.h"
#include "model/model_tables.h"
#include "network/conv_net.h"
#include "service/attach.h"
#include "service/context.h"
#include "service/extraction.h"
#include "sheets/face_picture.h"
#include "template/template_arithmetic.h"

namespace {

namespace fs = std::filesystem;

#if defined(__clang__)
constexpr char kCompiler[] = __VERSION__;
#else
constexpr char kCompiler[] = "GCC " __VERSION__;
#endif

struct Options {
    std::string picture;
    std::string landmarks;
    std::string folder;
    std::string kernels = "all";
    int threads = 1;
    int runs = 200;
};

// Milliseconds; low and high are the 10th and the 90th percentile of the runs.
struct Times {
    double median, low, high;
};

template <typename Stage>
Times timeStage(int runs, Stage stage) {
    using Clock = std::chrono::steady_clock;
    for (int i = 0; i < runs / 10 + 1; ++i) {
        stage();
    }
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const Clock::time_point start = Clock::now();
        stage();
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times[times.size() / 10], times[times.size() * 9 / 10]};
}

// The three stages, each of which starts from the result of the one before it.
class Stages {
  public:
    Stages(const FacePicture& face, int threads)
        : context(modelDir, threads),
          request{{face.picture.pixels.data(), face.picture.width, face.picture.height,
                   3 * face.picture.width},
                  &face.landmarks,
                  &stagedTemplate} {}

    void use(const Kernels& kernels) {
        context.kernels = &kernels;
        cutPatches();
        fetchOutputs();
        project();
        extract();
        requireSameTemplates();
    }

    void cutPatches() { ::cutPatches(context, g_modelTables.meanImages, {&request, 1}); }

    // Including the scaling of their outputs to unit length, as in an extraction.
    void runNetworks() { ::runNetworks(context, 1, context.features.data()); }

    // From the networks' outputs to the template: unit length, feature mean, both projections.
    void project() {
        for (std::size_t k = 0; k < kNetCount; ++k) {
            storeNetworkOutput(outputs[k].values, &context.features[k * kOutputValues]);
        }
        subtractFeatureMean(g_modelTables.featureMean, context.features.data());
        projectFaces(context, g_modelTables, {&request, 1});
    }

    void extract() {
        FaceRequest whole = request;
        whole.templateOut = &wholeTemplate;
        extractTemplates(context, g_modelTables, {&whole, 1});
    }

    void write(const fs::path& folder) const {
        for (std::size_t k = 0; k < kNetCount; ++k) {
            const int number = static_cast<int>(k) + 1;
            const Matrix& patch = *context.work[0]->patches[k];
            writeBytes(folder / numbered("patch", number), patch.data,
                       static_cast<std::size_t>(patch.numElements) * sizeof(float));
            writeBytes(folder / numbered("output", number), &outputs[k], sizeof outputs[k]);
        }
        writeBytes(folder / "template.f32", &wholeTemplate, sizeof wholeTemplate);
    }

  private:
    struct Output {
        float values[kOutputValues];
    };

    // The networks' outputs as they were before the scaling.
    void fetchOutputs() {
        NetworkScratch& scratch = context.members[0]->network;
        for (std::size_t k = 0; k < kNetCount; ++k) {
            const NetworkWeights& weights = context.nets[k]->plan->weights;
            const Matrix& patch = *context.work[0]->patches[k];
            StageValues stages[2];
            for (int i = 0; i < 2; ++i) {
                context.kernels->runConvolutions(weights, patch.data + i * patch.numCols, {},
                                                 scratch, stages[i]);
            }
            float pair[2][kNetworkOutputs];
            context.kernels->runFullConnection(weights, stages, 1, pair);
            std::memcpy(outputs[k].values, pair, sizeof pair);
        }
    }

    // The stages must be those of an extraction, or their times would mean nothing.
    void requireSameTemplates() const {
        if (std::memcmp(&stagedTemplate, &wholeTemplate, sizeof stagedTemplate) != 0) {
            throw std::runtime_error("the stages do not give the template of an extraction");
        }
        if (!std::isfinite(wholeTemplate.projectionNorm)) {
            throw std::runtime_error(std::string(modelDir) + ": does not give a finite template");
        }
    }

    ZomuContext context;
    FaceRequest request;
    std::vector<Output> outputs = std::vector<Output>(kNetCount);
    FaceTemplate stagedTemplate{};
    FaceTemplate wholeTemplate{};
};

// Those with networks, or the one that the options name.
std::vector<const Kernels*> wantedKernels(const std::string& name) {
    std::vector<const Kernels*> wanted;
    for (const Kernels* kernels : runnableKernels()) {
        if (kernels->runConvolutions != nullptr && (name == "all" || name == kernels->name)) {
            wanted.push_back(kernels);
        }
    }
    if (wanted.empty()) {
        throw std::runtime_error("this processor cannot run the networks with --kernels " + name);
    }
    return wanted;
}

void writeTime(std::FILE* file, const char* stage, const Times& times, const char* end) {
    std::printf("%-12s %9.3f   (10 %%: %.3f, 90 %%: %.3f)\n", stage, times.median, times.low,
                times.high);
    std::fprintf(file, R"(    "%s": {"median": %.6f, "low": %.6f, "high": %.6f}%s)", stage,
                 times.median, times.low, times.high, end);
}

void timeStages(Stages& stages, int runs, std::FILE* file) {
    writeTime(file, "patches", timeStage(runs, [&] { stages.cutPatches(); }), ",\n");
    writeTime(file, "networks", timeStage(runs, [&] { stages.runNetworks(); }), ",\n");
    writeTime(file, "projection", timeStage(runs, [&] { stages.project(); }), ",\n");
    writeTime(file, "whole", timeStage(runs, [&] { stages.extract(); }), "\n");
}

void dumpAndTime(const Options& options) {
    attachLibrary();
    const FacePicture face = loadFacePicture(options.picture, options.landmarks);
    RecordCopy copy;
    const char* refusal = whyTemplateIsRefused(face.picture.pixels.data(), face.picture.width,
                                               face.picture.height, &face.landmarks, copy);
    if (refusal != nullptr) {
        throw std::runtime_error(options.picture + ": " + refusal);
    }

    const auto wanted = wantedKernels(options.kernels);
    Stages stages(face, options.threads);
    stages.use(*wanted.front());
    const fs::path folder = options.folder;
    createFolder(options.folder);
    writeBytes(folder / "picture.bgr", face.picture.pixels.data(), face.picture.pixels.size());
    writeAlignment(folder / "alignment.csv", face);
    stages.write(folder);

    OutputFile file(folder / ("ours-" + std::to_string(options.threads) + ".json"));
    std::fprintf(file.get(), "{\n  \"threads\": %d,\n  \"runs\": %d,\n  \"compiler\": \"%s\",\n",
                 options.threads, options.runs, kCompiler);
    std::fprintf(file.get(), "  \"kernels\": {\n");
    for (const Kernels* kernels : wanted) {
        std::printf("%s, %d thread(s), medians of %d runs in ms\n", kernels->name, options.threads,
                    options.runs);
        std::fprintf(file.get(), "  \"%s\": {\n", kernels->name);
        stages.use(*kernels);
        timeStages(stages, options.runs, file.get());
        std::fprintf(file.get(), kernels == wanted.back() ? "  }\n" : "  },\n");
    }
    std::fprintf(file.get(), "  }\n}\n");
    file.close();
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    std::uint64_t threads = 1;
    std::uint64_t runs = static_cast<std::uint64_t>(options.runs);
    return runTool(
        "dump_stages", "Writes and times the stages of one extraction.", argc, argv,
        [&](Command& tool) {
            tool.addArgument("PICTURE", options.picture, "PNG or JPEG file");
            tool.addArgument("LANDMARKS", options.landmarks, "CSV file with id,x,y");
            tool.addArgument("OUTDIR", options.folder, "folder for the files, created if missing");
            tool.addOption("--kernels", options.kernels, {"all", "AVX-512", "AVX2", "NEON"},
                           "instruction set to use");
            tool.addOption("--threads", threads, "size of the team, 1 to 25");
            tool.addOption("--runs", runs, "timed runs of each stage, 1 to 1000000");
        },
        [&] {
            if (threads < 1 || threads > kMostThreads || runs < 1 || runs > 1000000) {
                throw std::runtime_error("--threads or --runs is out of range");
            }
            options.threads = static_cast<int>(threads);
            options.runs = static_cast<int>(runs);
            dumpAndTime(options);
        });
}
