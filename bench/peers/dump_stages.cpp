// dump_stages: one extraction, stage by stage. Writes the data between stages to raw float files,
// from which another implementation can start, and prints the time of each stage.
//
// The model is that of the temporary directory, as for the library. Files in OUTDIR:
//   picture.bgr                    the picture's bytes, rows packed
//   alignment.csv                  one line for each patch: transform, centres, layout
//   patch-01.f32, output-01.f32    patch matrix and network output of each network
//   template.f32                   the template
//   ours-T.json                    medians in milliseconds with T threads
#include <cblas.h>
#include <omp.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_line/command_line.h"
#include "model/model_tables.h"
#include "network/conv_net.h"
#include "patches/face_patches.h"
#include "patches/head_pose.h"
#include "patches/landmarks.h"
#include "patches/patch_layout.h"
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

struct Request {
    std::string picture;
    std::string landmarks;
    std::string folder;
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

// An output file. Closing it is part of writing it: that is when a full disk shows.
class OutputFile {
  public:
    explicit OutputFile(const fs::path& file) : path(file.string()) {
        stream = std::fopen(path.c_str(), "wb");
        if (stream == nullptr) {
            throw std::runtime_error(path + ": cannot be written");
        }
    }
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile() {
        if (stream != nullptr) {
            std::fclose(stream);
        }
    }

    std::FILE* get() { return stream; }

    void close() {
        const bool failed = std::ferror(stream) != 0;
        const bool unfinished = std::fclose(stream) != 0;
        stream = nullptr;
        if (failed || unfinished) {
            throw std::runtime_error(path + ": cannot be written");
        }
    }

  private:
    std::string path;
    std::FILE* stream;
};

void writeBytes(const fs::path& path, const void* bytes, std::size_t count) {
    OutputFile file(path);
    std::fwrite(bytes, 1, count, file.get());
    file.close();
}

std::string numbered(const char* stem, int number) {
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), "%s-%02d.f32", stem, number);
    return name.data();
}

void writeMatrix(const fs::path& path, const Matrix& matrix) {
    writeBytes(path, matrix.data, static_cast<std::size_t>(matrix.numElements) * sizeof(float));
}

