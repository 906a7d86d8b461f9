// The record before it is written.
#include "ktlogbuffer.h"

#include <gtest/gtest.h>
#include <prprf.h>
#include <prtime.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <climits>
#include <string>
#include <vector>

#include "support/allocation.h"
#include "support/output.h"

namespace {

std::string TextOf(ktLogBuffer& aRecord)
{
    return std::string(aRecord.GetBufferPtr(), aRecord.GetLength());
}

bool IsInside(ktLogBuffer& aRecord)
{
    char const* const at = aRecord.GetBufferPtr();
    char const* const begin = reinterpret_cast<char const*>(&aRecord);
    return at >= begin && at < begin + sizeof aRecord;
}

constexpr auto kWarning = kLogPriorityWarning;

void AppendText(ktLogBuffer& aRecord, long long aTime, ktLogPriority aPriority, char const* aHost,
                char const* aComponent, char const* aFormat, ...)
{
    va_list args;
    va_start(args, aFormat);
    aRecord.AppendTextMessage(aTime, aPriority, nullptr, aHost, aComponent, aFormat, args);
    va_end(args);
}

void AppendEvent(ktLogBuffer& aRecord, long long aTime, char const* aName, char const* aFormat, ...)
{
    va_list args;
    va_start(args, aFormat);
    aRecord.AppendEvent(aTime, aName, aFormat, args);
    va_end(args);
}

/// What a text line begins with, printed anew in one go.
std::string PrefixFor(long long aTime, int aPriority, char const* aHost, char const* aComponent)
{
    PRExplodedTime at = {};
    PR_ExplodeTime(aTime, PR_GMTParameters, &at);
    char thread[16] = {};
    prctl(PR_GET_NAME, thread);
    char const* const format = aComponent != nullptr
                                   ? "%04d-%02d-%02d %02d:%02d:%02d.%06d %.64s %.64s[%d:%6.6s] (%d) %s: "
                                   : "%04d-%02d-%02d %02d:%02d:%02d.%06d %.64s %.64s[%d:%6.6s] (%d) %s";
    char prefix[256];
    PR_snprintf(prefix, sizeof prefix, format, at.tm_year, at.tm_month + 1, at.tm_mday, at.tm_hour, at.tm_min,
                at.tm_sec, at.tm_usec, aHost, program_invocation_short_name, getpid(), thread, aPriority,
                aComponent != nullptr ? aComponent : "");
    return prefix;
}

/// The whole record: the prefix once, and again behind each newline that is not the last character.
std::string RecordFor(std::string const& aPrefix, std::string aText)
{
    if (aText.empty() || aText.back() != '\n')
        aText += '\n';
    std::string record = aPrefix;
    for (std::size_t i = 0; i < aText.size(); ++i) {
        record += aText[i];
        if (aText[i] == '\n' && i + 1 < aText.size())
            record += aPrefix;
    }
    return record;
}

constexpr long long kMay2024 = 1714558830000123;  // 2024-05-01 10:20:30.000123

// Prefixes are put together from parts that are kept from line to line, so each row changes something, and every row is
// printed after every other.
TEST(LogBuffer, PrintsThePrefixAsTheFormatSaysWhateverCameBefore)
{
    struct Line {
        long long mTime;
        int mPriority;
        char const* mHost;
        char const* mComponent;
        char const* mThread;
    };
    const std::string host64(64, 'h');
    const std::string host65 = host64 + "i";
    const std::string longComponent(300, 'c');
    const Line lines[] = {
        {kMay2024, 3, "myhost", "net", "worker"},
        {kMay2024 + 1, 3, "myhost", nullptr, "worker"},
        {kMay2024, 4, "myhost", "net", "a thread of 15c"},
        {kMay2024, 3, "", "", "ab"},
        {kMay2024, INT_MIN, nullptr, "net", ""},
        {0, 100, host64.c_str(), "net", "ab"},
        {-1, 3, host65.c_str(), "net", "ab"},
        {-1000000, 3, "myhos", "net", "ab"},
        {kMay2024 + 999877, 3, "myhostt", "net", "workes"},
        {253402300799999999, 0, "myhost", longComponent.c_str(), "worker"},
        {32536800000000000, -1, "myhost", "net", "worker"},
    };
    char before[16] = {};
    prctl(PR_GET_NAME, before);
    for (Line const& first : lines) {
        for (Line const& second : lines) {
            for (Line const* line : {&first, &second, &second}) {
                prctl(PR_SET_NAME, line->mThread);
                ktLogBuffer record;
                AppendText(record, line->mTime, static_cast<ktLogPriority>(line->mPriority), line->mHost,
                           line->mComponent, "text");
                EXPECT_EQ(TextOf(record),
                          RecordFor(PrefixFor(line->mTime, line->mPriority, line->mHost, line->mComponent), "text"));
            }
        }
    }
    prctl(PR_SET_NAME, "ab");
    ktLogBuffer record;
    AppendText(record, kMay2024, kWarning, "myhost", "net", "%s", "and the text");
    EXPECT_EQ(TextOf(record), "2024-05-01 10:20:30.000123 myhost log_test[" + std::to_string(getpid()) +
                                  ":    ab] (3) net: and the text\n");
    prctl(PR_SET_NAME, before);
}

TEST(LogBuffer, RepeatsThePrefixOnEachLineAndEndsWithOneNewline)
{
    const std::string prefix = PrefixFor(kMay2024, 3, "h", "c");
    for (char const* text : {"", "x", "x\n", "\n", "\n\n", "a\nb", "a\n\nb\n", "\na"}) {
        ktLogBuffer literal;
        AppendText(literal, kMay2024, kWarning, "h", "c", text);
        EXPECT_EQ(TextOf(literal), RecordFor(prefix, text));
        ktLogBuffer formatted;
        AppendText(formatted, kMay2024, kWarning, "h", "c", "%s", text);
        EXPECT_EQ(TextOf(formatted), RecordFor(prefix, text));
        ktLogBuffer body;
        body.AppendNoPrefix(text, static_cast<unsigned int>(strlen(text)));
        ktLogBuffer outer;
        outer.AppendTextMessage(kMay2024, kWarning, nullptr, "h", "c", &body);
        EXPECT_EQ(TextOf(outer), RecordFor(prefix, text));
    }
    ktLogBuffer pieces;
    AppendText(pieces, kMay2024, kWarning, "h", "c", "%d%%\n%c%s|%5.1f|%x%lld", 99, 'q', "\nr\n", 2.5, 255U,
               -5000000000LL);
    EXPECT_EQ(TextOf(pieces), RecordFor(prefix, "99%\nq\nr\n|  2.5|ff-5000000000"));
}

TEST(LogBuffer, StaysInsideUpTo1279Bytes)
{
    for (unsigned int length : {1278U, 1279U, 1280U, 1281U, 5000U}) {
        const std::string text(length, 'x');
        ktLogBuffer whole;
        whole.AppendNoPrefix(text.data(), length);
        EXPECT_EQ(IsInside(whole), length < 1280) << length;
        EXPECT_EQ(TextOf(whole), text);
        ktLogBuffer grown;
        for (char const character : text)
            grown.AppendFormatted("%c", character);
        EXPECT_EQ(IsInside(grown), length < 1280) << length;
        EXPECT_EQ(TextOf(grown), text);
        grown.Clear();
        EXPECT_EQ(grown.GetLength(), 0U);
        EXPECT_TRUE(IsInside(grown));
        grown.AppendNoPrefix(text.data(), length);
        EXPECT_EQ(TextOf(grown), text) << "after Clear()";
    }
}

TEST(LogBuffer, WritesNothingWhenEmptyAndOtherwiseOnce)
{
    OutputTap tap;
    ktLogBuffer record;
    EXPECT_EQ(record.WriteToFile(2), 0);
    EXPECT_EQ(tap.Writes(), 0);
    EXPECT_FALSE(record.LastCharIsNewline());
    const std::string text(3000, 'x');
    record.Append(text.data(), 3000);
    tap.Plan({1000});
    EXPECT_EQ(record.WriteToFile(2), 1000);
    EXPECT_EQ(record.WriteToFile(2), 3000);
    EXPECT_EQ(tap.Writes(), 2);
}

TEST(LogBuffer, AppendsItselfAndOthersLineByLine)
{
    ktLogBuffer record;
    record.Append(nullptr);
    record.SetEventLogPrefix(kMay2024);
    record.Append("a\nb", 3);
    record.Append("c\n", 2);
    const std::string once = "2024-05-01T10:20:30 a\n2024-05-01T10:20:30 bc\n";
    EXPECT_EQ(TextOf(record), once);
    record.Append(&record);
    EXPECT_EQ(TextOf(record), once + "2024-05-01T10:20:30 2024-05-01T10:20:30 a\n"
                                     "2024-05-01T10:20:30 2024-05-01T10:20:30 bc\n");
    ktLogBuffer doubled;
    doubled.AppendNoPrefix("0123456789", 10);
    for (int i = 0; i < 8; ++i)
        doubled.Append(&doubled);
    EXPECT_EQ(doubled.GetLength(), 2560U) << "through the inline area and beyond";
    EXPECT_EQ(TextOf(doubled).substr(2550), "0123456789");
}

TEST(LogBuffer, SplitsLines)
{
    char const* data = "a\n\nbc";
    char const* const begin = data;
    unsigned int remaining = 5;
    unsigned int length = 9;
    std::vector<unsigned int> lengths;
    while (ktLogBuffer::GetNextLine(data, remaining, length))
        lengths.push_back(length);
    EXPECT_EQ(lengths, (std::vector<unsigned int>{2, 1, 2}));
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(data, begin + 5);
}

TEST(LogBuffer, DropsTheZeroByteThatEndsAPiece)
{
    ktLogBuffer record;
    EXPECT_EQ(ktLogBuffer::formatted_print_func(&record, "", 0), 0);
    EXPECT_EQ(ktLogBuffer::formatted_print_func(&record, "\0", 1), 0);
    EXPECT_EQ(ktLogBuffer::formatted_print_func(&record, "ab\0", 3), 0);
    EXPECT_EQ(TextOf(record), "ab");
}

TEST(LogBuffer, PutsEventsAndTheirSchemasTogether)
{
    ktLogBuffer event;
    AppendEvent(event, kMay2024, "WakeUp", "%d\n%s", 7, "x");
    EXPECT_EQ(TextOf(event), "2024-05-01T10:20:30 WakeUp 7\n2024-05-01T10:20:30 x\n") << "the time, not the name";
    ktLogBuffer body;
    body.AppendFormatted("%s\n", "done");
    ktLogBuffer outer;
    outer.AppendEvent(kMay2024 + 999876, "LongTimerExp", &body);
    EXPECT_EQ(TextOf(outer), "2024-05-01T10:20:30 LongTimerExp done\n");
    ktLogBuffer schema;
    schema.AppendEventSchema(-1, "WakeUp", "{\"f\": \"100%d\"}");
    EXPECT_EQ(TextOf(schema), "1969-12-31T23:59:59 %WakeUp {\"f\": \"100%d\"}\n");
}

// A record that finds no memory is cut, reported once, and still a line.
TEST(LogBuffer, SurvivesFailureOfEveryAllocation)
{
    const std::string text(20000, 'x');
    const std::string whole = RecordFor(PrefixFor(kMay2024, 3, "h", nullptr), text);
    for (char const* format : {"%s", "%.3000s%d%.17000s"}) {
        for (int n = 1;; ++n) {
            OutputTap tap;
            ktLogBuffer record;
            FailNthAllocation fail(n);
            AppendText(record, kMay2024, kWarning, "h", nullptr, format, text.c_str(), 1, text.c_str());
            if (!fail.Fired())
                break;
            const std::string cut = TextOf(record);
            ASSERT_TRUE(record.LastCharIsNewline()) << "allocation " << n;
            EXPECT_LT(cut.size(), whole.size());
            EXPECT_GT(cut.size(), 1270U);
            EXPECT_EQ(cut.substr(0, 1270), whole.substr(0, 1270));
            EXPECT_EQ(tap.Writes(), 1) << tap.Text();
            EXPECT_NE(tap.Text().find("(4) ktbytebuffer: failed to allocate ("), std::string::npos);
        }
    }
    // Full to the last inline byte: the newline takes the place of a character.
    ktLogBuffer full;
    const std::string rest(1279 - PrefixFor(kMay2024, 3, "h", nullptr).size(), 'x');
    OutputTap tap;
    FailNthAllocation fail(1);
    AppendText(full, kMay2024, kWarning, "h", nullptr, "%s", rest.c_str());
    EXPECT_TRUE(fail.Fired());
    EXPECT_EQ(full.GetLength(), 1279U);
    EXPECT_TRUE(full.LastCharIsNewline());
}

}  // namespace
