#include "cfoldplist.h"

#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstring>

#include "cfarray.h"
#include "cfdata.h"
#include "cfdictionary.h"

namespace {

using Value = cf::Owned<CFTypeRef>;

bool IsBlank(char aByte)
{
    return aByte == ' ' || (aByte >= '\t' && aByte <= '\r');
}

/// Whether the byte may stand in a string without quotes.
bool IsPlain(char aByte)
{
    return (aByte >= 'a' && aByte <= 'z') || (aByte >= 'A' && aByte <= 'Z') || (aByte >= '0' && aByte <= '9') ||
           aByte == '_' || aByte == '$' || aByte == '/' || aByte == ':' || aByte == '.' || aByte == '-';
}

/// The value of a digit; -1 for what is none of that base.
int DigitOf(char aByte, int aBase)
{
    int value = -1;
    if (aByte >= '0' && aByte <= '9')
        value = aByte - '0';
    else if ((aByte >= 'a' && aByte <= 'f') || (aByte >= 'A' && aByte <= 'F'))
        value = (aByte | 0x20) - 'a' + 10;
    return value < aBase ? value : -1;
}

/// Reads at most `aMax` digits from `aAt` on. @return how many there were.
int ReadDigits(char const*& aAt, char const* aEnd, int aBase, int aMax, UInt32& aValue)
{
    int count = 0;
    for (; count < aMax && aAt != aEnd && DigitOf(*aAt, aBase) >= 0; ++count)
        aValue = aValue * static_cast<UInt32>(aBase) + static_cast<UInt32>(DigitOf(*aAt++, aBase));
    return count;
}

/// What a letter behind a backslash means; what is not listed means itself.
struct Escape {
    char mName, mMeaning;
};
constexpr Escape kEscapes[] = {{'a', '\a'}, {'b', '\b'}, {'f', '\f'}, {'n', '\n'},  {'r', '\r'},
                               {'t', '\t'}, {'v', '\v'}, {'"', '"'},  {'\'', '\''}, {'\\', '\\'}};

/// Whether every half of a surrogate pair has the other one.
bool HasWholePairs(UniChar const* aBegin, UniChar const* aEnd)
{
    for (UniChar const* unit = aBegin; unit != aEnd; ++unit) {
        if (!U16_IS_SURROGATE(*unit))
            continue;
        if (!U16_IS_SURROGATE_LEAD(*unit) || unit + 1 == aEnd || !U16_IS_TRAIL(unit[1]))
            return false;
        ++unit;
    }
    return true;
}

/// Appends well-formed UTF-8 to units that have room for it. @return their end.
UniChar* AppendUnits(std::string_view aText, UniChar* aOut)
{
    int32_t units = 0;
    UErrorCode status = U_ZERO_ERROR;
    const int32_t size = static_cast<int32_t>(aText.size());
    u_strFromUTF8(reinterpret_cast<UChar*>(aOut), size, &units, aText.data(), size, &status);
    return aOut + units;
}

/// Reads one text. Every Read…() begins at what it reads and ends behind it; a null result has set the problem.
class Reader {
public:
    Reader(std::string_view aText, cf::PlistProblem& aProblem);
    ~Reader();
    Reader(Reader const&) = delete;
    Reader& operator=(Reader const&) = delete;

    Value ReadRoot();

private:
    bool IsAtEnd() const
    {
        return mAt == mEnd;
    }
    bool IsAt(char aByte) const
    {
        return mAt != mEnd && *mAt == aByte;
    }
    bool IsAtString() const
    {
        return mAt != mEnd && (*mAt == '"' || *mAt == '\'' || IsPlain(*mAt));
    }

