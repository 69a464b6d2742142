#include "template/template_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>

#include "support/read_file.h"
#include "support/temporary_folder.h"

namespace {

StoredTemplate someTemplate() {
    StoredTemplate stored{};
    for (std::size_t i = 0; i < stored.model.size(); ++i) {
        stored.model[i] = static_cast<std::uint8_t>(7 * i);
    }
    for (int i = 0; i < ZOMU_PROJECTION_SIZE; ++i) {
        stored.face.projection[i] = static_cast<float>(i) / 8.0F;
    }
    stored.face.quadraticTerm = 3.5F;
    stored.face.projectionNorm = 2.5F;
    return stored;
}

std::string reasonOf(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
    try {
        loadTemplate(path);
    } catch (const std::runtime_error& problem) {
        return problem.what();
    }
    return "";
}

}  // namespace

TEST(TemplateFile, holdsMarkModelAndTemplate) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.zomu";
    const StoredTemplate stored = someTemplate();
    saveTemplate(path, stored);
    const std::string content = readFile(path);
    ASSERT_EQ(content.size(), 2048U);
    EXPECT_EQ(content.substr(0, 8), "ZOMUTPL1");
    EXPECT_EQ(std::memcmp(content.data() + 8, stored.model.data(), 32), 0);
    EXPECT_EQ(std::memcmp(content.data() + 40, &stored.face, 2008), 0);

    const StoredTemplate loaded = loadTemplate(path);
    EXPECT_EQ(loaded.model, stored.model);
    EXPECT_EQ(std::memcmp(&loaded.face, &stored.face, sizeof loaded.face), 0);
}

TEST(TemplateFile, isRefusedInWords) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.zomu";
    saveTemplate(path, someTemplate());
    const std::string good = readFile(path);
    const std::string other = folder.prefix() + "b.zomu";
    EXPECT_EQ(reasonOf(other, good), "");
    for (const std::string& content :
         {std::string(), good.substr(1), good.substr(40), "z" + good.substr(1)}) {
        EXPECT_EQ(reasonOf(other, content), other + ": is no template file");
    }
    EXPECT_EQ(reasonOf(other, good + "x"), other + ": is larger than 2048 bytes");

    StoredTemplate hole = someTemplate();
    hole.face.projectionNorm = std::numeric_limits<float>::quiet_NaN();
    saveTemplate(path, hole);
    EXPECT_EQ(reasonOf(other, readFile(path)), other + ": holds values that are not finite");
    EXPECT_THROW(saveTemplate(folder.prefix() + "no/a.zomu", hole), std::runtime_error);
}
