#include "ktsettingsreader.h"

#include <algorithm>
#include <charconv>

#include "ktconfigcore.h"

namespace {

constexpr std::string_view kTagEnd = kSettingsClosing.substr(0, 3);  // without the line end

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

/// Whether a key looks like the end of one entry and the start of the next, which others may write on one line.
bool IsTwoEntries(std::string_view aKey)
{
    const std::size_t divider = aKey.find(kSettingsDivider);
    const std::size_t end = aKey.find(kTagEnd, divider);
    return end != std::string_view::npos && aKey.find(" key=", end) != std::string_view::npos;
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
    while (!rest.empty() && length < kMaxConfigValue)
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
    return mDamage != nullptr ? static_cast<int>(std::count(mText.data(), mDamage, '\n')) + 1 : 0;
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

/// Finds the entry that a part begins with. The first closing that makes one ends it; a key may have others in it. A
/// line end that is damaged costs neither the entry in front of it nor the one behind.
bool ktSettingsReader::FindEntry(std::string_view aPart)
{
    if (!BeginsWith(aPart, kSettingsOpening))
        return false;
    const std::string_view text = aPart.substr(kSettingsOpening.size());
    for (std::size_t end = text.find(kTagEnd); end != std::string_view::npos; end = text.find(kTagEnd, end + 1)) {
        std::string_view behind = text.substr(end + kTagEnd.size());
        const bool isWhole = BeginsWith(behind, "\n");
        behind.remove_prefix(std::min<std::size_t>(behind.size(), 1));
        const bool isFollowed = BeginsWith(behind, kSettingsOpening) || (behind.empty() && mRest.empty() && mHasFooter);
        if ((!isWhole && !isFollowed) || !TakeEntry(text.substr(0, end)))
            continue;
        if (!isWhole)
            mRest = std::string_view(behind.data(), behind.size() + mRest.size());
        if (!isWhole || !behind.empty())
            NoteDamage(behind.data() - (isWhole ? 0 : 1));
        return true;
    }
    return false;
}

/// Takes what is between an opening and a closing as an entry, if it is one.
bool ktSettingsReader::TakeEntry(std::string_view aBody)
{
    const std::size_t valueAt = aBody.rfind('"') + 1;
    if (!EndsWith(aBody.substr(0, valueAt), kSettingsDivider) || !IsValue(aBody.substr(valueAt)))
        return false;
    const std::string_view key = aBody.substr(0, valueAt - kSettingsDivider.size());
    if (key.find('\0') != std::string_view::npos || IsTwoEntries(key))
        return false;
    mKey = const_cast<char*>(key.data());  // which the constructor was given
    mKeyLength = key.size();
    mValue = mKey + valueAt;
    mValueLength = aBody.size() - valueAt;
    ++mEntries;
    return true;
}

void ktSettingsReader::NoteDamage(char const* aPlace)
{
    if (mDamages++ == 0)
        mDamage = aPlace;
}
