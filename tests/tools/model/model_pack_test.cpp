// Whole models through a pack and back, and packs that are not what they should be.
#include "model/model_pack.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "model/model_file_reader.h"
#include "support/made_model.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"

namespace fs = std::filesystem;

namespace {

class ModelPack : public testing::Test {
  protected:
    // One model and its pack for all tests of the suite.
    static void SetUpTestSuite() {
        g_home = new TemporaryFolder;
        makeModelIn(model());
        packModel(model(), pack());
    }

    static void TearDownTestSuite() {
        delete g_home;
        g_home = nullptr;
    }

    static fs::path model() { return g_home->path() / "model"; }
    static fs::path pack() { return g_home->path() / "model.pack"; }

    // A pack with this content has this problem, and leaves nothing behind.
    static void expectRefused(const std::string& content, const std::string& problem) {
        const fs::path path = g_home->path() / "changed.pack";
        std::ofstream(path, std::ios::binary) << content;
        EXPECT_EQ(reasonOf([&] { unpackModel(path, g_home->path() / "refused", false); }),
                  path.string() + ": " + problem);
        for (const fs::directory_entry& entry : fs::directory_iterator(g_home->path())) {
            const std::string name = entry.path().filename().string();
            EXPECT_FALSE(name.starts_with("refused")) << name;
        }
    }

    static TemporaryFolder* g_home;
};

TemporaryFolder* ModelPack::g_home = nullptr;

}  // namespace

TEST_F(ModelPack, comesBackCompleteAndClose) {
    const fs::path target = g_home->path() / "unpacked";
    const PackSummary summary = unpackModel(pack(), target, false);
    EXPECT_EQ(summary.packBytes, static_cast<std::int64_t>(fs::file_size(pack())));
    for (const ModelFile& file : listModelFiles()) {
        const std::vector<float> before = readModelFile(model(), file);
        const std::vector<float> after = readModelFile(target, file);
        float largest = 0;
        for (const float value : before) {
            largest = std::max(largest, std::fabs(value));
        }
        const bool isLarge = file.kind == ModelFileKind::weights && file.layer == "fc";
        const float bound = isLarge ? 1.001F * largest / 254 : largest / 1024;
        for (std::size_t n = 0; n < before.size(); ++n) {
            ASSERT_LE(std::fabs(after[n] - before[n]), bound) << file.name << " " << n;
        }
    }
    // Small integers fit into halves, so that nothing but the large matrices and the tables may
    // change.
    for (const char* name : {"0-1-0", "1-1-1", "2-25-2", "4-9-1"}) {
        EXPECT_EQ(readFile(target / name), readFile(model() / name)) << name;
    }
}

TEST_F(ModelPack, packingAgainChangesNothingMore) {
    const fs::path once = g_home->path() / "once";
    const fs::path twice = g_home->path() / "twice";
    const fs::path second = g_home->path() / "second.pack";
    unpackModel(pack(), once, false);
    packModel(once, second);
    unpackModel(second, twice, false);
    for (const char* name : {"0-3-0", "1-2-1", "5-7-1", "5-8-3"}) {
        EXPECT_EQ(readFile(once / name), readFile(twice / name)) << name;
    }
}

TEST_F(ModelPack, truncatedAndAlteredPacksAreRefused) {
    const std::string whole = readFile(pack());
    const std::string length = std::to_string(whole.size() - 20);
    const auto with = [&whole](std::size_t place, char value) {
        std::string changed = whole;
        changed[place] = value;
        return changed;
    };
    expectRefused("", "is not a packed model");
    expectRefused(with(0, 'X'), "is not a packed model");
    expectRefused(with(8, 2), "has version 2, not 1");
    expectRefused(whole.substr(0, 7), "is truncated");
    expectRefused(whole.substr(0, 19), "is truncated");
    expectRefused(whole.substr(0, 20), "is truncated: 0 of " + length + " bytes");
    expectRefused(
        whole.substr(0, whole.size() - 1),
        "is truncated: " + std::to_string(whole.size() - 21) + " of " + length + " bytes");
    expectRefused(whole + "x", "has 1 bytes too many");
    const std::size_t last = whole.size() - 1;
    for (const std::size_t place : {std::size_t{16}, std::size_t{20}, last / 2, last}) {
        expectRefused(with(place, static_cast<char>(whole[place] ^ 1)),
                      "is altered: its checksum is not that of its content");
    }
}

TEST_F(ModelPack, faultyModelsAreNotPacked) {
    const fs::path copy = g_home->path() / "faulty";
    fs::copy(model(), copy);
    fs::resize_file(copy / "2-4-1", 100);
    const fs::path target = g_home->path() / "faulty.pack";
    EXPECT_EQ(reasonOf([&] { packModel(copy, target); }),
              (copy / "2-4-1").string() + ": 100 bytes, 18340 too few");
    EXPECT_FALSE(fs::exists(target));
}
