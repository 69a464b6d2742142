// zomu-scores: templates of many photographs and the scores of all their pairs, through the
// library's exported functions.
#include <omp.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "command_line/command_line.h"
#include "manifest/manifest.h"
#include "manifest/npy_file.h"
#include "manifest/photo_walk.h"
#include "zomu.h"

namespace fs = std::filesystem;

namespace {

constexpr int kTemplateFloats = static_cast<int>(sizeof(FaceTemplate) / sizeof(float));

struct ContextRelease {
    void operator()(ZomuContext* context) const { ZomuDestroy(context); }
};

using Context = std::unique_ptr<ZomuContext, ContextRelease>;

std::vector<FaceTemplate> extractAll(const std::vector<ManifestRow>& rows, const fs::path& folder) {
    std::vector<Context> contexts;
    contexts.reserve(static_cast<std::size_t>(omp_get_max_threads()));
    for (int thread = 0; thread < omp_get_max_threads(); ++thread) {
        contexts.emplace_back(ZomuCreate());
    }
    std::vector<FaceTemplate> block(kWalkBlock);
    std::vector<FaceTemplate> templates;
    std::vector<ManifestRow> used;
    PhotoWork work;
    work.compute = [&](const FacePicture& face, int thread, std::size_t slot) {
        ZomuExtractTemplate(contexts[static_cast<std::size_t>(thread)].get(),
                            face.picture.pixels.data(), face.picture.width, face.picture.height,
                            3 * face.picture.width, &face.landmarks, &block[slot]);
    };
    work.store = [&](const ManifestRow& row, std::size_t slot) {
        templates.push_back(block[slot]);
        used.push_back({row.person, fs::absolute(row.photo), fs::absolute(row.landmarks)});
    };
    work.report = [](const std::string& line) {
        std::fprintf(stderr, "zomu-scores: %s\n", line.c_str());
    };
    walkPhotos(rows, work);
    if (templates.size() < 2) {
        throw std::runtime_error("fewer than two photographs could be used");
    }
    writeManifest(folder / "faces.csv", used);
    return templates;
}

// Rows of the upper triangle, one after another: (0, 1), (0, 2) ... (1, 2), (1, 3) ...
void writeScores(const std::vector<FaceTemplate>& templates, const fs::path& path) {
    constexpr std::size_t kRows = 64;
    NpyFile file(path, NpyType::float32, {});
    const std::size_t count = templates.size();
    std::vector<std::vector<float>> block(kRows);
    for (std::size_t first = 0; first + 1 < count; first += kRows) {
        const std::size_t rows = std::min(kRows, count - 1 - first);
#pragma omp parallel for schedule(dynamic)
        for (std::size_t r = 0; r < rows; ++r) {
            const std::size_t i = first + r;
            block[r].resize(count - 1 - i);
            for (std::size_t j = i + 1; j < count; ++j) {
                block[r][j - i - 1] = ZomuCompareTemplates(&templates[i], &templates[j]);
            }
        }
        for (std::size_t r = 0; r < rows; ++r) {
            file.append(block[r].data(), block[r].size());
        }
    }
    file.close();
}

void score(const std::string& manifest, const fs::path& folder) {
    const std::vector<ManifestRow> rows = readManifest(manifest);
    createFolder(folder.string());
    const std::vector<FaceTemplate> templates = extractAll(rows, folder);
    NpyFile file(folder / "templates.npy", NpyType::float32, {kTemplateFloats});
    file.append(templates.data(), templates.size());
    file.close();
    writeScores(templates, folder / "scores.npy");
    std::printf("%zu photographs, %zu left out, %zu pairs\n", templates.size(),
                rows.size() - templates.size(), templates.size() * (templates.size() - 1) / 2);
}

}  // namespace

int main(int argc, char** argv) {
    std::string manifest;
    std::string folder;
    return runTool(
        "zomu-scores", "Scores every photograph of a manifest against every other one.", argc, argv,
        [&](Command& tool) {
            tool.addArgument("MANIFEST", manifest, "CSV file with person,photo,landmarks");
            tool.addArgument("OUTDIR", folder,
                             "folder for templates.npy, scores.npy and faces.csv, made if missing");
        },
        [&] { score(manifest, folder); });
}
