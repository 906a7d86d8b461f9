// The ring buffer, its file and its checksum.
#include "ktringbuffer.h"

#include <gtest/gtest.h>
#include <private/pprio.h>
#include <sys/mman.h>
#include <unistd.h>

#include <climits>

#include "support/allocation.h"
#include "support/filefault.h"
#include "support/output.h"
#include "support/sum.h"

namespace {

/// Three slots of two bytes, of which "aa" and "bb" have been appended, and a file in memory.
struct RingBuffer : testing::Test, ktRingBuffer {
    RingBuffer() { Init(2, 3), Append("aabb", 2); }
    ~RingBuffer() override { PR_Close(mFile); }
    /// The objects from the latest back, a dash for each gap; then the count.
    std::string History() const
    {
        std::string history;
        for (int i = 0; i < 3; ++i)
            history += Peek(i) != nullptr ? *static_cast<char const*>(Peek(i)) : '-';
        return history + std::to_string(GetObjectCount());
    }
    std::string Save()
    {
        char bytes[100];
        EXPECT_EQ(PR_Seek(mFile, 0, PR_SEEK_SET) + SerializeToFile(mFile), 0);
        return std::string(bytes, static_cast<std::size_t>(pread(mFD, bytes, sizeof bytes, 0)));
    }
    ktError Load(std::string const& aBytes)
    {
        const ssize_t size = pwrite(mFD, aBytes.data(), aBytes.size(), 0);
        EXPECT_EQ(ftruncate(mFD, size) + PR_Seek(mFile, 0, PR_SEEK_SET) + Init(2, 3), 0);
        mTap.mText.clear();
        const ktError result = DeserializeFromFile(mFile);
        EXPECT_TRUE(result == 0 || (GetObjectCount() == 0 && GetBufferSize() == 0)) << "cleared by a failure";
        return result;
    }
    ktError LoadForged(std::string aBytes, std::size_t aAt, char aByte)
    {
        aBytes.replace(15, 2, 2, '\0')[aAt] = aByte;
        const unsigned short crc = crc16_ccitt(aBytes.data(), static_cast<int>(aBytes.size()));
        return Load(aBytes.replace(15, 2, {static_cast<char>(crc), static_cast<char>(crc >> 8)}));
    }
    OutputTap mTap;
    int mFD = memfd_create("", MFD_CLOEXEC);
    PRFileDesc* mFile = PR_ImportFile(mFD);
};

TEST(Crc16, IsTheSameInOneGoOrByteByByte)
{
    EXPECT_TRUE(crc16_ccitt("123456789", 9) == 0x31C3 && crc16_ccitt("\x80\xFF\x01\x7F", 4) == 0xAE12);
    EXPECT_TRUE(crc16_ccitt(nullptr, 5) == 0 && crc16_ccitt_continue(7, "x", -1) == 7);
    char const* const text = "\xFF\x80The quick brown fox jumps over the lazy dog";
    unsigned short crc = 0;
    for (int length = 0; length <= 44; crc = crc16_ccitt_continue(crc, text + length++, 1))
        EXPECT_EQ(crc16_ccitt(text, length), crc) << length;
}

TEST_F(RingBuffer, KeepsTheLatestObjectsAndTheGaps)
{
    EXPECT_EQ((AppendUndefined(1), History()), "-ba2");
    EXPECT_EQ((Append("cc", 1), History()), "c-b3");
    EXPECT_EQ((Append("vvwwxxyyzz", 5), History()), "xwv3") << "the first that there is room for, around the end";
    EXPECT_EQ((AppendUndefined(1), Append("qqrr", 2), History()), "rq-3");
    EXPECT_EQ((ReplaceAtIndexWith(2, Peek(0)), Append(Peek(1), 1), History()), "qrq3") << "its own objects";
    EXPECT_EQ((ReplaceLatestWithUndefined(), ReplaceAtIndexWith(3, "ss"), Append("ss", -1), History()), "-rq3");
    EXPECT_TRUE(Peek(-1) == nullptr && Peek(3) == nullptr && !Defined(3) && !Defined(-1));
    EXPECT_TRUE((AppendUndefined(98), History()) == "---3" && Save()[11] == 2) << "once around";
    EXPECT_EQ((FreeBuffers(), SetDefined(0, 2), History()), "---0") << "only 1 allocates";
    EXPECT_TRUE((AppendUndefined(1), Save()[11]) == 1 && (ReplaceAtIndexWith(2, "uu"), History()) == "--u0")
        << "the first object is counted from the first slot again";
}

TEST_F(RingBuffer, TakesNothingThatCannotBeHeld)
{
    const int cases[][4] = {{0, 5, 0, 0}, {-2, -3, 6, 0}, {1, INT_MIN, INT_MIN, 0}, {65536, 65536, INT_MAX, -2}};
    for (auto const& [size, count, bytes, result] : cases) {
        Init(size, count);
        EXPECT_TRUE(GetBufferSize() == bytes && AllocateBuffersIfNecessary() == result) << size << ' ' << count;
        EXPECT_EQ((Append("x", 1), AppendUndefined(1), ReplaceLatestWithUndefined(), History()), "---0");
        EXPECT_TRUE(SerializeToFile(mFile) == -9 && DeserializeFromFile(mFile) == -102);
    }
    EXPECT_TRUE(mTap.Has("(4) ktRingBuffer: failed to allocate (2147483647) bytes for ringbuffer\n"));
}

TEST_F(RingBuffer, ComesBackWholeFromItsFileOrNotAtAll)
{
    const std::string file("\xD5\xAA\x96\2\0\0\0\3\0\0\0\2\0\0\0\xF1\x0A\141\141\142\142\0\0\3", 24);
    EXPECT_EQ(Save(), file);
    EXPECT_TRUE(Load(file) == 0 && History() == "ba-2");
    EXPECT_TRUE(LoadForged(file, 23, '\xFA') == 0 && History() == "b--1" && Save()[23] == '\xFA') << "only slots count";
    EXPECT_TRUE(LoadForged(file, 23, '\0') == 0 && History() == "---0" && Save()[17] == 0) << "of gaps nothing is kept";
    EXPECT_TRUE(LoadForged(file, 11, '\3') == -102 && LoadForged(file, 14, '\xFF') == -102 &&
                LoadForged(file, 3, '\1') == -102);
    for (std::size_t i = 0; i < file.size(); ++i) {
        for (int bit = 1; bit < 256; bit *= 2)
            EXPECT_EQ(Load(std::string(file).replace(i, 1, 1, static_cast<char>(file[i] ^ bit))), -102) << i;
        EXPECT_TRUE(i < 15 || mTap.Has("(4) ktRingBuffer: DeserializeFromFile: bad crc\n")) << i;
        EXPECT_EQ(Load(file.substr(0, i)), -102) << i;
        EXPECT_EQ(mTap.Has(": bad sync bytes or header doesn't match ringbuffer size\n"), i < 8) << i;
        EXPECT_EQ(mTap.Has("(4) ktRingBuffer: DeserializeFromFile: read header from file failed\n"), i < 17);
        EXPECT_EQ(mTap.Has("mObjectSize == 2, mNumberOfObjectsInBuffer == 3)\n"), i >= 17 && i < 23);
    }
    EXPECT_TRUE(SerializeToFile(nullptr) == -5 && DeserializeFromFile(nullptr) == -5);
}

TEST_F(RingBuffer, SurvivesEveryFailure)
{
    const std::string file = Save();
    for (int n = 1; n <= 9; ++n) {
        FailNthCall write(FailNthCall::kWrite, n);
        EXPECT_TRUE(SerializeToFile(mFile) == (n <= 3 ? -103 : 0) && write.Fired() == (n <= 3));
        FailNthCall read(FailNthCall::kRead, n);
        EXPECT_EQ(Load(file), n <= 3 ? -102 : 0);
        EXPECT_TRUE(read.Fired() == (n <= 3) && Load(file) + PR_Seek(mFile, 0, PR_SEEK_SET) == 0);
        ktRingBuffer copy, loaded, saved, appended;
        EXPECT_EQ(copy.CopyData(*this), -1);
        for (ktRingBuffer* buffer : {&copy, &loaded, &saved, &appended})
            buffer->Init(2, 3);
        FailNthAllocation fail(n);
        const int sum = Sum({copy.CopyData(*this), loaded.DeserializeFromFile(mFile), saved.SerializeToFile(mFile),
                             (appended.Append("zz", 1), appended.GetObjectCount() - 1)});
        EXPECT_EQ(sum, n <= 2 ? -2 : n <= 4 ? -102 : n <= 6 ? -9 : n <= 8 ? -1 : 0) << n << fail.Fired();
        Append("xx", 1);
        EXPECT_TRUE(CopyData(copy) == 0 && CopyData(*this) == 0 && History() == (n <= 2 ? "---0" : "ba-2"));
    }
}

}  // namespace
