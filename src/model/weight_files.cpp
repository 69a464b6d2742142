#include "model/weight_files.h"

#include <istream>
#include <utility>

#include "model/model_file.h"

namespace {

LoadedMatrix readMatrix(RegularFile& file) {
    std::istream stream(&file);
    LoadedMatrix loaded;
    loaded.matrix = std::make_unique<Matrix>(stream, kMostElements);
    // A read that ends with the file's last byte leaves the state good.
    loaded.isComplete = stream.good();
    return loaded;
}

}  // namespace

std::vector<LoadedMatrix> loadWeightList(const std::string& folder,
                                         const std::vector<std::string>& names, bool transposed) {
    std::vector<LoadedMatrix> list;
    for (const std::string& name : names) {
        RegularFile file;
        if (!openModelFile(file, (folder + name).c_str())) {
            continue;
        }
        LoadedMatrix loaded = readMatrix(file);
        // Not for a short file: no layer will use it, and its sizes may be anything.
        if (transposed && loaded.isComplete) {
            loaded.fileRows = std::exchange(loaded.matrix, loaded.matrix->transpose());
        }
        list.push_back(std::move(loaded));
    }
    return list;
}

LoadedMatrix loadBias(const std::string& folder, const std::string& name) {
    RegularFile file;
    if (openModelFile(file, (folder + name).c_str())) {
        return readMatrix(file);
    }
    LoadedMatrix none;
    none.matrix = std::make_unique<Matrix>();
    return none;
}
