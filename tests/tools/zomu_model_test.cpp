// The program zomu-model from outside: what it prints where, and how it ends.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "support/temporary_folder.h"
#include "tools/tool_run.h"

namespace fs = std::filesystem;

namespace {

constexpr char kProgram[] = ZOMU_MODEL_PROGRAM;
constexpr char kAll[] = ": 303 files, 58271424 bytes\n";
// As in models/README.md.
constexpr char kDemonstration[] =
    "e391fe224888f9edde1c13ea9b32f21f9a59730bcffd3077e0c1c321bfa9ab2b\n";
constexpr char kHoldsNotes[] = " holds notes, which is not a model file: it is not replaced";

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

    static void refuse(const Words& arguments, const std::string& words) {
        expectRefusal(kProgram, arguments, 1, words);
    }

    const TemporaryFolder parent;
    const std::string model = parent.prefix() + "model";
};

}  // namespace

TEST_F(ZomuModel, listsAllFilesWithTheirTotal) {
    const ProcessResult result = runTool(kProgram, {"list"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.err, "");
    for (const char* lines :
         {"\n0-1-0    mean image         1           1 x 9075      36304\n",
          "\n0-3-0    mean image         3           1 x 6627      26512\n",
          "\n0-9-0    mean image         9           1 x 2209       8840\n",
          "\n6-0      feature mean     all           1 x 8000      32000\n"
          "6-1      projection       all         500 x 8000   16000000\n"
          "6-2      projection       all         500 x 8000   16000000\n"
          "1-1-1    weights            1 conv1      48 x 16       3080\n",
          "\n5-25-3   biases            25 fc         1 x 160        648\n303 "}) {
        EXPECT_NE(result.out.find(lines), std::string::npos) << result.out;
    }
    EXPECT_TRUE(result.out.ends_with("\n303 files, 58271424 bytes\n"));
}

TEST_F(ZomuModel, makesChecksAndFingerprintsAModelInPlainLines) {
    make();
    const fs::path notes = fs::path(model) / "notes";
    std::ofstream(notes) << "other files do not matter";
    expectDone(kProgram, {"check", model}, model + ": all 303 files are good\n");
    // An integer model of one seed is the same bytes on every machine. Made by sha256sum from the
    // files one behind the other, in the order of "zomu-model list".
    expectDone(kProgram, {"fingerprint", model},
               "caba7674f7713a3fba3ef3dbf6c11291b3609060447e3f982382d28597b94cad\n");
    refuse({"make", model}, model + " is not empty");
    refuse({"make", model, "--force"}, model + kHoldsNotes);
    EXPECT_TRUE(fs::remove(notes));

    fs::remove(fs::path(model) / "3-3-1");
    fs::resize_file(fs::path(model) / "6-2", 100);
    fs::remove(fs::path(model) / "1-4-1");
    fs::copy_file(fs::path(model) / "1-1-1", fs::path(model) / "1-4-1");
    const ProcessResult bad = runTool(kProgram, {"check", model});
    expectResult(bad, 1,
                 "6-2: 100 bytes, 15999900 too few\n3-3-1: missing\n"
                 "1-4-1: 3080 bytes, 2048 too many; shape 48 x 16, not 16 x 16\n",
                 "zomu-model: " + model + ": 3 of 303 files are wrong\n");

    refuse({"fingerprint", model},
           (fs::path(model) / "6-2").string() + ": does not have the 16000000 bytes of its kind");

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
    refuse({"unpack", pack, copy}, copy + " is not empty");
    std::ofstream(fs::path(copy) / "notes") << "not to be lost";
    refuse({"unpack", pack, copy, "--force"}, copy + kHoldsNotes);
    EXPECT_TRUE(fs::remove(fs::path(copy) / "notes"));
    expectDone(kProgram, {"unpack", pack, copy, "--force"}, copy + kAll);

    const auto install = [&](const Words& arguments) {
        return runTool(kProgram, arguments, parent.path().string());
    };
    const std::string place = (parent.path() / "~zvplugintmp~" / "").string();
    expectResult(install({"install", pack}), 0, place + kAll, "");
    expectDone(kProgram, {"check", place}, place + ": all 303 files are good\n");
    expectResult(install({"install", pack}), 1, "", "zomu-model: " + place + " is not empty\n");
    expectResult(install({"install", "--force"}), 0,
                 place + kAll +
                     "This is the demonstration model: it was trained on drawn heads, and "
                     "cannot identify real people.\n",
                 "");
    expectResult(runTool(kProgram, {"fingerprint", place}), 0, kDemonstration, "");

    fs::resize_file(pack, 1000);
    const std::string other = parent.prefix() + "other";
    refuse({"unpack", pack, other},
           pack + ": is truncated: 980 of " + std::to_string(size - 20) + " bytes");
    EXPECT_FALSE(fs::exists(other));
}
