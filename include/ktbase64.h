/// @file
/// Base64 in the standard alphabet, in the one for URLs and file names, and in any other.
///
/// All functions work in the caller's buffers only: they allocate nothing, wait for nothing, log nothing and may run on
/// any number of threads at once. Input and output must not overlap. Nothing is written behind the bytes or characters
/// that are counted, a terminator least of all.
///
/// Lengths have 16 bits. Up to 49,149 bytes can be encoded with a count that says how much was written; the characters
/// of a longer input are all written too, four for each three bytes begun, but of their number only the low 16 bits are
/// returned. The count of a decoder always fits.
#pragma once

#include "kttypes.h"

/// Encodes in an alphabet of the caller's.
/// @param aOut room for four characters for each three bytes begun.
/// @param aMap turns a value of 0 to 63 into its character, and 255, which stands for a position without input, into
///             the padding character. Called once for each character, in their order.
/// @return the characters written, as above; 0 for no input, and for null, when nothing is written.
KT_EXPORT unsigned short ktBase64Encode(unsigned char const* aIn, unsigned short aLength, char* aOut,
                                        char (*aMap)(unsigned char));
/// The same in the standard alphabet ("+", "/"), padded with "=".
KT_EXPORT unsigned short ktBase64Encode(unsigned char const* aIn, unsigned short aLength, char* aOut);
/// The same with "-" and "_" in place of "+" and "/", padded as well.
KT_EXPORT unsigned short ktBase64URLEncode(unsigned char const* aIn, unsigned short aLength, char* aOut);

/// Decodes from an alphabet of the caller's.
///
/// Padding is not needed. In the third or fourth place of a group the character "=" is always padding and ends the
/// text, whatever comes behind it; the bits that are left over in front of it are not looked at.
/// @param aOut room for three bytes for each four characters, and for one or two when two or three are left over.
/// @param aMap turns a character into its value, or into 255 when it is not in the alphabet. A value above 63 is not
///             refused: it goes into the byte as it is, and what does not fit is cut off.
/// @return the bytes written; 0 for no input; 0xFFFF for a character that is not in the alphabet, for one that is left
///         over alone, and for null. The bytes in front of the failure have been written then.
KT_EXPORT unsigned short ktBase64Decode(char const* aIn, unsigned short aLength, unsigned char* aOut,
                                        unsigned char (*aMap)(char));
/// The same from the standard alphabet.
KT_EXPORT unsigned short ktBase64Decode(char const* aIn, unsigned short aLength, unsigned char* aOut);
/// The same from the alphabet for URLs and file names.
KT_EXPORT unsigned short ktBase64URLDecode(char const* aIn, unsigned short aLength, unsigned char* aOut);
