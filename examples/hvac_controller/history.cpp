#include "history.h"

#include <ktlog.h>
#include <prerror.h>
#include <prio.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace {

constexpr long long kStep = 300;  // seconds
constexpr int kSlots = 86400 / kStep;

struct FileCloser {
    void operator()(PRFileDesc* aFile) const
    {
        PR_Close(aFile);
    }
};
using File = std::unique_ptr<PRFileDesc, FileCloser>;

File Open(char const* aPath, PRIntn aFlags)
{
    File file(PR_Open(aPath, aFlags, 0644));
    if (file != nullptr)
        PR_SetFDInheritable(file.get(), PR_FALSE);
    return file;
}

}  // namespace

void History::Load(std::string const& aFolder)
{
    mPath = aFolder + "/history.ring";
    if (Read(mPath.c_str()))
        return;
    mRing.Init(sizeof(Record), kSlots);
    const std::string aside = mPath + ".bad";
    const bool isAside = std::rename(mPath.c_str(), aside.c_str()) == 0;
    ktLogWithComponent(kLogPriorityCritical, "history", "cannot use %s, %s", mPath.c_str(),
                       isAside ? "put aside as .bad" : "nor put it aside");
}

void History::Take(Sample const& aSample)
{
    const Record record = {aSample.mTime, static_cast<float>(aSample.mIndoor), static_cast<float>(aSample.mOutdoor)};
    Record const* last = Peek(0);
    if (last != nullptr && (last->mTime < 0 || last->mTime >= aSample.mTime)) {
        mRing.FreeBuffers();
        last = nullptr;
    }
    const long long steps = last != nullptr ? aSample.mTime / kStep - last->mTime / kStep : 1;
    if (steps == 0) {
        mRing.ReplaceLatestWith(&record);
    } else {
        mRing.AppendUndefined(static_cast<int>(std::min<long long>(steps - 1, kSlots)));
        mRing.Append(&record, 1);
    }
}

bool History::Save() const
{
    const std::string temporary = mPath + ".tmp";
    File file = Open(temporary.c_str(), PR_WRONLY | PR_CREATE_FILE | PR_TRUNCATE);
    bool isSaved = file != nullptr && mRing.SerializeToFile(file.get()) == kErrNone;
    isSaved = isSaved && PR_Sync(file.get()) == PR_SUCCESS;
    isSaved = isSaved && PR_Close(file.release()) == PR_SUCCESS;
    isSaved = isSaved && std::rename(temporary.c_str(), mPath.c_str()) == 0;
    if (!isSaved) {
        ktLogWithComponent(kLogPriorityCritical, "history", "cannot keep %s (error %d)", mPath.c_str(),
                           PR_GetOSError());
        std::remove(temporary.c_str());
    }
    return isSaved;
}

int History::Count() const
{
    int count = 0;
    for (int i = 0; i < kSlots; ++i)
        count += Peek(i) != nullptr ? 1 : 0;
    return count;
}

long long History::Oldest() const
{
    for (int i = kSlots - 1; i >= 0; --i) {
        if (Record const* const record = Peek(i))
            return record->mTime;
    }
    return 0;
}

History::Record const* History::Peek(int aIndex) const
{
    return static_cast<Record const*>(mRing.Peek(aIndex));
}

/// @return false when there is a file that cannot be used.
bool History::Read(char const* aPath)
{
    const File file = Open(aPath, PR_RDONLY);
    if (file == nullptr && PR_GetError() != PR_FILE_NOT_FOUND_ERROR)
        return false;
    mRing.Init(sizeof(Record), kSlots);
    return file == nullptr || mRing.DeserializeFromFile(file.get()) == kErrNone;
}
