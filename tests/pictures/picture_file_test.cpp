// PNG and JPEG files: what goes in comes out, and what is not a picture is refused with a reason.
#include "picture_file.h"

#include <gtest/gtest.h>
#include <png.h>
#include <turbojpeg.h>
#include <zlib.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "support/environment.h"
#include "support/random.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

namespace {

constexpr std::uint8_t kGuard = 0xA5;

// A picture whose rows lie `stride` bytes apart; the bytes between them are guards.
struct TestPicture {
    TestPicture(int width, int height, int stride, std::uint64_t seed)
        : bytes(static_cast<std::size_t>(stride) * static_cast<std::size_t>(height), kGuard),
          picture{width, height, stride, nullptr} {
        Random random(seed);
        for (int y = 0; y < height; ++y) {
            for (int i = 0; i < 3 * width; ++i) {
                bytes[static_cast<std::size_t>(y * stride + i)] = random.byte();
            }
        }
        picture.pixels = bytes.data();
    }

    std::vector<std::uint8_t> bytes;
    Picture picture;
};

std::vector<std::uint8_t> packedPixels(const Picture& picture) {
    std::vector<std::uint8_t> pixels;
    for (int y = 0; y < picture.height; ++y) {
        const std::uint8_t* row = picture.pixels + static_cast<std::ptrdiff_t>(y) * picture.stride;
        pixels.insert(pixels.end(), row, row + 3 * picture.width);
    }
    return pixels;
}

// What readPicture made of a file, released at the end.
struct Loaded {
    explicit Loaded(const std::string& path) {
        good = readPicture(path.c_str(), &picture, &problem);
    }
    ~Loaded() { freePicture(&picture); }
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;

    Picture picture;
    Problem problem = {};
    bool good;
};

void writeText(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    ASSERT_TRUE(file.flush());
}

void writeRawPng(const std::string& path, int width, int height, png_uint_32 format,
                 const void* pixels) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = format;
    ASSERT_TRUE(png_image_write_to_file(&image, path.c_str(), 0, pixels, 0, nullptr));
}

std::string encodeJpeg(int width, int height, const std::vector<std::uint8_t>& pixels, int format,
                       int subsampling) {
    tjhandle encoder = tjInitCompress();
    unsigned char* data = nullptr;
    unsigned long size = 0;
    EXPECT_EQ(tjCompress2(encoder, pixels.data(), width, 0, height, format, &data, &size,
                          subsampling, 95, 0),
              0);
    const std::string file(reinterpret_cast<const char*>(data), size);
    tjFree(data);
    tjDestroy(encoder);
    return file;
}

void expectRefusal(const std::string& path, const std::string& reason) {
    const Loaded loaded(path);
    EXPECT_FALSE(loaded.good) << path;
    EXPECT_EQ(std::string(loaded.problem.text).substr(0, reason.size()), reason);
    EXPECT_EQ(std::string(loaded.problem.text).find('\n'), std::string::npos);
    EXPECT_EQ(loaded.picture.pixels, nullptr);
    EXPECT_EQ(loaded.picture.width, 0);
}

std::string bigEndian(std::uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16),
            static_cast<char>(value >> 8), static_cast<char>(value)};
}

std::string pngChunk(const std::string& type, const std::string& data) {
    const std::string checked = type + data;
    const auto* bytes = reinterpret_cast<const Bytef*>(checked.data());
    return bigEndian(static_cast<std::uint32_t>(data.size())) + checked +
           bigEndian(
               static_cast<std::uint32_t>(crc32(0, bytes, static_cast<uInt>(checked.size()))));
}

}  // namespace

