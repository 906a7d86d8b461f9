/// @file
/// The current locale and the texts of its language.
#pragma once

#include "ktstring.h"
#include "kttypes.h"

/// The process's one current locale and its localised texts.
///
/// All of it is shared by the whole process and nothing takes a lock: the locale is changed by one thread. A process
/// that has set no locale has the identifier "NOLOCALE" and no localised texts.
class KT_EXPORT ktBundle {
public:
    /// The identifier of the current locale, such as "de_DE"; "NOLOCALE" when none is set.
    static ktString GetCurrentLocale();
    /// "en_US".
    static ktString GetDefaultLocale();
    static ktBOOL HasLocaleBeenSet();
    /// The text for `aKey` in the current language. Empty, without a word in the log, for a null key and when there are
    /// no localised texts.
    static ktString GetLocalizedString(char const* aKey, char const* aDefaultText);
};
