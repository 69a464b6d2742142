#include "model/model_file_writer.h"

#include <bit>
#include <stdexcept>
#include <string>

#include "files/file_writer.h"

static_assert(std::endian::native == std::endian::little, "model files are little-endian");

void writeModelFile(const std::filesystem::path& path, const ModelFile& file,
                    const std::vector<float>& values) {
    if (static_cast<std::int64_t>(values.size()) != floatCount(file)) {
        throw std::invalid_argument(file.name + ": " + std::to_string(values.size()) +
                                    " values for a file of " + std::to_string(floatCount(file)));
    }
    const std::vector<std::int32_t> header = headerOf(file);
    FileWriter writer(path);
    writer.write(header.data(), header.size() * sizeof header[0]);
    writer.write(values.data(), values.size() * sizeof values[0]);
    writer.finish();
}