    bool SkipBlanks();
    bool SkipComment();
    Value ReadStringOrTable();
    Value ReadTable();
    Value ReadValue(int aDepth);
    Value ReadDictionary(int aDepth);
    bool ReadPairs(__CFDictionary& aDictionary, int aDepth);
    bool ReadPair(__CFDictionary& aDictionary, int aDepth);
    Value ReadArray(int aDepth);
    Value ReadData();
    Value ReadString();
    Value ReadQuoted();
    Value Unescape(char const* aBegin, char const* aEnd);
    bool ReadEscape(char const*& aAt, char const* aEnd, UniChar*& aOut);
    bool ReserveUnits(std::size_t aCount);
    Value CreateString(char const* aBegin, char const* aEnd);

    Value Whole(Value aValue);
    Value Fail(char const* aAt, char const* aReason);
    Value FailAt(char const* aReason);

    const std::string_view mText;
    cf::PlistProblem& mProblem;
    char const* mAt;
    char const* const mEnd;
    UniChar* mUnits;  ///< for strings with escapes, one after another
    std::size_t mRoom;
};

Reader::Reader(std::string_view aText, cf::PlistProblem& aProblem)
    : mText(aText), mProblem(aProblem), mAt(aText.data()), mEnd(aText.data() + aText.size()), mUnits(nullptr), mRoom(0)
{
}

Reader::~Reader()
{
    std::free(mUnits);
}

Value Reader::ReadRoot()
{
    if (!SkipBlanks())
        return Value();
    Value root = IsAtEnd() || IsAtString() ? ReadStringOrTable() : ReadValue(1);
    if (!root || !SkipBlanks())
        return Value();
    return IsAtEnd() ? std::move(root) : FailAt("is not expected here");
}

/// A string alone is a property list too; what follows it tells.
Value Reader::ReadStringOrTable()
{
    char const* const start = mAt;
    Value string = IsAtEnd() ? Value() : ReadString();
    if (mProblem.IsSet() || !SkipBlanks())
        return Value();
    if (string && !IsAt('=') && !IsAt(';'))
        return string;
    mAt = start;
    return ReadTable();
}

Value Reader::ReadTable()
{
    cf::Owned<__CFDictionary*> table(__CFDictionary::CreateForObjects());
    if (!table)
        mProblem.SetNoMemory();
    if (!table || !ReadPairs(*table.Get(), 1))
        return Value();
    table.Get()->Freeze();
    return Value(table.Detach());
}

// A list calls for the values in it, down to cf::kMaxDepth.
// NOLINTBEGIN(misc-no-recursion)

Value Reader::ReadValue(int aDepth)
{
    if (IsAtString())
        return ReadString();
    if (IsAt('<'))
        return ReadData();
    if (!IsAt('{') && !IsAt('('))
        return FailAt("stands where a value is expected");
    if (aDepth > cf::kMaxDepth)
        return Fail(mAt, "the lists are nested too deeply");
    return IsAt('{') ? ReadDictionary(aDepth) : ReadArray(aDepth);
}

Value Reader::ReadDictionary(int aDepth)
{
    char const* const start = mAt++;
    cf::Owned<__CFDictionary*> dictionary(__CFDictionary::CreateForObjects());
    if (!dictionary)
        mProblem.SetNoMemory();
    if (!dictionary || !ReadPairs(*dictionary.Get(), aDepth))
        return Value();
    if (!IsAt('}'))
        return IsAtEnd() ? Fail(start, "the brace is never closed") : FailAt("stands where a key is expected");
    ++mAt;
    dictionary.Get()->Freeze();
    return Value(dictionary.Detach());
}

/// Up to what cannot be a key.
bool Reader::ReadPairs(__CFDictionary& aDictionary, int aDepth)
{
    while (SkipBlanks()) {
        if (!IsAtString())
            return true;
        if (!ReadPair(aDictionary, aDepth))
            return false;
    }
    return false;
}

bool Reader::ReadPair(__CFDictionary& aDictionary, int aDepth)
{
    const Value key = ReadString();
    char const* end = mAt;
    if (!key || !SkipBlanks())
        return false;
    Value value;
    if (IsAt('=')) {
        ++mAt;
        if (!SkipBlanks() || !(value = ReadValue(aDepth + 1)))
            return false;
        end = mAt;
        if (!SkipBlanks())
            return false;
    }
    if (!IsAt(';')) {
        // Named after what came before it: that is the line to mend, though the next one shows it.
        Fail(end, value ? "a semicolon is missing" : "a key has no value");
        return false;
    }
    ++mAt;
    // A key alone stands for itself.
    if (aDictionary.Put(key.Get(), value ? value.Get() : key.Get(), __CFDictionary::Policy::kSet))
        return true;
    mProblem.SetNoMemory();
    return false;
}

Value Reader::ReadArray(int aDepth)
{
    char const* const start = mAt;
    cf::Owned<__CFArray*> array(__CFArray::Create(cf::ValueRules(&kCFTypeArrayCallBacks), 0, nullptr, 0));
    if (!array)
        return Whole(Value());
    do {
        ++mAt;
        if (!SkipBlanks())
            return Value();
        if (IsAt(')'))
            break;
        const Value value = IsAtEnd() ? Fail(start, "the parenthesis is never closed") : ReadValue(aDepth + 1);
        if (!value)
            return Value();
        if (!array.Get()->Insert(array.Get()->Count(), value.Get()))
            return Whole(Value());
        if (!SkipBlanks())
            return Value();
    } while (IsAt(','));
    if (!IsAt(')'))
        return IsAtEnd() ? Fail(start, "the parenthesis is never closed") : FailAt("stands where a comma is expected");
    ++mAt;
    array.Get()->Freeze();
    return Value(array.Detach());
}

// NOLINTEND(misc-no-recursion)

Value Reader::ReadData()
{
    char const* const start = mAt++;
    char const* const end = std::find(mAt, mEnd, '>');
    if (end == mEnd)
        return Fail(start, "the data has no end");
    const auto digits = std::count_if(mAt, end, [](char aByte) { return !IsBlank(aByte); });
    if (digits % 2 != 0)
        return Fail(start, "the data has an odd number of digits");
    cf::Owned<__CFData*> data(__CFData::Create(static_cast<CFIndex>(digits / 2)));
    int half = -1;
    for (UInt8* out = data ? data.Get()->Bytes() : nullptr; data && mAt != end; ++mAt) {
        if (IsBlank(*mAt))
            continue;
        const int digit = DigitOf(*mAt, 16);
        if (digit < 0)
            return FailAt("is not a hexadecimal digit");
        if (half >= 0)
            *out++ = static_cast<UInt8>(half * 16 + digit);
        half = half >= 0 ? -1 : digit;
    }
    mAt = end + 1;
    return Whole(Value(data.Detach()));
}

Value Reader::ReadString()
{
    if (!IsPlain(*mAt))
        return ReadQuoted();
    char const* const start = mAt;
    mAt = std::find_if_not(mAt, mEnd, IsPlain);
    return CreateString(start, mAt);
}

Value Reader::ReadQuoted()
{
    char const* const start = mAt;
    bool hasEscapes = false;
    while (++mAt != mEnd && *mAt != *start) {
        if (*mAt == '\\') {
            hasEscapes = true;
            if (++mAt == mEnd)
                break;
        }
    }
    if (mAt == mEnd)
        return Fail(start, "the string has no end");
    char const* const end = mAt++;
    return hasEscapes ? Unescape(start + 1, end) : CreateString(start + 1, end);
}

/// A backslash has something behind it.
Value Reader::Unescape(char const* aBegin, char const* aEnd)
{
    if (!ReserveUnits(static_cast<std::size_t>(aEnd - aBegin)))
        return Whole(Value());
    UniChar* out = mUnits;
    for (char const* at = aBegin; at != aEnd;) {
        if (*at == '\\' && !ReadEscape(++at, aEnd, out))
            return Value();
        char const* const end = std::find(at, aEnd, '\\');
        out = AppendUnits({at, static_cast<std::size_t>(end - at)}, out);
        at = end;
    }
    if (!HasWholePairs(mUnits, out))
        return Fail(aBegin, "the string has half of a surrogate pair in it");
    return Whole(Value(CFStringCreateWithCharacters(kCFAllocatorDefault, mUnits, out - mUnits)));
}

/// From behind the backslash on. One that means itself stays where it is, since it may be of several bytes.
bool Reader::ReadEscape(char const*& aAt, char const* aEnd, UniChar*& aOut)
{
    UInt32 value = 0;
    if (*aAt == 'U') {
        char const* const start = aAt++;
        if (ReadDigits(aAt, aEnd, 16, 4, value) != 4) {
            Fail(start, "\\U wants four hexadecimal digits");
            return false;
        }
        *aOut++ = static_cast<UniChar>(value);
    } else if (ReadDigits(aAt, aEnd, 8, 3, value) != 0)
        *aOut++ = static_cast<UniChar>(value);
    else {
        for (Escape const& escape : kEscapes) {
            if (escape.mName == *aAt) {
                *aOut++ = static_cast<UInt8>(escape.mMeaning);
                ++aAt;
                break;
            }
        }
    }
    return true;
}

bool Reader::ReserveUnits(std::size_t aCount)
{
    if (aCount <= mRoom)
        return true;
    void* const block = std::realloc(mUnits, aCount * sizeof *mUnits);
    if (block == nullptr)
        return false;
    mUnits = static_cast<UniChar*>(block);
    mRoom = aCount;
    return true;
}

Value Reader::CreateString(char const* aBegin, char const* aEnd)
{
    return Whole(Value(CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<UInt8 const*>(aBegin),
                                               aEnd - aBegin, kCFStringEncodingUTF8, false)));
}

