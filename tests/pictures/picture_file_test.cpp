// PNG and JPEG files: what goes in comes out, and what is not a picture is refused with a reason.
#include "picture_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "pictures/test_pictures.h"
#include "support/environment.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

class PictureFile : public testing::Test {
  protected:
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a";
};

TEST_F(PictureFile, pngBringsBackEveryByte) {
    for (const auto& [width, height] : {std::pair{1, 1}, {2, 3}, {7, 5}, {64, 33}}) {
        const TestPicture source(width, height, 3 * width, 1);
        ASSERT_TRUE(isSaved(path, source.picture));
        expectPixels(path, source.bytes);
        const Loaded loaded(path);
        EXPECT_EQ(loaded.picture.width, width);
        EXPECT_EQ(loaded.picture.height, height);
        EXPECT_EQ(loaded.picture.stride, 3 * width);
    }
}

TEST_F(PictureFile, bytesBetweenRowsAreNotWritten) {
    const TestPicture source(5, 4, 29, 2);
    ASSERT_TRUE(isSaved(path, source.picture));
    const std::vector<std::uint8_t> pixels = packedPixels(source.picture);
    expectPixels(path, pixels);

    // The same pixels without the gap make the same JPEG.
    TestPicture packed(5, 4, 15, 2);
    std::copy(pixels.begin(), pixels.end(), packed.bytes.begin());
    ASSERT_TRUE(isSaved(path, source.picture, 90));
    const std::string jpeg = readFile(path);
    ASSERT_TRUE(isSaved(path, packed.picture, 90));
    EXPECT_EQ(readFile(path), jpeg);
}

TEST_F(PictureFile, firstByteOfAPixelIsBlue) {
    const std::uint8_t rgb[3] = {200, 100, 50};
    writeRawPng(path, 1, 1, PNG_FORMAT_RGB, rgb);
    const std::vector<std::uint8_t> bgr = {50, 100, 200};
    expectPixels(path, bgr);

    writeText(path, encodeJpeg(1, 1, {200, 100, 50}, TJPF_RGB, TJSAMP_444));
    const Loaded fromJpeg(path);
    ASSERT_TRUE(fromJpeg.good);
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(fromJpeg.picture.pixels[i], bgr[static_cast<std::size_t>(i)], 4) << i;
    }
}

TEST_F(PictureFile, firstBytesDecideAndNotTheName) {
    const TestPicture source(16, 16, 48, 3);
    const std::string png = folder.prefix() + "really-png.jpg";
    const std::string jpeg = folder.prefix() + "really-jpeg.png";
    ASSERT_TRUE(isSaved(png, source.picture) && isSaved(jpeg, source.picture, 90));
    EXPECT_TRUE(Loaded(png).good && Loaded(jpeg).good);
}

TEST_F(PictureFile, jpegStaysCloseAndQualityCounts) {
    TestPicture source(48, 32, 144, 4);
    for (int y = 0; y < 32; ++y) {
        for (int x = 0; x < 48; ++x) {
            std::uint8_t* pixel = source.picture.pixels + y * 144 + 3 * x;
            pixel[0] = static_cast<std::uint8_t>(4 * x);
            pixel[1] = static_cast<std::uint8_t>(3 * x + 2 * y);
            pixel[2] = static_cast<std::uint8_t>(6 * y);
        }
    }
    ASSERT_TRUE(isSaved(path, source.picture, 10));
    const std::size_t coarse = readFile(path).size();
    ASSERT_TRUE(isSaved(path, source.picture, 95));
    EXPECT_LT(coarse, readFile(path).size());
    const Loaded loaded(path);
    ASSERT_TRUE(loaded.good);
    ASSERT_EQ(loaded.picture.width, 48);
    ASSERT_EQ(loaded.picture.height, 32);
    for (std::size_t i = 0; i < source.bytes.size(); ++i) {
        ASSERT_NEAR(loaded.picture.pixels[i], source.bytes[i], 16) << i;
    }
}

TEST_F(PictureFile, everyKindOfPngAndGreyJpegBecomeColour) {
    const std::uint8_t grey[] = {0, 137};
    // libpng writes these 16 bits as linear light: white stays white, black black, and red red.
    const std::uint16_t deep[] = {65535, 65535, 65535, 0, 0, 0, 65535, 0, 0};
    const std::uint8_t halfClear[] = {10, 20, 30, 0, 10, 20, 30, 255};  // on white
    const struct {
        png_uint_32 format;
        const void* pixels;
        std::vector<std::uint8_t> expected;
    } kinds[] = {
        {PNG_FORMAT_GRAY, grey, {0, 0, 0, 137, 137, 137}},
        {PNG_FORMAT_LINEAR_RGB, deep, {255, 255, 255, 0, 0, 0, 0, 0, 255}},
        {PNG_FORMAT_RGBA, halfClear, {255, 255, 255, 30, 20, 10}},
    };
    for (const auto& kind : kinds) {
        const int width = static_cast<int>(kind.expected.size() / 3);
        writeRawPng(path, width, 1, kind.format, kind.pixels);
        expectPixels(path, kind.expected);
    }
    writeText(path, encodeJpeg(8, 8, std::vector<std::uint8_t>(64, 90), TJPF_GRAY, TJSAMP_GRAY));
    expectPixels(path, std::vector<std::uint8_t>(192, 90));
}

