/// @file
/// What the readers and writers of configuration files share.
#pragma once

#include <locale.h>  // NOLINT(modernize-deprecated-headers): locale_t is in no other

#include <cstddef>
#include <memory>

#include "ktmemory.h"

constexpr std::size_t kMaxConfigValue = 2047;  ///< bytes of a value that are kept

/// A text from ktMALLOC.
using ktOwnedText = std::unique_ptr<char, decltype(&ktFREE)>;

/// The locale of files, which have periods in their numbers.
inline locale_t ktPlainLocale()
{
    static const locale_t sLocale = newlocale(LC_ALL_MASK, "C", nullptr);
    return sLocale;
}
