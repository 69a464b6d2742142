// PNG files of 16 bits are the same picture as their copies of 8 bits.
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "pictures/test_pictures.h"
#include "support/temporary_folder.h"

namespace {

// A row of colours, 8 or 16 bits deep, with these chunks before the pixels.
std::string rowOfPixels(const std::vector<std::uint16_t>& values, int depth,
                        const std::string& chunks) {
    std::string row(1, '\0');  // no filter
    for (const std::uint16_t value : values) {
        row += static_cast<char>(value >> 8);
        if (depth == 16) {
            row += static_cast<char>(value);
        }
    }
    const std::string header = bigEndian(static_cast<std::uint32_t>(values.size() / 3)) +
                               bigEndian(1) + static_cast<char>(depth) + std::string("\2\0\0\0", 4);
    return "\x89PNG\r\n\x1A\n" + pngChunk("IHDR", header) + chunks +
           pngChunk("IDAT", compressed(row)) + pngChunk("IEND", "");
}

const std::map<const char*, std::string> kGammas = {
    {"none", ""},
    {"that of sRGB", pngChunk("gAMA", bigEndian(45455))},
    {"sRGB", pngChunk("sRGB", std::string(1, '\0'))},
    {"both", pngChunk("gAMA", bigEndian(45455)) + pngChunk("sRGB", std::string(1, '\0'))},
};

}  // namespace

TEST(DeepPng, isAsBrightAsItsCopyOf8Bits) {
    const TemporaryFolder folder;
    std::vector<std::uint16_t> values;
    for (std::uint16_t level = 0; level < 255; ++level) {
        values.push_back(static_cast<std::uint16_t>(257 * level));
    }
    for (const auto& [gamma, chunks] : kGammas) {
        SCOPED_TRACE(gamma);
        writeText(folder.prefix() + "8", rowOfPixels(values, 8, chunks));
        const Loaded copy(folder.prefix() + "8");
        writeText(folder.prefix() + "16", rowOfPixels(values, 16, chunks));
        expectPixels(folder.prefix() + "16", packedPixels(copy.picture));
        EXPECT_EQ(copy.picture.pixels[3 * 40 + 2], 3 * 40) << "as stored";
    }
}

TEST(DeepPng, valuesBetweenTwoLevelsBecomeTheNearer) {
    const TemporaryFolder folder;
    writeText(folder.prefix() + "a", rowOfPixels({257 * 7 + 128, 257 * 7 + 129, 65535}, 16, ""));
    expectPixels(folder.prefix() + "a", {255, 8, 7});
}

// A picture that says that its values are linear light is made brighter, whatever its depth.
TEST(DeepPng, linearLightIsConverted) {
    const TemporaryFolder folder;
    const std::string linear = pngChunk("gAMA", bigEndian(100000));
    for (const int depth : {8, 16}) {
        writeText(folder.prefix() + "a", rowOfPixels({257 * 55, 0, 65535}, depth, linear));
        expectPixels(folder.prefix() + "a", {255, 0, 127});
    }
}
