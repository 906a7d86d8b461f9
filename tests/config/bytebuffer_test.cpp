// The byte buffer.
#include "ktbytebuffer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "support/allocation.h"
#include "support/output.h"
#include "support/sum.h"

namespace {

std::string TextOf(ktByteBuffer const& aBuffer)
{
    return std::string(aBuffer.GetBuffer(), static_cast<std::size_t>(aBuffer.GetBufferLength()));
}

TEST(ByteBuffer, AppendsAndCopiesEveryKindOfData)
{
    ktByteBuffer buffer;
    EXPECT_TRUE(buffer.GetBuffer() == nullptr && buffer.GetBufferLength() == 0);
    EXPECT_EQ(Sum({buffer.Append("ab"), buffer.Append('c'), buffer.Append("d\0e", 3), buffer.Append(nullptr, 0)}), 0);
    ktByteBuffer other;
    EXPECT_EQ(Sum({other.Append(buffer), buffer.Append(other)}), 0);
    EXPECT_EQ(TextOf(buffer), std::string("abcd\0eabcd\0e", 12));
    EXPECT_EQ(buffer.Copy("xyz"), 0);
    EXPECT_EQ(TextOf(buffer), "xyz");
    EXPECT_EQ(buffer.Copy("12345", 2), 0);
    EXPECT_EQ(TextOf(buffer), "12");

    other.mCompressed = 256;
    EXPECT_EQ(buffer.Copy(other), 0);
    EXPECT_TRUE(buffer.IsCompressed() && TextOf(buffer) == std::string("abcd\0e", 6));
    EXPECT_EQ(buffer.Copy(ktByteBuffer()), 0);
    EXPECT_TRUE(!buffer.IsCompressed() && buffer.GetBufferLength() == 0) << "the mark goes as it came";

    ASSERT_EQ(buffer.Append("abc"), 0);
    EXPECT_EQ(buffer.Append(static_cast<char const*>(nullptr)), -5);
    EXPECT_EQ(buffer.Append(nullptr, 1), -5);
    EXPECT_EQ(buffer.Append("x", -1), -5);
    EXPECT_EQ(buffer.Append("x", INT_MAX), -5);
    EXPECT_EQ(buffer.AppendFile(static_cast<std::FILE*>(nullptr)), -5);
    EXPECT_EQ(TextOf(buffer), "abc") << "what was refused left no trace";
}

TEST(ByteBuffer, TakesDataFromItself)
{
    for (int reserve : {0, 16}) {
        ktByteBuffer buffer;
        buffer.mTerminatorReserve = reserve;
        ASSERT_EQ(buffer.Append("abc"), 0);
        EXPECT_EQ(buffer.Append(buffer), 0);
        EXPECT_EQ(buffer.Append(buffer.GetBuffer() + 1, 4), 0);
        EXPECT_EQ(buffer.Copy(buffer), 0);
        EXPECT_EQ(TextOf(buffer), "abcabcbcab");
        EXPECT_EQ(reserve != 0 ? buffer.Append(buffer.GetBuffer() + 10, 1) : buffer.Append('\0'), 0);
        EXPECT_EQ(TextOf(buffer), std::string("abcabcbcab\0", 11)) << "its terminator too";
        EXPECT_EQ(buffer.Copy(buffer.GetBuffer() + 2, 3), 0);
        EXPECT_EQ(TextOf(buffer), "cab");
    }
}

TEST(ByteBuffer, TerminatesItsDataWhenItHasAReserve)
{
    ktByteBuffer buffer;
    buffer.mTerminatorReserve = 1;
    EXPECT_EQ(buffer.Append("", 0), 0);
    EXPECT_STREQ(buffer.GetBuffer(), "");
    EXPECT_EQ(buffer.Append("abc"), 0);
    EXPECT_EQ(buffer.GetBufferLength(), 3);
    EXPECT_STREQ(buffer.GetBuffer(), "abc");
    buffer.mTerminatorReserve = 10;
    EXPECT_EQ(buffer.GrowBuffer(4), 0);
    EXPECT_EQ(buffer.GrowBuffer(5), 0) << "never at the expense of the data";
    EXPECT_EQ(TextOf(buffer), "abc");
    for (int reserve : {-1, INT_MAX}) {
        buffer.mTerminatorReserve = reserve;
        EXPECT_TRUE(buffer.GrowBuffer(100) == -5 && buffer.Append("x") == -5);
    }
}

TEST(ByteBuffer, GrowsToWhatIsNeededAndNoFurther)
{
    ktByteBuffer buffer;
    ASSERT_EQ(buffer.Append("abc"), 0);
    {
        OutputTap tap;
        FailNthAllocation fail(1);
        EXPECT_EQ(buffer.GrowBuffer(3), 0);
        EXPECT_EQ(buffer.Append('d'), -2);
        EXPECT_TRUE(tap.Has("(4) ktbytebuffer: failed to allocate (4) bytes for bytebuffer\n")) << tap.mText;
    }
    EXPECT_EQ(TextOf(buffer), "abc") << "a failure leaves the old block";
    ASSERT_EQ(buffer.GrowBuffer(1000), 0);
    EXPECT_LT(malloc_usable_size(buffer.GetBuffer()), 1100U);
    const std::string text(1000, 'x');
    FailNthAllocation fail(1);
    buffer.Clear();
    EXPECT_EQ(buffer.Append(text.c_str()), 0) << "a cleared buffer keeps its block";
    EXPECT_FALSE(fail.Fired());
}

TEST(ByteBuffer, AppendsTheFirstByteOfEachWholeBlockOfAFile)
{
    char path[] = "/tmp/ktbytebuffer.XXXXXX";
    std::FILE* const file = fdopen(mkstemp(path), "w+");
    const std::string contents = std::string(2048, 'a') + std::string(2048, 'b') + std::string(904, 'c');
    std::fwrite(contents.data(), 1, contents.size(), file);
    std::rewind(file);
    ktByteBuffer buffer;
    buffer.Append("kept ");
    EXPECT_EQ(buffer.AppendFile(file), 0);
    std::fclose(file);
    EXPECT_EQ(TextOf(buffer), "kept ab");
    const int lowest = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(lowest);
    EXPECT_EQ(buffer.AppendFile(path), 0);
    EXPECT_EQ(TextOf(buffer), "ab") << "a path replaces";
    for (int n = 1;; ++n) {
        OutputTap tap;
        ktByteBuffer poor;
        FailNthAllocation fail(n);
        const ktError result = poor.AppendFile(path);
        if (!fail.Fired())
            break;
        if (result == 0)  // some of the stream's allocations can be done without
            EXPECT_EQ(TextOf(poor), "ab");
        else
            EXPECT_TRUE((result == -1 || result == -2) && tap.mWrites == 1) << result << tap.mText;
    }
    unlink(path);
    OutputTap tap;
    EXPECT_EQ(buffer.AppendFile("/nowhere/at/all"), -1);
    EXPECT_EQ(buffer.GetBufferLength(), 0);
    EXPECT_EQ(buffer.AppendFile("/"), -1);
    EXPECT_TRUE(tap.Has("(3) ktbytebuffer: Error opening file (errno 2): /nowhere/at/all\n")) << tap.mText;
    EXPECT_TRUE(tap.Has("(3) ktbytebuffer: Error reading file stream (errno 21)\n")) << tap.mText;
    const int after = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(after, lowest) << "every file was closed";
    close(after);
}

__attribute__((noinline, no_sanitize("undefined"))) void DestroyNull()
{
    static ktRefByteBuffer* volatile sBuffer = nullptr;
    ktRefByteBuffer* const buffer = sBuffer;
    buffer->ktRefByteBuffer::Destroy();  // NOLINT(clang-analyzer-core.CallAndMessage)
}

TEST(RefByteBuffer, IsABufferThatDiesWithItsLastReference)
{
    ktRefByteBuffer* const buffer = new ktRefByteBuffer;
    buffer->AddRef();
    EXPECT_EQ(buffer->Append("abc"), 0);
    EXPECT_EQ(TextOf(*buffer), "abc");
    EXPECT_EQ(buffer->Release(), 0);
    DestroyNull();
}

}  // namespace
