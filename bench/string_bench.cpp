// What building, changing and comparing text costs, beside two other string classes. All sides begin with the same
// UTF-8 and end with the same text.
#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <QString>
#include <string>

#include "ktstring.h"

namespace {

constexpr char kShort[] = "Living rooms";
constexpr char kMedium[] =
    "The heating turns on at half past six and keeps the room at twenty-one degrees until you leave home.";
constexpr char kMixed[] =
    "Grüße aus Köln, Καλημέρα, Доброе утро: 21 °C, Luftfeuchte 45 %, nächste Änderung um 18:30 Uhr – добро пожаловать";
constexpr char kUpper[] = "ZIMMER ÄÖÜ ΑΒΓΔΕ ЖЗИЙК LIVING ROOM 21 ÑANDÚ ΩΨΧΦΥ ЮЯЭЬЫ END";
constexpr char kLower[] = "zimmer äöü αβγδε жзийк living room 21 ñandú ωψχφυ юяэьы end";
constexpr int kAppends = 16;

/// What each class calls the operations.
struct Kt {
    using String = ktString;
    static String Build(char const* aText)
    {
        return String(aText);
    }
    static void Append(String& aString, char const* aText)
    {
        aString.Append(aText);
    }
    static void Append(String& aString, String const& aOther)
    {
        aString.Append(aOther);
    }
    static bool Equals(String const& aFirst, String const& aSecond)
    {
        return aFirst.Compare(aSecond, kCFCompareCaseInsensitive) == 0;
    }
    static void ReplaceAll(String& aString, String const& aWhat, String const& aWith)
    {
        aString.Replace(aWhat, aWith);
    }
    static std::size_t ViewUtf8(String const& aString)
    {
        char const* view = aString.GetAsUTFArray();
        benchmark::DoNotOptimize(view);
        return view[0] != '\0';
    }
};

struct Icu {
    using String = icu::UnicodeString;
    static String Build(char const* aText)
    {
        return String::fromUTF8(aText);
    }
    static void Append(String& aString, char const* aText)
    {
        aString.append(String::fromUTF8(aText));
    }
    static void Append(String& aString, String const& aOther)
    {
        aString.append(aOther);
    }
    static bool Equals(String const& aFirst, String const& aSecond)
    {
        return aFirst.caseCompare(aSecond, 0) == 0;
    }
    static void ReplaceAll(String& aString, String const& aWhat, String const& aWith)
    {
        aString.findAndReplace(aWhat, aWith);
    }
    static std::size_t ViewUtf8(String const& aString)
    {
        std::string view;
        return aString.toUTF8String(view).size();
    }
};

struct Qt6 {
    using String = QString;
    static String Build(char const* aText)
    {
        return String::fromUtf8(aText);
    }
    static void Append(String& aString, char const* aText)
    {
        aString.append(String::fromUtf8(aText));
    }
    static void Append(String& aString, String const& aOther)
    {
        aString.append(aOther);
    }
    static bool Equals(String const& aFirst, String const& aSecond)
    {
        return aFirst.compare(aSecond, Qt::CaseInsensitive) == 0;
    }
    static void ReplaceAll(String& aString, String const& aWhat, String const& aWith)
    {
        aString.replace(aWhat, aWith);
    }
    static std::size_t ViewUtf8(String const& aString)
    {
        return static_cast<std::size_t>(aString.toUtf8().size());
    }
};

template <typename Class, char const* kText>
void Build(benchmark::State& aState)
{
    for (auto _ : aState) {
        typename Class::String string = Class::Build(kText);
        benchmark::DoNotOptimize(string);
    }
}

/// A new string that grows piece by piece.
template <typename Class, typename Piece>
void Append(benchmark::State& aState, Piece const& aPiece)
{
    for (auto _ : aState) {
        typename Class::String string = Class::Build("");
        for (int i = 0; i < kAppends; ++i)
            Class::Append(string, aPiece);
        benchmark::DoNotOptimize(string);
    }
    aState.SetItemsProcessed(aState.iterations() * kAppends);
}

template <typename Class, char const* kText>
void AppendText(benchmark::State& aState)
{
    Append<Class, char const*>(aState, kText);
}

template <typename Class, char const* kText>
void AppendString(benchmark::State& aState)
{
    Append<Class>(aState, Class::Build(kText));
}

template <typename Class, char const* kText>
void CompareNoCase(benchmark::State& aState)
{
    const auto first = Class::Build(kText);
    const auto second = Class::Build(kLower);
    if (!Class::Equals(first, second))
        aState.SkipWithError("the texts must be equal but for case");
    for (auto _ : aState) {
        benchmark::DoNotOptimize(first);
        benchmark::DoNotOptimize(Class::Equals(first, second));
    }
}

/// A copy of a text, changed in several places.
template <typename Class, char const* kText>
void ReplaceAll(benchmark::State& aState)
{
    const auto source = Class::Build(kText);
    const auto what = Class::Build("e");
    const auto with = Class::Build("-e-");
    for (auto _ : aState) {
        typename Class::String string(source);
        Class::ReplaceAll(string, what, with);
        benchmark::DoNotOptimize(string);
    }
}

/// The UTF-8 of a string that has not changed since it was last asked for.
template <typename Class, char const* kText>
void ViewUtf8(benchmark::State& aState)
{
    const auto string = Class::Build(kText);
    for (auto _ : aState) {
        benchmark::DoNotOptimize(string);
        benchmark::DoNotOptimize(Class::ViewUtf8(string));
    }
}

#define COMPARE(aName, aFunction, aText)                                                                               \
    BENCHMARK_TEMPLATE(aFunction, Kt, aText)->Name(aName "_kt");                                                       \
    BENCHMARK_TEMPLATE(aFunction, Icu, aText)->Name(aName "_icu");                                                     \
    BENCHMARK_TEMPLATE(aFunction, Qt6, aText)->Name(aName "_qt")

COMPARE("BuildShort", Build, kShort);
COMPARE("BuildMedium", Build, kMedium);
COMPARE("BuildMixed", Build, kMixed);
COMPARE("AppendText", AppendText, kMedium);
COMPARE("AppendTextMixed", AppendText, kMixed);
COMPARE("AppendString", AppendString, kMedium);
COMPARE("AppendStringMixed", AppendString, kMixed);
COMPARE("CompareNoCase", CompareNoCase, kUpper);
COMPARE("ReplaceAll", ReplaceAll, kMedium);
COMPARE("ReplaceAllMixed", ReplaceAll, kMixed);
COMPARE("ViewUtf8", ViewUtf8, kMedium);
COMPARE("ViewUtf8Mixed", ViewUtf8, kMixed);

}  // namespace

BENCHMARK_MAIN();
