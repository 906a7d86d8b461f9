// The byte buffer.
#include "ktbytebuffer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <string>

#include "support/allocation.h"
#include "support/output.h"

namespace {

std::string TextOf(ktByteBuffer const& aBuffer)
{
    return std::string(aBuffer.GetBuffer(), static_cast<std::size_t>(aBuffer.GetBufferLength()));
}

TEST(ByteBuffer, AppendsEveryKindOfData)
{
    ktByteBuffer buffer;
    EXPECT_EQ(buffer.GetBuffer(), nullptr);
    EXPECT_EQ(buffer.GetBufferLength(), 0);
    EXPECT_EQ(buffer.Append("ab"), 0);
    EXPECT_EQ(buffer.Append('c'), 0);
    EXPECT_EQ(buffer.Append("d\0e", 3), 0);
    ktByteBuffer other;
    EXPECT_EQ(other.Append(buffer), 0);
    EXPECT_EQ(buffer.Append(other), 0);
    EXPECT_EQ(TextOf(buffer), std::string("abcd\0eabcd\0e", 12));
    EXPECT_EQ(buffer.Append(nullptr, 0), 0);
    EXPECT_EQ(buffer.Copy("xyz"), 0);
    EXPECT_EQ(TextOf(buffer), "xyz");
    EXPECT_EQ(buffer.Copy("12345", 2), 0);
    EXPECT_EQ(TextOf(buffer), "12");
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

    ktByteBuffer roomy;
    roomy.mTerminatorReserve = 10;
    EXPECT_EQ(roomy.Append("0123456789"), 0);
    EXPECT_EQ(roomy.GrowBuffer(11), 0);
    EXPECT_EQ(roomy.GrowBuffer(5), 0) << "never at the expense of the data";
    EXPECT_EQ(TextOf(roomy), "0123456789");
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
        EXPECT_TRUE(fail.Fired());
        EXPECT_NE(tap.Text().find("(4) ktbytebuffer: failed to allocate (4) bytes for bytebuffer\n"), std::string::npos)
            << tap.Text();
    }
    EXPECT_EQ(TextOf(buffer), "abc") << "a failure leaves the old block";
    ASSERT_EQ(buffer.GrowBuffer(100), 0);
    const std::string text(100, 'x');
    FailNthAllocation fail(1);
    buffer.Clear();
    EXPECT_EQ(buffer.Append(text.c_str()), 0) << "a cleared buffer keeps its block";
    EXPECT_FALSE(fail.Fired());
}

TEST(ByteBuffer, RefusesWhatItCannotHold)
{
    ktByteBuffer buffer;
    ASSERT_EQ(buffer.Append("abc"), 0);
    EXPECT_EQ(buffer.Append(static_cast<char const*>(nullptr)), -5);
    EXPECT_EQ(buffer.Append(nullptr, 1), -5);
    EXPECT_EQ(buffer.Append("x", -1), -5);
    EXPECT_EQ(buffer.Append("x", INT_MAX), -5);
    EXPECT_EQ(buffer.AppendFile(static_cast<std::FILE*>(nullptr)), -5);
    EXPECT_EQ(TextOf(buffer), "abc");
}

TEST(ByteBuffer, TakesDataFromItself)
{
    ktByteBuffer buffer;
    ASSERT_EQ(buffer.Append("abc"), 0);
    EXPECT_EQ(buffer.Append(buffer), 0);
    EXPECT_EQ(TextOf(buffer), "abcabc");
    EXPECT_EQ(buffer.Append(buffer.GetBuffer() + 1, 4), 0);
    EXPECT_EQ(TextOf(buffer), "abcabcbcab");
    EXPECT_EQ(buffer.Copy(buffer), 0);
    EXPECT_EQ(TextOf(buffer), "abcabcbcab");
    EXPECT_EQ(buffer.Copy(buffer.GetBuffer() + 2, 3), 0);
    EXPECT_EQ(TextOf(buffer), "cab");
}

TEST(ByteBuffer, CopiesTheCompressedMark)
{
    ktByteBuffer compressed;
    compressed.mCompressed = 1;
    compressed.Append("x");
    ktByteBuffer buffer;
    EXPECT_FALSE(buffer.IsCompressed());
    EXPECT_EQ(buffer.Copy(compressed), 0);
    EXPECT_TRUE(buffer.IsCompressed());
    EXPECT_EQ(TextOf(buffer), "x");
}

TEST(ByteBuffer, AppendsTheFirstByteOfEachWholeBlockOfAFile)
{
    char path[] = "/tmp/ktbytebuffer.XXXXXX";
    std::FILE* const file = fdopen(mkstemp(path), "w");
    ASSERT_NE(file, nullptr);
    const std::string contents = std::string(2048, 'a') + std::string(2048, 'b') + std::string(904, 'c');
    std::fwrite(contents.data(), 1, contents.size(), file);
    std::fclose(file);
    ktByteBuffer buffer;
    buffer.Append("gone");
    EXPECT_EQ(buffer.AppendFile(path), 0);
    EXPECT_EQ(TextOf(buffer), "ab");
    for (int n = 1;; ++n) {
        OutputTap tap;
        FailNthAllocation fail(n);
        const ktError result = buffer.AppendFile(path);
        if (!fail.Fired())
            break;
        if (result == 0)  // some of the stream's allocations can be done without
            EXPECT_EQ(TextOf(buffer), "ab");
        else
            EXPECT_TRUE((result == -1 || result == -2) && tap.Writes() == 1) << result << tap.Text();
    }
    unlink(path);
}

TEST(ByteBuffer, ReportsFilesThatCannotBeRead)
{
    ktByteBuffer buffer;
    OutputTap tap;
    EXPECT_EQ(buffer.AppendFile("/nowhere/at/all"), -1);
    EXPECT_EQ(buffer.AppendFile("/"), -1);
    const std::string text = tap.Text();
    const std::string opening = "(3) ktbytebuffer: Error opening file (errno 2): /nowhere/at/all\n";
    EXPECT_NE(text.find(opening), std::string::npos) << text;
    EXPECT_NE(text.find("(3) ktbytebuffer: Error reading file stream (errno 21)\n"), std::string::npos) << text;
}

__attribute__((noinline, no_sanitize("undefined"))) void DestroyNull()
{
    static ktRefByteBuffer* volatile sBuffer = nullptr;
    ktRefByteBuffer* const buffer = sBuffer;
    buffer->ktRefByteBuffer::Destroy();
}

TEST(RefByteBuffer, IsABufferThatDiesWithItsLastReference)
{
    ktRefByteBuffer* const buffer = new ktRefByteBuffer;
    buffer->AddRef();
    ktByteBuffer const& plain = *buffer;
    EXPECT_EQ(buffer->Append("abc"), 0);
    EXPECT_EQ(TextOf(plain), "abc");
    EXPECT_EQ(buffer->Release(), 0);
    DestroyNull();
}

}  // namespace
