// The strings that carry more than text.
#include "ktstring.h"

ktRefString::ktRefString() = default;

ktRefString::~ktRefString() = default;

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): Copy() handles it
ktRefString& ktRefString::operator=(ktRefString const& aOther)
{
    Copy(aOther);
    return *this;
}

void ktRefString::Destroy()
{
    delete this;  // a null string is tolerated: this source keeps its null checks, see the build file
}

ktIndexedString::ktIndexedString() : mIndex(0)
{
}

ktIndexedString::ktIndexedString(int aIndex, CFStringRef aText) : ktString(aText), mIndex(aIndex)
{
}

ktError ktIndexedString::Set(int aIndex, CFStringRef aText)
{
    mIndex = aIndex;
    return Copy(aText);
}

void ktIndexedString::SetIndex(int aIndex)
{
    mIndex = aIndex;
}

int ktIndexedString::GetIndex() const
{
    return mIndex;
}
