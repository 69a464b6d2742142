// docs/layers.md has one row for each keyword that selects a layer, a pool or a neuron, in the
// order of the registries, and each row names tests that select the keyword.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "layers/layer_kinds.h"
#include "layers/neuron.h"

namespace {

using Keywords = std::vector<std::string>;

const std::string kDocuments = std::string(ZOMU_PROJECT_FOLDER) + "/docs/";

std::string contentsOf(const std::string& path) {
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << "no " << path;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

struct Row {
    std::string keyword;
    std::string text;
};

// The rows whose first cell is `<key>=<keyword>`, in the order of the document.
std::vector<Row> rowsOf(const std::string& key) {
    std::istringstream document(contentsOf(kDocuments + "layers.md"));
    const std::regex rowOfKey("^\\| `" + key + "=(\\w+)` \\|.*");
    std::vector<Row> rows;
    std::smatch match;
    for (std::string line; std::getline(document, line);) {
        if (std::regex_match(line, match, rowOfKey)) {
            rows.push_back({match[1], line});
        }
    }
    return rows;
}

template <typename Kind, std::size_t count>
Keywords keywordsOf(const Kind (&kinds)[count]) {
    Keywords keywords;
    for (const Kind& kind : kinds) {
        keywords.emplace_back(kind.keyword);
    }
    return keywords;
}

Keywords documentedFor(const std::string& key) {
    Keywords keywords;
    for (const Row& row : rowsOf(key)) {
        keywords.push_back(row.keyword);
    }
    return keywords;
}

// A test selects a keyword in a description (`type=conv\n`) or hands it over (`"relu"`).
bool selects(const std::string& source, const Row& row) {
    return std::regex_search(source, std::regex("[=\"]" + row.keyword + "(\\\\n|\")"));
}

// Kernels have tests that select nothing; some other test of the row must.
void expectTestsFor(const std::string& key) {
    const std::regex link("\\]\\((\\.\\./tests/[^)]+_test\\.cpp)\\)");
    for (const Row& row : rowsOf(key)) {
        int selecting = 0;
        for (std::sregex_iterator it(row.text.begin(), row.text.end(), link), end; it != end;
             ++it) {
            selecting += selects(contentsOf(kDocuments + (*it)[1].str()), row) ? 1 : 0;
        }
        EXPECT_GT(selecting, 0) << "no test of the row selects " << key << "=" << row.keyword;
    }
}

}  // namespace

TEST(LayersDocument, hasARowForEachLayerInTheOrderOfTheFactory) {
    EXPECT_EQ(documentedFor("type"), keywordsOf(kLayerKinds));
}

TEST(LayersDocument, hasARowForEachPool) {
    EXPECT_EQ(documentedFor("pool"), keywordsOf(kPoolKinds));
}

TEST(LayersDocument, hasARowForEachNeuron) {
    EXPECT_EQ(documentedFor("neuron"), keywordsOf(kNeuronKinds));
}

TEST(LayersDocument, namesTestsThatSelectEachKeyword) {
    for (const char* key : {"type", "pool", "neuron"}) {
        expectTestsFor(key);
    }
}
