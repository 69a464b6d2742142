// Progressive JPEG files: each scan goes over the whole picture, however short it is.
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "pictures/test_pictures.h"
#include "support/temporary_folder.h"

namespace {

std::string progressive(int width, int height, const std::vector<std::uint8_t>& pixels, int format,
                        int subsampling) {
    return encodeJpeg(width, height, pixels, format, subsampling, TJFLAG_PROGRESSIVE);
}

std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// The file with this many scans: its second one, the first of several coefficients, again and again at
// the end. With full precision (the last byte of a scan's head), no decoder minds.
std::string withScans(const std::string& file, std::size_t wanted) {
    const std::string scan("\xFF\xDA");
    const std::string table("\xFF\xC4");
    const std::size_t second = file.find(scan, file.find(scan) + 1);
    const std::size_t begin = file.rfind(table, second);
    const std::size_t end = file.find(table, second);
    std::string repeated = file.substr(begin, end - begin);
    repeated[second - begin + 4 + 5] = '\0';
    std::string text = file.substr(0, file.size() - 2);
    for (std::size_t count = countOf(file, scan); count < wanted; ++count) {
        text += repeated;
    }
    return text + file.substr(file.size() - 2);
}

class JpegScans : public testing::Test {
  protected:
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.jpg";
};

}  // namespace

TEST_F(JpegScans, progressivePicturesAreRead) {
    const TestPicture source(64, 48, 192, 1);
    for (const int subsampling : {TJSAMP_420, TJSAMP_444}) {
        const std::string file = progressive(64, 48, source.bytes, TJPF_BGR, subsampling);
        EXPECT_EQ(countOf(file, "\xFF\xDA"), 10U);
        writeText(path, encodeJpeg(64, 48, source.bytes, TJPF_BGR, subsampling));
        const Loaded plain(path);
        writeText(path, file);
        expectPixels(path, packedPixels(plain.picture));
    }
}

TEST_F(JpegScans, aHundredAreReadAndMoreAreRefused) {
    const std::vector<std::uint8_t> grey(64 * 64, 90);
    const std::string file = progressive(64, 64, grey, TJPF_GRAY, TJSAMP_GRAY);
    writeText(path, withScans(file, 100));
    expectPixels(path, std::vector<std::uint8_t>(3 * grey.size(), 90));
    writeText(path, withScans(file, 101));
    expectRefusal(path, "is a JPEG with too many scans: 101");
}

// A hundred kilobytes that took more than a second to decode.
TEST_F(JpegScans, thousandsInALargePictureTakeNoTime) {
    constexpr int kSide = 2048;
    const std::vector<std::uint8_t> grey(std::size_t{kSide} * kSide, 90);
    const std::string file =
        withScans(progressive(kSide, kSide, grey, TJPF_GRAY, TJSAMP_GRAY), 3000);
    EXPECT_LT(file.size(), 172000U);
    writeText(path, file);
    const auto start = std::chrono::steady_clock::now();
    expectRefusal(path, "is a JPEG with too many scans: 3000");
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    EXPECT_LT(time.count(), 0.5);
}

// The larger a picture, the fewer scans: 16 at the limit of pixels.
TEST_F(JpegScans, largePicturesHaveFewer) {
    const std::vector<std::uint8_t> grey(64 * 64, 90);
    std::string file = withScans(progressive(64, 64, grey, TJPF_GRAY, TJSAMP_GRAY), 17);
    const std::size_t frame = file.find("\xFF\xC2");
    file.replace(frame + 5, 4, std::string("\x40\0\x40\0", 4));  // height and width, 16384 each
    writeText(path, file);
    expectRefusal(path, "is a JPEG with too many scans: 17");
}