// What a peer needs to cut the same patches with its own tools.
void writeAlignment(const fs::path& path, const FacePicture& face) {
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

// The three stages, each of which starts from the result of the one before it.
class Stages {
  public:
    explicit Stages(const FacePicture& facePicture)
        : face(facePicture),
          image{face.picture.pixels.data(), face.picture.width, face.picture.height,
                3 * face.picture.width},
          context(modelDir) {}

    void cutPatches() {
        patches = cutFacePatches(canvases, g_modelTables.meanImages, image, face.landmarks);
    }

    // The networks alone, on a team like that of an extraction.
    void runNetworks() {
        MatrixList pointers;
        for (const auto& patch : patches) {
            pointers.push_back(patch.get());
        }
#pragma omp parallel for schedule(static)
        for (int k = 0; k < kNetCount; ++k) {
            outputs[static_cast<std::size_t>(k)] =
                runNet(*context.nets[static_cast<std::size_t>(k)], pointers);
        }
    }

    // From the networks' outputs to the template: unit length, feature mean, both projections.
    void project() {
        const auto features = std::make_unique_for_overwrite<float[]>(kFeatureCount);
        for (int k = 0; k < kNetCount; ++k) {
            storeNetworkOutput(*outputs[static_cast<std::size_t>(k)],
                               features.get() + static_cast<std::ptrdiff_t>(k) * kOutputValues);
        }
        subtractFeatureMean(g_modelTables.featureMean, features.get());
        projectFeatures(*context.kernels, g_modelTables, features.get(), stagedTemplate);
    }

    void extract() {
        extractTemplate(context, g_modelTables, image.bytes, image.width, image.height,
                        image.stride, face.landmarks, wholeTemplate);
    }

    // The stages above must be those of an extraction, or their times would mean nothing.
    void requireSameTemplates() const {
        if (std::memcmp(&stagedTemplate, &wholeTemplate, sizeof stagedTemplate) != 0) {
            throw std::runtime_error("the stages do not give the template of an extraction");
        }
        if (!std::isfinite(wholeTemplate.projectionNorm)) {
            throw std::runtime_error(std::string(modelDir) + ": does not give a finite template");
        }
    }

    void write(const fs::path& folder) const {
        for (int k = 0; k < kNetCount; ++k) {
            const auto index = static_cast<std::size_t>(k);
            writeMatrix(folder / numbered("patch", k + 1), *patches[index]);
            writeMatrix(folder / numbered("output", k + 1), *outputs[index]);
        }
        writeBytes(folder / "template.f32", &wholeTemplate, sizeof wholeTemplate);
    }

  private:
    const FacePicture& face;
    SourceImage image;
    ZomuContext context;
    PatchList patches;
    std::array<const Matrix*, kNetCount> outputs{};
    FaceTemplate stagedTemplate{};
    FaceTemplate wholeTemplate{};
};

void writeTime(std::FILE* file, const char* stage, const Times& times, const char* end) {
    std::printf("%-12s %9.3f   (10 %%: %.3f, 90 %%: %.3f)\n", stage, times.median, times.low,
                times.high);
    std::fprintf(file, R"(  "%s": {"median": %.6f, "low": %.6f, "high": %.6f}%s)", stage,
                 times.median, times.low, times.high, end);
}

void dumpAndTime(const Request& request) {
    omp_set_num_threads(request.threads);
    attachLibrary();
    const FacePicture face = loadFacePicture(request.picture, request.landmarks);
    const char* refusal = whyTemplateIsRefused(face.picture.pixels.data(), face.picture.width,
                                               face.picture.height, &face.landmarks);
    if (refusal != nullptr) {
        throw std::runtime_error(request.picture + ": " + refusal);
    }

    Stages stages(face);
    stages.cutPatches();
    stages.runNetworks();
    stages.project();
    stages.extract();
    stages.requireSameTemplates();

    const fs::path folder = request.folder;
    createFolder(request.folder);
    writeBytes(folder / "picture.bgr", face.picture.pixels.data(), face.picture.pixels.size());
    writeAlignment(folder / "alignment.csv", face);
    stages.write(folder);

    std::printf("%d thread(s), medians of %d runs in ms\n", request.threads, request.runs);
    OutputFile file(folder / ("ours-" + std::to_string(request.threads) + ".json"));
    std::fprintf(file.get(), "{\n  \"threads\": %d,\n  \"runs\": %d,\n", request.threads,
                 request.runs);
    std::fprintf(file.get(), "  \"compiler\": \"%s\",\n  \"blas\": \"%s\",\n", kCompiler,
                 openblas_get_config());
    const int runs = request.runs;
    writeTime(file.get(), "patches", timeStage(runs, [&] { stages.cutPatches(); }), ",\n");
    writeTime(file.get(), "networks", timeStage(runs, [&] { stages.runNetworks(); }), ",\n");
    writeTime(file.get(), "projection", timeStage(runs, [&] { stages.project(); }), ",\n");
    writeTime(file.get(), "whole", timeStage(runs, [&] { stages.extract(); }), "\n}\n");
    file.close();
}

}  // namespace

int main(int argc, char** argv) {
    Request request;
    std::uint64_t threads = 1;
    std::uint64_t runs = static_cast<std::uint64_t>(request.runs);
    return runTool(
        "dump_stages", "Writes and times the stages of one extraction.", argc, argv,
        [&](Command& tool) {
            tool.addArgument("PICTURE", request.picture, "PNG or JPEG file");
            tool.addArgument("LANDMARKS", request.landmarks, "CSV file with id,x,y");
            tool.addArgument("OUTDIR", request.folder, "folder for the files, created if missing");
            tool.addOption("--threads", threads, "size of the OpenMP team, 1 to 1024");
            tool.addOption("--runs", runs, "timed runs of each stage, 1 to 1000000");
        },
        [&] {
            if (threads < 1 || threads > 1024 || runs < 1 || runs > 1000000) {
                throw std::runtime_error("--threads or --runs is out of range");
            }
            request.threads = static_cast<int>(threads);
            request.runs = static_cast<int>(runs);
            dumpAndTime(request);
        });
}
