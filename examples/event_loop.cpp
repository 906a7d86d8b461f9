#include <kteventqueue.h>
#include <ktlog.h>
#include <thread>

struct Greeter : ktIEventHandler {
    ktError HandleEvent(ktEvent const* aEvent) override
    {
        ktLog(kLogPriorityInfo, "event %d", aEvent->GetValue());
        return 0;
    }
} greeter;

int main()
{
    ktEventQueue queue;
    queue.Init();
    std::thread poster([&] {
        ktEvent* event = new ktEvent;  // owned by nobody until the queue takes a reference
        event->Init(0x30400001, 42);
        queue.Enqueue(event, &greeter);
        queue.Exit();  // an event without handler, behind what is queued
    });
    PRPollDesc poll = {queue.GetPoller(), PR_POLL_READ, 0};
    for (bool running = true; running && PR_Poll(&poll, 1, PR_INTERVAL_NO_TIMEOUT) > 0;) {
        PR_WaitForPollableEvent(poll.fd);
        while (ktEvent const* event = queue.Dequeue()) {  // calls the greeter on the way
            if (event->GetType() == ktEventTypeExit)
                running = false;
            event->Release();
        }
    }
    poster.join();
}
