// zomu-inspect, zomu-variants and zomu-template from outside: what they write and print.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "model/sha256.h"
#include "patches/landmarks.h"
#include "sheets/face_picture.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "tools/tool_run.h"
#include "zomu.hpp"

namespace fs = std::filesystem;

static Words filesIn(const fs::path& folder) {
    Words names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// A chunk of a PNG file that says: the first row is the right side, the first column the top.
static std::string quarterTurnMark() {
    std::string chunk("eXIfMM\0*\0\0\0\x8\0\x1\x1\x12\0\x3\0\0\0\x1\0\x6\0\0\0\0\0\0", 30);
    std::uint32_t checksum = ~0U;
    for (const char byte : chunk) {
        checksum ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            checksum = (checksum >> 1) ^ ((checksum & 1U) != 0 ? 0xEDB88320U : 0U);
        }
    }
    for (const int shift : {24, 16, 8, 0}) {
        chunk += static_cast<char>(~checksum >> shift);
    }
    return std::string("\0\0\0\x1a", 4) + chunk;
}

TEST(ZomuVariants, writesPicturesWithTheirLandmarks) {
    const TemporaryFolder folder;
    const fs::path target = folder.path() / "new/one";
    expectDone(ZOMU_VARIANTS_PATH, {kPicture, kLandmarks, target.string()});
    const FacePicture portrait = loadFacePicture(kPicture, kLandmarks);
    Words expected;
    for (const char* name : {"compressed.jpg", "darker.png", "larger.png", "mirrored.png",
                             "noisy.png", "smaller.png", "turned.png"}) {
        const fs::path path = target / name;
        const fs::path landmarks = fs::path(path).replace_extension("csv");
        const FacePicture face = loadFacePicture(path.string(), landmarks.string());
        EXPECT_EQ(whyRecordIsRefused(face.landmarks), nullptr) << name;
        EXPECT_NE(face.picture.pixels, portrait.picture.pixels) << name;
        expected.push_back(landmarks.filename().string());
        expected.emplace_back(name);
    }
    EXPECT_EQ(filesIn(target), expected);
    EXPECT_EQ(loadPicture((target / "larger.png").string()).width, 480);
    EXPECT_EQ(loadPicture((target / "smaller.png").string()).height, 210);
}

TEST(ZomuVariants, seedSettlesTheNoise) {
    const TemporaryFolder folder;
    const auto noiseOf = [&](const std::string& name, const std::string& seed) {
        const std::string target = folder.prefix() + name;
        expectDone(ZOMU_VARIANTS_PATH, {kPicture, kLandmarks, target, "--seed", seed});
        return readFile(target + "/noisy.png");
    };
    EXPECT_EQ(noiseOf("a", "5"), noiseOf("b", "5"));
    EXPECT_NE(noiseOf("a", "5"), noiseOf("b", "6"));
}

TEST(ZomuInspect, writesTwoSheets) {
    const TemporaryFolder folder;
    const std::string target = folder.prefix() + "sheets";
    expectDone(ZOMU_INSPECT_PATH, {kPicture, kLandmarks, target});
    EXPECT_EQ(filesIn(target), (Words{"landmarks.png", "patches.png"}));
    EXPECT_GT(loadPicture(target + "/landmarks.png").width, 1000);
    EXPECT_GT(loadPicture(target + "/patches.png").width, 1000);
}

TEST(ZomuTemplate, extractsAndCompares) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.zomu";
    expectDone(ZOMU_TEMPLATE_PATH, {"extract", kPicture, kLandmarks, path});
    const ProcessResult compared =
        runTool(ZOMU_TEMPLATE_PATH, {"compare", path, path}, folder.prefix());
    EXPECT_EQ(compared.exitStatus, 0) << compared.err;
    const ZomuTemplate stored = ZomuTemplate::load(path);
    EXPECT_EQ(std::stof(compared.out), stored.scoreAgainst(stored));
    const ProcessResult fingerprint =
        runTool(ZOMU_MODEL_PROGRAM, {"fingerprint", ZOMU_TEST_MODEL "/~zvplugintmp~"});
    EXPECT_EQ(fingerprint.out, hexadecimal(stored.model) + "\n");
}

TEST(ZomuTemplate, landmarksMeanTheUprightPicture) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "turned.png";
    const BgrPicture upright = loadPicture(kPicture);
    BgrPicture stored = blackPicture(upright.height, upright.width);
    for (int y = 0; y < upright.height; ++y) {
        for (int x = 0; x < upright.width; ++x) {
            std::copy_n(upright.at(x, y), 3, stored.at(y, upright.width - 1 - x));
        }
    }
    savePng(path, stored);
    std::string file = readFile(path);
    file.insert(33, quarterTurnMark());
    std::ofstream(path, std::ios::binary) << file;

    const std::string expected = folder.prefix() + "a.zomu";
    const std::string turned = folder.prefix() + "b.zomu";
    expectDone(ZOMU_TEMPLATE_PATH, {"extract", kPicture, kLandmarks, expected});
    expectDone(ZOMU_TEMPLATE_PATH, {"extract", path, kLandmarks, turned});
    EXPECT_EQ(readFile(turned), readFile(expected));
}

TEST(ZomuTemplate, wantsAModel) {
    const TemporaryFolder folder;
    const ProcessResult result =
        runTool(ZOMU_TEMPLATE_PATH, {"extract", kPicture, kLandmarks, folder.prefix() + "a"},
                folder.path().string());
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_TRUE(result.err.ends_with(": no such folder\n")) << result.err;
    EXPECT_FALSE(fs::exists(folder.path() / "a"));
}
