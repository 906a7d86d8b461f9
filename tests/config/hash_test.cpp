// The hashes of keys and PINs.
#include "kthash.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "ktstring.h"
#include "support/allocation.h"
#include "support/output.h"

namespace {

TEST(Hash, OfKeysIsPJW)
{
    EXPECT_EQ(hash_key(""), 0U);
    EXPECT_EQ(hash_key("current_locale"), 0xACD5565U);
    EXPECT_EQ(hash_key("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"), 0x10FEFU);
    EXPECT_EQ(hash_key("\x0F\x0F\x0F\x0F\x0F\x0F\x0F\xFF"), 0xEFU) << "carries out of 32 bits";
    EXPECT_EQ(hash_key(nullptr) + hash_pjw(nullptr, 3), 0U);

    // The same as it is usually written, with the top four bits folded down and taken away.
    std::mt19937 random(1);
    std::basic_string<unsigned char> data;
    unsigned expected = 0;
    for (int length = 0; length < 1000; ++length) {
        ASSERT_EQ(hash_pjw(data.data(), length), expected) << length;
        data += static_cast<unsigned char>(random());
        expected = expected * 16 + data.back();
        const unsigned top = expected & 0xF0000000;
        expected ^= top | top >> 24;
    }
    EXPECT_EQ(hash_pjw(data.data(), -1), 0U);
}

TEST(Hash, EncodesSixBitsWithoutPadding)
{
    std::string text;
    for (int value = 0; value < 256; ++value)
        text += ktHash::Base64Encode(static_cast<unsigned char>(value));
    EXPECT_EQ(text, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+" + std::string(193, '/'));
}

// The hashes are what this printed, with the number of UTF-16 units in place of N:
//     printf '1234salt' | head -c N | openssl dgst -sha1 -binary | base64
TEST(Hash, OfPinsIsSaltedSHA1)
{
    const std::string sevens(62, '7');
    const std::string salt = u8"\u00E9\u00E9\u00E9\u00E9" + std::string(40, 's');
    struct {
        ktString mPin;
        ktString mSalt;
        char const* mHash;
    } const cases[] = {
        {"", "", "2jmj7l5rSw0yVb/vlWAYkK/YBwk="},
        {"1234", "salt", "QMlUZLfqzdtVcq9UaP+xzbWxPzU="},
        {"0000", "", "Od+lUoMxjTGv5aP/Sg4yU+IEXkM="},
        {u8"p\u00EDn", u8"\u00F6s", "/id93dg809u8u0+z/+sly3eF5ug="},  // 5 of 7 bytes
        {"1", u8"\U0001F5122", "FQug25NSB9xkOnfEDC8H0ZjQB0s="},       // 4 of 6 bytes
        {"1234", ktString("\0ab", 3), "XuTJ1Nsmvrx/O1caK/hOc2j+NRQ="},
        {sevens.c_str(), salt.c_str(), "UaFX8I08W2nvHts8DNiBhITS/i8="},  // 106 of 110 bytes
    };
    for (auto const& test : cases) {
        ktString hash("old");
        EXPECT_EQ(ktHash::HashPin(test.mPin, test.mSalt, hash), 0);
        EXPECT_STREQ(hash.GetAsUTFArray(), test.mHash);
        ktString pin(test.mPin);
        EXPECT_EQ(ktHash::HashPin(pin, test.mSalt, pin), 0);
        ktString both(test.mSalt);
        EXPECT_EQ(ktHash::HashPin(test.mPin, both, both), 0);
        EXPECT_TRUE(pin == hash && both == hash) << "in place of the PIN or the salt";
    }
}

TEST(Hash, OfPinsFailsWithoutDamage)
{
    const UniChar lone[] = {'1', 0xD83D, '2'};
    const CFStringRef cut = CFStringCreateWithCharacters(kCFAllocatorDefault, lone, 3);
    ktString hash("old");
    EXPECT_EQ(ktHash::HashPin(ktString(cut), ktString("salt"), hash), -5);
    CFRelease(cut);
    EXPECT_TRUE(hash == "old");
    int failures = 0;
    for (int n = 1;; ++n) {
        const ktString pin("1234");
        const ktString salt("salt");
        ktString out("old");
        OutputTap tap;
        FailNthAllocation fail(n);
        const ktError result = ktHash::HashPin(pin, salt, out);
        if (!fail.Fired())
            break;
        failures += result != 0 ? 1 : 0;
        if (result == 0)  // a string tries again for some
            EXPECT_TRUE(out == "QMlUZLfqzdtVcq9UaP+xzbWxPzU=") << n;
        else
            EXPECT_TRUE(result == -2 && (out == "old" || out.IsEmpty())) << n << ": " << result;
    }
    EXPECT_GT(failures, 0);
}

}  // namespace
