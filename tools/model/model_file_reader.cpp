#include "model/model_file_reader.h"

#include <fstream>
#include <stdexcept>

#include "model/model_check.h"

std::vector<float> readModelFile(const std::filesystem::path& folder, const ModelFile& file) {
    const std::filesystem::path path = folder / file.name;
    const std::string faults = faultsOf(path, file);
    if (!faults.empty()) {
        throw std::runtime_error(path.string() + ": " + faults);
    }
    std::vector<float> values(static_cast<std::size_t>(floatCount(file)));
    std::ifstream stream(path, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(sizeof(std::int32_t) * headerOf(file).size()));
    stream.read(reinterpret_cast<char*>(values.data()),
                static_cast<std::streamsize>(values.size() * sizeof(float)));
    if (!stream) {
        throw std::runtime_error(path.string() + ": cannot be read");
    }
    return values;
}
