#include "model/model_file_writer.h"

#include <bit>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

static_assert(std::endian::native == std::endian::little, "model files are little-endian");

namespace {

[[noreturn]] void failWriting(const std::filesystem::path& path) {
    const std::string reason = std::generic_category().message(errno);
    throw std::runtime_error("cannot write " + path.string() + ": " + reason);
}

struct Closer {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};

template <typename T>
bool writeAll(std::FILE* stream, const std::vector<T>& values) {
    return values.empty() ||
           std::fwrite(values.data(), sizeof(T), values.size(), stream) == values.size();
}

}  // namespace

void writeModelFile(const std::filesystem::path& path, const ModelFile& file,
                    const std::vector<float>& values) {
    if (static_cast<std::int64_t>(values.size()) != floatCount(file)) {
        throw std::invalid_argument(file.name + ": " + std::to_string(values.size()) +
                                    " values for a file of " + std::to_string(floatCount(file)));
    }
    const std::vector<std::int32_t> header = headerOf(file);
    std::unique_ptr<std::FILE, Closer> stream(std::fopen(path.string().c_str(), "wb"));
    if (stream == nullptr) {
        failWriting(path);
    }
    if (!writeAll(stream.get(), header) || !writeAll(stream.get(), values)) {
        failWriting(path);
    }
    // What the stream still holds is written only now, so the close counts as a write.
    if (std::fclose(stream.release()) != 0) {
        failWriting(path);
    }
}
