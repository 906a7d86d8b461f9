#include "ktpollable.h"

#include <dirent.h>
#include <fcntl.h>
#include <prerror.h>
#include <private/pprio.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "ktnspr.h"
#include "ktrefcount.h"

namespace {

/// Answers from memory in a row, before the kernel is asked for the sake of the other descriptors.
constexpr int kMaxAnswersFromMemory = 15;

/// Bytes in the pipe from which on no more are written: as many as one wait takes. Without a limit an owner that drains
/// its queue but never waits would fill the pipe, and then block whoever posts.
constexpr int kMaxPending = 1024;

/// What the layer between the pollable event and its pipe keeps.
///
/// mPending never counts a byte that is not in the pipe, as seen by the thread that waits: it is raised after the
/// write, and lowered by that thread after the read. So an answer from memory is never wrong, and what it misses the
/// kernel still reports. As the write may wake an owner that then destroys the pollable, whoever writes holds a
/// reference meanwhile.
struct Signal : ktRefCount {
    void Destroy() override
    {
        delete this;
    }

    std::atomic<int> mPending{0};
    int mAnswersFromMemory = 0;  ///< in a row; the polling thread's
};

Signal* SignalOf(PRFileDesc* aLayer)
{
    return reinterpret_cast<Signal*>(aLayer->secret);
}

PRInt32 PR_CALLBACK Read(PRFileDesc* aLayer, void* aBuffer, PRInt32 aAmount)
{
    const PRInt32 bytes = aLayer->lower->methods->read(aLayer->lower, aBuffer, aAmount);
    if (bytes > 0)
        SignalOf(aLayer)->mPending.fetch_sub(bytes, std::memory_order_relaxed);
    return bytes;
}

bool AnswersFromMemory(Signal& aSignal)
{
    if (aSignal.mPending.load(std::memory_order_relaxed) > 0 && ++aSignal.mAnswersFromMemory <= kMaxAnswersFromMemory)
        return true;
    aSignal.mAnswersFromMemory = 0;
    return false;
}

PRInt16 PR_CALLBACK Poll(PRFileDesc* aLayer, PRInt16 aInFlags, PRInt16* aOutFlags)
{
    if ((aInFlags & PR_POLL_READ) != 0 && AnswersFromMemory(*SignalOf(aLayer))) {
        *aOutFlags = PR_POLL_READ;
        return aInFlags;
    }
    return aLayer->lower->methods->poll(aLayer->lower, aInFlags, aOutFlags);
}

PRStatus PR_CALLBACK Close(PRFileDesc* aTop)
{
    PRFileDesc* const layer = PR_PopIOLayer(aTop, PR_TOP_IO_LAYER);
    SignalOf(layer)->Release();
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

/// Asked for until it is granted: a moment without memory must not end the making of queues for good.
PRDescIdentity SignalIdentity()
{
    static std::atomic<PRDescIdentity> sIdentity{PR_INVALID_IO_LAYER};
    PRDescIdentity identity = sIdentity.load(std::memory_order_relaxed);
    if (identity != PR_INVALID_IO_LAYER)
        return identity;
    const PRDescIdentity granted = PR_GetUniqueIdentity("signal count");
    return sIdentity.compare_exchange_strong(identity, granted) ? granted : identity;
}

bool PushSignalLayer(PRFileDesc* aPollable)
{
    static const PRIOMethods methods = MakeMethods();
    if (SignalIdentity() == PR_INVALID_IO_LAYER)
        return false;
    Signal* const signal = new (std::nothrow) Signal;
    if (signal == nullptr)
        return false;
    signal->AddRef();
    PRFileDesc* const layer = PR_CreateIOLayerStub(SignalIdentity(), &methods);
    if (layer == nullptr) {
        signal->Release();
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

/// Looks through all descriptors of the process. @return -1 when it is not found.
int SearchWriteEnd(struct stat const& aPipe)
{
    DIR* const descriptors = opendir("/proc/self/fd");
    if (descriptors == nullptr)
        return -1;
    int found = -1;
    while (dirent const* const entry = found < 0 ? readdir(descriptors) : nullptr) {
        const int descriptor = static_cast<int>(std::strtol(entry->d_name, nullptr, 10));
        if (entry->d_name[0] != '.' && IsWriteEndOf(aPipe, descriptor))
            found = descriptor;
    }
    closedir(descriptors);
    return found;
}

/// NSPR makes its pipe inheritable and shows only the read end, so the write end is found by the pipe's identity. It is
/// the next descriptor unless there were gaps, or another thread opened files at the same time.
void SetCloseOnExec(PRFileDesc* aPollable)
{
    const int readEnd = PR_FileDesc2NativeHandle(aPollable);
    fcntl(readEnd, F_SETFD, FD_CLOEXEC);
    struct stat pipe = {};
    if (fstat(readEnd, &pipe) != 0)
        return;
    const int writeEnd = IsWriteEndOf(pipe, readEnd + 1) ? readEnd + 1 : SearchWriteEnd(pipe);
    if (writeEnd >= 0)
        fcntl(writeEnd, F_SETFD, FD_CLOEXEC);
}

/// Sets it also on a thread that has been interrupted, and leaves the interrupt pending for what it was meant for.
bool SetThroughInterrupt(PRFileDesc* aPollable)
{
    if (PR_SetPollableEvent(aPollable) == PR_SUCCESS)
        return true;
    if (PR_GetError() != PR_PENDING_INTERRUPT_ERROR)
        return false;
    const bool isSet = PR_SetPollableEvent(aPollable) == PR_SUCCESS;
    PR_Interrupt(PR_GetCurrentThread());
    return isSet;
}

}  // namespace

PRFileDesc* ktNewPollable()
{
    PRFileDesc* const pollable = ktAttachThread() ? PR_NewPollableEvent() : nullptr;
    if (pollable == nullptr)
        return nullptr;
    SetCloseOnExec(pollable);
    if (PushSignalLayer(pollable))
        return pollable;
    PR_DestroyPollableEvent(pollable);
    return nullptr;
}

bool ktSetPollable(PRFileDesc* aPollable)
{
    Signal* const signal = SignalOf(PR_GetIdentitiesLayer(aPollable, SignalIdentity()));
    if (signal->mPending.load(std::memory_order_relaxed) >= kMaxPending)
        return true;
    signal->AddRef();
    const bool isSet = SetThroughInterrupt(aPollable);
    if (isSet)
        signal->mPending.fetch_add(1, std::memory_order_relaxed);
    signal->Release();
    return isSet;
}
