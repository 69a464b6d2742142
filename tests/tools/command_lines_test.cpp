// What the tools say of command lines and files that they cannot use: one line, and nothing is
// made.
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "manifest/manifest.h"
#include "sheets/face_picture.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "tools/tool_run.h"
#include "zomu.hpp"

namespace fs = std::filesystem;

static const std::string kInspect = ZOMU_INSPECT_PATH;
static const std::string kModel = ZOMU_MODEL_PROGRAM;
static const std::string kPatches = ZOMU_PATCHES_PATH;
static const std::string kScores = ZOMU_SCORES_PATH;
static const std::string kTemplate = ZOMU_TEMPLATE_PATH;
static const std::string kVariants = ZOMU_VARIANTS_PATH;

// What those learn who have no landmarks yet.
static const std::string kFindHint = "; `zomu find PICTURE --csv FOLDER` writes landmark files";

TEST(CommandLines, helpIsNotAnError) {
    const TemporaryFolder withoutModel;
    for (const std::string& tool : {kInspect, kModel, kPatches, kScores, kTemplate, kVariants}) {
        const ProcessResult help = runTool(tool, {"--help"}, withoutModel.path().string());
        EXPECT_EQ(help.exitStatus, 0);
        EXPECT_EQ(help.err, "");
        EXPECT_NE(help.out.find("Usage: " + nameOf(tool)), std::string::npos) << help.out;
        EXPECT_EQ(help.out.find("load "), std::string::npos) << help.out;
    }
    EXPECT_NE(runTool(kModel, {"make", "--help"}).out.find("--weights"), std::string::npos);
}

