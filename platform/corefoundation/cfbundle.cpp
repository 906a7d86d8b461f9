#include "CoreFoundation/CFBundle.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <mutex>

#include "cfdictionary.h"
#include "cffile.h"
#include "cfplist.h"
#include "cfurl.h"

CF_CONSTANT_STRING(kCFBundleIdentifierKey, "CFBundleIdentifier");
CF_CONSTANT_STRING(kCFBundleNameKey, "CFBundleName");
CF_CONSTANT_STRING(kCFBundleVersionKey, "CFBundleVersion");
CF_CONSTANT_STRING(kCFBundleDevelopmentRegionKey, "CFBundleDevelopmentRegion");
CF_CONSTANT_STRING(kCFBundleLocalizationsKey, "CFBundleLocalizations");

namespace {

CF_CONSTANT_STRING(kDefaultTable, "Localizable");
CF_CONSTANT_STRING(kTableType, "strings");
CF_CONSTANT_STRING(kInformationName, "Info");
CF_CONSTANT_STRING(kInformationType, "plist");
CF_CONSTANT_STRING(kLocalisationSuffix, ".lproj");

// Where a bundle keeps its information and its resources, in the order in which they are looked for.
constexpr std::string_view kInformationPlaces[] = {"", "Resources", "Contents"};
constexpr std::string_view kResourcePlaces[] = {"", "Resources", "Contents/Resources"};

/// Held while a bundle is read for all to share.
std::mutex sReading;

/// A path put together without the heap. One that no file can have stays empty.
class Path {
public:
    void Append(std::string_view aText)
    {
        const std::size_t room = sizeof mText - mSize;
        SetSize(aText.size() < room, mSize + aText.copy(mText + mSize, room));
    }
    void Append(CFStringRef aText)
    {
        const CFIndex length = CFStringGetLength(aText);
        CFIndex used = 0;
        const CFIndex converted = CFStringGetBytes(aText, CFRangeMake(0, length), kCFStringEncodingUTF8, 0, false,
                                                   reinterpret_cast<UInt8*>(mText + mSize),
                                                   static_cast<CFIndex>(sizeof mText - mSize - 1), &used);
        const std::string_view bytes(mText + mSize, static_cast<std::size_t>(used));
        SetSize(converted == length && bytes.find('\0') == std::string_view::npos, mSize + bytes.size());
    }

    char const* Get() const
    {
        return mText;
    }
    std::string_view View() const
    {
        return {mText, mSize};
    }

private:
    void SetSize(bool aIsWhole, std::size_t aSize)
    {
        mIsWhole = mIsWhole && aIsWhole;
        mSize = mIsWhole ? aSize : 0;
        mText[mSize] = '\0';
    }

