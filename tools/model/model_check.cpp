#include "model/model_check.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace {

void append(std::string& faults, const std::string& fault) {
    faults += (faults.empty() ? "" : "; ") + fault;
}

// "5" or "2 x 3".
std::string sizesIn(const std::vector<std::int32_t>& header) {
    std::string text = std::to_string(header[0]);
    return header.size() == 1 ? text : text + " x " + std::to_string(header[1]);
}

// Reads as many values as the stream still holds, up to what fits; the rest of `values` is cut off.
template <typename T>
void readUpTo(std::ifstream& stream, std::vector<T>& values) {
    stream.read(reinterpret_cast<char*>(values.data()),
                static_cast<std::streamsize>(values.size() * sizeof(T)));
    values.resize(static_cast<std::size_t>(stream.gcount()) / sizeof(T));
}

// What stands in place of data where a text was fetched instead of the file: a pointer of a store
// for large files, or a page that says why not. The empty text where the file begins like data.
std::string textInstead(std::ifstream& stream) {
    std::array<char, 512> start{};
    stream.read(start.data(), static_cast<std::streamsize>(start.size()));
    const std::string_view text(start.data(), static_cast<std::size_t>(stream.gcount()));
    stream.clear();
    stream.seekg(0);
    const bool readable = std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= ' ' && c <= '~') || c == '\n' || c == '\r' || c == '\t';
    });
    if (text.empty() || !readable) {
        return "";
    }
    return text.starts_with("version ") && text.find("\noid ") != std::string_view::npos
               ? "a text pointer to a large file instead of the file itself"
               : "text instead of data";
}

void checkSize(std::string& faults, std::uintmax_t actual, const ModelFile& file) {
    const auto expected = static_cast<std::uintmax_t>(byteCount(file));
    if (actual < expected) {
        append(faults, std::to_string(actual) + " bytes, " + std::to_string(expected - actual) +
                           " too few");
    } else if (actual > expected) {
        append(faults, std::to_string(actual) + " bytes, " + std::to_string(actual - expected) +
                           " too many");
    }
}

void checkHeader(std::string& faults, std::ifstream& stream, const ModelFile& file) {
    const std::vector<std::int32_t> expected = headerOf(file);
    std::vector<std::int32_t> actual(expected.size());
    readUpTo(stream, actual);
    // A header that is cut off shows in the size already.
    if (actual.size() == expected.size() && actual != expected) {
        const std::string what = expected.size() == 1 ? "count " : "shape ";
        append(faults, what + sizesIn(actual) + ", not " + sizesIn(expected));
    }
}

void checkValues(std::string& faults, std::ifstream& stream, const ModelFile& file) {
    std::vector<float> values(static_cast<std::size_t>(floatCount(file)));
    readUpTo(stream, values);
    std::size_t first = values.size();
    std::size_t count = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!std::isfinite(values[i]) && count++ == 0) {
            first = i;
        }
    }
    if (count > 0) {
        append(faults, std::to_string(count) + (count == 1 ? " value is" : " values are") +
                           " not finite, the first at index " + std::to_string(first));
    }
}

}  // namespace

std::string faultsOf(const fs::path& path, const ModelFile& file) {
    std::error_code problem;
    const fs::file_status status = fs::status(path, problem);
    if (status.type() == fs::file_type::not_found) {
        return "missing";
    }
    if (status.type() != fs::file_type::regular) {
        return "not a file";
    }
    const std::uintmax_t size = fs::file_size(path, problem);
    std::ifstream stream(path, std::ios::binary);
    if (problem || !stream.is_open()) {
        return "cannot be opened";
    }
    std::string faults;
    checkSize(faults, size, file);
    const std::string text = faults.empty() ? "" : textInstead(stream);
    if (!text.empty()) {
        return faults + "; " + text;
    }
    checkHeader(faults, stream, file);
    checkValues(faults, stream, file);
    if (stream.bad()) {
        append(faults, "cannot be read");
    }
    return faults;
}

std::vector<std::string> checkModelFolder(const fs::path& folder) {
    if (!fs::is_directory(folder)) {
        throw std::runtime_error(folder.string() + ": no such folder");
    }
    std::vector<std::string> lines;
    for (const ModelFile& file : listModelFiles()) {
        const std::string faults = faultsOf(folder / file.name, file);
        if (!faults.empty()) {
            lines.push_back(file.name + ": " + faults);
        }
    }
    return lines;
}
