/// @file
/// The thread that waits for somebody to stop the program.
#pragma once

#include <csignal>

#include "worker.h"

/// Ends the main loop at SIGINT or SIGTERM. Build it before any other thread starts: it blocks both signals, which
/// threads inherit, so that only it receives them.
class SignalWatcher : public Worker {
public:
    /// @param aTarget is asked to exit.
    explicit SignalWatcher(ktEventQueue& aTarget);

protected:
    void Body() override;
    void AskToLeave() override;

private:
    ktEventQueue& mTarget;
    sigset_t mSignals;
};
