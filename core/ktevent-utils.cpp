#include "ktevent-utils.h"

#include <prinrval.h>

#include <new>

#include "ktassert.h"
#include "kttimer.h"

namespace {

void ReleaseAndForget(ktEventTimeoutRequest*& aTimeout)
{
    aTimeout->Release();
    aTimeout = nullptr;
}

}  // namespace

ktError ktEventUtils::SendTimeout(ktEventTimeoutRequest*& aTimeout, unsigned int aID, unsigned int aMilliseconds,
                                  ktEventQueue* aReturnQueue, ktIEventHandler* aReturnHandler, ktTimer* aTimer)
{
    if (aTimer == nullptr)
        return kErrBadValue;
    if (aTimeout != nullptr) {
        aTimeout->Cancel();
        ReleaseAndForget(aTimeout);
    }
    aTimeout = new (std::nothrow) ktEventTimeoutRequest;
    if (aTimeout == nullptr) {
        ktReportAssertion(nullptr, "aTimeout != __null", "ktevent-utils", 37);
        return kErrNoMemory;
    }
    aTimeout->AddRef();
    aTimeout->Init(static_cast<int>(aID), PR_MillisecondsToInterval(aMilliseconds), aReturnQueue, aReturnHandler);
    const ktError result = aTimer->Enqueue(aTimeout, nullptr);
    if (result != kErrNone)
        ReleaseAndForget(aTimeout);
    return result;
}
