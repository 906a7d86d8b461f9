// The record before it is written.
#include "ktlogbuffer.h"

#include <gtest/gtest.h>
#include <prprf.h>
#include <prtime.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <climits>
#include <thread>
#include <vector>

#include "support/allocation.h"
#include "support/output.h"

namespace {

constexpr auto kWarning = kLogPriorityWarning;
constexpr long long kMay2024 = 1714558830000123;  // 2024-05-01 10:20:30.000123

std::string TextOf(ktLogBuffer& aRecord) { return std::string(aRecord.GetBufferPtr(), aRecord.GetLength()); }

bool IsInside(ktLogBuffer& aRecord)
{
    char const* const at = aRecord.GetBufferPtr();
    char const* const begin = reinterpret_cast<char const*>(&aRecord);
    return at >= begin && at < begin + sizeof aRecord;
}

/// Appends a text message, or an event when there is a host of "event", whose component is its name.
void AppendText(ktLogBuffer& aRecord, long long aTime, int aPriority, char const* aHost, char const* aComponent,
                char const* aFormat, ...)
{
    va_list args;
    va_start(args, aFormat);
    if (aHost != nullptr && std::string(aHost) == "event")
        aRecord.AppendEvent(aTime, aComponent, aFormat, args);
    else
        aRecord.AppendTextMessage(aTime, static_cast<ktLogPriority>(aPriority), nullptr, aHost, aComponent, aFormat,
                                  args);
    va_end(args);
}

/// What a text line begins with, printed anew in one go.
std::string PrefixFor(long long aTime, int aPriority, char const* aHost, char const* aComponent)
{
    PRExplodedTime at = {};
    PR_ExplodeTime(aTime, PR_GMTParameters, &at);
    char thread[16] = {};
    prctl(PR_GET_NAME, thread);
    char prefix[256];
    PR_snprintf(prefix, sizeof prefix,
                aComponent != nullptr ? "%04d-%02d-%02d %02d:%02d:%02d.%06d %.64s %.64s[%d:%6.6s] (%d) %s: "
                                      : "%04d-%02d-%02d %02d:%02d:%02d.%06d %.64s %.64s[%d:%6.6s] (%d) %s",
                at.tm_year, at.tm_month + 1, at.tm_mday, at.tm_hour, at.tm_min, at.tm_sec, at.tm_usec, aHost,
                program_invocation_short_name, getpid(), thread, aPriority, aComponent != nullptr ? aComponent : "");
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

// Prefixes are put together from parts that are kept from line to line, so each row changes something, and every row is
// printed after every other, on a thread of its own that has kept nothing yet.
TEST(LogBuffer, PrintsThePrefixAsTheFormatSaysWhateverCameBefore)
{
    const std::string host63(63, 'h');
    const std::string longComponent(300, 'c');
    struct Line {
        long long mTime;
        int mPriority;
        std::string mHost;
        char const* mComponent;
        char const* mThread;
    } const lines[] = {
        {0, 3, "myhost", "net", "worker"},
        {kMay2024, 3, "myhost", "net", "worker"},
        {kMay2024 + 1, 3, "myhost", nullptr, "worker"},
        {kMay2024, 4, "myhost", "net", "a thread of 15c"},
        {kMay2024, 3, "", "", "ab"},
        {kMay2024, INT_MIN, "(null)", "net", ""},
        {0, 100, host63 + "i", "net", "ab"},
        {-1, 3, host63 + "jk", "net", "ab"},
        {-1000000, 3, "myhos", "net", "ab"},
        {kMay2024 + 999877, 3, "myhostt", "net", "workes"},
        {253402300799999999, 0, "myhost", longComponent.c_str(), "worker"},
        {32536800000000000, -1, "myhost", "net", "worker"},
    };
    for (Line const& first : lines)
        for (Line const& second : lines)
            std::thread([&] {
                for (Line const* line : {&first, &second, &second}) {
                    prctl(PR_SET_NAME, line->mThread);
                    char const* const host = line->mHost == "(null)" ? nullptr : line->mHost.c_str();
                    ktLogBuffer record;
                    AppendText(record, line->mTime, line->mPriority, host, line->mComponent, "text");
                    EXPECT_EQ(TextOf(record),
                              PrefixFor(line->mTime, line->mPriority, host, line->mComponent) + "text\n");
                }
            }).join();
    ktLogBuffer record;
    AppendText(record, kMay2024, 3, "myhost", "net", "%s", "and the text");
    EXPECT_EQ(TextOf(record), "2024-05-01 10:20:30.000123 myhost log_test[" + std::to_string(getpid()) +
                                  ":log_te] (3) net: and the text\n");
}

TEST(LogBuffer, RepeatsThePrefixOnEachLineAndEndsWithOneNewline)
{
    const std::string prefix = PrefixFor(kMay2024, 3, "h", "c");
    for (std::string const& text : {std::string(), std::string("x"), std::string("x\n"), std::string("\n"),
                                    std::string("\n\n"), std::string("a\nb"), std::string("a\n\nb\n"),
                                    std::string("\na"), std::string(1300, 'y') + "\nz\n\n" + std::string(9000, '\n')}) {
        ktLogBuffer literal;
        AppendText(literal, kMay2024, 3, "h", "c", text.c_str());
        EXPECT_EQ(TextOf(literal), RecordFor(prefix, text));
        ktLogBuffer formatted;
        AppendText(formatted, kMay2024, 3, "h", "c", "%s", text.c_str());
        EXPECT_EQ(TextOf(formatted), RecordFor(prefix, text));
        ktLogBuffer body;
        body.AppendNoPrefix(text.data(), static_cast<unsigned int>(text.size()));
        ktLogBuffer outer;
        outer.AppendTextMessage(kMay2024, kWarning, nullptr, "h", "c", &body);
        EXPECT_EQ(TextOf(outer), RecordFor(prefix, text));
    }
    struct {
        char const* mFormat;
        char const* mText;
    } const formats[] = {
        {"%d%%\n%s", "99%\nq\nr\n"},
        {"%2$s|%1$x", "q\nr\n|63"},
        {"|%5d|%s%c", "|   99|q\nr\nz"},
        {"x %d 100%%%", "x %d 100%%%"},
        {"at %d %-5", "at %d %-5"},
        {"100%", "100%"},
        {nullptr, "(null)"},
    };
    for (auto const& format : formats) {
        ktLogBuffer record;
        AppendText(record, kMay2024, 3, "h", "c", format.mFormat, 99, "q\nr\n", 'z');
        EXPECT_EQ(TextOf(record), RecordFor(prefix, format.mText)) << "a format cut short is shown as it stands";
    }
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
        grown.SetEventLogPrefix(kMay2024);
        grown.Clear();
        for (char const character : text)
            grown.AppendFormatted("%c", character);
        EXPECT_EQ(IsInside(grown), length < 1280) << length;
        EXPECT_EQ(TextOf(grown), text) << "Clear() has taken the prefix away";
        grown.Clear();
        EXPECT_TRUE(grown.GetLength() == 0 && IsInside(grown));
        grown.AppendNoPrefix(text.data(), length);
        EXPECT_EQ(TextOf(grown), text);
    }
}

TEST(LogBuffer, WritesNothingWhenEmptyAndOtherwiseOnce)
{
    OutputTap tap;
    ktLogBuffer record;
    EXPECT_EQ(record.WriteToFile(2), 0);
    EXPECT_TRUE(tap.mWrites == 0 && !record.LastCharIsNewline());
    const std::string text(3000, 'x');
    record.Append(text.data(), 3000);
    tap.mPlan = {1000};
    EXPECT_EQ(record.WriteToFile(2), 1000);
    EXPECT_EQ(record.WriteToFile(2), 3000);
    EXPECT_EQ(tap.mWrites, 2);
}

TEST(LogBuffer, AppendsPiecesAndItselfLineByLine)
{
    ktLogBuffer record;
    record.Append(nullptr);
    record.SetEventLogPrefix(kMay2024);
    record.Append("a\nb", 3);
    EXPECT_EQ(ktLogBuffer::formatted_print_func(&record, "", 0), 0);
    EXPECT_EQ(ktLogBuffer::formatted_print_func(&record, "\0", 1), 0) << "the zero byte that ends a text is dropped";
    EXPECT_EQ(ktLogBuffer::formatted_print_func(&record, "c\n\0", 3), 0);
    const std::string once = "2024-05-01T10:20:30 a\n2024-05-01T10:20:30 bc\n";
    EXPECT_EQ(TextOf(record), once);
    record.Append(&record);
    EXPECT_EQ(TextOf(record), once + "2024-05-01T10:20:30 2024-05-01T10:20:30 a\n"
                                     "2024-05-01T10:20:30 2024-05-01T10:20:30 bc\n");
    ktLogBuffer doubled;
    doubled.AppendNoPrefix("0123456789", 10);
    std::string expected = "0123456789";
    for (int i = 0; i < 12; ++i, expected += expected)
        doubled.Append(&doubled);
    EXPECT_EQ(TextOf(doubled), expected) << "through the inline area and beyond";

    char const* data = "a\n\nbc";
    unsigned int remaining = 5;
    unsigned int length = 9;
    std::vector<unsigned int> lengths;
    while (ktLogBuffer::GetNextLine(data, remaining, length))
        lengths.push_back(length);
    EXPECT_EQ(lengths, (std::vector<unsigned int>{2, 1, 2}));
    EXPECT_TRUE(length == 0 && *data == '\0');
}

TEST(LogBuffer, PutsEventsAndTheirSchemasTogether)
{
    ktLogBuffer event;
    AppendText(event, kMay2024, 0, "event", "WakeUp", "%d\n%s", 7, "x");
    EXPECT_EQ(TextOf(event), "2024-05-01T10:20:30 WakeUp 7\n2024-05-01T10:20:30 x\n") << "the time, not the name";
    ktLogBuffer body;
    body.AppendFormatted("%s\n", "done");
    ktLogBuffer outer;
    outer.AppendEvent(kMay2024 + 999876, nullptr, &body);
    EXPECT_EQ(TextOf(outer), "2024-05-01T10:20:30 (null) done\n");
    ktLogBuffer schema;
    schema.AppendEventSchema(-1, "WakeUp", "{\"f\": \"100%d\"}");
    EXPECT_EQ(TextOf(schema), "1969-12-31T23:59:59 %WakeUp {\"f\": \"100%d\"}\n");
}

// A record that finds no memory is cut, once, reported, and still a line.
TEST(LogBuffer, SurvivesFailureOfEveryAllocation)
{
    const std::string text(20000, 'x');
    const std::string format = "%d" + text;
    const std::string full(1279 - PrefixFor(kMay2024, 3, "h", nullptr).size(), 'x');
    struct {
        char const* mHost;
        char const* mFormat;
        std::string mText;
    } const cases[] = {{"h", "%s", text},
                       {"h", "%.3000s%d%.17000s", text},
                       {"h", format.c_str(), ""},
                       {"h", text.c_str(), text},
                       {"event", "%s", text},
                       {"h", "%s", full},
                       {"h", "%s", std::string(1000, '\n')}};
    for (auto const& aCase : cases) {
        char const* const name = aCase.mHost[0] == 'e' ? text.c_str() : nullptr;
        ktLogBuffer whole;
        AppendText(whole, kMay2024, 3, aCase.mHost, name, aCase.mFormat, aCase.mText.c_str(), 1, aCase.mText.c_str());
        for (auto extent : {FailNthAllocation::kOnce, FailNthAllocation::kFromThenOn}) {
            for (int n = 1;; ++n) {
                OutputTap tap;
                ktLogBuffer record;
                FailNthAllocation fail(n, extent);
                AppendText(record, kMay2024, 3, aCase.mHost, name, aCase.mFormat, aCase.mText.c_str(), 1,
                           aCase.mText.c_str());
                if (!fail.Fired())
                    break;
                ASSERT_TRUE(record.LastCharIsNewline()) << "allocation " << n;
                const unsigned int kept = record.GetLength() - 1;
                EXPECT_TRUE(kept >= 1278 && record.GetLength() <= whole.GetLength()) << kept;
                EXPECT_EQ(TextOf(record).substr(0, kept), TextOf(whole).substr(0, kept)) << "no hole";
                EXPECT_EQ(tap.mWrites, 1) << tap.mText;
                EXPECT_TRUE(tap.Has("(4) ktbytebuffer: failed to allocate ("));
            }
        }
    }
}

}  // namespace
