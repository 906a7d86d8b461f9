#include "cffile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>

namespace {

/// Whether a path that gives this error number leads nowhere, now and later.
bool IsLasting(int aError)
{
    constexpr int kLasting[] = {ENOENT, ENOTDIR, EACCES, ELOOP, ENAMETOOLONG, ENXIO, EOVERFLOW};
    return std::find(std::begin(kLasting), std::end(kLasting), aError) != std::end(kLasting);
}

/// Goes on when a signal came in between.
template <typename Call>
auto Uninterrupted(Call aCall)
{
    auto result = aCall();
    while (result < 0 && errno == EINTR)
        result = aCall();
    return result;
}

}  // namespace

cf::FileContent::~FileContent()
{
    std::free(mBytes);
}

cf::FileContent::Result cf::FileContent::Read(char const* aPath)
{
    // Not blocking, so that a pipe is opened and then refused instead of waited for.
    const int descriptor = Uninterrupted([aPath] { return open(aPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK); });
    if (descriptor < 0)
        return IsLasting(errno) ? kMissing : kFailed;
    const Result result = ReadOpen(descriptor);
    close(descriptor);
    return result;
}

cf::FileContent::Result cf::FileContent::ReadOpen(int aDescriptor)
{
    struct stat status = {};
    if (fstat(aDescriptor, &status) != 0)
        return kFailed;
    if (!S_ISREG(status.st_mode) || static_cast<unsigned long long>(status.st_size) > kMaxSize)
        return kMissing;
    mRoom = static_cast<std::size_t>(status.st_size) + 1;  // one more shows whether the file has grown
    mBytes = static_cast<char*>(std::malloc(mRoom));
    return mBytes != nullptr ? Fill(aDescriptor) : kFailed;
}

cf::FileContent::Result cf::FileContent::Fill(int aDescriptor)
{
    while (mSize < mRoom) {
        const ssize_t count = Uninterrupted([=] { return read(aDescriptor, mBytes + mSize, mRoom - mSize); });
        if (count < 0)
            return kFailed;
        if (count == 0)
            return kRead;
        mSize += static_cast<std::size_t>(count);
    }
    return kFailed;  // it is being written at this moment
}
