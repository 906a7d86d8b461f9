#include "ktfile.h"

#include <prerror.h>
#include <prio.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>

#include "ktlog.h"
#include "ktmemory.h"
#include "ktnspr.h"

namespace {

constexpr std::size_t kPathSize = 2048;
constexpr std::size_t kPatternSize = 4096;
constexpr int kDirectoryMode = 0766;

/// @return false when the text does not fit, and then nothing has changed.
template <std::size_t Size>
bool AppendText(char (&aBuffer)[Size], char const* aText)
{
    const std::size_t length = std::strlen(aBuffer);
    const std::size_t textSize = std::strlen(aText) + 1;
    if (length + textSize > Size)
        return false;
    std::memcpy(aBuffer + length, aText, textSize);
    return true;
}

bool MakeDirectory(char const* aPath, unsigned int aMode)
{
    if (mkdir(aPath, aMode) == 0 || errno == EEXIST)
        return true;
    ktLogWithComponent(kLogPriorityCritical, nullptr, "Could not create folder %s (errno %d)", aPath, errno);
    return false;
}

/// @param aPath is cut at one slash after the other meanwhile.
bool MakeParents(char* aPath, unsigned int aMode)
{
    for (char* slash = std::strchr(aPath + 1, '/'); slash != nullptr; slash = std::strchr(slash + 1, '/')) {
        *slash = '\0';
        const bool isMade = MakeDirectory(aPath, aMode);
        *slash = '/';
        if (!isMade)
            return false;
    }
    return true;
}

/// Goes through a directory and those below it. One path grows and shrinks with the way down.
class DirectoryCleaner {
public:
    DirectoryCleaner(char const* aKeepName, bool aRemovesDirectories);
    ktError Clean(char const* aDirectory);

private:
    bool Enter();
    void Leave();
    bool Join(char const* aName);
    void Cut();
    void CleanEntry();
    void FinishDirectory();
    void RemoveDirectory() const;
    void RemoveFile() const;

    char const* const mKeepName;
    const bool mRemovesDirectories;
    char mPath[kPathSize];
    int mDepth;
    PRDir* mOpen[kPathSize / 2];  ///< the way down: each level takes two characters of the path at the least
};

DirectoryCleaner::DirectoryCleaner(char const* aKeepName, bool aRemovesDirectories)
    : mKeepName(aKeepName), mRemovesDirectories(aRemovesDirectories), mPath(), mDepth(0), mOpen()
{
}

ktError DirectoryCleaner::Clean(char const* aDirectory)
{
    if (aDirectory == nullptr || *aDirectory == '\0' || !AppendText(mPath, aDirectory))
        return kErrBadValue;
    if (!ktAttachThread() || !Enter())
        return kErrGeneric;
    while (mDepth != 0) {
        PRDirEntry const* const entry = PR_ReadDir(mOpen[mDepth - 1], PR_SKIP_BOTH);
        if (entry == nullptr)
            Leave();
        else if ((mKeepName == nullptr || std::strcmp(entry->name, mKeepName) != 0) && Join(entry->name))
            CleanEntry();
    }
    return kErrNone;
}

bool DirectoryCleaner::Enter()
{
    PRDir* const directory = PR_OpenDir(mPath);
    if (directory == nullptr)
        return false;
    ktLogWithComponent(kLogPriorityWarning, nullptr, "ktfile: cleaning directory (%s)", mPath);
    mOpen[mDepth] = directory;
    ++mDepth;
    return true;
}

void DirectoryCleaner::Leave()
{
    --mDepth;
    PR_CloseDir(mOpen[mDepth]);
    if (mDepth != 0)
        FinishDirectory();
}

bool DirectoryCleaner::Join(char const* aName)
{
    if (!AppendText(mPath, "/"))
        return false;
    if (AppendText(mPath, aName))
        return true;
    Cut();
    return false;
}

void DirectoryCleaner::Cut()
{
    *std::strrchr(mPath, '/') = '\0';
}

/// Asks about the entry itself, not about what a link leads to: that is not ours to empty.
void DirectoryCleaner::CleanEntry()
{
    struct stat info = {};
    const bool isKnown = lstat(mPath, &info) == 0;
    if (isKnown && S_ISDIR(info.st_mode)) {
        if (!Enter())
            FinishDirectory();
        return;
    }
    if (isKnown && S_ISREG(info.st_mode))
        RemoveFile();
    Cut();
}

void DirectoryCleaner::FinishDirectory()
{
    if (mRemovesDirectories)
        RemoveDirectory();
    Cut();
}

void DirectoryCleaner::RemoveDirectory() const
{
    if (PR_RmDir(mPath) == PR_SUCCESS)
        ktLogWithComponent(kLogPriorityCritical, nullptr, "ktfile: removed directory (%s)", mPath);
    else
        ktLogWithComponent(kLogPriorityCritical, nullptr, "ktfile: failed to remove directory (%s) [%d, %d]", mPath,
                           PR_GetError(), PR_GetOSError());
}

void DirectoryCleaner::RemoveFile() const
{
    const bool isRemoved = PR_Delete(mPath) == PR_SUCCESS;
    ktLogWithComponent(kLogPriorityCritical, nullptr,
                       isRemoved ? "ktfile: removed file (%s)" : "ktfile: failed to remove file (%s)", mPath);
}

}  // namespace

