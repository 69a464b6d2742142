// Pictures that were taken with the camera on its side: they are read as people see them.
#include <cstdint>
#include <string>
#include <vector>

#include "pictures/test_pictures.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

namespace {

// The same upright picture, two letters wide and three high, as cameras store it. Letters are grey.
constexpr char kUpright[] = "ab/cd/ef";
const struct {
    std::uint16_t orientation;
    const char* stored;
} kWays[] = {
    {1, "ab/cd/ef"},  // the first row is the top, the first column the left
    {2, "ba/dc/fe"},  // top, right
    {3, "fe/dc/ba"},  // bottom, right
    {4, "ef/cd/ab"},  // bottom, left
    {5, "ace/bdf"},   // left, top
    {6, "bdf/ace"},   // right, top
    {7, "fdb/eca"},   // right, bottom
    {8, "eca/fdb"},   // left, bottom
};

std::uint8_t greyOf(char letter) {
    return static_cast<std::uint8_t>(40 * (letter - 'a') + 20);
}

enum class Kind { png, jpeg };

// A letter is a square of a pixel in a PNG file, of a block in a JPEG file.
int sideOf(Kind kind) {
    return kind == Kind::png ? 1 : 8;
}

// What stands in a picture: its letters, as in the table.
std::string lettersOf(const Picture& picture, Kind kind) {
    const int side = sideOf(kind);
    std::string letters;
    for (int y = 0; y < picture.height; y += side) {
        letters += y == 0 ? "" : "/";
        for (int x = 0; x < picture.width; x += side) {
            letters += static_cast<char>('a' + picture.pixels[y * picture.stride + 3 * x] / 40);
        }
    }
    return letters;
}

std::string number(std::uint32_t value, int bytes, bool bigEndianFirst) {
    std::string text = bigEndian(value).substr(static_cast<std::size_t>(4 - bytes));
    return bigEndianFirst ? text : std::string(text.rbegin(), text.rend());
}

// An EXIF block of one entry: tag 0x112, this type, one or more values, the first of them this.
std::string exifBlock(std::uint32_t orientation, bool big = true, std::uint32_t type = 3,
                      std::uint32_t values = 1) {
    const int width = type == 4 ? 4 : 2;
    return (big ? "MM" : "II") + number(42, 2, big) + number(8, 4, big) + number(1, 2, big) +
           number(0x112, 2, big) + number(type, 2, big) + number(values, 4, big) +
           number(orientation, width, big) + std::string(static_cast<std::size_t>(4 - width), '\0') +
           number(0, 4, big);
}

std::string segment(const std::string& content) {
    const auto length = static_cast<std::uint32_t>(content.size() + 2);
    return "\xFF\xE1" + bigEndian(length).substr(2) + content;
}

class Upright : public testing::Test {
  protected:
    // A file with these letters and this before (PNG: `behind`, after) its pixels.
    void write(Kind kind, const std::string& letters, const std::string& exif,
               bool behind = false) {
        const std::size_t columns = letters.find('/');
        const std::size_t rows = (letters.size() + 1) / (columns + 1);
        const auto side = static_cast<std::size_t>(sideOf(kind));
        std::vector<std::uint8_t> grey;
        for (std::size_t y = 0; y < rows * side; ++y) {
            for (std::size_t x = 0; x < columns * side; ++x) {
                grey.push_back(greyOf(letters[y / side * (columns + 1) + x / side]));
            }
        }
        const auto width = static_cast<int>(columns * side);
        const auto height = static_cast<int>(rows * side);
        if (kind == Kind::png) {
            writeRawPng(path, width, height, PNG_FORMAT_GRAY, grey.data());
            std::string file = readFile(path);
            file.insert(behind ? file.size() - 12 : 33, exif);
            writeText(path, file);
        } else {
            writeText(path, encodeJpeg(width, height, grey, TJPF_GRAY, TJSAMP_GRAY).insert(2, exif));
        }
    }

    void expectLetters(Kind kind, const std::string& letters) {
        const Loaded loaded(path);
        ASSERT_TRUE(loaded.good) << loaded.problem.text;
        EXPECT_EQ(lettersOf(loaded.picture, kind), letters);
        EXPECT_EQ(loaded.picture.stride, 3 * loaded.picture.width);
    }

    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a";
};

const std::string kName("Exif\0\0", 6);

}  // namespace

TEST_F(Upright, allEightOrientationsOfPngAndJpegFiles) {
    for (const auto& way : kWays) {
        SCOPED_TRACE(way.orientation);
        for (const bool big : {true, false}) {
            const std::string exif = exifBlock(way.orientation, big);
            write(Kind::png, way.stored, pngChunk("eXIf", exif));
            expectLetters(Kind::png, kUpright);
            write(Kind::jpeg, way.stored, segment(kName + exif));
            expectLetters(Kind::jpeg, kUpright);
        }
    }
}

TEST_F(Upright, theFirstBlockDecidesWhereverItIs) {
    const std::string quarter = exifBlock(6);
    const std::string half = exifBlock(3);
    write(Kind::png, "bdf/ace", pngChunk("eXIf", quarter), true);
    expectLetters(Kind::png, kUpright);
    write(Kind::png, "bdf/ace", pngChunk("eXIf", quarter) + pngChunk("eXIf", half));
    expectLetters(Kind::png, kUpright);
    write(Kind::jpeg, "bdf/ace",
          segment("http://ns.adobe.com/xap/1.0/") + segment(kName + quarter) + segment(kName + half));
    expectLetters(Kind::jpeg, kUpright);
}

TEST_F(Upright, blocksThatMakeNoSenseLeaveThePictureAsStored) {
    const std::string good = exifBlock(6);
    std::vector<std::string> blocks = {
        exifBlock(0), exifBlock(9), exifBlock(65535), exifBlock(6, true, 4), exifBlock(6, true, 3, 0),
        exifBlock(6, true, 3, 2), exifBlock(6, true, 3, 0x7FFFFFFF), exifBlock(6, true, 99),
        "XX" + good.substr(2), good.substr(0, 4) + bigEndian(0xFFFFFFF0) + good.substr(8),
        good + std::string(1 << 20, '\0')};
    for (std::size_t size = 0; size < 20; ++size) {
        blocks.push_back(good.substr(0, size));
    }
    for (const std::string& block : blocks) {
        write(Kind::png, "bdf/ace", pngChunk("eXIf", block));
        expectLetters(Kind::png, "bdf/ace");
        if (block.size() < 65000) {
            write(Kind::jpeg, "bdf/ace", segment(kName + block));
            expectLetters(Kind::jpeg, "bdf/ace");
        }
    }
    write(Kind::jpeg, "bdf/ace", segment("Exif" + good));
    expectLetters(Kind::jpeg, "bdf/ace");
}