/// Blanks and comments. @return false when a comment has no end.
bool Reader::SkipBlanks()
{
    while (!IsAtEnd()) {
        if (IsBlank(*mAt))
            ++mAt;
        else if (*mAt != '/' || mEnd - mAt < 2 || (mAt[1] != '/' && mAt[1] != '*'))
            return true;
        else if (!SkipComment())
            return false;
    }
    return true;
}

bool Reader::SkipComment()
{
    const std::string_view rest(mAt, static_cast<std::size_t>(mEnd - mAt));
    if (mAt[1] == '/') {
        mAt += std::min(rest.find_first_of("\n\r"), rest.size());
        return true;
    }
    const std::size_t end = rest.find("*/", 2);
    if (end == std::string_view::npos) {
        Fail(mAt, "the comment has no end");
        return false;
    }
    mAt += end + 2;
    return true;
}

/// What creation gives, null for want of memory only: the text is known to be well formed.
Value Reader::Whole(Value aValue)
{
    if (!aValue)
        mProblem.SetNoMemory();
    return aValue;
}

Value Reader::Fail(char const* aAt, char const* aReason)
{
    mProblem.Set(cf::LineOf(mText, aAt), "%s", aReason);
    return Value();
}

/// The reason goes on from the character that stands here.
Value Reader::FailAt(char const* aReason)
{
    if (IsAtEnd())
        return Fail(mAt, "the text ends before its time");
    const std::string_view rest(mAt, static_cast<std::size_t>(mEnd - mAt));
    int32_t length = 0;
    U8_FWD_1_UNSAFE(reinterpret_cast<UInt8 const*>(mAt), length);
    mProblem.Set(cf::LineOf(mText, mAt), "\"%.*s\" %s", static_cast<int>(length), rest.data(), aReason);
    return Value();
}

}  // namespace

Value cf::ReadOldPlist(std::string_view aText, PlistProblem& aProblem)
{
    return Reader(aText, aProblem).ReadRoot();
}
