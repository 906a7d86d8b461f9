#include "cfurl.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "cfutf8.h"

namespace {

constexpr std::string_view kScheme = "file://";

/// Whether the byte stands for itself in a URL.
bool IsPlain(char aByte)
{
    return (aByte >= '0' && aByte <= '9') || (aByte >= 'a' && aByte <= 'z') || (aByte >= 'A' && aByte <= 'Z') ||
           (aByte != '\0' && std::strchr("/-._~!$&'()*+,=:@", aByte) != nullptr);
}

/// Appends the components of `aPath` to the whole path at `aOut`, which is empty for the root. What changes nothing is
/// left out: empty components, ".", and ".." in the root. Another ".." stays, since what is in front of it may be a
/// link.
/// @return the new length.
std::size_t AppendComponents(char* aOut, std::size_t aLength, std::string_view aPath)
{
    while (!aPath.empty()) {
        const std::size_t size = std::min(aPath.find('/'), aPath.size());
        const std::string_view component = aPath.substr(0, size);
        aPath.remove_prefix(std::min(size + 1, aPath.size()));
        if (component.empty() || component == "." || (component == ".." && aLength == 0))
            continue;
        aOut[aLength] = '/';
        std::copy(component.begin(), component.end(), aOut + aLength + 1);
        aLength += 1 + component.size();
    }
    return aLength;
}

std::size_t StartOfName(std::string_view aPath)
{
    return aPath.rfind('/') + 1;
}

char* PutEscaped(char* aOut, UInt8 aByte)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    *aOut++ = '%';
    *aOut++ = kDigits[aByte / 16];
    *aOut++ = kDigits[aByte % 16];
    return aOut;
}

CFStringRef CreateString(std::string_view aPath)
{
    return CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<UInt8 const*>(aPath.data()),
                                   static_cast<CFIndex>(aPath.size()), kCFStringEncodingUTF8, false);
}

CFURLRef CreateFromHere(std::string_view aPath, bool aIsDirectory)
{
    if (aPath.empty())
        return nullptr;
    char here[PATH_MAX] = "";
    if (aPath.front() != '/' && getcwd(here, sizeof here) == nullptr)
        return nullptr;
    return __CFURL::Create(here, aPath, aIsDirectory);
}

}  // namespace

// The stored URL.

__CFURL::__CFURL(std::string_view aBase, std::string_view aPath, bool aIsDirectory)
    : Object(cf::kUrl), mLength(0), mIsDirectory(aIsDirectory), mString(nullptr)
{
    char* const path = reinterpret_cast<char*>(this + 1);
    mLength = AppendComponents(path, AppendComponents(path, 0, aBase), aPath);
    if (mLength == 0) {
        path[mLength++] = '/';
        mIsDirectory = true;
    }
    path[mLength] = '\0';
    mString = CreateString();
}

__CFURL* __CFURL::Create(std::string_view aBase, std::string_view aPath, bool aIsDirectory)
{
    if (aPath.find('\0') != std::string_view::npos)
        return nullptr;
    cf::Owned<__CFURL*> url(cf::NewWithExtra<__CFURL>(aBase.size() + aPath.size() + 3, aBase, aPath, aIsDirectory));
    if (!url || url.Get()->mString == nullptr)
        return nullptr;
    return url.Detach();
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): the last release frees it
}

bool __CFURL::Equals(Object const& aOther) const
{
    __CFURL const& other = static_cast<__CFURL const&>(aOther);
    return mIsDirectory == other.mIsDirectory && Path() == other.Path();
}

CFHashCode __CFURL::Hash() const
{
    return CFHash(mString);
}

CFStringRef __CFURL::CopyDescription() const
{
    return CFStringCreateCopy(kCFAllocatorDefault, mString);
}

void __CFURL::Finalize()
{
    CFRelease(mString);
}

CFStringRef __CFURL::CreateString() const
{
    const std::string_view path = Path();
    const bool needsSlash = mIsDirectory && !IsRoot();
    const std::size_t plain = static_cast<std::size_t>(std::count_if(path.begin(), path.end(), IsPlain));
    const CFIndex length =
        static_cast<CFIndex>(kScheme.size() + plain + (path.size() - plain) * 3 + (needsSlash ? 1 : 0));
    __CFString* const string = __CFString::CreateEmptyImmutable(length, false);
    if (string == nullptr)
        return nullptr;
    char* out = static_cast<char*>(string->MakeGap(CFRangeMake(0, 0), length, false));
    out = std::copy(kScheme.begin(), kScheme.end(), out);
    for (char byte : path) {
        if (IsPlain(byte))
            *out++ = byte;
        else
            out = PutEscaped(out, static_cast<UInt8>(byte));
    }
    if (needsSlash)
        *out = '/';
    return string;
}

// Creation.

CFTypeID CFURLGetTypeID()
{
    return cf::kUrl;
}

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef /*aAllocator*/, CFStringRef aPath, CFURLPathStyle /*aStyle*/,
                                       Boolean aIsDirectory)
{
    const cf::Utf8 path(aPath);
    return path ? CreateFromHere(path.Get(), aIsDirectory) : nullptr;
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef aAllocator, UInt8 const* aBytes, CFIndex aCount,
                                                 Boolean aIsDirectory)
{
    const cf::Owned<CFStringRef> path(
        CFStringCreateWithBytes(aAllocator, aBytes, aCount, kCFStringEncodingUTF8, false));
    return CFURLCreateWithFileSystemPath(aAllocator, path.Get(), kCFURLPOSIXPathStyle, aIsDirectory);
}

CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef /*aAllocator*/, CFURLRef aUrl)
{
    if (aUrl == nullptr)
        return nullptr;
    const std::string_view path = aUrl->Path();
    const std::size_t start = StartOfName(path);
    // What ".." names is not known from here; the directory that holds it is one further up all the same.
    return path.substr(start) == ".." ? __CFURL::Create(path, "..", true)
                                      : __CFURL::Create({}, path.substr(0, start), true);
}

CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef /*aAllocator*/, CFURLRef aUrl, CFStringRef aComponent,
                                               Boolean aIsDirectory)
{
    const cf::Utf8 component(aComponent);
    return aUrl != nullptr && component ? __CFURL::Create(aUrl->Path(), component.Get(), aIsDirectory) : nullptr;
}

// Reading.

Boolean CFURLHasDirectoryPath(CFURLRef aUrl)
{
    return aUrl != nullptr && aUrl->IsDirectory();
}

CFStringRef CFURLCopyLastPathComponent(CFURLRef aUrl)
{
    if (aUrl == nullptr)
        return nullptr;
    return CreateString(aUrl->IsRoot() ? aUrl->Path() : aUrl->Path().substr(StartOfName(aUrl->Path())));
}

CFStringRef CFURLCopyFileSystemPath(CFURLRef aUrl, CFURLPathStyle /*aStyle*/)
{
    return aUrl != nullptr ? CreateString(aUrl->Path()) : nullptr;
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef aUrl, Boolean /*aResolve*/, UInt8* aBuffer, CFIndex aSize)
{
    if (aUrl == nullptr || aBuffer == nullptr || aSize <= static_cast<CFIndex>(aUrl->Path().size()))
        return false;
    std::memcpy(aBuffer, aUrl->Path().data(), aUrl->Path().size() + 1);
    return true;
}

CFStringRef CFURLGetString(CFURLRef aUrl)
{
    return aUrl != nullptr ? aUrl->String() : nullptr;
}
