/// @file
/// Making and emptying directories, and finding files by pattern.
///
/// Any thread. Everything here may block for the file system. Modes are the process's business too: its umask takes
/// bits away from them.
#pragma once

#include <glob.h>

#include "kttypes.h"

/// Makes a directory and the parents that it lacks, all with the same mode. What exists already is left as it is and
/// counts as made, also when it is no directory. When a parent cannot be made, the directory itself is tried all the
/// same.
/// @return 0; -1 for null and for an empty path, and when a directory or one of its parents could not be made, which is
///         logged; -7 when there is no memory, which is logged. What was made before a failure stays.
KT_EXPORT int ktMkdir(const char* aPath, unsigned int aMode);

/// Makes one directory, with mode 0766; its parent must exist, and it must not.
/// @return 0; -1 when it could not be made, which is logged, for null, and without memory for NSPR to know the thread.
KT_EXPORT int ktFileCreateDir(const char* aPath);

/// Removes what is in a directory and in all directories below it. It removes regular files, and directories when it is
/// told to; symbolic links, which it never follows, and everything else are left alone, and so is what has a path of
/// 2,048 characters or more. The directory itself is never removed and may be given as a link. Each removal, and each
/// one that failed, is logged at critical priority, so that a log always has the deletions.
///
/// It keeps a descriptor open for each level that it is down. It promises nothing when somebody puts links in place of
/// directories meanwhile.
/// @param aKeepName entries of this name stay at any depth, with all that is in them; null for none.
/// @param aRemoveSubdirectories whether directories below go too, once they are empty.
/// @return 0, whatever could not be removed; -1 when the directory cannot be opened; -5 for a path that is null, empty
///         or of 2,048 characters or more.
KT_EXPORT int ktFileCleanDir(const char* aDirectory, const char* aKeepName, bool aRemoveSubdirectories);

/// Holds what `glob` found. One thread at a time.
///
/// The matches belong to the holder and are valid until its next search or Clear(). It does not skip the slots that
/// GLOB_DOOFFS reserves in front of them: with such slots the list and the indices begin there.
class KT_EXPORT ktFileGlobber {
public:
    /// Without results.
    ktFileGlobber();
    ~ktFileGlobber();
    ktFileGlobber(ktFileGlobber const&) = delete;
    ktFileGlobber& operator=(ktFileGlobber const&) = delete;

    /// Without results again.
    void Clear();

    /// Searches. What earlier searches found goes first; with GLOB_APPEND it stays, what this one finds comes behind,
    /// and the slots in front of it stay as they are, whatever this search asks for.
    /// @param aFlags as for `glob`; GLOB_ALTDIRFUNC is ignored. @param aErrFunc as for `glob`; may be null.
    /// @param aOffsets slots to reserve, with GLOB_DOOFFS.
    /// @return 0, also when nothing matched; else what `glob` returned: GLOB_NOSPACE, GLOB_ABORTED, or -1 for flags
    ///         it does not know. Then a search of its own has no results, and one with GLOB_APPEND leaves those before
    ///         it, perhaps with some of its own, unless there was no memory: then they may be gone too. Also -1 for
    ///         null, and then nothing has changed.
    int FindMatches(const char* aPattern, int aFlags, int (*aErrFunc)(const char*, int), unsigned int aOffsets);
    /// The same for prefix and suffix put together.
    /// @return as above; GLOB_NOSPACE also for 4,096 characters and more, and then nothing has changed.
    int FindMatches(const char* aPrefix, const char* aSuffix, int aFlags, int (*aErrFunc)(const char*, int),
                    unsigned int aOffsets);

    unsigned MatchCount();
    /// @return null for an index that is not below the count.
    const char* GetMatch(unsigned int aIndex);
    /// @return the matches behind the slots reserved, a null pointer behind them; null without results.
    char** MatchList();

private:
    glob_t mGlob;      ///< all zero without results
    bool mHasResults;  ///< something there is to free
};
