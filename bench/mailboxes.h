/// @file
/// One mailbox per library, all with the same task, so that one benchmark can be run over all of them.
///
/// A mailbox takes reference-counted messages from any thread and hands each, in order, to a handler behind a virtual
/// call on the thread that runs passes. Each is written as that library's users would write it.
#pragma once

#include <glib.h>
#include <poll.h>
#include <prlock.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <uv.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

#include "kteventqueue.h"

namespace bench {

constexpr unsigned int kMessageType = 0x30400001;

/// What is posted: one message over and over, which its poster keeps a reference on, or a new one each time. The first
/// shows what the mailbox costs, the second what it costs together with making and freeing messages.
enum class Supply { kKept, kFresh };

/// What the peers post: as much as an event holds.
struct Message {
    unsigned int mType;
    int mValue;
};

using MessagePtr = std::shared_ptr<Message const>;

template <Supply kSupply>
class MessageSource {
public:
    MessagePtr Next()
    {
        return kSupply == Supply::kFresh ? Make() : mKept;
    }

private:
    static MessagePtr Make()
    {
        return std::make_shared<Message>(Message{kMessageType, 1});
    }
    MessagePtr mKept = Make();
};

/// The same for the queue's own kind of message.
template <Supply kSupply>
class EventSource {
public:
    EventSource() : mKept(Make())
    {
        mKept->AddRef();
    }
    ~EventSource()
    {
        mKept->Release();
    }
    ktEvent const* Next()
    {
        return kSupply == Supply::kFresh ? Make() : mKept;
    }

private:
    static ktEvent const* Make()
    {
        ktEvent* const event = new ktEvent;
        event->Init(kMessageType, 1);
        return event;
    }
    ktEvent const* mKept;
};

/// What the peers call.
class Handler {
public:
    virtual ~Handler() = default;
    virtual void Handle(MessagePtr const& aMessage) = 0;
};

/// Counts what it is given, and hands on if asked to.
class Counter : public Handler, public ktIEventHandler {
public:
    void Handle(MessagePtr const& aMessage) override
    {
        Count(aMessage->mValue);
    }
    ktError HandleEvent(ktEvent const* aEvent) override
    {
        Count(aEvent->GetValue());
        return 0;
    }

    std::int64_t mCount = 0;
    std::int64_t mSum = 0;
    std::function<void()> mThen;

private:
    void Count(int aValue)
    {
        ++mCount;
        mSum += aValue;
        if (mThen)
            mThen();
    }
};

/// ktEventQueue with the loop that its header describes.
template <Supply kSupply>
class KtMailbox {
public:
    using Source = EventSource<kSupply>;
    explicit KtMailbox(Counter& aCounter) : mCounter(aCounter)
    {
        mQueue.Init();
        mPoll = {mQueue.GetPoller(), PR_POLL_READ, 0};
    }
    void Post(Source& aSource)
    {
        mQueue.Enqueue(aSource.Next(), &mCounter);
    }
    void RunPass()
    {
        if (PR_Poll(&mPoll, 1, PR_INTERVAL_NO_TIMEOUT) <= 0)
            return;
        PR_WaitForPollableEvent(mPoll.fd);
        while (ktEvent const* event = mQueue.Dequeue())
            event->Release();
    }

private:
    Counter& mCounter;
    ktEventQueue mQueue;
    PRPollDesc mPoll;
};

/// The floor: an NSPR lock and a deque, without any way to sleep.
template <Supply kSupply>
class LockAndDeque {
public:
    using Source = EventSource<kSupply>;
    explicit LockAndDeque(Counter& aCounter) : mCounter(aCounter), mLock(PR_NewLock())
    {
    }
    ~LockAndDeque()
    {
        PR_DestroyLock(mLock);
    }
    void Post(Source& aSource)
    {
        ktEvent const* const event = aSource.Next();
        event->AddRef();
        PR_Lock(mLock);
        mDeque.push_back({event, &mCounter});
        PR_Unlock(mLock);
    }
    void RunPass()
    {
        ktEventPair pair = {};
        while (Take(pair)) {
            pair.mHandler->HandleEvent(pair.mEvent);
            pair.mEvent->Release();
        }
    }

private:
    bool Take(ktEventPair& aPair)
    {
        PR_Lock(mLock);
        const bool any = !mDeque.empty();
        if (any) {
            aPair = mDeque.front();
            mDeque.pop_front();
        }
        PR_Unlock(mLock);
        return any;
    }

