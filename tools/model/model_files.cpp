#include "model/model_files.h"

#include "model/model_tables.h"
#include "model/net_plan.h"
#include "network/net_texts.h"

const char* nameOf(ModelFileKind kind) {
    switch (kind) {
        case ModelFileKind::meanImage:
            return "mean image";
        case ModelFileKind::meanFeatures:
            return "feature mean";
        case ModelFileKind::projection:
            return "projection";
        case ModelFileKind::weights:
            return "weights";
        case ModelFileKind::biases:
            return "biases";
    }
    return "";
}

std::vector<std::int32_t> headerOf(const ModelFile& file) {
    switch (file.kind) {
        case ModelFileKind::meanImage:
            return {file.cols};
        case ModelFileKind::weights:
        case ModelFileKind::biases:
            return {file.rows, file.cols};
        case ModelFileKind::meanFeatures:
        case ModelFileKind::projection:
            break;
    }
    return {};
}

std::int64_t floatCount(const ModelFile& file) {
    return static_cast<std::int64_t>(file.rows) * file.cols;
}

std::int64_t byteCount(const ModelFile& file) {
    const auto words = static_cast<std::int64_t>(headerOf(file).size()) + floatCount(file);
    return 4 * words;
}

std::vector<ModelFile> listModelFiles() {
    std::vector<ModelFile> images;
    std::vector<ModelFile> matrices;
    for (int net = 0; net < kNetCount; ++net) {
        const int number = net + 1;
        const NetPlan plan = planNetwork(netDescriptionTexts[net]);
        images.push_back({"0-" + std::to_string(number) + "-0", ModelFileKind::meanImage, number,
                          "", 1, plan.front().elements()});
        for (const LayerPlan& layer : plan) {
            for (const MatrixShape& shape : layer.weights) {
                matrices.push_back({shape.name, ModelFileKind::weights, number, layer.name,
                                    shape.rows, shape.cols});
            }
            for (const MatrixShape& shape : layer.biases) {
                matrices.push_back({shape.name, ModelFileKind::biases, number, layer.name,
                                    shape.rows, shape.cols});
            }
        }
    }

    std::vector<ModelFile> files = images;
    files.push_back({"6-0", ModelFileKind::meanFeatures, 0, "", 1, kFeatureCount});
    files.push_back({"6-1", ModelFileKind::projection, 0, "", kProjectionCount, kFeatureCount});
    files.push_back({"6-2", ModelFileKind::projection, 0, "", kProjectionCount, kFeatureCount});
    files.insert(files.end(), matrices.begin(), matrices.end());
    return files;
}

const std::set<std::string>& modelFileNames() {
    static const std::set<std::string> kNames = [] {
        std::set<std::string> names;
        for (const ModelFile& file : listModelFiles()) {
            names.insert(file.name);
        }
        return names;
    }();
    return kNames;
}
