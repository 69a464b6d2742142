// A model folder that differs from the shared one in a few files.
#ifndef ZOMU_TESTS_LIBRARY_MODEL_VARIANT_H
#define ZOMU_TESTS_LIBRARY_MODEL_VARIANT_H

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>

#include "library/host_run.h"
#include "support/linked_model.h"
#include "support/read_file.h"

class ModelVariant : public LinkedModel {
  public:
    ModelVariant() : LinkedModel(sharedTemporaryDirectory()) {}

    // Another header in front of the same floats, as many of them as the header wants, then zeros.
    void reshape(const std::string& name, std::int32_t rows, std::int32_t cols) const {
        relabel(name, rows, cols);
        std::filesystem::resize_file(
            pathOf(name), 8 + 4 * static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols));
    }

    // Another header in front of the same bytes.
    void relabel(const std::string& name, std::int32_t rows, std::int32_t cols) const {
        std::string bytes = readFile(goodPathOf(name));
        std::memcpy(bytes.data(), &rows, sizeof rows);
        std::memcpy(bytes.data() + sizeof rows, &cols, sizeof cols);
        replace(name, bytes);
    }

    // A host's run with this model.
    HostRun extract(int count = 1) const {
        return runHost(temporaryDirectory(), {"extract", std::to_string(count)});
    }
};

#endif