    Counter& mCounter;
    PRLock* mLock;
    std::deque<ktEventPair> mDeque;
};

/// What the hand-made mailboxes share: messages behind a mutex, taken all at once.
template <Supply kSupply>
class MessageDeque {
public:
    /// @return true when it was empty.
    bool Push(MessageSource<kSupply>& aSource, Handler& aHandler)
    {
        Post post = {aSource.Next(), &aHandler};
        std::lock_guard<std::mutex> guard(mMutex);
        mPosts.push_back(std::move(post));
        return mPosts.size() == 1;
    }
    void HandleAll()
    {
        std::deque<Post> posts;
        {
            std::lock_guard<std::mutex> guard(mMutex);
            posts.swap(mPosts);
        }
        while (!posts.empty()) {
            posts.front().mHandler->Handle(posts.front().mMessage);
            posts.pop_front();
        }
    }

private:
    struct Post {
        MessagePtr mMessage;
        Handler* mHandler;
    };
    std::mutex mMutex;
    std::deque<Post> mPosts;
};

/// The floor for waking: an eventfd beside a deque.
template <Supply kSupply>
class EventFdMailbox {
public:
    using Source = MessageSource<kSupply>;
    explicit EventFdMailbox(Counter& aCounter) : mHandler(aCounter), mFD(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
    {
    }
    ~EventFdMailbox()
    {
        close(mFD);
    }
    void Post(Source& aSource)
    {
        const std::uint64_t one = 1;
        if (mMessages.Push(aSource, mHandler) && write(mFD, &one, sizeof one) != sizeof one)
            std::abort();
    }
    void RunPass()
    {
        pollfd descriptor = {mFD, POLLIN, 0};
        std::uint64_t count = 0;
        if (poll(&descriptor, 1, -1) > 0 && read(mFD, &count, sizeof count) > 0)
            mMessages.HandleAll();
    }

private:
    Handler& mHandler;
    int mFD;
    MessageDeque<kSupply> mMessages;
};

/// libuv: an async handle beside a deque, since the handle itself carries nothing.
template <Supply kSupply>
class UvMailbox {
public:
    using Source = MessageSource<kSupply>;
    explicit UvMailbox(Counter& aCounter) : mHandler(aCounter)
    {
        uv_loop_init(&mLoop);
        uv_async_init(&mLoop, &mAsync, [](uv_async_t* aAsync) {
            UvMailbox& self = *static_cast<UvMailbox*>(aAsync->data);
            self.mMessages.HandleAll();
        });
        mAsync.data = this;
    }
    ~UvMailbox()
    {
        uv_close(reinterpret_cast<uv_handle_t*>(&mAsync), nullptr);
        uv_run(&mLoop, UV_RUN_DEFAULT);
        uv_loop_close(&mLoop);
    }
    void Post(Source& aSource)
    {
        if (mMessages.Push(aSource, mHandler))
            uv_async_send(&mAsync);
    }
    void RunPass()
    {
        uv_run(&mLoop, UV_RUN_ONCE);
    }

private:
    Handler& mHandler;
    uv_loop_t mLoop;
    uv_async_t mAsync;
    MessageDeque<kSupply> mMessages;
};

/// GLib, its usual way: an idle source for each message.
template <Supply kSupply>
class GlibIdleMailbox {
public:
    using Source = MessageSource<kSupply>;
    explicit GlibIdleMailbox(Counter& aCounter) : mHandler(aCounter), mContext(g_main_context_new())
    {
    }
    ~GlibIdleMailbox()
    {
        g_main_context_unref(mContext);
    }
    void Post(Source& aSource)
    {
        auto* const item = new Item{&mHandler, aSource.Next()};
        GSource* const source = g_idle_source_new();
        g_source_set_priority(source, G_PRIORITY_DEFAULT);
        g_source_set_callback(
            source,
            [](gpointer aItem) -> gboolean {
                static_cast<Item*>(aItem)->mHandler->Handle(static_cast<Item*>(aItem)->mMessage);
                return G_SOURCE_REMOVE;
            },
            item, [](gpointer aItem) { delete static_cast<Item*>(aItem); });
        g_source_attach(source, mContext);
        g_source_unref(source);
    }
    void RunPass()
    {
        g_main_context_iteration(mContext, TRUE);
    }

private:
    struct Item {
        Handler* mHandler;
        MessagePtr mMessage;
    };
    Handler& mHandler;
    GMainContext* mContext;
};

/// GLib as a mailbox: one source of its own beside a deque, and the context's wake-up.
template <Supply kSupply>
class GlibSourceMailbox {
public:
    using Source = MessageSource<kSupply>;
    explicit GlibSourceMailbox(Counter& aCounter) : mHandler(aCounter), mContext(g_main_context_new())
    {
        static GSourceFuncs functions = {nullptr, nullptr, Dispatch, nullptr, nullptr, nullptr};
        mWakeup = reinterpret_cast<Wakeup*>(g_source_new(&functions, sizeof(Wakeup)));
        mWakeup->mSelf = this;
        g_source_attach(&mWakeup->mBase, mContext);
    }
    ~GlibSourceMailbox()
    {
        g_source_destroy(&mWakeup->mBase);
        g_source_unref(&mWakeup->mBase);
        g_main_context_unref(mContext);
    }
    void Post(Source& aSource)
    {
        if (mMessages.Push(aSource, mHandler)) {
            g_source_set_ready_time(&mWakeup->mBase, 0);
            g_main_context_wakeup(mContext);
        }
    }
    void RunPass()
    {
        g_main_context_iteration(mContext, TRUE);
    }

private:
    struct Wakeup {
        GSource mBase;
        GlibSourceMailbox* mSelf;
    };
    static gboolean Dispatch(GSource* aSource, GSourceFunc /*aCallback*/, gpointer /*aData*/)
    {
        g_source_set_ready_time(aSource, -1);
        GlibSourceMailbox& self = *reinterpret_cast<Wakeup*>(aSource)->mSelf;
        self.mMessages.HandleAll();
        return G_SOURCE_CONTINUE;
    }

    Handler& mHandler;
    GMainContext* mContext;
    Wakeup* mWakeup;
    MessageDeque<kSupply> mMessages;
};

/// Boost.Asio: a posted function for each message.
template <Supply kSupply>
class AsioMailbox {
public:
    using Source = MessageSource<kSupply>;
    explicit AsioMailbox(Counter& aCounter) : mHandler(aCounter), mWork(mContext.get_executor())
    {
    }
    void Post(Source& aSource)
    {
        boost::asio::post(mContext, [handler = &mHandler, message = aSource.Next()] { handler->Handle(message); });
    }
    void RunPass()
    {
        mContext.run_one();
        mContext.poll();
    }

private:
    Handler& mHandler;
    boost::asio::io_context mContext;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> mWork;
};

}  // namespace bench
