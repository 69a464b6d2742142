// zomu-patches: what training needs of the library's own stages. `cut` writes the patches of many
// photographs, `features` what the networks make of them.
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_line/command_line.h"
#include "manifest/manifest.h"
#include "manifest/npy_file.h"
#include "manifest/photo_walk.h"
#include "model/model_tables.h"
#include "network/net_texts.h"
#include "patches/face_patches.h"
#include "patches/patch_layout.h"
#include "service/attach.h"
#include "service/extraction.h"

namespace fs = std::filesystem;

namespace {

std::string numbered(const char* stem, int number, const char* end) {
    return std::string(stem) + (number < 10 ? "-0" : "-") + std::to_string(number) + end;
}

int planesOf(int patch) {
    return kPatchLayout.isColour[patch] != 0 ? 3 : 1;
}

void reportLine(const std::string& line) {
    std::fprintf(stderr, "zomu-patches: %s\n", line.c_str());
}

// The rows of the manifest that were used, with absolute paths.
class StoredRows {
  public:
    void add(const ManifestRow& row) {
        rows.push_back({row.person, fs::absolute(row.photo), fs::absolute(row.landmarks)});
    }

    void finish(const fs::path& folder, std::size_t wanted) const {
        if (rows.empty()) {
            throw std::runtime_error("none of the photographs could be used");
        }
        writeManifest(folder / "faces.csv", rows);
        std::printf("%zu photographs, %zu left out\n", rows.size(), wanted - rows.size());
    }

  private:
    std::vector<ManifestRow> rows;
};

std::vector<std::unique_ptr<ZomuContext>> contextsForTeam() {
    std::vector<std::unique_ptr<ZomuContext>> contexts;
    contexts.reserve(static_cast<std::size_t>(omp_get_max_threads()));
    for (int thread = 0; thread < omp_get_max_threads(); ++thread) {
        contexts.push_back(std::make_unique<ZomuContext>(modelDir, 1));
    }
    return contexts;
}

void writeDescriptions(const fs::path& folder) {
    for (int k = 0; k < kNetCount; ++k) {
        const fs::path path = folder / numbered("network", k + 1, ".txt");
        std::ofstream stream(path, std::ios::binary);
        stream << netDescriptionTexts[k];
        if (!stream.flush()) {
            throw std::runtime_error(path.string() + ": cannot be written");
        }
    }
}

// Without mean images a patch holds the canvas's bytes as floats and 0 in its margins.
void cut(const std::string& manifest, const fs::path& folder, bool isUnchecked) {
    const std::vector<ManifestRow> rows = readManifest(manifest);
    createFolder(folder.string());
    writeDescriptions(folder);
    std::vector<NpyFile> files;
    for (int k = 0; k < kPatchCount; ++k) {
        const int side = kPatchLayout.size[k];
        files.emplace_back(folder / numbered("patches", k + 1, ".npy"), NpyType::uint8,
                           std::vector<int>{2, planesOf(k), side, side});
    }
    static constexpr MeanImages kNoMeanImages = {};
    std::vector<FaceCanvases> canvases(static_cast<std::size_t>(omp_get_max_threads()));
    std::vector<std::vector<std::vector<std::uint8_t>>> blocks(
        kWalkBlock, std::vector<std::vector<std::uint8_t>>(kPatchCount));
    StoredRows stored;
    PhotoWork work;
    work.compute = [&](const FacePicture& face, int thread, std::size_t slot) {
        ZomuFaceView view;
        viewNearFace(face, view);
        const PatchList patches =
            cutFacePatches(canvases[static_cast<std::size_t>(thread)], kNoMeanImages,
                           {view.image, view.width, view.height, view.stride}, *view.landmarks);
        for (std::size_t k = 0; k < patches.size(); ++k) {
            const float* values = patches[k]->data;
            blocks[slot][k].assign(values, values + patches[k]->numElements);
        }
    };
    work.store = [&](const ManifestRow& row, std::size_t slot) {
        for (std::size_t k = 0; k < files.size(); ++k) {
            files[k].append(blocks[slot][k].data(), 1);
        }
        stored.add(row);
    };
    work.report = reportLine;
    work.isUnchecked = isUnchecked;
    walkPhotos(rows, work);
    for (NpyFile& file : files) {
        file.close();
    }
    stored.finish(folder, rows.size());
}

void writeFeatures(const std::string& manifest, const fs::path& folder, bool isUnchecked) {
    attachLibrary();
    const std::vector<ManifestRow> rows = readManifest(manifest);
    createFolder(folder.string());
    NpyFile file(folder / "features.npy", NpyType::float32, {kFeatureCount});
    const auto contexts = contextsForTeam();
    std::vector<float> block(kWalkBlock * kFeatureCount);
    StoredRows stored;
    PhotoWork work;
    work.compute = [&](const FacePicture& face, int thread, std::size_t slot) {
        float* features = block.data() + slot * kFeatureCount;
        ZomuFaceView view;
        viewNearFace(face, view);
        computeFeatures(*contexts[static_cast<std::size_t>(thread)], g_modelTables.meanImages,
                        view.image, view.width, view.height, view.stride, *view.landmarks,
                        features);
        if (!std::all_of(features, features + kFeatureCount,
                         [](float value) { return std::isfinite(value); })) {
            throw std::runtime_error(std::string(modelDir) +
                                     ": gives features that are not finite");
        }
    };
    work.store = [&](const ManifestRow& row, std::size_t slot) {
        file.append(block.data() + slot * kFeatureCount, 1);
        stored.add(row);
    };
    work.report = reportLine;
    work.isUnchecked = isUnchecked;
    walkPhotos(rows, work);
    file.close();
    stored.finish(folder, rows.size());
}

}  // namespace

int main(int argc, char** argv) {
    std::string manifest;
    std::string folder;
    bool isUnchecked = false;
    std::optional<Command> cutCommand;
    std::optional<Command> describeCommand;
    const auto addFolder = [&](Command& command) {
        command.addArgument("OUTDIR", folder, "folder for the files, created if missing");
    };
    const auto addManifest = [&](Command& command) {
        command.addArgument("MANIFEST", manifest, "CSV file with person,photo,landmarks");
        addFolder(command);
        command.addUnchecked(isUnchecked);
    };
    return runTool(
        "zomu-patches", "What the library sees of many photographs, as arrays for training.", argc,
        argv,
        [&](Command& tool) {
            cutCommand = tool.addCommand(
                "cut", "Write the patches of all photographs, before the mean image is subtracted");
            addManifest(*cutCommand);
            Command featuresCommand = tool.addCommand("features",
                                                      "Write the 8000 features of all photographs, "
                                                      "with the model that the library finds");
            addManifest(featuresCommand);
            describeCommand =
                tool.addCommand("describe", "Write the descriptions of the 25 networks");
            addFolder(*describeCommand);
        },
        [&] {
            if (cutCommand->isGiven()) {
                cut(manifest, folder, isUnchecked);
            } else if (describeCommand->isGiven()) {
                createFolder(folder);
                writeDescriptions(folder);
            } else {
                writeFeatures(manifest, folder, isUnchecked);
            }
        });
}
