#include "model/sha256.h"

#include <gtest/gtest.h>

#include <string>

static std::string digestOf(const std::string& text) {
    Sha256 hash;
    hash.update(text.data(), text.size());
    return hexadecimal(hash.finish());
}

// As sha256sum prints them.
TEST(Sha256, isTheDigestThatEverybodyKnows) {
    EXPECT_EQ(digestOf(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(digestOf("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Sha256, takesItsInputInPieces) {
    Sha256 hash;
    for (const char c : std::string("abc")) {
        hash.update(&c, 1);
    }
    EXPECT_EQ(hexadecimal(hash.finish()), digestOf("abc"));
}
