/// @file
/// Makes allocations fail.
#pragma once

/// Fails the Nth allocation that the calling thread makes until Fired() is asked, whoever makes it: it alone, or all
/// from it on.
class FailNthAllocation {
public:
    enum Extent { kOnce, kFromThenOn };
    explicit FailNthAllocation(int aNth, Extent aExtent = kOnce);
    ~FailNthAllocation();
    /// Stops it, so that the test itself may allocate again. @return whether there was an Nth.
    bool Fired();
};
