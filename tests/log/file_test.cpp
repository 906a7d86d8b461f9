// The file utilities.
#include "ktfile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "support/allocation.h"
#include "support/output.h"

namespace fs = std::filesystem;

namespace {

/// In a directory of its own.
struct File : testing::Test {
    File() { fs::current_path(mRoot); }
    ~File() override { fs::current_path("/"), fs::remove_all(mRoot); }
    void Make(std::initializer_list<fs::path> aFiles) const
    {
        for (fs::path const& file : aFiles)
            fs::create_directories(mRoot / file.parent_path()), std::ofstream(file) << "x";
    }
    static std::string Tree(char const* aPath)
    {
        std::string tree;
        for (fs::path const& path : std::set<fs::path>(fs::recursive_directory_iterator(aPath), {}))
            tree += path.string() + ' ';
        return tree;
    }
    char mPath[19] = "/tmp/ktfile.XXXXXX";
    const fs::path mRoot = mkdtemp(mPath);
    OutputTap mTap;
};

TEST_F(File, DirectoriesAreMade)
{
    const std::string path = mRoot.string() + "/one//two/three/";
    EXPECT_TRUE(ktMkdir(path.c_str(), 0700) == 0 && fs::is_directory(path) && ktMkdir(path.c_str(), 0700) == 0);
    EXPECT_TRUE(ktMkdir("/dev/null", 0700) == 0 && ktMkdir("/dev/null/a/b/c", 0700) == -1 && mTap.mWrites == 2);
    EXPECT_TRUE(mTap.Has("(4) Could not create folder /dev/null/a (errno 20)\n") && mTap.Has("/a/b/c (errno 20)\n"));
    EXPECT_TRUE(ktMkdir(nullptr, 0700) == -1 && ktMkdir("", 0700) == -1 && ktFileCreateDir(nullptr) == -1);
    EXPECT_TRUE(ktFileCreateDir("four") == 0 && ktFileCreateDir("five/six") == -1 && mTap.Has("failed with error -59"));
    FailNthAllocation fail(1);
    EXPECT_TRUE(ktMkdir("six", 0700) == -7 && mTap.Has("(4) Could not allocate memory for path_copy\n"));
}

TEST_F(File, CleaningKeepsTheKeptAndFollowsNoLink)
{
    Make({"outside/precious", "d/a", "d/keep", "d/s/keep/b", "d/s/t/c", "d/\xFF\xFE/x"});
    fs::create_symlink("../outside", "d/link");
    fs::create_symlink("nowhere", "d/s/dangling");
    fs::create_symlink("d", "top");
    EXPECT_EQ(ktFileCleanDir("top", "keep", false), 0);
    EXPECT_EQ(Tree("d"), "d/keep d/link d/s d/s/dangling d/s/keep d/s/keep/b d/s/t d/\xFF\xFE ");
    EXPECT_EQ(ktFileCleanDir("d", nullptr, true), 0);
    EXPECT_EQ(Tree("d") + Tree("outside"), "d/link d/s d/s/dangling outside/precious ");
    EXPECT_TRUE(mTap.Has("(3) ktfile: cleaning directory (top/s/t)\n") && mTap.Has("(4) ktfile: removed file (top/a)"));
    EXPECT_TRUE(mTap.Has("(4) ktfile: failed to remove directory (d/s) ["));
}

TEST_F(File, CleaningKnowsItsLimits)
{
    std::string path = "d";
    for (int level = 0; level < 12; ++level)
        fs::create_directories(path += '/' + std::string(200, 'n'));
    EXPECT_EQ(ktFileCleanDir("d", nullptr, true), 0);
    EXPECT_TRUE(fs::exists(path) && !mTap.Has("/) [")) << "what is too deep stays, and its parents with it";
    EXPECT_EQ(ktFileCleanDir(std::string(2047, '.').c_str(), nullptr, false), -1);
    for (char const* bad : {path.c_str(), "", static_cast<char const*>(nullptr)})
        EXPECT_EQ(ktFileCleanDir(bad, nullptr, false), -5);
}

TEST_F(File, GlobberHoldsItsMatches)
{
    Make({"log.1", "log.2", "other"});
    ktFileGlobber globber;
    const auto abort = [](char const* /*aPath*/, int /*aErrno*/) { return 1; };
    EXPECT_EQ(globber.FindMatches("log", "*", 0, nullptr, 0), 0);
    EXPECT_EQ(globber.FindMatches("x", std::string(4095, 'x').c_str(), 0, nullptr, 0), GLOB_NOSPACE);
    EXPECT_EQ(globber.FindMatches(nullptr, 0, nullptr, 0), -1);
    EXPECT_EQ(globber.FindMatches("/nowhere/*", GLOB_APPEND, abort, 0), GLOB_ABORTED);
    EXPECT_EQ(globber.FindMatches("o*", GLOB_APPEND | GLOB_DOOFFS | GLOB_ALTDIRFUNC, nullptr, 7), 0);
    ASSERT_EQ(globber.MatchCount(), 3U) << "none of these harmed earlier results";
    EXPECT_TRUE(globber.GetMatch(2) == std::string("other") && globber.GetMatch(3) == nullptr);
    EXPECT_EQ(globber.FindMatches("n*", GLOB_DOOFFS, nullptr, 2), 0);
    EXPECT_TRUE(globber.MatchCount() == 0 && globber.MatchList() == nullptr && globber.GetMatch(0) == nullptr);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which take reserved slots for texts
    EXPECT_EQ(globber.FindMatches("o*", GLOB_DOOFFS, nullptr, 1), 0);
    EXPECT_TRUE(globber.GetMatch(0) == nullptr && globber.MatchList()[1] == std::string("other"));
#endif
}

TEST_F(File, SurvivesFailureOfEveryAllocation)
{
    for (int n = 1; n < 50; ++n) {
        Make({"e/s/t/a", "e/b"});
        ktFileGlobber globber;
        FailNthAllocation fail(n);
        const bool isFound = globber.FindMatches("e/[s]*", GLOB_MARK, nullptr, 0) == 0 &&
                             globber.FindMatches("e/b*", GLOB_APPEND, nullptr, 0) == 0 && globber.MatchCount() == 2;
        const int result = ktFileCleanDir("e", nullptr, true);
        EXPECT_TRUE(fail.Fired() ? result == (fs::exists("e/b") ? -1 : 0) : isFound && Tree("e").empty()) << n;
    }
}

}  // namespace
