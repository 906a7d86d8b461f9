/// @file
/// Hashes: of keys for hash tables, and of PINs for storing.
///
/// Any thread; nothing here waits for anything but the allocator and, when there is no memory, the log.
#pragma once

#include "kttypes.h"

class ktString;

extern "C" {

/// The PJW hash, as object files have it: 28 bits. It spreads short keys well and resists nobody.
/// @return the hash; 0 for a length below 1 and for null.
KT_EXPORT unsigned int hash_pjw(unsigned char const* aData, int aLength);

/// `hash_pjw` of a text up to its terminator; has the type of an NSPR hash function.
/// @return the hash; 0 for empty text and for null.
KT_EXPORT unsigned int hash_key(void const* aKey);
}

/// Hashing of PINs.
///
/// It keeps PINs out of files in plain text. It does not protect them against somebody who can read the hashes: SHA-1
/// is quick, and PINs are few.
class KT_EXPORT ktHash {
public:
    ktHash() = delete;

    /// The character for a value of 0 to 63 in the standard alphabet of base64; "/" for any other value, as padding is
    /// no business of this map.
    static char Base64Encode(unsigned char aValue);

    /// Replaces `aOut` by the hash of the PIN with the salt behind it: 28 characters, of which the last is "=". As many
    /// bytes of the UTF-8 text are hashed as it has characters, which leaves out the end of text that is not all ASCII.
    /// @param aOut may be the PIN or the salt itself.
    /// @return 0; -2 when there is no memory; -5 when what is to be hashed has half of a character in it; -1 when SHA-1
    ///        fails. On failure `aOut` is as before, or empty when only it could not be written.
    static ktError HashPin(ktString const& aPin, ktString const& aSalt, ktString& aOut);
};
