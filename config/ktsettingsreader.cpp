#include "ktsettingsreader.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::size_t kMaxValue = 2047;

bool BeginsWith(std::string_view aText, std::string_view aBeginning)
{
    return aText.substr(0, aBeginning.size()) == aBeginning;
}

bool EndsWith(std::string_view aText, std::string_view aEnd)
{
    return aText.size() >= aEnd.size() && aText.substr(aText.size() - aEnd.size()) == aEnd;
}

/// Takes one byte of a value, escaped or not. @return less than 0 for what the writer does not write.
int TakeByte(std::string_view& aValue)
{
    const auto byte = static_cast<unsigned char>(aValue.front());
    if (byte != '&') {
        aValue.remove_prefix(1);
        return byte >= 0x20 ? byte : -1;
    }
    if (!BeginsWith(aValue, "&#"))
        return -1;
    char const* const end = aValue.data() + aValue.size();
    int escaped = 0;
    char const* const behind = std::from_chars(aValue.data() + 2, end, escaped).ptr;
    if (escaped < 1 || escaped > 0xFF || behind == end || *behind != ';')
        return -1;
    aValue.remove_prefix(static_cast<std::size_t>(behind + 1 - aValue.data()));
    return escaped;
}

bool IsValue(std::string_view aText)
{
    std::string_view rest = aText;
    while (!rest.empty())
        if (TakeByte(rest) < 0)
            return false;
    return true;
}

}  // namespace

ktSettingsReader::ktSettingsReader(char* aText, int aSize)
    : mText(aText, static_cast<std::size_t>(aSize)), mRest(mText), mHasFooter(false), mEntries(0), mDamages(0),
      mDamage(nullptr), mKey(nullptr), mKeyLength(0), mValue(nullptr), mValueLength(0)
{
    if (!HasHeader())
        return;
    mRest.remove_prefix(kSettingsHeader.size());
    mHasFooter = EndsWith(mRest, kSettingsFooter);
    mRest.remove_suffix(mHasFooter ? kSettingsFooter.size() : 0);
}

bool ktSettingsReader::HasHeader() const
{
    return BeginsWith(mText, kSettingsHeader);
}

bool ktSettingsReader::Next()
{
    while (!mRest.empty()) {
        const std::string_view part = TakePart();
        if (FindEntry(part))
            return true;
        NoteDamage(part.data());
    }
    if (!mHasFooter)
        NoteDamage(mText.data() + mText.size());
    mHasFooter = true;  // noted once
    return false;
}

void ktSettingsReader::Terminate()
{
    std::string_view rest(mValue, mValueLength);
    std::size_t length = 0;
    while (!rest.empty() && length < kMaxValue)
        mValue[length++] = static_cast<char>(TakeByte(rest));
    mValue[length] = '\0';
    mKey[mKeyLength] = '\0';
}

char const* ktSettingsReader::GetKey() const
{
    return mKey;
}

char const* ktSettingsReader::GetValue() const
{
    return mValue;
}

int ktSettingsReader::CountEntries() const
{
    return mEntries;
}

int ktSettingsReader::CountDamages() const
{
    return mDamages;
}

int ktSettingsReader::GetDamagedLine() const
{
    return static_cast<int>(std::count(mText.data(), mDamage, '\n')) + 1;
}

/// Takes everything up to the next line that begins an entry: whatever is damaged before, that line is where reading
/// goes on.
std::string_view ktSettingsReader::TakePart()
{
    std::size_t end = mRest.find('\n');
    while (end != std::string_view::npos && !BeginsWith(mRest.substr(end + 1), kSettingsOpening))
        end = mRest.find('\n', end + 1);
    const std::string_view part = mRest.substr(0, end == std::string_view::npos ? end : end + 1);
    mRest.remove_prefix(part.size());
    return part;
}

/// Finds the entry that a part begins with. The first closing that makes one ends it; a key may have others in it.
bool ktSettingsReader::FindEntry(std::string_view aPart)
{
    if (!BeginsWith(aPart, kSettingsOpening))
        return false;
    const std::string_view text = aPart.substr(kSettingsOpening.size());
    for (std::size_t end = text.find(kSettingsClosing); end != std::string_view::npos;
         end = text.find(kSettingsClosing, end + 1)) {
        const std::string_view body = text.substr(0, end);
        const std::size_t valueAt = body.rfind('"') + 1;
        if (!EndsWith(body.substr(0, valueAt), kSettingsDivider) || !IsValue(body.substr(valueAt)))
            continue;
        const std::string_view key = body.substr(0, valueAt - kSettingsDivider.size());
        if (key.find('\0') != std::string_view::npos)
            return false;
        char* const begin = const_cast<char*>(key.data());  // which the constructor was given
        mKey = begin;
        mKeyLength = key.size();
        mValue = begin + valueAt;
        mValueLength = end - valueAt;
        ++mEntries;
        char const* const behind = text.data() + end + kSettingsClosing.size();
        if (behind != aPart.data() + aPart.size())
            NoteDamage(behind);
        return true;
    }
    return false;
}

void ktSettingsReader::NoteDamage(char const* aPlace)
{
    if (mDamages++ == 0)
        mDamage = aPlace;
}
