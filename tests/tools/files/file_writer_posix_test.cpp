// Every writer of the tools, with a target that is no regular file, and with links planted where it might write
// on the way: nobody's file is overwritten.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "manifest/manifest.h"
#include "manifest/npy_file.h"
#include "model/model_file_writer.h"
#include "model/model_pack.h"
#include "support/made_model.h"
#include "support/read_file.h"
#include "support/small_files.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"

namespace fs = std::filesystem;

namespace {

// The model of the library's tests cannot be packed.
const fs::path& packableModel() {
    static const TemporaryFolder folder;
    static const fs::path model = folder.path() / "model";
    if (!fs::exists(model)) {
        makeModelIn(model);
    }
    return model;
}

const std::function<void(const fs::path&)> kWriters[] = {
    [](const fs::path& path) { packModel(packableModel(), path); },
    [](const fs::path& path) {
        const ModelFile file = {"b", ModelFileKind::biases, 1, "fc", 1, 1};
        writeModelFile(path, file, {1.0F});
    },
    [](const fs::path& path) {
        writeManifest(path, {{"a", "b", "c"}});
    },
    [](const fs::path& path) {
        NpyFile file(path, NpyType::uint8, {1});
        file.append("x", 1);
        file.close();
    }};

class FileWriterTest : public testing::Test {
  protected:
    FileWriterTest() { std::ofstream(victim) << "old"; }

    void expectNotWritten(const fs::path& target, const std::string& reason) const {
        for (const auto& write : kWriters) {
            EXPECT_EQ(reasonOf([&] { write(target); }), target.string() + ": " + reason);
        }
        EXPECT_EQ(readFile(victim), "old");
    }

    const TemporaryFolder folder;
    const fs::path victim = folder.path() / "victim";
};

}  // namespace

TEST_F(FileWriterTest, onlyRegularFilesAreReplaced) {
    const fs::path link = folder.path() / "link";
    const fs::path pipe = folder.path() / "pipe";
    fs::create_symlink(victim, link);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reader = open(pipe.c_str(), O_RDWR | O_NONBLOCK);
    expectNotWritten(link, "is a symbolic link, and none is followed or replaced");
    expectNotWritten(pipe, "is not a regular file, and is not replaced");
    close(reader);
    EXPECT_TRUE(fs::is_fifo(pipe));
}

TEST_F(FileWriterTest, aPlantedLinkIsNotFollowed) {
    for (const char* ending : {".partial", ".tmp", "~"}) {
        fs::create_symlink(victim, folder.path() / (std::string("new") + ending));
    }
    for (const auto& write : kWriters) {
        write(folder.path() / "new");
        EXPECT_EQ(readFile(victim), "old");
    }
}

TEST_F(FileWriterTest, aFullDiskLeavesTheFormerFile) {
    packableModel();
    const SmallFiles full(1);
    expectNotWritten(victim, SmallFiles::kReason);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
}
