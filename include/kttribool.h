/// @file
/// A boolean that may not be known yet.
#pragma once

#include "kttypes.h"

/// True, false or indeterminate, in one byte.
///
/// An indeterminate value is neither true nor false: both conversions answer false for it and it equals neither
/// boolean, but two indeterminate values are equal. It is not a three-valued logic: there is no "and" or "or".
class KT_EXPORT ktTribool {
public:
    /// Indeterminate.
    ktTribool();
    /// True or false.
    ktTribool(bool aValue);
    ktTribool(ktTribool const& aOther) = default;

    ktTribool& operator=(ktTribool const& aOther);
    ktTribool& operator=(bool const& aValue);

    bool operator==(ktTribool const& aOther) const;
    bool operator!=(ktTribool const& aOther) const;
    /// Never true of an indeterminate value.
    bool operator==(bool const& aValue) const;

    /// @return true only when the value is true.
    operator bool() const;
    /// @return true only when the value is false.
    bool operator!() const;

    /// Back to indeterminate.
    void Reset();
    bool IsIndeterminate() const;

private:
    unsigned char mValue;  ///< 0 false, 1 true, 2 indeterminate
};
