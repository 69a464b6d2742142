#include "model/weight_files.h"

#include <fstream>
#include <utility>

#include "model/model_file.h"

namespace {

LoadedMatrix readMatrix(std::ifstream& stream) {
    LoadedMatrix loaded;
    loaded.matrix = std::make_unique<Matrix>(stream);
    // A read that ends with the file's last byte leaves the state good.
    loaded.isComplete = stream.good();
    return loaded;
}

}  // namespace

std::vector<LoadedMatrix> loadWeightList(const std::string& folder,
                                         const std::vector<std::string>& names, bool transposed) {
    std::vector<LoadedMatrix> list;
    for (const std::string& name : names) {
        std::ifstream stream;
        if (!openModelFile(stream, folder + name)) {
            continue;
        }
        LoadedMatrix loaded = readMatrix(stream);
        // Not for a short file: no layer will use it, and its sizes may be anything.
        if (transposed && loaded.isComplete) {
            loaded.fileRows = std::exchange(loaded.matrix, loaded.matrix->transpose());
        }
        list.push_back(std::move(loaded));
    }
    return list;
}

LoadedMatrix loadBias(const std::string& folder, const std::string& name) {
    std::ifstream stream;
    if (openModelFile(stream, folder + name)) {
        return readMatrix(stream);
    }
    return {std::make_unique<Matrix>(), nullptr, true};
}
