// Copies of files.
#include "brackwater/copyfile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "support/filefault.h"
#include "support/output.h"

namespace {

const std::string kOld(100, 'o');
const std::string kNew = std::string(20000, 'n') + std::string(4, '\0') + "end";

std::string Text(std::string const& aPath)
{
    std::ifstream file(aPath);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A folder with a source and an older target.
class CopyFile : public testing::Test {
protected:
    CopyFile() { std::ofstream(mSource) << kNew, std::ofstream(mTarget) << kOld; }
    ~CopyFile() override { std::filesystem::remove_all(mFolder); }
    int Copy(int aReplace = 1) const { return BWCopyFile(mSource.c_str(), mTarget.c_str(), aReplace); }
    auto Files() const { return std::distance(std::filesystem::directory_iterator(mFolder), {}); }

    char mTemplate[32] = "/tmp/bwcopyfile.XXXXXX";
    const std::string mFolder = mkdtemp(mTemplate), mSource = mFolder + "/source", mTarget = mFolder + "/target";
};

TEST_F(CopyFile, TakesThePlaceOfTheTargetAndOfNothingElse)
{
    EXPECT_TRUE(Copy(0) == 0 && errno == EEXIST && Text(mTarget) == kOld) << "not asked to replace";
    const std::string master = mFolder + "/master";
    std::ofstream(master) << kOld;
    for (auto* const name : {link, symlink}) {
        ASSERT_EQ(unlink(mTarget.c_str()) + name(master.c_str(), mTarget.c_str()), 0);
        EXPECT_TRUE(Copy() == 1 && Text(mTarget) == kNew && Text(master) == kOld) << "only the name is replaced";
    }
    ASSERT_EQ(chmod(mSource.c_str(), S_ISUID | 0751) + unlink(mTarget.c_str()), 0);
    struct stat status = {};
    EXPECT_TRUE(Copy(0) == 1 && lstat(mTarget.c_str(), &status) == 0 && status.st_mode == (S_IFREG | 0751));
    EXPECT_TRUE(BWCopyFile(mSource.c_str(), mSource.c_str(), 1) == 1 && Text(mSource) == kNew) << "onto itself";
    EXPECT_EQ(Files(), 3);
}

TEST_F(CopyFile, RefusesWhatIsNoFile)
{
    const std::string pipe = mFolder + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::pair<char const*, int> refused[] = {
        {nullptr, EINVAL}, {pipe.c_str(), EINVAL}, {mFolder.c_str(), EISDIR}, {"/none/here", ENOENT}};
    for (auto const& [path, error] : refused) {
        EXPECT_TRUE(BWCopyFile(path, mTarget.c_str(), 1) == 0 && errno == error && Text(mTarget) == kOld) << errno;
        EXPECT_TRUE(path == pipe.c_str() || (BWCopyFile(mSource.c_str(), path, 1) == 0 && errno == error)) << errno;
    }
    EXPECT_EQ(Files(), 3);
}

// Every call fails in turn, and an interrupted one is only made again.
TEST_F(CopyFile, KeepsTheOldTargetWhenACallFails)
{
    using Fail = FailNthCall;
    constexpr std::pair<Fail::Function, int> kCalls[] = {{Fail::kOpen, 2},  {Fail::kRead, 4},  {Fail::kWrite, 3},
                                                         {Fail::kFsync, 2}, {Fail::kClose, 1}, {Fail::kRename, 1}};
    for (auto const& [function, expected] : kCalls)
        for (const int error : {EIO, EINTR}) {
            int failures = 0;
            bool fired = error == EIO || function != Fail::kRename;  // which nothing interrupts
            for (int n = 1; fired; ++n) {
                std::ofstream(mTarget) << kOld;
                Fail fail(function, n, error == EIO ? Fail::kFromThenOn : Fail::kOnce, error);
                const bool isNew = Copy() == 1 || (++failures, function == Fail::kFsync && n == 2);
                fired = fail.Fired();
                EXPECT_TRUE(Text(mTarget) == (isNew ? kNew : kOld) && Files() == 2) << function << ' ' << n;
            }
            EXPECT_EQ(failures, error == EIO ? expected : 0) << function;
        }
    OutputTap tap;
    tap.mDescriptor = dup(2) + 2;  // the draft's: the source and the folder come first
    close(tap.mDescriptor - 2);
    tap.mPlan = {1, 5000, -EINTR, 2};
    EXPECT_TRUE(Copy() == 1 && tap.mText == kNew) << "goes on where a write stopped";
    unlink(mTarget.c_str());
    const Fail fail(Fail::kLink, 1);
    EXPECT_TRUE(Copy(0) == 0 && errno == EIO && Files() == 1);
}

}  // namespace
