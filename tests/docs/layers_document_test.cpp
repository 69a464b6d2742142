// docs/layers.md has one row for each keyword that selects a layer, a pool or a neuron, in the
// order of the registries, and each row names tests that select the keyword. Its example is a
// network.
#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "layers/layer_registry.h"
#include "layers/neuron.h"
#include "support/model_folder.h"
#include "support/nets.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

namespace {

const std::string kDocuments = std::string(ZOMU_PROJECT_FOLDER) + "/docs/";

// Keyword and text of the rows whose first cell is `<key>=<keyword>`, in the order of the document.
std::vector<std::pair<std::string, std::string>> rowsOf(const std::string& key) {
    std::istringstream document(readFile(kDocuments + "layers.md"));
    const std::regex rowOfKey("^\\| `" + key + "=(\\w+)` \\|.*");
    std::vector<std::pair<std::string, std::string>> rows;
    std::smatch match;
    for (std::string line; std::getline(document, line);) {
        if (std::regex_match(line, match, rowOfKey)) {
            rows.emplace_back(match[1], line);
        }
    }
    return rows;
}

template <typename Kind, std::size_t count>
void expectRows(const std::string& key, const Kind (&kinds)[count]) {
    const auto rows = rowsOf(key);
    ASSERT_EQ(rows.size(), count) << key;
    for (std::size_t n = 0; n < count; ++n) {
        EXPECT_EQ(rows[n].first, kinds[n].keyword);
    }
}

}  // namespace

TEST(LayersDocument, hasARowForEachLayerPoolAndNeuronInTheOrderOfTheFactory) {
    expectRows("type", kLayerKinds);
    expectRows("pool", kPoolKinds);
    expectRows("neuron", kNeuronKinds);
}

// A test selects a keyword in a description (`type=conv\n`) or hands it over (`"relu"`). Kernels have
// tests that select nothing; some other test of the row must. Layers with weights have their
// descriptions from one header.
TEST(LayersDocument, namesTestsThatSelectEachKeyword) {
    const std::regex link("\\]\\((\\.\\./tests/[^)]+_test\\.cpp)\\)");
    for (const char* key : {"type", "pool", "neuron"}) {
        for (const auto& [keyword, text] : rowsOf(key)) {
            const std::regex selection("[=\"]" + keyword + "(\\\\n|\")");
            int selecting = 0;
            for (std::sregex_iterator it(text.begin(), text.end(), link), end; it != end; ++it) {
                std::string source = readFile(kDocuments + (*it)[1].str());
                if (source.find("layers/weight_folder.h") != std::string::npos) {
                    source += readFile(kDocuments + "../tests/layers/weight_folder.h");
                }
                selecting += std::regex_search(source, selection) ? 1 : 0;
            }
            EXPECT_GT(selecting, 0) << key << "=" << keyword;
        }
    }
}

// Filters that take one pixel each, its right neighbour's negative and a bias: edges, of which relu
// keeps the positive ones.
TEST(LayersDocument, hasAnExampleThatRuns) {
    const std::string document = readFile(kDocuments + "layers.md");
    const std::string fence = "\n```ini\n";
    const std::size_t start = document.find(fence) + fence.size();
    const std::string text = document.substr(start, document.find("```", start) - start);
    const TemporaryFolder folder;
    writeWeightFile(folder.prefix() + "w", 9, 2,
                    {0, 0, 0, 0, 0, 0, 0, 0, 1, 0, -1, 0, 0, 0, 0, 0, 0, 0});
    writeWeightFile(folder.prefix() + "b", 2, 1, {1, 5});
    const auto net = buildNet(text, folder.prefix());
    Matrix picture(1, 64);
    for (std::int32_t i = 0; i < 64; ++i) {
        picture.data[i] = static_cast<float>(i * i % 11);
    }
    const Matrix& edges = *runNet(*net, {&picture});
    ASSERT_EQ(edges.numCols, 2 * 36);
    for (std::int32_t i = 0; i < 36; ++i) {
        const std::int32_t middle = (i / 6 + 1) * 8 + i % 6 + 1;
        const float edge = picture.data[middle] - picture.data[middle + 1] + 1.0F;
        EXPECT_EQ(edges.data[i], edge > 0.0F ? edge : 0.0F) << i;
        EXPECT_EQ(edges.data[36 + i], 5.0F) << i;
    }
}
