#include "ktpollable.h"

#include <fcntl.h>
#include <private/pprio.h>
#include <sys/stat.h>

#include <atomic>
#include <new>

namespace {

/// Answers from memory in a row, before the kernel is asked for the sake of the other descriptors.
constexpr int kMaxAnswersFromMemory = 15;

/// How far above a pipe's read end its write end is looked for.
constexpr int kWriteEndDistance = 64;

/// What the layer between the pollable event and its pipe keeps.
///
/// mPending never counts a byte that is not in the pipe, as seen by the thread that waits: it is raised after the
/// write, and lowered by that thread after the read. So an answer from memory is never wrong, and what it misses the
/// kernel still reports.
struct Signal {
    std::atomic<int> mPending{0};
    int mAnswersFromMemory = 0;  ///< in a row; the polling thread's
};

Signal& SignalOf(PRFileDesc* aLayer)
{
    return *reinterpret_cast<Signal*>(aLayer->secret);
}

PRInt32 PR_CALLBACK Read(PRFileDesc* aLayer, void* aBuffer, PRInt32 aAmount)
{
    const PRInt32 bytes = aLayer->lower->methods->read(aLayer->lower, aBuffer, aAmount);
    if (bytes > 0)
        SignalOf(aLayer).mPending.fetch_sub(bytes, std::memory_order_relaxed);
    return bytes;
}

PRInt16 PR_CALLBACK Poll(PRFileDesc* aLayer, PRInt16 aInFlags, PRInt16* aOutFlags)
{
    Signal& signal = SignalOf(aLayer);
    if ((aInFlags & PR_POLL_READ) != 0 && signal.mPending.load(std::memory_order_relaxed) > 0 &&
        signal.mAnswersFromMemory < kMaxAnswersFromMemory) {
        ++signal.mAnswersFromMemory;
        *aOutFlags = PR_POLL_READ;
        return aInFlags;
    }
    signal.mAnswersFromMemory = 0;
    return aLayer->lower->methods->poll(aLayer->lower, aInFlags, aOutFlags);
}

PRStatus PR_CALLBACK Close(PRFileDesc* aTop)
{
    PRFileDesc* const layer = PR_PopIOLayer(aTop, PR_TOP_IO_LAYER);
    delete &SignalOf(layer);
    layer->dtor(layer);
    return PR_Close(aTop);
}

PRIOMethods MakeMethods()
{
    PRIOMethods methods = *PR_GetDefaultIOMethods();
    methods.read = Read;
    methods.poll = Poll;
    methods.close = Close;
    return methods;
}

PRDescIdentity SignalIdentity()
{
    static const PRDescIdentity identity = PR_GetUniqueIdentity("signal count");
    return identity;
}

bool PushSignalLayer(PRFileDesc* aPollable)
{
    static const PRIOMethods methods = MakeMethods();
    if (SignalIdentity() == PR_INVALID_IO_LAYER)
        return false;
    Signal* const signal = new (std::nothrow) Signal;
    PRFileDesc* const layer = signal != nullptr ? PR_CreateIOLayerStub(SignalIdentity(), &methods) : nullptr;
    if (layer == nullptr) {
        delete signal;
        return false;
    }
    layer->secret = reinterpret_cast<PRFilePrivate*>(signal);
    PR_PushIOLayer(aPollable, PR_NSPR_IO_LAYER, layer);  // cannot fail: the layer below is there
    return true;
}

bool IsWriteEndOf(struct stat const& aPipe, int aDescriptor)
{
    struct stat status = {};
    return fstat(aDescriptor, &status) == 0 && status.st_dev == aPipe.st_dev && status.st_ino == aPipe.st_ino &&
           (fcntl(aDescriptor, F_GETFL) & O_ACCMODE) == O_WRONLY;
}

/// NSPR makes its pipe inheritable and shows only the read end, so the write end is found by the pipe's identity; the
/// kernel numbers it just above the read end, or close by when another thread opens files at the same time.
void SetCloseOnExec(PRFileDesc* aPollable)
{
    const int readEnd = PR_FileDesc2NativeHandle(aPollable);
    struct stat pipe = {};
    if (fstat(readEnd, &pipe) != 0)
        return;
    fcntl(readEnd, F_SETFD, FD_CLOEXEC);
    int writeEnd = readEnd + 1;
    while (!IsWriteEndOf(pipe, writeEnd)) {
        if (++writeEnd > readEnd + kWriteEndDistance)
            return;
    }
    fcntl(writeEnd, F_SETFD, FD_CLOEXEC);
}

}  // namespace

PRFileDesc* ktNewPollable()
{
    PRFileDesc* const pollable = PR_NewPollableEvent();
    if (pollable == nullptr)
        return nullptr;
    SetCloseOnExec(pollable);
    if (PushSignalLayer(pollable))
        return pollable;
    PR_DestroyPollableEvent(pollable);
    return nullptr;
}

void ktSetPollable(PRFileDesc* aPollable)
{
    PRFileDesc* const layer = PR_GetIdentitiesLayer(aPollable, SignalIdentity());
    if (PR_SetPollableEvent(aPollable) == PR_SUCCESS)
        SignalOf(layer).mPending.fetch_add(1, std::memory_order_relaxed);
}
