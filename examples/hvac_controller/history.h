/// @file
/// The last day's samples, across restarts.
#pragma once

#include <ktringbuffer.h>

#include <string>

#include "trace.h"

/// Keeps a day of samples, the last of each five minutes and a gap where there was none, in a file of the state
/// folder. Time that goes back starts it over. Used on the main thread.
class History {
public:
    /// Reads the file of the last run, if there is one. What cannot be used is put aside, in place of what was put aside
    /// before, and said so.
    void Load(std::string const& aFolder);
    void Take(Sample const& aSample);
    /// Replaces the file. @return false, having said why, when it cannot be: the old one stays.
    bool Save() const;

    /// How many samples there are.
    int Count() const;
    /// When the oldest of them was taken, in seconds since 1970; 0 without any.
    long long Oldest() const;

private:
    /// What the file holds for each sample; both kinds of device lay it out alike.
    struct Record {
        long long mTime;
        float mIndoor;
        float mOutdoor;
    };
    static_assert(sizeof(Record) == 16);

    Record const* Peek(int aIndex) const;
    bool Read(char const* aPath);

    std::string mPath;
    ktRingBuffer mRing;
};
