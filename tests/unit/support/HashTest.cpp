#include "zddscore/hash.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

std::string md5(const std::string& text) {
    ORXOsapiHash hash;
    ORXOsapiHash_computeMd5(&hash, text.data(), text.size());
    EXPECT_TRUE(ORXOsapiHash_isValid(&hash));
    EXPECT_EQ(hash.length, 16U);
    std::string digits;
    for (const unsigned byte : hash.value) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", byte);
        digits += pair;
    }
    return digits;
}

TEST(Hash, ReferenceDigestsHold) {
    EXPECT_EQ(md5(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(md5("a"), "0cc175b9c0f1b6a831c399e269772661");
    EXPECT_EQ(md5("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(md5("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(md5("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
    EXPECT_EQ(md5("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
        "d174ab98d277d9f5a5611c2c9f419d9f");
    EXPECT_EQ(md5("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
        "57edf4a22be3c955ac49da2e2107b67a");
}

// Around the places where the padding takes a block more; digests by another implementation.
TEST(Hash, LengthsAroundABlockHold) {
    EXPECT_EQ(md5(std::string(55, 'x')), "04364420e25c512fd958a70738aa8f72");
    EXPECT_EQ(md5(std::string(56, 'x')), "668a72d5ba17f08e62dabcafad6db14b");
    EXPECT_EQ(md5(std::string(63, 'x')), "7dc2ca208106a2f703567bdff99d8981");
    EXPECT_EQ(md5(std::string(64, 'x')), "c1bb4f81d892b2d57947682aeb252456");
    EXPECT_EQ(md5(std::string(65, 'x')), "1bc932052302d074bdec39795fe00cf6");
    EXPECT_EQ(md5(std::string(1000, 'x')), "398533d48111e9f664b1f64cb10c4b63");
}

TEST(Hash, IsInvalidUntilComputed) {
    ORXOsapiHash hash;
    ORXOsapiHash_initialize(&hash);
    EXPECT_FALSE(ORXOsapiHash_isValid(&hash));
    EXPECT_EQ(hash.length, 0U);
    ORXOsapiHash_computeMd5(&hash, nullptr, 0);
    EXPECT_TRUE(ORXOsapiHash_isValid(&hash));
    ORXOsapiHash_computeMd5(&hash, nullptr, 1);
    EXPECT_FALSE(ORXOsapiHash_isValid(&hash));
    EXPECT_FALSE(ORXOsapiHash_isValid(nullptr));
}

} // namespace
