/// @file
/// How places in the file system are stored.
#pragma once

#include <cstddef>
#include <string_view>

#include "CoreFoundation/CFURL.h"
#include "cfobject.h"

/// A place: its whole path behind the object, terminated, as components with one slash in front of each.
struct __CFURL final : cf::Object {
    /// With room behind it for both paths, a slash and a terminator.
    __CFURL(std::string_view aBase, std::string_view aPath, bool aIsDirectory);

    /// `aPath` counted from `aBase`, which is a whole path or empty for the root. Null when there is no memory, and for
    /// a path that no file can have.
    static __CFURL* Create(std::string_view aBase, std::string_view aPath, bool aIsDirectory);

    std::string_view Path() const
    {
        return {reinterpret_cast<char const*>(this + 1), mLength};
    }
    bool IsRoot() const
    {
        return mLength == 1;
    }
    bool IsDirectory() const
    {
        return mIsDirectory;
    }
    CFStringRef String() const
    {
        return mString;
    }

    bool Equals(cf::Object const& aOther) const override;
    CFHashCode Hash() const override;
    CFStringRef CopyDescription() const override;

private:
    void Finalize() override;
    CFStringRef CreateString() const;

    std::size_t mLength;
    bool mIsDirectory;
    CFStringRef mString;  ///< made with the object, because CFURLGetString() gives no reference away
};
