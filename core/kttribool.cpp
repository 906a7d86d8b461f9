#include "kttribool.h"

namespace {

constexpr unsigned char kFalse = 0;
constexpr unsigned char kTrue = 1;
constexpr unsigned char kIndeterminate = 2;

unsigned char FromBool(bool aValue)
{
    return aValue ? kTrue : kFalse;
}

}  // namespace

ktTribool::ktTribool() : mValue(kIndeterminate)
{
}

ktTribool::ktTribool(bool aValue) : mValue(FromBool(aValue))
{
}

ktTribool& ktTribool::operator=(ktTribool const& aOther)
{
    if (this != &aOther)
        mValue = aOther.mValue;
    return *this;
}

ktTribool& ktTribool::operator=(bool const& aValue)
{
    mValue = FromBool(aValue);
    return *this;
}

bool ktTribool::operator==(ktTribool const& aOther) const
{
    return mValue == aOther.mValue;
}

bool ktTribool::operator!=(ktTribool const& aOther) const
{
    return mValue != aOther.mValue;
}

bool ktTribool::operator==(bool const& aValue) const
{
    return mValue == FromBool(aValue);
}

ktTribool::operator bool() const
{
    return mValue == kTrue;
}

bool ktTribool::operator!() const
{
    return mValue == kFalse;
}

void ktTribool::Reset()
{
    mValue = kIndeterminate;
}

bool ktTribool::IsIndeterminate() const
{
    return mValue == kIndeterminate;
}