TEST(PictureFile, pngBringsBackEveryByte) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.png";
    for (const auto& [width, height] : {std::pair{1, 1}, {2, 3}, {7, 5}, {64, 33}}) {
        const TestPicture source(width, height, 3 * width, 1);
        Problem problem;
        ASSERT_TRUE(writePng(path.c_str(), &source.picture, &problem)) << problem.text;
        const Loaded loaded(path);
        ASSERT_TRUE(loaded.good) << loaded.problem.text;
        EXPECT_EQ(loaded.picture.width, width);
        EXPECT_EQ(loaded.picture.height, height);
        EXPECT_EQ(loaded.picture.stride, 3 * width);
        EXPECT_EQ(packedPixels(loaded.picture), source.bytes);
    }
}

TEST(PictureFile, bytesBetweenRowsAreNotWritten) {
    const TemporaryFolder folder;
    const TestPicture source(5, 4, 29, 2);
    Problem problem;
    const std::string png = folder.prefix() + "a.png";
    ASSERT_TRUE(writePng(png.c_str(), &source.picture, &problem)) << problem.text;
    const Loaded loaded(png);
    ASSERT_TRUE(loaded.good) << loaded.problem.text;
    EXPECT_EQ(packedPixels(loaded.picture), packedPixels(source.picture));

    // The same pixels without the gap make the same JPEG.
    TestPicture packed(5, 4, 15, 2);
    const std::vector<std::uint8_t> pixels = packedPixels(source.picture);
    std::memcpy(packed.bytes.data(), pixels.data(), pixels.size());
    const std::string first = folder.prefix() + "a.jpg";
    const std::string second = folder.prefix() + "b.jpg";
    ASSERT_TRUE(writeJpeg(first.c_str(), &source.picture, 90, &problem)) << problem.text;
    ASSERT_TRUE(writeJpeg(second.c_str(), &packed.picture, 90, &problem)) << problem.text;
    EXPECT_EQ(readFile(first), readFile(second));
}

TEST(PictureFile, firstByteOfAPixelIsBlue) {
    const TemporaryFolder folder;
    const std::string png = folder.prefix() + "a.png";
    const std::uint8_t rgb[3] = {200, 100, 50};
    writeRawPng(png, 1, 1, PNG_FORMAT_RGB, rgb);
    const std::vector<std::uint8_t> bgr = {50, 100, 200};
    const Loaded fromPng(png);
    ASSERT_TRUE(fromPng.good);
    EXPECT_EQ(packedPixels(fromPng.picture), bgr);

    const std::string jpeg = folder.prefix() + "a.jpg";
    writeText(jpeg, encodeJpeg(1, 1, {200, 100, 50}, TJPF_RGB, TJSAMP_444));
    const Loaded fromJpeg(jpeg);
    ASSERT_TRUE(fromJpeg.good);
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(fromJpeg.picture.pixels[i], bgr[static_cast<std::size_t>(i)], 4) << i;
    }
}

TEST(PictureFile, firstBytesDecideAndNotTheName) {
    const TemporaryFolder folder;
    const TestPicture source(16, 16, 48, 3);
    Problem problem;
    const std::string png = folder.prefix() + "really-png.jpg";
    const std::string jpeg = folder.prefix() + "really-jpeg.png";
    ASSERT_TRUE(writePng(png.c_str(), &source.picture, &problem));
    ASSERT_TRUE(writeJpeg(jpeg.c_str(), &source.picture, 90, &problem));
    EXPECT_TRUE(Loaded(png).good);
    EXPECT_TRUE(Loaded(jpeg).good);
}

TEST(PictureFile, jpegStaysCloseAndQualityCounts) {
    const TemporaryFolder folder;
    TestPicture source(48, 32, 144, 4);
    for (int y = 0; y < 32; ++y) {
        for (int x = 0; x < 48; ++x) {
            std::uint8_t* pixel = source.picture.pixels + y * 144 + 3 * x;
            pixel[0] = static_cast<std::uint8_t>(4 * x);
            pixel[1] = static_cast<std::uint8_t>(3 * x + 2 * y);
            pixel[2] = static_cast<std::uint8_t>(6 * y);
        }
    }
    Problem problem;
    const std::string fine = folder.prefix() + "fine.jpg";
    const std::string coarse = folder.prefix() + "coarse.jpg";
    ASSERT_TRUE(writeJpeg(fine.c_str(), &source.picture, 95, &problem));
    ASSERT_TRUE(writeJpeg(coarse.c_str(), &source.picture, 10, &problem));
    EXPECT_LT(readFile(coarse).size(), readFile(fine).size());
    const Loaded loaded(fine);
    ASSERT_TRUE(loaded.good);
    ASSERT_EQ(loaded.picture.width, 48);
    ASSERT_EQ(loaded.picture.height, 32);
    for (std::size_t i = 0; i < source.bytes.size(); ++i) {
        ASSERT_NEAR(loaded.picture.pixels[i], source.bytes[i], 16) << i;
    }
}

