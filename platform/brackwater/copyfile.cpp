#include "brackwater/copyfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char kDraftName[] = ".bwcopy-XXXXXX";
constexpr std::size_t kBlockSize = 8192;

/// Goes on when a signal came in between.
template <typename Call>
auto Uninterrupted(Call aCall)
{
    auto result = aCall();
    while (result < 0 && errno == EINTR)
        result = aCall();
    return result;
}

bool FailWith(int aError)
{
    errno = aError;
    return false;
}

/// Owns an open file or folder, and leaves `errno` as it is when it goes.
class Descriptor {
public:
    Descriptor() = default;
    ~Descriptor()
    {
        const int reason = errno;
        Close();
        errno = reason;
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;

    /// @param aOpen what opens it, so that it can be asked again.
    template <typename Opener>
    bool Open(Opener aOpen)
    {
        mDescriptor = Uninterrupted(aOpen);
        return mDescriptor >= 0;
    }
    int Get() const
    {
        return mDescriptor;
    }
    bool Sync() const
    {
        return Uninterrupted([this] { return fsync(mDescriptor); }) == 0;
    }
    bool Close()
    {
        const int descriptor = mDescriptor;
        mDescriptor = -1;
        return descriptor < 0 || close(descriptor) == 0 || errno == EINTR;  // an interrupted close has closed
    }

private:
    int mDescriptor = -1;
};

/// The copy before it has the target's name. Without that name it goes when this object goes.
class Draft {
public:
    Draft() = default;
    ~Draft();
    Draft(Draft const&) = delete;
    Draft& operator=(Draft const&) = delete;

    /// Opens the folder that the draft and the target share.
    bool OpenFolder(char const* aTarget);
    bool Create();
    bool Fill(int aSource, mode_t aPermissions);
    /// @return also false when the draft has the name, but a power cut may take it away again.
    bool Place(char const* aTarget, bool aReplace);

private:
    bool Write(char const* aData, std::size_t aLength);

    char mPath[PATH_MAX] = {};
    std::size_t mFolderLength = 0;
    Descriptor mFolder;
    Descriptor mFile;
    bool mIsThere = false;  ///< under mPath
};

Draft::~Draft()
{
    const int reason = errno;
    if (mIsThere)
        unlink(mPath);
    errno = reason;
}

bool Draft::OpenFolder(char const* aTarget)
{
    char const* const slash = std::strrchr(aTarget, '/');
    mFolderLength = slash != nullptr ? static_cast<std::size_t>(slash - aTarget) + 1 : 0;
    if (mFolderLength + sizeof kDraftName > sizeof mPath)
        return FailWith(ENAMETOOLONG);
    std::memcpy(mPath, aTarget, mFolderLength);
    mPath[mFolderLength] = '.';  // so that no folder at all is the current one
    return mFolder.Open([this] { return open(mPath, O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
}

bool Draft::Create()
{
    mIsThere = mFile.Open([this] {
        std::memcpy(mPath + mFolderLength, kDraftName, sizeof kDraftName);
        return mkostemp(mPath, O_CLOEXEC);
    });
    return mIsThere;
}

bool Draft::Fill(int aSource, mode_t aPermissions)
{
    char block[kBlockSize];
    for (;;) {
        const ssize_t count = Uninterrupted([&] { return read(aSource, block, sizeof block); });
        if (count == 0)
            break;
        if (count < 0 || !Write(block, static_cast<std::size_t>(count)))
            return false;
    }
    // Closing tells of errors too, on file systems that write late.
    return fchmod(mFile.Get(), aPermissions) == 0 && mFile.Sync() && mFile.Close();
}

bool Draft::Place(char const* aTarget, bool aReplace)
{
    // A link, unlike a new name, never takes the place of a file; the draft's own name then goes with the draft.
    if ((aReplace ? std::rename(mPath, aTarget) : link(mPath, aTarget)) != 0)
        return false;
    mIsThere = !aReplace;
    return mFolder.Sync() || errno == EINVAL;  // a file system that does not bring folders to the disk on demand
}

bool Draft::Write(char const* aData, std::size_t aLength)
{
    while (aLength != 0) {
        const ssize_t count = Uninterrupted([&] { return write(mFile.Get(), aData, aLength); });
        if (count < 0)
            return false;
        aData += count;
        aLength -= static_cast<std::size_t>(count);
    }
    return true;
}

/// @param aPermissions receives them, without the bits that lend a program its owner's rights.
bool IsFile(int aDescriptor, mode_t& aPermissions)
{
    struct stat status = {};
    if (fstat(aDescriptor, &status) != 0)
        return false;
    aPermissions = status.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    return S_ISREG(status.st_mode) || FailWith(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
}

bool Copy(char const* aSource, char const* aTarget, bool aReplace)
{
    if (aSource == nullptr || aTarget == nullptr)
        return FailWith(EINVAL);
    Descriptor source;
    mode_t permissions = 0;
    // Not blocking, so that a pipe is opened and then refused instead of waited for.
    if (!source.Open([=] { return open(aSource, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }) ||
        !IsFile(source.Get(), permissions))
        return false;
    Draft draft;
    return draft.OpenFolder(aTarget) && draft.Create() && draft.Fill(source.Get(), permissions) &&
           draft.Place(aTarget, aReplace);
}

}  // namespace

int BWCopyFile(char const* aSource, char const* aTarget, int aReplace)
{
    return Copy(aSource, aTarget, aReplace != 0) ? 1 : 0;
}
