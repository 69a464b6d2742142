// Pictures and files of all kinds for the tests of the readers.
#ifndef ZOMU_TESTS_PICTURES_TEST_PICTURES_H
#define ZOMU_TESTS_PICTURES_TEST_PICTURES_H

#include <gtest/gtest.h>
#include <png.h>
#include <turbojpeg.h>
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "picture_file.h"
#include "support/random.h"

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

inline std::vector<std::uint8_t> packedPixels(const Picture& picture) {
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

inline void expectPixels(const std::string& path, const std::vector<std::uint8_t>& pixels) {
    const Loaded loaded(path);
    ASSERT_TRUE(loaded.good) << loaded.problem.text;
    EXPECT_EQ(packedPixels(loaded.picture), pixels);
}

inline void writeText(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    ASSERT_TRUE(file.flush());
}

inline void writeRawPng(const std::string& path, int width, int height, png_uint_32 format,
                        const void* pixels) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = format;
    ASSERT_TRUE(png_image_write_to_file(&image, path.c_str(), 0, pixels, 0, nullptr));
}

inline std::string encodeJpeg(int width, int height, const std::vector<std::uint8_t>& pixels,
                              int format, int subsampling, int flags = 0) {
    tjhandle encoder = tjInitCompress();
    unsigned char* data = nullptr;
    unsigned long size = 0;
    EXPECT_EQ(tjCompress2(encoder, pixels.data(), width, 0, height, format, &data, &size,
                          subsampling, 95, flags),
              0);
    const std::string file(reinterpret_cast<const char*>(data), size);
    tjFree(data);
    tjDestroy(encoder);
    return file;
}

inline void expectRefusal(const std::string& path, const std::string& reason) {
    const Loaded loaded(path);
    EXPECT_FALSE(loaded.good) << path;
    EXPECT_EQ(std::string(loaded.problem.text).substr(0, reason.size()), reason);
    EXPECT_EQ(std::string(loaded.problem.text).find('\n'), std::string::npos);
    EXPECT_EQ(loaded.picture.pixels, nullptr);
    EXPECT_EQ(loaded.picture.width, 0);
}

inline bool isSaved(const std::string& path, const Picture& picture, int jpegQuality = 0) {
    Problem problem = {};
    const bool good = jpegQuality == 0 ? writePng(path.c_str(), &picture, &problem)
                                       : writeJpeg(path.c_str(), &picture, jpegQuality, &problem);
    EXPECT_TRUE(good) << problem.text;
    return good;
}

// As PNG and as JPEG.
inline void expectNotSaved(const char* path, const Picture& picture, const std::string& reason) {
    Problem problem = {};
    EXPECT_FALSE(writePng(path, &picture, &problem));
    EXPECT_TRUE(std::string(problem.text).starts_with(reason)) << problem.text;
    problem = {};
    EXPECT_FALSE(writeJpeg(path, &picture, 90, &problem));
    EXPECT_TRUE(std::string(problem.text).starts_with(reason)) << problem.text;
}

inline std::string bigEndian(std::uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16),
            static_cast<char>(value >> 8), static_cast<char>(value)};
}

inline std::string compressed(const std::string& bytes) {
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    std::string packed(size, '\0');
    EXPECT_EQ(
        compress(reinterpret_cast<Bytef*>(packed.data()), &size,
                 reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uLong>(bytes.size())),
        Z_OK);
    packed.resize(size);
    return packed;
}

inline std::string pngChunk(const std::string& type, const std::string& data) {
    const std::string checked = type + data;
    const auto* bytes = reinterpret_cast<const Bytef*>(checked.data());
    return bigEndian(static_cast<std::uint32_t>(data.size())) + checked +
           bigEndian(
               static_cast<std::uint32_t>(crc32(0, bytes, static_cast<uInt>(checked.size()))));
}

#endif
