/// @file
/// Makes calls on files fail.
#pragma once

/// Fails the Nth call of one function that the calling thread makes until Fired() is asked, whoever makes it: it
/// alone, or all from it on. Several functions may fail at a time, each in one way. A `close` that fails has closed all
/// the same; the others have done nothing.
class FailNthCall {
public:
    enum Function { kOpen, kRead, kWrite, kFsync, kClose, kRename, kLink, kUnlink };
    enum Extent { kOnce, kFromThenOn };
    FailNthCall(Function aFunction, int aNth, Extent aExtent = kOnce, int aErrno = 5 /* EIO */);
    ~FailNthCall();
    /// Stops it. @return whether there was an Nth.
    bool Fired();

private:
    Function mFunction;
};

/// For those that stand in front of one of these functions: whether this call is to fail; then `errno` says why.
bool FileCallFails(FailNthCall::Function aFunction);
