/// @file
/// The form in which settings are written, and the reader of just that form.
#pragma once

#include <cstddef>
#include <string_view>

#include "kttypes.h"

// A file is the header, one line for each entry, and the footer. A line is the opening, the key as it is, the divider,
// the escaped value and the closing. Escapes leave no quote in a value, so the last quote of a line in front of its
// closing belongs to the divider, whatever is in the key.
constexpr std::string_view kSettingsHeader = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<settings>\n";
constexpr std::string_view kSettingsLine = "  <s key=\"%s\" value=\"%s\"/>\n";
constexpr std::size_t kSettingsKeyAt = kSettingsLine.find("%s");
constexpr std::size_t kSettingsValueAt = kSettingsLine.rfind("%s");
constexpr std::string_view kSettingsOpening = kSettingsLine.substr(0, kSettingsKeyAt);
constexpr std::string_view kSettingsDivider =
    kSettingsLine.substr(kSettingsKeyAt + 2, kSettingsValueAt - kSettingsKeyAt - 2);
constexpr std::string_view kSettingsClosing = kSettingsLine.substr(kSettingsValueAt + 2);
constexpr std::string_view kSettingsFooter = "</settings>\n";

/// Reads the entries of a text in the written form, and finds its way past what is damaged.
class KT_HIDDEN ktSettingsReader {
public:
    /// The text is not copied; Terminate() writes to it.
    ktSettingsReader(char* aText, int aSize);

    /// Whether the text begins as a written one does. If not there is nothing to be read here.
    bool HasHeader() const;
    /// Finds the next whole entry and notes what is damaged up to its end. @return false at the end of the text.
    bool Next();
    /// Turns the entry that was found into texts of its own, in place, the value cut to what a value may have.
    void Terminate();
    char const* GetKey() const;
    char const* GetValue() const;

    int CountEntries() const;
    /// How many places are damaged; a missing footer is one.
    int CountDamages() const;
    /// The line of the first of them, from 1; 0 without any.
    int GetDamagedLine() const;

private:
    std::string_view TakePart();
    bool FindEntry(std::string_view aPart);
    bool TakeEntry(std::string_view aBody);
    void NoteDamage(char const* aPlace);

    std::string_view mText;
    std::string_view mRest;
    bool mHasFooter;
    int mEntries;
    int mDamages;
    char const* mDamage;  ///< the first
    char* mKey;
    std::size_t mKeyLength;
    char* mValue;
    std::size_t mValueLength;  ///< escapes and all
};