TEST(PictureFile, everyKindOfPngBecomesColour) {
    const std::uint8_t grey[] = {0, 137};
    // 16 bits are linear light: white stays white, black black, and red red.
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
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.png";
    for (const auto& kind : kinds) {
        const int width = static_cast<int>(kind.expected.size() / 3);
        writeRawPng(path, width, 1, kind.format, kind.pixels);
        const Loaded loaded(path);
        ASSERT_TRUE(loaded.good) << kind.format;
        EXPECT_EQ(packedPixels(loaded.picture), kind.expected) << kind.format;
    }
}

TEST(PictureFile, greyJpegBecomesColour) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.jpg";
    writeText(path, encodeJpeg(8, 8, std::vector<std::uint8_t>(64, 90), TJPF_GRAY, TJSAMP_GRAY));
    const Loaded loaded(path);
    ASSERT_TRUE(loaded.good);
    EXPECT_EQ(packedPixels(loaded.picture), std::vector<std::uint8_t>(192, 90));
}

TEST(PictureFile, filesThatAreNotPicturesAreRefused) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a";
    expectRefusal(path, "cannot be opened: ");
    expectRefusal(folder.path().string(), kFolderProblem);
    for (const char* text : {"", "x", "id,x,y\n0,1,2\n", "\x89PNG", "\xFF\xD8"}) {
        writeText(path, text);
        expectRefusal(path, "is neither PNG nor JPEG");
    }
    writeText(path, "\x89PNG\r\n\x1A\n");
    expectRefusal(path, "is a damaged PNG: ");
    writeText(path, "\xFF\xD8\xFF");
    expectRefusal(path, "is a damaged JPEG: ");
}

TEST(PictureFile, picturesThatAreCutOffAreRefused) {
    const TemporaryFolder folder;
    const TestPicture source(40, 40, 120, 5);
    Problem problem;
    const std::string path = folder.prefix() + "a";
    ASSERT_TRUE(writePng(path.c_str(), &source.picture, &problem));
    const std::string png = readFile(path);
    ASSERT_TRUE(writeJpeg(path.c_str(), &source.picture, 90, &problem));
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

TEST(PictureFile, hugePicturesAreRefusedByTheirHeader) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.png";
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

TEST(PictureFile, printingColoursAreRefused) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.jpg";
    writeText(path, encodeJpeg(8, 8, std::vector<std::uint8_t>(256, 90), TJPF_CMYK, TJSAMP_444));
    expectRefusal(path, "is a JPEG in printing colours");
}

TEST(PictureFile, filesThatCannotBeCreatedAreReported) {
    const TestPicture source(2, 2, 6, 6);
    const std::string start = "cannot be created: ";
    const char* path = "/nowhere/at/all.png";
    Problem problem = {};
    EXPECT_FALSE(writePng(path, &source.picture, &problem));
    EXPECT_EQ(std::string(problem.text).substr(0, start.size()), start);
    problem = {};
    EXPECT_FALSE(writeJpeg(path, &source.picture, 90, &problem));
    EXPECT_EQ(std::string(problem.text).substr(0, start.size()), start);
}

TEST(PictureFile, freeingTwiceHasNoEffect) {
    Picture picture = {};
    freePicture(&picture);
    freePicture(&picture);
    EXPECT_EQ(picture.pixels, nullptr);
}
