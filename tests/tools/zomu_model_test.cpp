// The program zomu-model from outside: what it prints where, and how it ends.
#include <cstdint>
#include <filesystem>
#include <string>

#include "support/temporary_folder.h"
#include "tools/tool_run.h"

namespace fs = std::filesystem;

namespace {

constexpr char kProgram[] = ZOMU_MODEL_PROGRAM;
constexpr char kAll[] = ": 303 files, 58271424 bytes\n";

class ZomuModel : public testing::Test {
  protected:
    // An integer model of seed 1.
    void make() {
        const ProcessResult made = runTool(kProgram, {"make", model, "--weights", "integer"});
        EXPECT_EQ(made.exitStatus, 0);
        EXPECT_EQ(made.err, "");
        EXPECT_TRUE(made.out.starts_with("networks\nprojections\nno sum inside a network exceeds "))
            << made.out;
        EXPECT_TRUE(made.out.ends_with("\n" + model + kAll)) << made.out;
    }

    const TemporaryFolder parent;
    const std::string model = parent.prefix() + "model";
};

}  // namespace

TEST_F(ZomuModel, listsAllFilesWithTheirTotal) {
    const ProcessResult result = runTool(kProgram, {"list"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.err, "");
    for (const char* line : {"\n5-25-2   weights           25 fc       768 x 160     491528\n",
                             "\n6-1      projection       all         500 x 8000   16000000\n"}) {
        EXPECT_NE(result.out.find(line), std::string::npos) << result.out;
    }
    EXPECT_TRUE(result.out.ends_with("\n303 files, 58271424 bytes\n"));
}

TEST_F(ZomuModel, makesChecksAndFingerprintsAModelInPlainLines) {
    make();
    expectDone(kProgram, {"check", model}, model + ": all 303 files are good\n");
    // An integer model of one seed is the same bytes on every machine. Made by sha256sum from the
    // files one behind the other, in the order of "zomu-model list".
    expectDone(kProgram, {"fingerprint", model},
               "caba7674f7713a3fba3ef3dbf6c11291b3609060447e3f982382d28597b94cad\n");
    expectRefusals(kProgram, {{{"make", model}, 1, "zomu-model: " + model + " is not empty"}});

    fs::remove(fs::path(model) / "3-3-1");
    fs::resize_file(fs::path(model) / "6-2", 100);
    const ProcessResult bad = runTool(kProgram, {"check", model});
    expectResult(bad, 1, "6-2: 100 bytes, 15999900 too few\n3-3-1: missing\n",
                 "zomu-model: " + model + ": 2 of 303 files are wrong\n");

    expectRefusals(kProgram, {{{"fingerprint", model},
                               1,
                               "zomu-model: " + (fs::path(model) / "6-2").string() +
                                   ": does not have the 16000000 bytes of its kind"}});

    expectDone(kProgram, {"make", model, "--force"}, "networks\nprojections\n" + model + kAll);
    expectDone(kProgram, {"check", model}, model + ": all 303 files are good\n");
}

TEST_F(ZomuModel, packsAndUnpacksInPlainLines) {
    const std::string pack = parent.prefix() + "model.pack";
    const std::string copy = parent.prefix() + "copy";
    make();
    const ProcessResult packed = runTool(kProgram, {"pack", model, pack});
    const std::uintmax_t size = fs::file_size(pack);
    EXPECT_EQ(packed.out,
              pack + ": " + std::to_string(size) + " bytes, 303 files of 58271424 bytes\n");
    EXPECT_LE(size, 16000000U);

    expectDone(kProgram, {"unpack", pack, copy}, copy + kAll);
    expectDone(kProgram, {"check", copy}, copy + ": all 303 files are good\n");
    expectRefusals(kProgram,
                   {{{"unpack", pack, copy}, 1, "zomu-model: " + copy + " is not empty"}});
    expectDone(kProgram, {"unpack", pack, copy, "--force"}, copy + kAll);

    fs::resize_file(pack, 1000);
    const std::string other = parent.prefix() + "other";
    expectRefusals(kProgram, {{{"unpack", pack, other},
                               1,
                               "zomu-model: " + pack + ": is truncated: 980 of " +
                                   std::to_string(size - 20) + " bytes"}});
    EXPECT_FALSE(fs::exists(other));
}
