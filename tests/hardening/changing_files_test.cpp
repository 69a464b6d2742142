// Model files are cut, deleted, replaced and put back while contexts are made and used.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <new>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "hardening/common.h"
#include "library/host/scene.h"
#include "model/model_files.h"
#include "model/model_tables.h"
#include "support/model_folder.h"
#include "support/random.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

namespace {

using Clock = std::chrono::steady_clock;

std::size_t below(std::size_t limit, Random& random) {
    return static_cast<std::size_t>(random.between(0, static_cast<int>(limit) - 1));
}

// A copy of the exact model that may be written to, and loaded.
class ChangingFiles : public testing::Test {
  protected:
    ChangingFiles() : good(std::string(ZOMU_EXACT_MODEL) + "/" + kModelFolderName + "/") {
        const std::filesystem::path target = folder.path() / kModelFolderName;
        std::filesystem::create_directory(target);
        for (const ModelFile& file : listModelFiles()) {
            std::filesystem::copy_file(good + file.name, target / file.name);
            if (file.kind == ModelFileKind::weights || file.kind == ModelFileKind::biases) {
                names.push_back(file.name);
                contents.push_back(readFile(good + file.name));
            }
        }
        loadTablesFrom(folder.prefix());
    }

    FaceTemplate extract(ZomuContext* context) const { return extractScene(context, face); }

    std::string pathOf(std::size_t file) const { return modelDir + names[file]; }

    // In place: whoever has the file open sees it shrink and change.
    void change(std::size_t file, Random& random) const {
        const std::string path = pathOf(file);
        const std::string& bytes = contents[file];
        const std::size_t some = below(bytes.size(), random);
        std::error_code gone;
        switch (random.between(0, 4)) {
            case 0:
                std::filesystem::remove(path, gone);
                break;
            case 1:
                std::filesystem::resize_file(path, some, gone);
                break;
            case 2:  // half written
                writeFile(path, bytes.data(), some);
                break;
            case 3:  // by another file of the model, at one stroke
                std::filesystem::copy_file(good + names[below(names.size(), random)], path + ".new",
                                           std::filesystem::copy_options::overwrite_existing);
                std::filesystem::rename(path + ".new", path);
                break;
            default:
                writeFile(path, bytes.data(), bytes.size());
        }
    }

    void putBack(std::size_t file) const {
        writeFile(pathOf(file), contents[file].data(), contents[file].size());
    }

    TemporaryFolder folder;
    std::string good;
    std::vector<std::string> names;     // of the weight files
    std::vector<std::string> contents;  // undamaged
    Scene face = scene(0);
};

}  // namespace

TEST_F(ChangingFiles, breakNothingAndLeaveRunningContextsAlone) {
    ZomuContext* running = ZomuCreate();
    const FaceTemplate before = extract(running);
    const auto end = Clock::now() + std::chrono::seconds(isFullSweep() ? 120 : 3);
    std::atomic<bool> isOver = false;
    std::atomic<long> changes = 0, creates = 0, outOfMemory = 0, otherTemplates = 0;
    std::atomic<long> differences = 0;
    long extractions = 0;

    startCapture();
    std::thread changing([&] {
        Random random(91);
        while (!isOver) {
            // Some at a time stay changed for a while; the rest is as good as new.
            std::vector<std::size_t> changed;
            for (int i = 0; i < 30; ++i) {
                changed.push_back(below(names.size(), random));
                change(changed.back(), random);
                ++changes;
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
            for (const std::size_t file : changed) {
                putBack(file);
            }
        }
    });
    std::vector<std::thread> creating;
    for (int i = 0; i < 2; ++i) {
        creating.emplace_back([&] {
            while (!isOver) {
                try {
                    ZomuContext* context = ZomuCreate();
                    const FaceTemplate first = extract(context);
                    otherTemplates += sameTemplates(first, before) ? 0 : 1;
                    differences += sameTemplates(first, extract(context)) ? 0 : 1;
                    ZomuDestroy(context);
                    ++creates;
                } catch (const std::bad_alloc&) {
                    ++outOfMemory;
                }
            }
        });
    }
    while (Clock::now() < end || creates < 4) {
        differences += sameTemplates(before, extract(running)) ? 0 : 1;
        ++extractions;
    }
    isOver = true;
    changing.join();
    for (std::thread& thread : creating) {
        thread.join();
    }
    std::istringstream printed(endCapture());

    std::set<std::string> possible;
    for (const std::string& name : names) {
        possible.insert(std::string("load ") + modelDir + name + " failed");
    }
    long lines = 0;
    for (std::string line; std::getline(printed, line); ++lines) {
        EXPECT_TRUE(possible.contains(line)) << line;
    }
    EXPECT_EQ(differences, 0);
    EXPECT_EQ(outOfMemory, 0);
    EXPECT_GT(otherTemplates, 0) << "the creates met no changed file";
    EXPECT_GT(lines, 0) << "the creates met no deleted file";

    ZomuContext* after = ZomuCreate();
    EXPECT_TRUE(sameTemplates(before, extract(after)));
    ZomuDestroy(after);
    EXPECT_TRUE(sameTemplates(before, extract(running)));
    ZomuDestroy(running);
    std::printf(
        "changing files: %ld changes, %ld creates (%ld with another template), %ld lines, %ld "
        "extractions of a running context, %ld differences\n",
        changes.load(), creates.load(), otherTemplates.load(), lines, extractions,
        differences.load());
}

// Nothing of a context comes from the folder once it is made.
TEST_F(ChangingFiles, doNotReachAContextThatIsMade) {
    ZomuContext* context = ZomuCreate();
    const FaceTemplate before = extract(context);
    for (std::size_t file = 0; file < names.size(); ++file) {
        std::filesystem::resize_file(pathOf(file), 4);
    }
    EXPECT_TRUE(sameTemplates(before, extract(context)));
    std::filesystem::remove_all(folder.path() / kModelFolderName);
    EXPECT_TRUE(sameTemplates(before, extract(context)));
    ZomuDestroy(context);
}
