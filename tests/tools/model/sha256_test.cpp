#include "model/sha256.h"

#include <gtest/gtest.h>

#include <string>

// As sha256sum prints them; the input comes in pieces.
TEST(Sha256, isTheDigestThatEverybodyKnows) {
    Sha256 hash;
    EXPECT_EQ(hexadecimal(Sha256().finish()),
              "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    for (const char c : std::string("abc")) {
        hash.update(&c, 1);
    }
    EXPECT_EQ(hexadecimal(hash.finish()),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}
