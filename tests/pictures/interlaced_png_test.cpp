// An interlaced PNG file is the same picture as one with its rows in order.
#include <cstdint>
#include <string>
#include <vector>

#include "pictures/test_pictures.h"
#include "support/temporary_folder.h"

namespace {

const struct {
    const char* name;
    int type;
    int depth;
    std::size_t bytesOfPixel;
} kKinds[] = {
    {"grey", PNG_COLOR_TYPE_GRAY, 8, 1},
    {"grey of 16 bits", PNG_COLOR_TYPE_GRAY, 16, 2},
    {"colour", PNG_COLOR_TYPE_RGB, 8, 3},
    {"colour of 16 bits", PNG_COLOR_TYPE_RGB, 16, 6},
    {"palette", PNG_COLOR_TYPE_PALETTE, 8, 1},
    {"grey, half clear", PNG_COLOR_TYPE_GRAY_ALPHA, 8, 2},
    {"grey of 16 bits, half clear", PNG_COLOR_TYPE_GRAY_ALPHA, 16, 4},
    {"colour, half clear", PNG_COLOR_TYPE_RGB_ALPHA, 8, 4},
    {"colour of 16 bits, half clear", PNG_COLOR_TYPE_RGB_ALPHA, 16, 8},
};

void append(png_structp png, png_bytep bytes, png_size_t size) {
    static_cast<std::string*>(png_get_io_ptr(png))->append(reinterpret_cast<char*>(bytes), size);
}

// A file of these rows, as libpng writes it.
std::string pngOf(std::vector<std::vector<std::uint8_t>> rows, png_uint_32 width, int type,
                  int depth, int interlacing) {
    std::string file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &file, append, nullptr);
    png_set_IHDR(png, info, width, static_cast<png_uint_32>(rows.size()), depth, type, interlacing,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    std::vector<png_color> palette(256);
    for (std::size_t i = 0; i < palette.size(); ++i) {
        const auto level = static_cast<std::uint8_t>(i);
        palette[i] = {level, static_cast<std::uint8_t>(255 - level), 7};
    }
    if (type == PNG_COLOR_TYPE_PALETTE) {
        png_set_PLTE(png, info, palette.data(), 256);
    }
    std::vector<png_bytep> pointers;
    for (std::vector<std::uint8_t>& row : rows) {
        pointers.push_back(row.data());
    }
    png_set_rows(png, info, pointers.data());
    png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    png_destroy_write_struct(&png, &info);
    return file;
}

}  // namespace

TEST(InterlacedPng, hasThePixelsOfOneWithRowsInOrder) {
    const TemporaryFolder folder;
    Random random(8);
    for (const auto& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        for (const auto& [width, height] : {std::pair{1, 1}, {5, 1}, {13, 9}}) {
            std::vector<std::vector<std::uint8_t>> rows(static_cast<std::size_t>(height));
            for (std::vector<std::uint8_t>& row : rows) {
                row.resize(static_cast<std::size_t>(width) * kind.bytesOfPixel);
                for (std::uint8_t& value : row) {
                    value = random.byte();
                }
            }
            const auto columns = static_cast<png_uint_32>(width);
            const std::string path = folder.prefix() + "a";
            writeText(path, pngOf(rows, columns, kind.type, kind.depth, PNG_INTERLACE_NONE));
            const Loaded inOrder(path);
            ASSERT_TRUE(inOrder.good) << inOrder.problem.text;
            writeText(path, pngOf(rows, columns, kind.type, kind.depth, PNG_INTERLACE_ADAM7));
            expectPixels(path, packedPixels(inOrder.picture));
        }
    }
}
