#include "trace.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>

#include "printable.h"

namespace {

constexpr char kColumns[] = "time,indoor_c,outdoor_c";
constexpr std::size_t kMaxLineLength = 200;
constexpr double kColdest = -90;  // degrees Celsius that the Earth's weather does not leave
constexpr double kHottest = 60;

struct FileCloser {
    void operator()(std::FILE* aFile) const
    {
        std::fclose(aFile);
    }
};

/// A field as it can be shown in a message.
std::string Quoted(std::string const& aField)
{
    return "'" + Printable(aField.size() > 40 ? aField.substr(0, 40) + "..." : aField) + "'";
}

std::vector<std::string> Split(std::string const& aLine)
{
    std::vector<std::string> fields;
    std::size_t begin = 0;
    for (std::size_t comma = 0; comma != std::string::npos; begin = comma + 1) {
        comma = aLine.find(',', begin);
        fields.push_back(aLine.substr(begin, comma - begin));
    }
    return fields;
}

bool ParseTime(std::string const& aField, long long& aTime)
{
    constexpr char kForm[] = "%Y-%m-%dT%H:%M:%SZ";
    std::tm parts = {};
    if (strptime(aField.c_str(), kForm, &parts) == nullptr)
        return false;
    const std::time_t time = timegm(&parts);  // which makes a day of March of the 30th of February
    char printed[32];
    const std::size_t length =
        gmtime_r(&time, &parts) != nullptr ? std::strftime(printed, sizeof printed, kForm, &parts) : 0;
    aTime = time;
    return aField.compare(0, std::string::npos, printed, length) == 0;
}

bool ParseTemperature(std::string const& aField, double& aTemperature)
{
    char const* const end = aField.data() + aField.size();
    const auto parsed = std::from_chars(aField.data(), end, aTemperature);
    return parsed.ec == std::errc() && parsed.ptr == end && aTemperature >= kColdest && aTemperature <= kHottest;
}

/// Reads a line without its end, which may be "\n" or "\r\n".
Trace::LineState ReadLine(std::FILE* aFile, std::string& aLine)
{
    aLine.clear();
    int character = 0;
    while ((character = std::getc(aFile)) != EOF && character != '\n') {
        if (aLine.size() == kMaxLineLength)
            return Trace::LineState::kTooLong;
        aLine.push_back(static_cast<char>(character));
    }
    if (std::ferror(aFile) != 0)
        return Trace::LineState::kFailed;
    if (character == EOF && aLine.empty())
        return Trace::LineState::kEnd;
    if (!aLine.empty() && aLine.back() == '\r')
        aLine.pop_back();
    return Trace::LineState::kRead;
}

std::string Fault(std::string const& aPath, int aLine, std::string const& aWhat)
{
    return Printable(aPath) + ", line " + std::to_string(aLine) + ": " + aWhat;
}

std::string SystemFault(char const* aWhat)
{
    return std::string(aWhat) + " (" + std::strerror(errno) + ")";
}

}  // namespace

bool Trace::Load(std::string const& aPath, std::string& aFault)
{
    const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(aPath.c_str(), "re"));
    if (file == nullptr) {
        aFault = Fault(aPath, 0, SystemFault("cannot be opened"));
        return false;
    }
    std::string line;
    std::string what;
    LineState state = LineState::kRead;
    int number = 0;
    while (state == LineState::kRead && what.empty()) {
        ++number;
        state = ReadLine(file.get(), line);
        what = state == LineState::kRead ? TakeLine(line) : EndWith(state);
    }
    if (!what.empty())
        aFault = Fault(aPath, number, what);
    return what.empty();
}

std::string Trace::EndWith(LineState aState) const
{
    if (aState == LineState::kFailed)
        return SystemFault("cannot be read");
    if (aState == LineState::kTooLong)
        return "longer than " + std::to_string(kMaxLineLength) + " characters";
    return mSamples.empty() ? "the file ends without a sample" : "";
}

std::string Trace::TakeLine(std::string const& aLine)
{
    if (mHasColumns)
        return TakeSample(aLine);
    mHasColumns = aLine == kColumns;
    if (mHasColumns || (!aLine.empty() && aLine.front() == '#'))
        return {};
    return std::string("expected the columns '") + kColumns + "', found " + Quoted(aLine);
}

std::string Trace::TakeSample(std::string const& aLine)
{
    const std::vector<std::string> fields = Split(aLine);
    if (fields.size() != 3)
        return "expected 3 fields, found " + std::to_string(fields.size());
    Sample sample = {};
    if (!ParseTime(fields[0], sample.mTime))
        return "the time is not like '2026-05-04T00:05:00Z' but " + Quoted(fields[0]);
    if (!mSamples.empty() && sample.mTime <= mSamples.back().mTime)
        return "the time does not rise: " + Quoted(fields[0]);
    if (!ParseTemperature(fields[1], sample.mIndoor))
        return "the indoor temperature is no temperature: " + Quoted(fields[1]);
    if (!ParseTemperature(fields[2], sample.mOutdoor))
        return "the outdoor temperature is no temperature: " + Quoted(fields[2]);
    mSamples.push_back(sample);
    return {};
}
