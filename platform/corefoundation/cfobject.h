/// @file
/// What every object is made from, and how one is owned inside this library.
#pragma once

#include <atomic>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>

#include "CoreFoundation/CFBase.h"

namespace cf {

/// What an object is; the value that its CF…GetTypeID() answers.
enum Kind : std::uint16_t {
    kNothing,
    kArray,
    kBoolean,
    kBundle,
    kData,
    kDate,
    kDictionary,
    kError,
    kLocale,
    kNumber,
    kString,
    kUrl,
    kUuid,
};

/// Base of every object, always its first one, so that a CFTypeRef is an Object*.
///
/// No destructor: constant objects must outlive everything that runs at exit. What an object owns goes in Finalize().
class Object {
public:
    void Retain() const;
    void Release() const;
    CFIndex RetainCount() const;
    Kind GetKind() const
    {
        return mKind;
    }

    /// `aOther` is another object of the same kind.
    virtual bool Equals(Object const& aOther) const;
    virtual CFHashCode Hash() const;
    virtual CFStringRef CopyDescription() const = 0;

    Object(Object const&) = delete;
    Object& operator=(Object const&) = delete;

protected:
    static constexpr int kConstant = 0;  ///< the count of objects that are never destroyed

    /// @param aCount the references that it starts with.
    constexpr explicit Object(Kind aKind, int aCount = 1) : mCount(aCount), mKind(aKind)
    {
    }
    ~Object() = default;

    /// Gives up what the object owns, before its memory goes.
    virtual void Finalize()
    {
    }

private:
    mutable std::atomic<int> mCount;
    const Kind mKind;
};

inline Object const* ToObject(CFTypeRef aObject)
{
    return static_cast<Object const*>(aObject);
}

/// A new object in memory from `malloc`, with `aExtra` bytes behind it; null when there is none.
template <typename T, typename... Arguments>
T* NewWithExtra(std::size_t aExtra, Arguments&&... aArguments)
{
    static_assert(std::is_trivially_destructible_v<T>, "objects are finalized, not destroyed");
    void* const block = std::malloc(sizeof(T) + aExtra);
    return block != nullptr ? new (block) T(std::forward<Arguments>(aArguments)...) : nullptr;
}

template <typename T, typename... Arguments>
T* New(Arguments&&... aArguments)
{
    return NewWithExtra<T>(0, std::forward<Arguments>(aArguments)...);
}

/// Owns one reference that a Create or Copy function gave, or nothing.
template <typename T>
class Owned {
public:
    explicit Owned(T aRef = nullptr) : mRef(aRef)
    {
    }
    Owned(Owned&& aOther) noexcept : mRef(aOther.Detach())
    {
    }
    Owned& operator=(Owned&& aOther) noexcept
    {
        std::swap(mRef, aOther.mRef);
        return *this;
    }
    Owned(Owned const&) = delete;
    Owned& operator=(Owned const&) = delete;
    ~Owned()
    {
        if (mRef != nullptr)
            CFRelease(mRef);
    }

    T Get() const
    {
        return mRef;
    }
    /// Hands the reference over to the caller.
    T Detach()
    {
        return std::exchange(mRef, nullptr);
    }
    explicit operator bool() const
    {
        return mRef != nullptr;
    }

private:
    T mRef;
};

}  // namespace cf
