#include "post.h"

#include <ktlog.h>

#include <new>

void PostPlain(ktEventQueue& aQueue, unsigned int aType, int aValue)
{
    ktEvent* const event = new (std::nothrow) ktEvent;
    if (event == nullptr) {
        ktLogWithComponent(kLogPriorityCritical, "app", "no memory for an event of type 0x%08x", aType);
        return;
    }
    event->Init(aType, aValue);
    aQueue.Enqueue(event, nullptr);
}
