#include "kteventpublisher.h"

#include <plstr.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include "ktassert.h"
#include "ktlog.h"
#include "ktmemory.h"
#include "ktnspr.h"

namespace {

constexpr char kComponent[] = "event publisher";
constexpr char kSource[] = "kteventpublisher";
constexpr std::size_t kFirstCapacity = 4;

/// @return a copy for PL_strfree; null for null, or when there is no memory.
char* Duplicate(char const* aText)
{
    return aText != nullptr ? PL_strdup(aText) : nullptr;
}

char const* TextOrEmpty(char const* aText)
{
    return aText != nullptr ? aText : "";
}

std::uintptr_t AddressOf(void const* aObject)
{
    return reinterpret_cast<std::uintptr_t>(aObject);
}

}  // namespace

ktEventSubscriber::ktEventSubscriber() : ktEventSubscriber(nullptr, nullptr, nullptr)
{
}

ktEventSubscriber::ktEventSubscriber(ktEventQueue* aQueue, ktIEventHandler* aHandler, char const* aIdentifier)
    : mQueue(aQueue), mHandler(aHandler), mIdentifier(Duplicate(aIdentifier))
{
}

ktEventSubscriber::ktEventSubscriber(ktEventSubscriber const& aOther)
    : ktEventSubscriber(aOther.mQueue, aOther.mHandler, aOther.mIdentifier)
{
}

ktEventSubscriber& ktEventSubscriber::operator=(ktEventSubscriber const& aOther)
{
    if (this == &aOther)
        return *this;
    ktDestroyHandle(mIdentifier, PL_strfree);
    mIdentifier = Duplicate(aOther.mIdentifier);
    mQueue = aOther.mQueue;
    mHandler = aOther.mHandler;
    return *this;
}

ktEventSubscriber::~ktEventSubscriber()
{
    mQueue = nullptr;
    mHandler = nullptr;
    ktDestroyHandle(mIdentifier, PL_strfree);
}

ktEventQueue* ktEventSubscriber::GetQueue() const
{
    return mQueue;
}

ktIEventHandler* ktEventSubscriber::GetHandler() const
{
    return mHandler;
}

char const* ktEventSubscriber::GetIdentifier() const
{
    return TextOrEmpty(mIdentifier);
}

bool ktEventSubscriber::operator<(ktEventSubscriber const& aOther) const
{
    if (mQueue != aOther.mQueue)
        return AddressOf(mQueue) < AddressOf(aOther.mQueue);
    return AddressOf(mHandler) < AddressOf(aOther.mHandler);
}

bool ktEventSubscriber::operator==(ktEventSubscriber const& aOther) const
{
    return mQueue == aOther.mQueue && mHandler == aOther.mHandler;
}

ktEventPublisher::SubscriberSet::SubscriberSet() : mSubscribers(nullptr), mCount(0), mCapacity(0)
{
}

ktEventPublisher::SubscriberSet::~SubscriberSet()
{
    Clear();
}

ktEventSubscriber** ktEventPublisher::SubscriberSet::begin() const
{
    return mSubscribers;
}

ktEventSubscriber** ktEventPublisher::SubscriberSet::end() const
{
    return mSubscribers + mCount;
}

ktError ktEventPublisher::SubscriberSet::Add(std::unique_ptr<ktEventSubscriber>& aSubscriber)
{
    ktEventSubscriber** const equal = Find(*aSubscriber);
    if (equal != end() && **equal == *aSubscriber)
        return kErrAlreadyPresent;
    const std::ptrdiff_t index = equal - begin();
    if (!MakeRoom())
        return kErrNoMemory;
    ktEventSubscriber** const place = begin() + index;
    std::copy_backward(place, end(), end() + 1);
    *place = aSubscriber.release();
    ++mCount;
    return kErrNone;
}

ktError ktEventPublisher::SubscriberSet::Remove(ktEventSubscriber const& aSubscriber)
{
    ktEventSubscriber** const place = Find(aSubscriber);
    if (place == end() || !(**place == aSubscriber))
        return kErrEmpty;
    delete *place;
    std::copy(place + 1, end(), place);
    --mCount;
    return kErrNone;
}

void ktEventPublisher::SubscriberSet::Clear()
{
    for (ktEventSubscriber* subscriber : *this)
        delete subscriber;
    ktFREE(mSubscribers);
    mSubscribers = nullptr;
    mCount = 0;
    mCapacity = 0;
}

/// The first that is not in front of `aSubscriber`.
ktEventSubscriber** ktEventPublisher::SubscriberSet::Find(ktEventSubscriber const& aSubscriber) const
{
    return std::lower_bound(
        begin(), end(), aSubscriber,
        [](ktEventSubscriber const* aOne, ktEventSubscriber const& aOther) { return *aOne < aOther; });
}

bool ktEventPublisher::SubscriberSet::MakeRoom()
{
    if (mCount < mCapacity)
        return true;
    const std::size_t capacity = std::max(mCapacity * 2, kFirstCapacity);
    void* const block = ktREALLOC(mSubscribers, capacity * sizeof(void*));
    if (block == nullptr)
        return false;
    mSubscribers = static_cast<ktEventSubscriber**>(block);
    mCapacity = capacity;
    return true;
}

ktEventPublisher::ktEventPublisher() : mName(nullptr), mLock(nullptr)
{
}

ktEventPublisher::~ktEventPublisher()
{
    Destroy();
}