TEST_F(PictureFile, filesThatAreNotPicturesAreRefused) {
    expectRefusal(path, "cannot be opened: ");
    expectRefusal(folder.path().string(), kFolderProblem);
    for (const char* text : {"", "x", "id,x,y\n0,1,2\n", "\x89PNG", "\xFF\xD8"}) {
        writeText(path, text);
        expectRefusal(path, *text == '\0' ? "is neither PNG nor JPEG but empty; take another copy"
                                          : "is neither PNG nor JPEG; convert it, or take another");
    }
    writeText(path, "\x89PNG\r\n\x1A\n");
    expectRefusal(path, "is a damaged PNG: ");
    writeText(path, "\xFF\xD8\xFF");
    expectRefusal(path, "is a damaged JPEG: ");
    writeText(path, encodeJpeg(8, 8, std::vector<std::uint8_t>(256, 90), TJPF_CMYK, TJSAMP_444));
    expectRefusal(path, "is a JPEG in printing colours");
}

TEST_F(PictureFile, otherKindsAreNamed) {
    const std::string size("\0\0\0\x1C", 4);
    const std::vector<std::pair<std::string, std::string>> files = {
        {"GIF89a", "GIF"},
        {"RIFF" + size + "WEBPVP8 ", "WebP"},
        {size + "ftypheic", "HEIC"},
        {size + "ftypmif1", "HEIC"},
        {size + "ftypavif", "AVIF"},
        {std::string("II*\0", 4), "TIFF"},
        {std::string("MM\0*", 4), "TIFF"},
        {"BM" + size, "BMP"},
        {"%PDF-1.7", "PDF"},
        {"\xFF\x0A", "JPEG XL"},
        {size + "JXL \r\n\x87\n", "JPEG XL"},
        {size + "jP  \r\n\x87\n", "JPEG 2000"},
    };
    for (const auto& [bytes, kind] : files) {
        writeText(path, bytes);
        expectRefusal(path, "is neither PNG nor JPEG but " + kind + "; convert it");
    }
    // Cut off before the mark ends, and other files in such a container.
    for (const std::string& bytes : {size + "ftyphe", size + "ftypisom", std::string("RIFF1234")}) {
        writeText(path, bytes);
        expectRefusal(path, "is neither PNG nor JPEG; convert it, or take another");
    }
}

TEST_F(PictureFile, picturesThatAreCutOffAreRefused) {
    const TestPicture source(40, 40, 120, 5);
    ASSERT_TRUE(isSaved(path, source.picture));
    const std::string png = readFile(path);
    ASSERT_TRUE(isSaved(path, source.picture, 90));
    const std::string jpeg = readFile(path);
    for (std::size_t eighth = 1; eighth < 8; ++eighth) {
        writeText(path, png.substr(0, png.size() * eighth / 8));
        expectRefusal(path, "is a damaged PNG: ");
        writeText(path, jpeg.substr(0, jpeg.size() * eighth / 8));
        expectRefusal(path, "is a damaged JPEG: ");
    }
    std::string flipped = png;
    flipped[png.size() / 2] = static_cast<char>(flipped[png.size() / 2] ^ 1);
    writeText(path, flipped);
    expectRefusal(path, "is a damaged PNG: ");
}

TEST_F(PictureFile, hugePicturesAreRefusedByTheirHeader) {
    const std::string header =
        bigEndian(60000) + bigEndian(60000) + std::string("\x08\x02\0\0\0", 5);
    writeText(path, "\x89PNG\r\n\x1A\n" + pngChunk("IHDR", header) + pngChunk("IDAT", "") +
                        pngChunk("IEND", ""));
    expectRefusal(path, "is too large: 60000 x 60000 pixels");

    std::string jpeg = encodeJpeg(8, 8, std::vector<std::uint8_t>(192, 90), TJPF_RGB, TJSAMP_444);
    const std::size_t frame = jpeg.find("\xFF\xC0");
    ASSERT_NE(frame, std::string::npos);
    jpeg.replace(frame + 5, 4, "\xEA\x60\xEA\x60");  // height and width, 60000 each
    writeText(path, jpeg);
    expectRefusal(path, "is too large: 60000 x 60000 pixels");
}

TEST_F(PictureFile, filesThatCannotBeCreatedAreReported) {
    const TestPicture source(2, 2, 6, 6);
    expectNotSaved("/nowhere/at/all.png", source.picture, "cannot be created: ");
}
