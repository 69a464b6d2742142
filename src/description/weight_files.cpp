#include "description/weight_files.h"

#include <fstream>
#include <utility>

#include "description/model_file.h"
#include "description/parameters.h"

const char* g_weightFolder = "";

namespace {

LoadedMatrix readMatrix(std::ifstream& stream) {
    LoadedMatrix loaded;
    loaded.matrix = std::make_unique<Matrix>(stream);
    loaded.isComplete = stream.good();
    return loaded;
}

}  // namespace

std::vector<LoadedMatrix> loadWeightList(const std::string& sectionName, bool transposed) {
    std::string value;
    getString(currentSection(sectionName), "weights", value);
    std::vector<LoadedMatrix> list;
    for (const std::string& name : splitList(value)) {
        std::ifstream stream;
        if (!openModelFile(stream, std::string(g_weightFolder) + name)) {
            continue;
        }
        LoadedMatrix loaded = readMatrix(stream);
        // Not worth it for a short file, which no layer will use and whose sizes may be anything.
        if (transposed && loaded.isComplete) {
            loaded.matrix = loaded.matrix->transpose();
        }
        list.push_back(std::move(loaded));
    }
    return list;
}

LoadedMatrix loadBias(const std::string& sectionName) {
    std::string name;
    getString(currentSection(sectionName), "biases", name);
    std::ifstream stream;
    if (openModelFile(stream, std::string(g_weightFolder) + name)) {
        return readMatrix(stream);
    }
    return {std::make_unique<Matrix>(), true};
}