ktError ktEventPublisher::Init(char const* aName)
{
    char* name = Duplicate(aName);
    if (name == nullptr && aName != nullptr) {
        ktLogWithComponent(kLogPriorityCritical, kComponent, "%s: failed to initialise, no memory for the name", aName);
        return kErrNoMemory;
    }
    if (mLock == nullptr)
        mLock = PR_NewLock();
    if (!ktCheck(mLock != nullptr, kComponent, "mLock != __null", kSource, 49)) {
        ktDestroyHandle(name, PL_strfree);
        return kErrRefused;
    }
    if (name != nullptr) {
        ktDestroyHandle(mName, PL_strfree);
        mName = name;
    }
    return kErrNone;
}

void ktEventPublisher::Destroy()
{
    ktDestroyHandle(mName, PL_strfree);
    mSubscribers.Clear();
    ktDestroyHandle(mLock, PR_DestroyLock);
}

ktError ktEventPublisher::Subscribe(ktEventQueue* aQueue, ktIEventHandler* aHandler, char const* aIdentifier)
{
    if (mLock == nullptr)
        return kErrNotInitialised;
    char const* const identifier = TextOrEmpty(aIdentifier);
    const ktError result = Insert(aQueue, aHandler, identifier);
    char const* const name = TextOrEmpty(mName);
    char const* const separator = *name != '\0' ? ": " : "";
    if (result == kErrNoMemory)
        ktLogWithComponent(kLogPriorityCritical, kComponent, "%s%sfailed to subscribe \"%s\", no memory", name,
                           separator, identifier);
    else
        ktLogWithComponent(kLogPriorityInfo, kComponent, "%s%s%ssuccessfully subscribed \"%s\"", name, separator,
                           result == kErrNone ? "" : "un", identifier);
    return result;
}

ktError ktEventPublisher::Unsubscribe(ktEventQueue* aQueue, ktIEventHandler* aHandler)
{
    if (mLock == nullptr)
        return kErrNotInitialised;
    ktLockGuard guard(mLock);
    return mSubscribers.Remove(ktEventSubscriber(aQueue, aHandler, nullptr));
}

ktError ktEventPublisher::Publish(ktEvent const* aEvent)
{
    if (aEvent == nullptr)
        return kErrBadValue;
    if (mLock == nullptr)
        return kErrNotInitialised;
    return Serve([aEvent](ktIEventHandler* aHandler, ktEventQueue* aQueue) {
        aQueue->Enqueue(aEvent, aHandler);  // which logs a refusal: the others are to have the event all the same
        return kErrNone;
    });
}

ktError ktEventPublisher::Publish(ktError (*aFunction)(ktIEventHandler*, ktEventQueue*, void*), void* aContext)
{
    if (aFunction == nullptr)
        return kErrRefused;
    return ServeAndReport(
        149, [=](ktIEventHandler* aHandler, ktEventQueue* aQueue) { return aFunction(aHandler, aQueue, aContext); });
}

ktError ktEventPublisher::Publish(std::function<ktError(ktIEventHandler*, ktEventQueue*)> const& aFunction)
{
    return aFunction ? ServeAndReport(179, aFunction) : kErrRefused;
}

ktError ktEventPublisher::PublishSimpleEvent(unsigned int aType, int aValue)
{
    SimpleEvent contents = {aType, aValue};
    return Publish(SimpleEventPublisher, &contents);
}

ktError ktEventPublisher::SimpleEventPublisher(ktIEventHandler* aHandler, ktEventQueue* aQueue, void* aContext)
{
    if (aQueue == nullptr || aContext == nullptr)
        return kErrBadValue;
    SimpleEvent const& contents = *static_cast<SimpleEvent const*>(aContext);
    ktEvent* const event = new (std::nothrow) ktEvent;
    if (event == nullptr)
        return kErrNoMemory;
    event->AddRef();
    event->Init(contents.mType, contents.mValue);
    aQueue->Enqueue(event, aHandler);
    event->Release();
    return kErrNone;
}

ktError ktEventPublisher::Insert(ktEventQueue* aQueue, ktIEventHandler* aHandler, char const* aIdentifier)
{
    std::unique_ptr<ktEventSubscriber> subscriber(new (std::nothrow) ktEventSubscriber(aQueue, aHandler, aIdentifier));
    if (subscriber == nullptr || std::strcmp(subscriber->GetIdentifier(), aIdentifier) != 0)
        return kErrNoMemory;
    ktLockGuard guard(mLock);
    return mSubscribers.Add(subscriber);
}

template <typename Routine>
ktError ktEventPublisher::Serve(Routine const& aRoutine)
{
    ktLockGuard guard(mLock);
    for (ktEventSubscriber const* subscriber : mSubscribers) {
        if (subscriber->GetQueue() == nullptr)
            continue;
        const ktError result = aRoutine(subscriber->GetHandler(), subscriber->GetQueue());
        if (result != kErrNone)
            return result;
    }
    return kErrNone;
}

/// Reports after unlocking: the log may itself have something to publish.
template <typename Routine>
ktError ktEventPublisher::ServeAndReport(int aLine, Routine const& aRoutine)
{
    if (mLock == nullptr)
        return kErrNotInitialised;
    const ktError retval = Serve(aRoutine);
    ktCheck(retval == kErrNone, kComponent, "retval == 0", kSource, aLine);
    return retval;
}
