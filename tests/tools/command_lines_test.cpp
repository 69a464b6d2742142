// What the tools say of command lines and files that they cannot use: one line, and nothing is
// made.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "sheets/face_picture.h"
#include "support/temporary_folder.h"
#include "tools/tool_run.h"
#include "zomu.hpp"

namespace fs = std::filesystem;

namespace {

struct Tool {
    std::string name, path;
};

const std::vector<Tool> kTools = {
    {"zomu-inspect", ZOMU_INSPECT_PATH},   {"zomu-model", ZOMU_MODEL_PROGRAM},
    {"zomu-patches", ZOMU_PATCHES_PATH},   {"zomu-scores", ZOMU_SCORES_PATH},
    {"zomu-template", ZOMU_TEMPLATE_PATH}, {"zomu-variants", ZOMU_VARIANTS_PATH}};

}  // namespace

TEST(CommandLines, helpIsNotAnError) {
    for (const Tool& tool : kTools) {
        const ProcessResult help = runTool(tool.path, {"--help"});
        EXPECT_EQ(help.exitStatus, 0);
        EXPECT_EQ(help.err, "");
        EXPECT_NE(help.out.find("Usage: " + tool.name), std::string::npos) << help.out;
    }
    EXPECT_NE(runTool(ZOMU_MODEL_PROGRAM, {"make", "--help"}).out.find("--weights"),
              std::string::npos);
}

TEST(CommandLines, thatAreIncompleteOrWrongAreStatusTwo) {
    const TemporaryFolder folder;
    const std::string model = folder.prefix() + "model";
    const auto refuse = [](const Tool& tool, const Words& arguments, const std::string& words) {
        expectRefusals(tool.path, {{arguments, 2, tool.name + ": " + words}});
    };
    for (const Tool& tool : {kTools[1], kTools[2], kTools[4]}) {
        refuse(tool, {}, "A subcommand is required");
        refuse(tool, {"bake"}, "A subcommand is required");
    }
    for (const Tool& tool : {kTools[0], kTools[5]}) {
        refuse(tool, {kPicture, kLandmarks}, "OUTDIR is required");
    }
    for (const char* command : {"make", "check", "fingerprint"}) {
        refuse(kTools[1], {command}, "DIR is required");
    }
    refuse(kTools[1], {"make", model, "--weights", "heavy"},
           "--weights: heavy not in {random,integer}");
    refuse(kTools[1], {"make", model, "--seed", "x"}, "Could not convert: --seed = x");
    refuse(kTools[1], {"make", model, "--seed", "-1"}, "--seed: must not be negative");
    refuse(kTools[1], {"make", model, "other"}, "The following argument was not expected: other");
    refuse(kTools[1], {"list", "--unknown"}, "The following argument was not expected: --unknown");
    refuse(kTools[1], {"pack", model}, "FILE is required");
    refuse(kTools[1], {"unpack", model}, "DIR is required");
    refuse(kTools[2], {"cut"}, "MANIFEST is required");
    refuse(kTools[3], {"m.csv"}, "OUTDIR is required");
    refuse(kTools[4], {"compare", "a"}, "SECOND is required");
    refuse(kTools[5], {kPicture, kLandmarks, model, "--seed", "-1"},
           "--seed: must not be negative");
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(CommandLines, filesThatCannotBeUsedAreNamed) {
    const TemporaryFolder folder;
    const std::string dot = folder.prefix() + "dot.png";
    savePng(dot, blackPicture(1, 5));
    const std::string absent = ": cannot be opened: No such file or directory";
    const auto refuse = [](const Tool& tool, const Words& arguments, const std::string& words) {
        expectRefusals(tool.path, {{arguments, 1, tool.name + ": " + words}});
    };
    const std::string noRecord = kPicture + ": line 1: expected id,x,y";
    for (const Tool& tool : {kTools[0], kTools[5]}) {
        refuse(tool, {"no.png", kLandmarks, dot}, "no.png" + absent);
        refuse(tool, {kPicture, kPicture, dot}, noRecord);
        refuse(tool, {kPicture, kLandmarks, dot + "/x"},
               dot + "/x: cannot be created: Not a directory");
    }
    const std::string small = dot + ": is smaller than 2 x 2 pixels";
    const std::string out = folder.prefix() + "out";
    const std::string none = folder.prefix() + "absent";
    refuse(kTools[0], {dot, kLandmarks, out}, small);
    refuse(kTools[1], {"check", none}, none + ": no such folder");
    refuse(kTools[3], {none, out}, none + ": cannot be opened");
    refuse(kTools[4], {"extract", dot, kLandmarks, out}, small);
    refuse(kTools[4], {"extract", kPicture, kPicture, out}, noRecord);
    refuse(kTools[4], {"compare", none, none}, none + ": cannot be opened");
    refuse(kTools[4], {"compare", kPicture, kPicture}, kPicture + ": is not a template file");
    EXPECT_FALSE(fs::exists(out));
}

TEST(CommandLines, templatesWithoutAScoreAreExplained) {
    const TemporaryFolder folder;
    const std::string empty = folder.prefix() + "empty.zomu";
    const std::string first = folder.prefix() + "a.zomu";
    const std::string second = folder.prefix() + "b.zomu";
    ZomuTemplate().save(empty);
    ZomuTemplate face;
    face.face.projection[0] = 1.0F;
    face.face.projectionNorm = 1.0F;
    face.save(first);
    face.model.fill(0xab);
    face.save(second);
    expectRefusals(ZOMU_TEMPLATE_PATH,
                   {{{"compare", empty, empty},
                     1,
                     "zomu-template: no score: one of the templates has no length"},
                    {{"compare", first, second},
                     1,
                     "zomu-template: made with two models, 0000000000000000... and "
                     "abababababababab...: their templates cannot be compared"}});
}
