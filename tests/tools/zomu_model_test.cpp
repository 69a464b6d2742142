// The program zomu-model from outside: what it prints where, and how it ends.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/process.h"
#include "support/temporary_folder.h"

namespace fs = std::filesystem;

static ProcessResult zomuModel(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {ZOMU_MODEL_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return runProcess(command, {});
}

static bool isOneLine(const std::string& text) {
    return !text.empty() && text.find('\n') == text.size() - 1;
}

TEST(ZomuModel, listsAllFilesWithTheirTotal) {
    const ProcessResult result = zomuModel({"list"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_NE(result.out.find("\n5-25-2   weights           25 fc       768 x 160     491528\n"),
              std::string::npos)
        << result.out;
    EXPECT_NE(result.out.find("\n6-1      projection       all         500 x 8000   16000000\n"),
              std::string::npos)
        << result.out;
    EXPECT_TRUE(result.out.ends_with("\n303 files, 58271424 bytes\n"));
}

TEST(ZomuModel, makesAndChecksAModelInPlainLines) {
    const TemporaryFolder parent;
    const std::string folder = parent.prefix() + "model";
    const ProcessResult made = zomuModel({"make", folder, "--weights", "integer", "--seed", "4"});
    EXPECT_EQ(made.exitStatus, 0);
    EXPECT_EQ(made.err, "");
    EXPECT_EQ(made.out.find('\r'), std::string::npos);
    EXPECT_TRUE(made.out.starts_with("networks\nprojections\nno sum inside a network exceeds "))
        << made.out;
    EXPECT_TRUE(made.out.ends_with("\n" + folder + ": 303 files, 58271424 bytes\n")) << made.out;

    const ProcessResult good = zomuModel({"check", folder});
    EXPECT_EQ(good.exitStatus, 0);
    EXPECT_EQ(good.err, "");
    EXPECT_EQ(good.out, folder + ": all 303 files are good\n");

    const ProcessResult refused = zomuModel({"make", folder, "--weights", "integer"});
    EXPECT_EQ(refused.exitStatus, 1);
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(refused.err, "zomu-model: " + folder + " is not empty\n");

    fs::remove(fs::path(folder) / "3-3-1");
    fs::resize_file(fs::path(folder) / "6-2", 100);
    const ProcessResult bad = zomuModel({"check", folder});
    EXPECT_EQ(bad.exitStatus, 1);
    EXPECT_EQ(bad.out, "6-2: 100 bytes, 15999900 too few\n3-3-1: missing\n");
    EXPECT_EQ(bad.err, "zomu-model: " + folder + ": 2 of 303 files are wrong\n");

    EXPECT_EQ(zomuModel({"make", folder, "--weights", "integer", "--force"}).exitStatus, 0);
    EXPECT_EQ(zomuModel({"check", folder}).exitStatus, 0);
}

TEST(ZomuModel, fingerprintIsOneLineAndNamesTheFileThatHasNone) {
    const TemporaryFolder parent;
    const std::string folder = parent.prefix() + "model";
    EXPECT_EQ(zomuModel({"make", folder, "--weights", "integer"}).exitStatus, 0);
    // An integer model of one seed is the same bytes on every machine. Made by sha256sum from the
    // files one behind the other, in the order of "zomu-model list".
    const ProcessResult result = zomuModel({"fingerprint", folder});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, "caba7674f7713a3fba3ef3dbf6c11291b3609060447e3f982382d28597b94cad\n");
    EXPECT_EQ(result.err, "");

    const fs::path file = fs::path(folder) / "3-3-1";
    fs::remove(file);
    const ProcessResult missing = zomuModel({"fingerprint", folder});
    EXPECT_EQ(missing.exitStatus, 1);
    EXPECT_EQ(missing.out, "");
    EXPECT_EQ(missing.err, "zomu-model: " + file.string() + ": cannot be opened\n");
}

TEST(ZomuModel, packsAndUnpacksInPlainLines) {
    const TemporaryFolder parent;
    const std::string folder = parent.prefix() + "model";
    const std::string pack = parent.prefix() + "model.pack";
    const std::string copy = parent.prefix() + "copy";
    ASSERT_EQ(zomuModel({"make", folder, "--weights", "integer"}).exitStatus, 0);
    const ProcessResult packed = zomuModel({"pack", folder, pack});
    EXPECT_EQ(packed.exitStatus, 0);
    EXPECT_EQ(packed.err, "");
    EXPECT_EQ(packed.out, pack + ": " + std::to_string(fs::file_size(pack)) +
                              " bytes, 303 files of 58271424 bytes\n");
    EXPECT_LE(fs::file_size(pack), 16000000U);

    const ProcessResult unpacked = zomuModel({"unpack", pack, copy});
    EXPECT_EQ(unpacked.exitStatus, 0);
    EXPECT_EQ(unpacked.out, copy + ": 303 files, 58271424 bytes\n");
    EXPECT_EQ(zomuModel({"check", copy}).exitStatus, 0);
    const ProcessResult refused = zomuModel({"unpack", pack, copy});
    EXPECT_EQ(refused.exitStatus, 1);
    EXPECT_EQ(refused.err, "zomu-model: " + copy + " is not empty\n");
    EXPECT_EQ(zomuModel({"unpack", pack, copy, "--force"}).exitStatus, 0);

    fs::resize_file(pack, 1000);
    const ProcessResult cut = zomuModel({"unpack", pack, parent.prefix() + "other"});
    EXPECT_EQ(cut.exitStatus, 1);
    EXPECT_EQ(cut.out, "");
    EXPECT_TRUE(isOneLine(cut.err)) << cut.err;
    EXPECT_NE(cut.err.find("model.pack: is truncated: 980 of "), std::string::npos) << cut.err;
    EXPECT_FALSE(fs::exists(parent.prefix() + "other"));
}

TEST(ZomuModel, wrongUsageIsOneLineAndStatusTwo) {
    const TemporaryFolder parent;
    const std::string folder = parent.prefix() + "model";
    const std::vector<std::vector<std::string>> commands = {
        {},
        {"bake"},
        {"make"},
        {"check"},
        {"fingerprint"},
        {"make", folder, "--weights", "heavy"},
        {"make", folder, "--seed", "x"},
        {"make", folder, "--seed", "-1"},
        {"make", folder, "other"},
        {"list", "--unknown"},
        {"pack", folder},
        {"unpack", folder},
    };
    for (const std::vector<std::string>& arguments : commands) {
        const ProcessResult result = zomuModel(arguments);
        const std::string last = arguments.empty() ? "nothing" : arguments.back();
        EXPECT_EQ(result.exitStatus, 2) << last;
        EXPECT_EQ(result.out, "") << last;
        EXPECT_TRUE(isOneLine(result.err)) << last << ": " << result.err;
        EXPECT_TRUE(result.err.starts_with("zomu-model: ")) << result.err;
    }
    EXPECT_FALSE(fs::exists(folder));
}

TEST(ZomuModel, helpIsNoError) {
    const ProcessResult result = zomuModel({"make", "--help"});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_NE(result.out.find("--weights"), std::string::npos);
    EXPECT_EQ(result.err, "");
}

TEST(ZomuModel, missingFolderIsOneLine) {
    const TemporaryFolder parent;
    const std::string folder = parent.prefix() + "absent";
    const ProcessResult result = zomuModel({"check", folder});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "zomu-model: " + folder + ": no such folder\n");
}
