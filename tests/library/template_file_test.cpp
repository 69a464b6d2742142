// Template files of zomu.hpp: what is read, what is not, and that a write which fails costs nothing.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "library/made_template.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"
#include "zomu.hpp"

namespace fs = std::filesystem;

namespace {

class TemplateFile : public testing::Test {
  protected:
    std::string reasonToLoad() const {
        return reasonOf([&] { ZomuTemplate::load(path); });
    }

    // Why it is not saved; what was in the folder stays, and nothing comes.
    std::string reasonToSave(const fs::path& target) const {
        return reasonOf([&] { madeTemplate(2).save(target); });
    }

    std::size_t filesInFolder() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()));
    }

    const TemporaryFolder folder;
    const fs::path path = folder.path() / "face.zomu";
    const std::string name = path.string();
};

}  // namespace

TEST_F(TemplateFile, savesWhatItLoads) {
    madeTemplate().save(path);
    EXPECT_EQ(ZomuTemplate::load(path), madeTemplate());

    const std::string bytes = readFile(path);
    ASSERT_EQ(bytes.size(), 2048U);
    EXPECT_EQ(bytes.substr(0, 8), "ZOMUTPL1");
    EXPECT_EQ(bytes[39], 31);
    EXPECT_EQ(bytes.substr(44, 4), std::string("\x25\x49\x12\x3e")) << "1/7, the low byte first";
}

TEST_F(TemplateFile, filesThatAreNoTemplatesAreRefused) {
    EXPECT_EQ(reasonToLoad(), name + ": cannot be opened");
    madeTemplate().save(path);
    const std::string good = readFile(path);
    for (const std::string& bytes :
         {std::string(), good.substr(0, 2047), good + "x", "z" + good.substr(1)}) {
        std::ofstream(path, std::ios::binary) << bytes;
        EXPECT_EQ(reasonToLoad(), name + ": is not a template file") << bytes.size();
    }
    std::ofstream(path, std::ios::binary) << good.substr(0, 2044) << std::string("\0\0\xc0\x7f", 4);
    EXPECT_EQ(reasonToLoad(), name + ": holds values that are not finite");
}

// A template of one value. The larger its norm is than its vector, or the smaller, the wilder its scores.
TEST_F(TemplateFile, whatNoExtractionGivesIsNeitherReadNorWritten) {
    constexpr char kLength[] = "holds a length that no extraction gives";
    constexpr char kNorm[] = "holds a norm that does not fit its values";
    constexpr char kTerm[] = "holds a quadratic term that no extraction gives";
    const struct {
        float value, norm, term;
        const char* fault;
    } cases[] = {
        {1.0F, 1.0F, 0.0F, ""},          {-1.0F, 1.0F, 1e12F, ""},
        {1.0F, 1.0009F, 1.0F, ""},       {1.0F, 0.9991F, 1.0F, ""},
        {1.1e-6F, 1.1e-6F, 1.0F, ""},    {9e5F, 9e5F, 1.0F, ""},
        {1.0F, 1.0011F, 1.0F, kNorm},    {1.0F, 0.9989F, 1.0F, kNorm},
        {1.0F, -1.0F, 1.0F, kLength},    {1.0F, 1e-5F, 1.0F, kNorm},
        {0.0F, 0.0F, 1.0F, kLength},     {9e-7F, 9e-7F, 1.0F, kLength},
        {1.1e6F, 1.1e6F, 1.0F, kLength}, {1e30F, 1e30F, 1.0F, kLength},
        {0.0F, 1.0F, 1.0F, kNorm},       {1.0F, 1.0F, -1e-3F, kTerm},
        {1.0F, 1.0F, 1.1e12F, kTerm},    {1.0F, 1.0F, -3e38F, kTerm},
    };
    madeTemplate().save(path);
    const std::string head = readFile(path).substr(0, 40);
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::Message() << one.value << ' ' << one.norm << ' ' << one.term);
        ZomuTemplate forged;
        forged.face.projection[499] = one.value;
        forged.face.projectionNorm = one.norm;
        forged.face.quadraticTerm = one.term;
        std::string bytes(sizeof forged.face, '\0');
        std::memcpy(bytes.data(), &forged.face, sizeof forged.face);
        std::ofstream(path, std::ios::binary) << head << bytes;
        const std::string fault = one.fault;
        EXPECT_EQ(reasonToLoad(), fault.empty() ? "" : name + ": " + fault);
        EXPECT_EQ(reasonOf([&] { forged.save(path); }),
                  fault.empty() ? "" : "a template that " + fault + " cannot be kept");
    }
}

TEST_F(TemplateFile, aTemplateThatIsNotFiniteIsNotSaved) {
    ZomuTemplate broken = madeTemplate();
    broken.face.projectionNorm = std::nanf("");
    EXPECT_THROW(broken.save(path), std::invalid_argument);
    EXPECT_EQ(filesInFolder(), 0U);
}

TEST_F(TemplateFile, whatCannotBeWrittenLeavesTheFormerFile) {
    madeTemplate().save(path);
    const std::string former = readFile(path);
    std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit unlimited = {};
    getrlimit(RLIMIT_FSIZE, &unlimited);
    const struct rlimit half = {1024, unlimited.rlim_max};
    setrlimit(RLIMIT_FSIZE, &half);
    const std::string reason = reasonToSave(path);
    setrlimit(RLIMIT_FSIZE, &unlimited);
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(reason, name + ": cannot be written: File too large");
    EXPECT_EQ(readFile(path), former);
    EXPECT_EQ(filesInFolder(), 1U);
}

TEST_F(TemplateFile, onlyRegularFilesAreReplaced) {
    const fs::path victim = folder.path() / "victim";
    std::ofstream(victim) << "kept";
    fs::create_symlink(victim, folder.path() / "link");
    fs::create_symlink(folder.path() / "new", folder.path() / "dangling");
    fs::create_directory(folder.path() / "folder");
    mkfifo((folder.prefix() + "pipe").c_str(), 0600);
    const std::vector<std::pair<const char*, const char*>> targets = {
        {"link", "is a symbolic link, and none is followed or replaced"},
        {"dangling", "is a symbolic link, and none is followed or replaced"},
        {"folder", "is a folder"},
        {"pipe", "is not a regular file, and is not replaced"},
        {"absent/face.zomu", "cannot be created: No such file or directory"}};
    for (const auto& [target, reason] : targets) {
        EXPECT_EQ(reasonToSave(folder.path() / target), folder.prefix() + target + ": " + reason);
    }
    EXPECT_EQ(reasonToSave("/dev/null"), "/dev/null: is not a regular file, and is not replaced");
    EXPECT_EQ(readFile(victim), "kept");
    EXPECT_EQ(filesInFolder(), 5U);
}

TEST_F(TemplateFile, aNewFileHasTheRightsOfTheFormerOne) {
    madeTemplate().save(path);
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
    madeTemplate(2).save(path);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(ZomuTemplate::load(path), madeTemplate(2));
    EXPECT_EQ(filesInFolder(), 1U);
}

TEST_F(TemplateFile, aPathNeedsNoFolder) {
    const fs::path before = fs::current_path();
    fs::current_path(folder.path());
    madeTemplate().save("face.zomu");
    fs::current_path(before);
    EXPECT_EQ(ZomuTemplate::load(path), madeTemplate());
}
