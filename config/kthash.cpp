// OpenSSL 3 would rather see EVP in place of SHA1_Init and its kin, but that allocates for each digest.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "kthash.h"

#include <openssl/sha.h>

#include <algorithm>
#include <cstring>

#include "ktbase64.h"
#include "ktstring.h"

namespace {

constexpr std::size_t kEncodedLength = 28;  ///< of a digest, padding included

/// Hashes as many bytes of the text's UTF-8 as the text has characters: stored hashes were made with that length, and
/// UTF-8 is never shorter. Converts piece by piece, because a view of the text may be: it ends where a character is
/// cut.
ktError HashText(ktString const& aText, unsigned char (&aDigest)[SHA_DIGEST_LENGTH])
{
    const CFIndex length = aText.GetLength();
    SHA_CTX context;
    int good = SHA1_Init(&context);
    UInt8 piece[64];
    CFIndex start = 0;
    CFIndex left = length;
    while (left > 0) {
        CFIndex size = 0;
        const CFIndex converted = CFStringGetBytes(aText.GetAsCFString(), CFRangeMake(start, length - start),
                                                   kCFStringEncodingUTF8, 0, false, piece, sizeof piece, &size);
        if (converted == 0)
            break;
        size = std::min(size, left);
        good &= SHA1_Update(&context, piece, static_cast<std::size_t>(size));
        start += converted;
        left -= size;
    }
    good &= SHA1_Final(aDigest, &context);
    if (left > 0)
        return kErrBadValue;
    return good != 0 ? kErrNone : kErrGeneric;
}

}  // namespace

unsigned int hash_pjw(unsigned char const* aData, int aLength)
{
    if (aData == nullptr)
        return 0;
    unsigned hash = 0;
    for (int i = 0; i < aLength; ++i) {
        hash = (hash << 4) + aData[i];  // in 32 bits: a carry out of them is lost, on every machine alike
        if (hash > 0x0FFFFFFF)
            hash = (hash ^ hash >> 28 << 4) & 0x0FFFFFFF;
    }
    return hash;
}

unsigned int hash_key(void const* aKey)
{
    if (aKey == nullptr)
        return 0;
    return hash_pjw(static_cast<unsigned char const*>(aKey),
                    static_cast<int>(std::strlen(static_cast<char const*>(aKey))));
}

char ktHash::Base64Encode(unsigned char aValue)
{
    constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    return alphabet[std::min<unsigned>(aValue, 63)];
}

ktError ktHash::HashPin(ktString const& aPin, ktString const& aSalt, ktString& aOut)
{
    ktString salted;
    ktError result = salted.Append(aPin);
    if (result == kErrNone)
        result = salted.Append(aSalt);
    unsigned char digest[SHA_DIGEST_LENGTH];
    if (result == kErrNone)
        result = HashText(salted, digest);
    if (result != kErrNone)
        return result;
    char text[kEncodedLength];
    ktBase64Encode(digest, sizeof digest, text, Base64Encode);
    text[kEncodedLength - 1] = '=';  // the map knows no padding
    return aOut.Copy(text, sizeof text);
}
