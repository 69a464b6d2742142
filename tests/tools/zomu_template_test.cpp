// zomu-template from outside: what it writes, prints and refuses.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/environment.h"
#include "support/process.h"
#include "support/temporary_folder.h"
#include "zomu.hpp"

namespace {

const std::string kPicture = ZOMU_SAMPLES "/portrait.png";
const std::string kLandmarks = ZOMU_SAMPLES "/portrait.csv";

ProcessResult zomuTemplate(const std::vector<std::string>& arguments,
                           const std::string& temporary = ZOMU_TEST_MODEL) {
    std::vector<std::string> command = {ZOMU_TEMPLATE_PATH};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return runProcess(command, {{kTemporaryVariable, temporary}});
}

void expectFailure(const ProcessResult& result, int status, const std::string& words) {
    EXPECT_EQ(result.exitStatus, status);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(result.err.starts_with("zomu-template: ")) << result.err;
    EXPECT_NE(result.err.find(words), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
}

}  // namespace

TEST(ZomuTemplate, extractsAndCompares) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.zomu";
    const ProcessResult extracted = zomuTemplate({"extract", kPicture, kLandmarks, path});
    EXPECT_EQ(extracted.exitStatus, 0) << extracted.err;
    EXPECT_EQ(extracted.out + extracted.err, "");
    const ProcessResult compared = zomuTemplate({"compare", path, path}, folder.prefix());
    EXPECT_EQ(compared.exitStatus, 0) << compared.err;
    const ZomuTemplate stored = ZomuTemplate::load(path);
    EXPECT_EQ(std::stof(compared.out), stored.scoreAgainst(stored));
}

TEST(ZomuTemplate, refusesToCompareAcrossModels) {
    const TemporaryFolder folder;
    ZomuTemplate stored;
    stored.face.projection[0] = 1.0F;
    stored.face.projectionNorm = 1.0F;
    stored.save(folder.prefix() + "a.zomu");
    stored.model.fill(0xab);
    stored.save(folder.prefix() + "b.zomu");
    expectFailure(
        zomuTemplate({"compare", folder.prefix() + "a.zomu", folder.prefix() + "b.zomu"}), 1,
        "made with two models, 0000000000000000... and abababababababab...: their templates "
        "cannot be compared");
}

TEST(ZomuTemplate, saysWhyThereIsNoTemplateOrScore) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.zomu";
    expectFailure(zomuTemplate({"extract", kPicture, kLandmarks, path}, folder.prefix()), 1,
                  "no such folder");
    expectFailure(zomuTemplate({"extract", kPicture, kPicture, path}), 1, "expected id,x,y");
    expectFailure(zomuTemplate({"compare", kPicture, kPicture}), 1,
                  kPicture + ": is not a template file");
    ZomuTemplate().save(path);
    expectFailure(zomuTemplate({"compare", path, path}), 1, "no score");
    expectFailure(zomuTemplate({}), 2, "subcommand");
    expectFailure(zomuTemplate({"compare", path}), 2, "SECOND is required");
}
