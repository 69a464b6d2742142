// A folder of small weight files, and layers that read them.
#ifndef ZOMU_TESTS_LAYERS_WEIGHT_FOLDER_H
#define ZOMU_TESTS_LAYERS_WEIGHT_FOLDER_H

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "layers/one_layer.h"
#include "layers/weight_layer.h"
#include "support/bits.h"
#include "support/model_folder.h"
#include "support/temporary_folder.h"

// Two inputs would have the same geometry.
const std::string kFilterKeys =
    "inputs=a\nchannels=1_1\npadding=0_0\nstride=1_1\nimgSize=2_2\nmodulesX=2\n";
// Two filters of 1 x 1 on a 2 x 2 image of one plane.
const std::string kConv = "type=conv\nweights=w12\nbiases=bias\n" + kFilterKeys;
// The same with filters of their own for each of the four positions.
const std::string kLocal = "type=local\nweights=bank\nbiases=bankBias\n" + kFilterKeys;
// Four values to three.
const std::string kFullyConnected = "type=fc\ninputs=a\nweights=fc0\nbiases=fcBias\n";

// `section` with the lines of `changes` in place of its own lines for the same keys.
inline std::string with(const std::string& section, const std::string& changes) {
    std::map<std::string, std::string> lines;
    std::istringstream stream(section + changes);
    for (std::string line; std::getline(stream, line);) {
        lines[line.substr(0, line.find('='))] = line;
    }
    std::string result;
    for (const auto& [key, line] : lines) {
        result.append(line).append("\n");
    }
    return result;
}

class WeightFolderTest : public testing::Test {
  protected:
    explicit WeightFolderTest(std::string ofLayer = "") : layerSection(std::move(ofLayer)) {
        write("w12", 1, 2, {1, 2});
        write("w56", 1, 2, {5, 6});
        write("one", 1, 1, {3});
        write("bias", 2, 1, {100, 200});
        write("oneBias", 1, 1, {100});
        write("bank", 4, 2, {1, 10, 2, 20, 3, 30, 4, 40});
        write("bank2", 4, 2, {-1, 5, -1, 6, -1, 7, -1, 8});
        write("oneBank", 4, 1, {1, 2, 3, 4});
        write("bankBias", 8, 1, {100, 200, 300, 400, 500, 600, 700, 800});
        write("fc0", 4, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 1, 1});
        write("fc1", 4, 3, {2, 2, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0});
        write("fcBias", 1, 3, {10, 20, 30});
    }

    std::string file(const std::string& name) const { return folder.prefix() + name; }

    void write(const std::string& name, std::int32_t rows, std::int32_t cols,
               const std::vector<float>& values) const {
        writeWeightFile(file(name), rows, cols, values);
    }

    void writeOnes(const std::string& name, std::int32_t rows, std::int32_t cols) const {
        write(name, rows, cols, std::vector<float>(static_cast<std::size_t>(rows * cols), 1));
    }

    // The layer of the test's section with these changes.
    OneLayer changed(const std::string& changes) const {
        return OneLayer(with(layerSection, changes), folder.prefix());
    }

    std::vector<float> run(const std::string& changes, Matrix a = rowOf({1, 2, 3, 4}),
                           Matrix b = rowOf({10, 20, 30, 40})) const {
        return changed(changes).run(std::move(a), std::move(b));
    }

    const std::string layerSection;
    const TemporaryFolder folder;
};

#endif