int ktMkdir(const char* aPath, unsigned int aMode)
{
    if (aPath == nullptr || *aPath == '\0')
        return kErrGeneric;
    const std::size_t size = std::strlen(aPath) + 1;
    const std::unique_ptr<char, decltype(&ktFREE)> copy(static_cast<char*>(ktMALLOC(size)), &ktFREE);
    if (copy == nullptr) {
        ktLogWithComponent(kLogPriorityCritical, nullptr, "Could not allocate memory for path_copy");
        return kErrRefused;
    }
    std::memcpy(copy.get(), aPath, size);
    const bool areParentsMade = MakeParents(copy.get(), aMode);
    const bool isMade = MakeDirectory(aPath, aMode);
    return areParentsMade && isMade ? kErrNone : kErrGeneric;
}

int ktFileCreateDir(const char* aPath)
{
    if (aPath == nullptr || !ktAttachThread())
        return kErrGeneric;
    if (PR_MkDir(aPath, kDirectoryMode) == PR_SUCCESS)
        return kErrNone;
    ktLogWithComponent(kLogPriorityCritical, nullptr,
                       "ktfile: ktFileCreateDir: PR_MkDir of '%s' failed with error %d\n", aPath, PR_GetError());
    return kErrGeneric;
}

int ktFileCleanDir(const char* aDirectory, const char* aKeepName, bool aRemoveSubdirectories)
{
    return DirectoryCleaner(aKeepName, aRemoveSubdirectories).Clean(aDirectory);
}

ktFileGlobber::ktFileGlobber() : mGlob(), mHasResults(false)
{
}

ktFileGlobber::~ktFileGlobber()
{
    Clear();
}

void ktFileGlobber::Clear()
{
    if (mHasResults)
        globfree(&mGlob);
    mGlob = {};
    mHasResults = false;
}

int ktFileGlobber::FindMatches(const char* aPattern, int aFlags, int (*aErrFunc)(const char*, int),
                               unsigned int aOffsets)
{
    if (aPattern == nullptr)
        return kErrGeneric;
    const bool isAdding = (aFlags & GLOB_APPEND) != 0 && mHasResults;
    int flags = aFlags & ~(GLOB_ALTDIRFUNC | GLOB_APPEND | GLOB_DOOFFS);
    if (isAdding) {
        // Results are freed from behind the slots that there were when they came: there must not be others now.
        flags |= GLOB_APPEND | (mGlob.gl_offs != 0 ? GLOB_DOOFFS : 0);
    } else {
        Clear();
        mGlob.gl_offs = aOffsets;
        flags |= aFlags & GLOB_DOOFFS;
    }
    const int result = glob(aPattern, flags, aErrFunc, &mGlob);
    mHasResults = mGlob.gl_pathv != nullptr;
    if (result != 0 && (!isAdding || !mHasResults))
        Clear();  // of what a search found before it failed, and of slots without results
    return result == GLOB_NOMATCH ? 0 : result;
}

int ktFileGlobber::FindMatches(const char* aPrefix, const char* aSuffix, int aFlags, int (*aErrFunc)(const char*, int),
                               unsigned int aOffsets)
{
    if (aPrefix == nullptr || aSuffix == nullptr)
        return kErrGeneric;
    char pattern[kPatternSize] = "";
    if (!AppendText(pattern, aPrefix) || !AppendText(pattern, aSuffix))
        return GLOB_NOSPACE;
    return FindMatches(pattern, aFlags, aErrFunc, aOffsets);
}

unsigned ktFileGlobber::MatchCount()
{
    return static_cast<unsigned>(mGlob.gl_pathc);
}

const char* ktFileGlobber::GetMatch(unsigned int aIndex)
{
    return aIndex < mGlob.gl_pathc ? mGlob.gl_pathv[aIndex] : nullptr;
}

char** ktFileGlobber::MatchList()
{
    return mGlob.gl_pathv;
}
