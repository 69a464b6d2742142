// zomu-scores: templates of many photographs and the scores of all their pairs, through the
// library's exported functions.
#include <omp.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
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

// What was made of the photographs that could be used.
struct Templates {
    std::vector<FaceTemplate> faces;
    std::vector<ManifestRow> rows;  // with absolute paths
};

Templates extractAll(const std::vector<ManifestRow>& rows, bool isUnchecked) {
    std::vector<Context> contexts;
    contexts.reserve(static_cast<std::size_t>(omp_get_max_threads()));
    for (int thread = 0; thread < omp_get_max_threads(); ++thread) {
        contexts.emplace_back(ZomuCreate());
    }
    std::vector<FaceTemplate> block(kWalkBlock);
    Templates templates;
    PhotoWork work;
    work.compute = [&](const FacePicture& face, int thread, std::size_t slot) {
        ZomuFaceView view;
        viewNearFace(face, view);
        ZomuExtractTemplate(contexts[static_cast<std::size_t>(thread)].get(), view.image,
                            view.width, view.height, view.stride, view.landmarks, &block[slot]);
    };
    work.store = [&](const ManifestRow& row, std::size_t slot) {
        templates.faces.push_back(block[slot]);
        templates.rows.push_back(
            {row.person, fs::absolute(row.photo), fs::absolute(row.landmarks)});
    };
    work.report = [](const std::string& line) {
        std::fprintf(stderr, "zomu-scores: %s\n", line.c_str());
    };
    work.isUnchecked = isUnchecked;
    walkPhotos(rows, work);
    if (templates.faces.size() < 2) {
        throw std::runtime_error("fewer than two photographs could be used");
    }
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

// The same scores as text, for programs that read no arrays: a line for each pair.
void writeScoreLines(const Templates& templates, const fs::path& path) {
    std::ofstream stream(path, std::ios::binary);
    stream << "person,photo,other person,other photo,score\n";
    for (std::size_t i = 0; i < templates.faces.size(); ++i) {
        for (std::size_t j = i + 1; j < templates.faces.size(); ++j) {
            const ManifestRow& first = templates.rows[i];
            const ManifestRow& second = templates.rows[j];
            std::array<char, 32> score{};
            std::snprintf(score.data(), score.size(), "%.9g",
                          static_cast<double>(
                              ZomuCompareTemplates(&templates.faces[i], &templates.faces[j])));
            stream << first.person << ',' << first.photo.string() << ',' << second.person << ','
                   << second.photo.string() << ',' << score.data() << '\n';
        }
    }
    if (!stream.flush()) {
        throw std::runtime_error(path.string() + ": cannot be written");
    }
}

void score(const std::string& manifest, const fs::path& folder, bool asText, bool isUnchecked) {
    const std::vector<ManifestRow> rows = readManifest(manifest);
    createFolder(folder.string());
    const Templates templates = extractAll(rows, isUnchecked);
    const std::size_t count = templates.faces.size();
    writeManifest(folder / "faces.csv", templates.rows);
    NpyFile file(folder / "templates.npy", NpyType::float32, {kTemplateFloats});
    file.append(templates.faces.data(), count);
    file.close();
    writeScores(templates.faces, folder / "scores.npy");
    if (asText) {
        writeScoreLines(templates, folder / "scores.csv");
    }
    std::printf("%zu photographs, %zu left out, %zu pairs\n", count, rows.size() - count,
                count * (count - 1) / 2);
}

}  // namespace

int main(int argc, char** argv) {
    std::string manifest;
    std::string folder;
    bool asText = false;
    bool isUnchecked = false;
    return runTool(
        "zomu-scores", "Scores every photograph of a manifest against every other one.", argc, argv,
        [&](Command& tool) {
            tool.addArgument("MANIFEST", manifest, "CSV file with person,photo,landmarks");
            tool.addArgument(
                "OUTDIR", folder,
                "folder for templates.npy, scores.npy and faces.csv, created if missing");
            tool.addFlag("--csv", asText, "Write scores.csv as well, a line for each pair");
            tool.addUnchecked(isUnchecked);
        },
        [&] { score(manifest, folder, asText, isUnchecked); });
}