    bool mIsWhole = true;
    std::size_t mSize = 0;
    char mText[PATH_MAX] = "";
};

/// The parts of a file's path within one of a bundle's places.
struct FileName {
    CFStringRef mFolder;  ///< null for none, and so is the type
    CFStringRef mName;
    CFStringRef mType;
};

void MakePath(Path& aPath, std::string_view aBundle, std::string_view aPlace, FileName const& aFile)
{
    aPath.Append(aBundle);
    for (std::string_view part : {std::string_view("/"), aPlace, std::string_view("/")})
        aPath.Append(part);
    aPath.Append(aFile.mFolder);
    aPath.Append(std::string_view("/"));
    aPath.Append(aFile.mName);
    aPath.Append(std::string_view(CFStringGetLength(aFile.mType) != 0 ? "." : ""));
    aPath.Append(aFile.mType);
}

CFStringRef AsString(CFTypeRef aObject)
{
    return CFGetTypeID(aObject) == CFStringGetTypeID() ? static_cast<CFStringRef>(aObject) : nullptr;
}

cf::Owned<CFDictionaryRef> EmptyDictionary()
{
    return cf::Owned<CFDictionaryRef>(CFDictionaryCreate(
        kCFAllocatorDefault, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

/// The dictionary in a property list, empty when it is broken or something else; null when there is no memory.
cf::Owned<CFDictionaryRef> DictionaryIn(std::string_view aBytes)
{
    cf::PlistProblem problem;
    cf::Owned<CFTypeRef> list = cf::ReadPlist(aBytes, nullptr, problem);
    if (problem.IsForMemory())
        return cf::Owned<CFDictionaryRef>();
    return CFGetTypeID(list.Get()) == CFDictionaryGetTypeID()
               ? cf::Owned<CFDictionaryRef>(static_cast<CFDictionaryRef>(list.Detach()))
               : EmptyDictionary();
}

/// Reads the first of the bundle's files of that name.
/// @param aIsThere receives whether there is one. @return what it holds; null when that could not be had this time.
cf::Owned<CFDictionaryRef> ReadFirst(std::string_view aBundle, std::string_view const (&aPlaces)[3],
                                     FileName const& aFile, bool& aIsThere)
{
    for (std::string_view place : aPlaces) {
        Path path;
        MakePath(path, aBundle, place, aFile);
        cf::FileContent content;
        const cf::FileContent::Result result = content.Read(path.Get());
        aIsThere = result != cf::FileContent::kMissing;
        if (aIsThere)
            return result == cf::FileContent::kRead ? DictionaryIn(content.View()) : cf::Owned<CFDictionaryRef>();
    }
    return EmptyDictionary();
}

CFURLRef FindResource(std::string_view aBundle, FileName const& aFile)
{
    for (std::string_view place : kResourcePlaces) {
        Path path;
        MakePath(path, aBundle, place, aFile);
        struct stat status = {};
        if (stat(path.Get(), &status) == 0)
            return __CFURL::Create({}, path.View(), S_ISDIR(status.st_mode));
    }
    return nullptr;
}

/// The directory of the running program's file; empty when it is not known.
std::string_view ProgramDirectory(char (&aBuffer)[PATH_MAX])
{
    const ssize_t size = readlink("/proc/self/exe", aBuffer, sizeof aBuffer);
    const std::string_view path(aBuffer, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return size < PATH_MAX ? path.substr(0, path.rfind('/') + 1) : std::string_view();
}

}  // namespace

struct __CFBundle final : cf::Object {
    /// A strings table.
    struct Table {
        Table* mNext;
        CFStringRef mName;
        CFDictionaryRef mTexts;
    };

    /// Takes all references over. @param aRegion the folder of the development region; null for none.
    __CFBundle(bool aIsMain, CFURLRef aUrl, CFDictionaryRef aInformation, CFStringRef aRegion)
        : Object(cf::kBundle, aIsMain ? kConstant : 1), mUrl(aUrl), mInformation(aInformation), mRegion(aRegion),
          mTables(nullptr)
    {
    }

    /// Null when there is no such directory, or no memory.
    static __CFBundle* Create(std::string_view aPath, bool aIsMain);

    /// The texts of a table, none when it is missing or broken; null when it could not be read this time.
    CFDictionaryRef GetTexts(CFStringRef aTable);

    CFStringRef CopyDescription() const override
    {
        return CFCopyDescription(mUrl);
    }

    CFURLRef const mUrl;
    CFDictionaryRef const mInformation;

private:
    void Finalize() override;
    Table const* FindTable(CFStringRef aName) const;
    Table const* AddTable(CFStringRef aName);
    cf::Owned<CFDictionaryRef> ReadTable(CFStringRef aName) const;

    CFStringRef const mRegion;
    /// Tables are added in front and stay, so that looking a text up takes no lock.
    std::atomic<Table*> mTables;
};

__CFBundle* __CFBundle::Create(std::string_view aPath, bool aIsMain)
{
    struct stat status = {};
    cf::Owned<__CFURL*> url(__CFURL::Create({}, aPath, true));
    if (!url || stat(url.Get()->Path().data(), &status) != 0 || !S_ISDIR(status.st_mode))
        return nullptr;
    bool isThere = false;
    cf::Owned<CFDictionaryRef> information =
        ReadFirst(url.Get()->Path(), kInformationPlaces, {nullptr, kInformationName, kInformationType}, isThere);
    CFStringRef const region = AsString(CFDictionaryGetValue(information.Get(), kCFBundleDevelopmentRegionKey));
    cf::Description folder;
    folder.Add(cf::TextOf(region));
    folder.Add(kLocalisationSuffix);
    cf::Owned<CFStringRef> owned(region != nullptr ? folder.Take() : nullptr);
    if (!information || (region != nullptr && !owned))
        return nullptr;
    __CFBundle* const bundle = cf::New<__CFBundle>(aIsMain, url.Get(), information.Get(), owned.Get());
    if (bundle != nullptr) {
        url.Detach();
        information.Detach();
        owned.Detach();
    }
    return bundle;
}

CFDictionaryRef __CFBundle::GetTexts(CFStringRef aTable)
{
    Table const* table = FindTable(aTable);
    if (table == nullptr) {
        const std::lock_guard<std::mutex> guard(sReading);
        table = FindTable(aTable);
        if (table == nullptr)
            table = AddTable(aTable);
    }
    return table != nullptr ? table->mTexts : nullptr;
}

void __CFBundle::Finalize()
{
    for (Table* table = mTables.load(std::memory_order_relaxed); table != nullptr;) {
        Table* const next = table->mNext;
        CFRelease(table->mName);
        CFRelease(table->mTexts);
        std::free(table);
        table = next;
    }
    CFRelease(mRegion);
    CFRelease(mInformation);
    CFRelease(mUrl);
}

__CFBundle::Table const* __CFBundle::FindTable(CFStringRef aName) const
{
    Table const* table = mTables.load(std::memory_order_acquire);
    while (table != nullptr && !CFEqual(table->mName, aName))
        table = table->mNext;
    return table;
}

/// Null when it could not be read this time.
__CFBundle::Table const* __CFBundle::AddTable(CFStringRef aName)
{
    cf::Owned<CFDictionaryRef> texts = ReadTable(aName);
    cf::Owned<CFStringRef> name(CFStringCreateCopy(kCFAllocatorDefault, aName));
    void* const block = texts && name ? std::malloc(sizeof(Table)) : nullptr;
    if (block == nullptr)
        return nullptr;
    Table* const table = new (block) Table{mTables.load(std::memory_order_relaxed), name.Detach(), texts.Detach()};
    mTables.store(table, std::memory_order_release);
    return table;
}

cf::Owned<CFDictionaryRef> __CFBundle::ReadTable(CFStringRef aName) const
{
    bool isThere = false;
    cf::Owned<CFDictionaryRef> texts = ReadFirst(mUrl->Path(), kResourcePlaces, {nullptr, aName, kTableType}, isThere);
    if (!isThere && mRegion != nullptr)
        texts = ReadFirst(mUrl->Path(), kResourcePlaces, {mRegion, aName, kTableType}, isThere);
    return texts;
}

CFTypeID CFBundleGetTypeID()
{
    return cf::kBundle;
}

CFBundleRef CFBundleGetMainBundle()
{
    static CFBundleRef sMainBundle = nullptr;
    const std::lock_guard<std::mutex> guard(sReading);
    char buffer[PATH_MAX];
    if (sMainBundle == nullptr) {
        const std::string_view directory = ProgramDirectory(buffer);
        sMainBundle = directory.empty() ? nullptr : __CFBundle::Create(directory, true);
    }
    return sMainBundle;
}

CFBundleRef CFBundleCreate(CFAllocatorRef /*aAllocator*/, CFURLRef aUrl)
{
    return aUrl != nullptr ? __CFBundle::Create(aUrl->Path(), false) : nullptr;
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef aBundle)
{
    return aBundle != nullptr ? static_cast<CFURLRef>(CFRetain(aBundle->mUrl)) : nullptr;
}

CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef aBundle)
{
    return aBundle != nullptr ? aBundle->mInformation : nullptr;
}

CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef aBundle, CFStringRef aKey)
{
    return CFDictionaryGetValue(CFBundleGetInfoDictionary(aBundle), aKey);
}

CFStringRef CFBundleGetIdentifier(CFBundleRef aBundle)
{
    return AsString(CFBundleGetValueForInfoDictionaryKey(aBundle, kCFBundleIdentifierKey));
}

CFURLRef CFBundleCopyResourceURLInDirectory(CFURLRef aUrl, CFStringRef aName, CFStringRef aType,
                                            CFStringRef aSubdirectory)
{
    if (aUrl == nullptr || CFStringGetLength(aName) == 0)
        return nullptr;
    return FindResource(aUrl->Path(), {aSubdirectory, aName, aType});
}

CFURLRef CFBundleCopyResourceURL(CFBundleRef aBundle, CFStringRef aName, CFStringRef aType, CFStringRef aSubdirectory)
{
    return CFBundleCopyResourceURLInDirectory(aBundle != nullptr ? aBundle->mUrl : nullptr, aName, aType,
                                              aSubdirectory);
}

CFStringRef CFBundleCopyLocalizedString(CFBundleRef aBundle, CFStringRef aKey, CFStringRef aValue, CFStringRef aTable)
{
    if (aBundle == nullptr || aKey == nullptr)
        return nullptr;
    CFDictionaryRef const texts = aBundle->GetTexts(CFStringGetLength(aTable) != 0 ? aTable : kDefaultTable);
    CFStringRef text = AsString(CFDictionaryGetValue(texts, aKey));
    if (text == nullptr)
        text = CFStringGetLength(aValue) != 0 ? aValue : aKey;
    return CFStringCreateCopy(kCFAllocatorDefault, text);
}