TEST(CommandLines, thatAreIncompleteOrWrongAreStatusTwo) {
    const TemporaryFolder folder;
    const std::string model = folder.prefix() + "model";
    for (const std::string& tool : {kModel, kPatches, kTemplate}) {
        expectRefusal(tool, {}, 2, "A subcommand is required");
        expectRefusal(tool, {"bake"}, 2, "A subcommand is required");
    }
    for (const std::string& tool : {kInspect, kVariants}) {
        expectRefusal(tool, {kPicture, kLandmarks}, 2, "OUTDIR is required" + kFindHint);
        expectRefusal(tool, {kPicture}, 2, "LANDMARKS is required" + kFindHint);
        EXPECT_NE(runTool(tool, {"--help"}).out.find("`zomu find PICTURE --csv FOLDER` writes one"),
                  std::string::npos);
    }
    expectRefusal(kTemplate, {"extract", kPicture}, 2, "LANDMARKS is required" + kFindHint);
    expectRefusal(kTemplate, {"extract", kPicture, model}, 2, "FILE is required" + kFindHint);
    for (const char* command : {"make", "check", "fingerprint"}) {
        expectRefusal(kModel, {command}, 2, "DIR is required");
    }
    const std::string unexpected = "The following argument was not expected: ";
    expectRefusal(kModel, {"make", model, "--weights", "heavy"}, 2,
                  "--weights: heavy not in {random,integer}");
    expectRefusal(kModel, {"make", model, "--seed", "x"}, 2, "Could not convert: --seed = x");
    expectRefusal(kModel, {"make", model, "--seed", "-1"}, 2, "--seed: must not be negative");
    expectRefusal(kModel, {"make", model, "other"}, 2, unexpected + "other");
    expectRefusal(kModel, {"list", "--unknown"}, 2, unexpected + "--unknown");
    expectRefusal(kModel, {"pack", model}, 2, "FILE is required");
    expectRefusal(kModel, {"unpack", model}, 2, "DIR is required");
    expectRefusal(kPatches, {"cut"}, 2, "MANIFEST is required");
    expectRefusal(kScores, {"m.csv"}, 2, "OUTDIR is required");
    expectRefusal(kTemplate, {"compare", "a"}, 2, "SECOND is required");
    expectRefusal(kVariants, {kPicture, kLandmarks, model, "--seed", "-1"}, 2,
                  "--seed: must not be negative");
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(CommandLines, filesThatCannotBeUsedAreNamed) {
    const TemporaryFolder folder;
    const std::string dot = folder.prefix() + "dot.png";
    savePng(dot, blackPicture(1, 5));
    const std::string noRecord = kPicture + ": line 1: expected id,x,y";
    for (const std::string& tool : {kInspect, kVariants}) {
        expectRefusal(tool, {"no.png", kLandmarks, dot}, 1,
                      "no.png: cannot be opened: No such file or directory");
        expectRefusal(tool, {kPicture, kPicture, dot}, 1, noRecord);
        expectRefusal(tool, {kPicture, "no.csv", dot}, 1,
                      "no.csv: cannot be opened: No such file or directory" + kFindHint);
        expectRefusal(tool, {kPicture, kLandmarks, dot + "/x"}, 1,
                      dot + "/x: cannot be created: Not a directory");
    }
    const std::string small = dot + ": is smaller than 2 x 2 pixels";
    const std::string out = folder.prefix() + "out";
    const std::string none = folder.prefix() + "absent";
    expectRefusal(kInspect, {dot, kLandmarks, out}, 1, small);
    expectRefusal(kModel, {"check", none}, 1, none + ": no such folder");
    expectRefusal(kModel, {"unpack", none, out}, 1, none + ": cannot be opened");
    expectRefusal(kScores, {none, out}, 1, none + ": cannot be opened: No such file or directory");
    expectRefusal(kTemplate, {"extract", dot, kLandmarks, out}, 1, small);
    expectRefusal(kTemplate, {"extract", kPicture, kPicture, out}, 1, noRecord);
    expectRefusal(kTemplate, {"compare", none, none}, 1, none + ": cannot be opened");
    expectRefusal(kTemplate, {"compare", kPicture, kPicture}, 1,
                  kPicture + ": is not a template file");
    EXPECT_FALSE(fs::exists(out));
}

TEST(CommandLines, withoutAModelOneLineSaysWhatToDo) {
    const TemporaryFolder folder;
    const fs::path model = folder.path() / "~zvplugintmp~" / "";
    const std::string out = folder.prefix() + "out";
    const std::string list = folder.prefix() + "list.csv";
    writeManifest(list, {{"eve", kPicture, kLandmarks}, {"eve", kPicture, kLandmarks}});
    const auto expectRemedy = [&](const std::string& remedy) {
        for (const auto& [tool, arguments] :
             {std::pair<std::string, Words>{kTemplate, {"extract", kPicture, kLandmarks, out}},
              {kPatches, {"features", list, out}},
              {kScores, {list, out}}}) {
            const ProcessResult result = runTool(tool, arguments, folder.path().string());
            expectResult(result, 1, "", nameOf(tool) + ": " + remedy + "\n");
            EXPECT_FALSE(fs::exists(out));
        }
    };
    const std::string install =
        "there is no model in " + model.string() + "; zomu-model install puts one there";
    expectRemedy(install);
    fs::create_directory(model);
    expectRemedy(install);
    std::ofstream(model / "6-1") << "x";
    expectRemedy(model.string() +
                 " lacks 302 of the 303 files of a model; zomu-model check says which");
}

TEST(CommandLines, templatesWithoutAScoreAreExplained) {
    const TemporaryFolder folder;
    const std::string forged = folder.prefix() + "forged.zomu";
    const std::string first = folder.prefix() + "a.zomu";
    const std::string second = folder.prefix() + "b.zomu";
    ZomuTemplate face;
    face.face.projection[0] = 1.0F;
    face.face.projectionNorm = 1.0F;
    face.save(first);
    face.model.fill(0xab);
    face.save(second);
    std::string bytes = readFile(first);
    bytes.replace(2044, 4, std::string("\0\0\0\x2f", 4));  // the norm: 1.2e-10
    std::ofstream(forged, std::ios::binary) << bytes;
    expectRefusal(kTemplate, {"compare", first, forged}, 1,
                  forged + ": holds a length that no extraction gives");
    expectRefusal(kTemplate, {"compare", first, second}, 1,
                  "made with two models, 0000000000000000... and abababababababab...: their "
                  "templates cannot be compared");
}
