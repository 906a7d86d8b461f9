/// @file
/// Makes allocations fail.
#pragma once

/// Fails the Nth allocation that the calling thread makes while this lives, whoever asks for it; the others succeed.
class FailNthAllocation {
public:
    explicit FailNthAllocation(int aNth);
    ~FailNthAllocation();
    FailNthAllocation(FailNthAllocation const&) = delete;
    FailNthAllocation& operator=(FailNthAllocation const&) = delete;

    /// Whether there was an Nth.
    bool Fired() const;
};
