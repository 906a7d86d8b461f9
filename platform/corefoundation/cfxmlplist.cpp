// Property lists in XML. libxml2 calls for each element as it reads, so that no tree of nodes is built on the way.
#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/threads.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "CoreFoundation/CFNumber.h"
#include "cfarray.h"
#include "cfdata.h"
#include "cfdate.h"
#include "cfdictionary.h"
#include "cfplist.h"

namespace {

using Value = cf::Owned<CFTypeRef>;

enum class Kind { kNone, kPlist, kDict, kArray, kKey, kString, kInteger, kReal, kTrue, kFalse, kDate, kData };

struct Element {
    std::string_view mName;
    Kind mKind;
};
constexpr Element kElements[] = {
    {"plist", Kind::kPlist},   {"dict", Kind::kDict},       {"array", Kind::kArray}, {"key", Kind::kKey},
    {"string", Kind::kString}, {"integer", Kind::kInteger}, {"real", Kind::kReal},   {"true", Kind::kTrue},
    {"false", Kind::kFalse},   {"date", Kind::kDate},       {"data", Kind::kData},
};

Kind KindOf(std::string_view aName)
{
    auto const* const found = std::find_if(std::begin(kElements), std::end(kElements),
                                           [aName](Element const& aElement) { return aElement.mName == aName; });
    return found != std::end(kElements) ? found->mKind : Kind::kNone;
}

bool IsBlank(char aByte)
{
    return aByte == ' ' || aByte == '\t' || aByte == '\n' || aByte == '\r';
}

std::string_view Trimmed(std::string_view aText)
{
    while (!aText.empty() && IsBlank(aText.front()))
        aText.remove_prefix(1);
    while (!aText.empty() && IsBlank(aText.back()))
        aText.remove_suffix(1);
    return aText;
}

// The texts of elements. Each gives false for a text that is none of its kind.

/// Decimal, or hexadecimal behind "0x", with a sign or without.
bool ParseInteger(std::string_view aText, SInt64& aValue)
{
    const bool isNegative = !aText.empty() && aText.front() == '-';
    if (isNegative || (!aText.empty() && aText.front() == '+'))
        aText.remove_prefix(1);
    const bool isHexadecimal = aText.size() > 2 && aText[0] == '0' && (aText[1] | 0x20) == 'x';
    aText.remove_prefix(isHexadecimal ? 2 : 0);
    UInt64 magnitude = 0;
    char const* const end = aText.data() + aText.size();
    const std::from_chars_result result = std::from_chars(aText.data(), end, magnitude, isHexadecimal ? 16 : 10);
    if (result.ec != std::errc() || result.ptr != end || magnitude > UInt64{INT64_MAX} + (isNegative ? 1 : 0))
        return false;
    aValue = static_cast<SInt64>(isNegative ? 0 - magnitude : magnitude);
    return true;
}

bool ParseReal(std::string_view aText, double& aValue)
{
    aText.remove_prefix(aText.size() > 1 && aText[0] == '+' && aText[1] != '-' ? 1 : 0);
    char const* const end = aText.data() + aText.size();
    const std::from_chars_result result = std::from_chars(aText.data(), end, aValue);
    return result.ec == std::errc() && result.ptr == end;
}

bool ParseDate(std::string_view aText, CFAbsoluteTime& aValue)
{
    constexpr std::string_view kForm = "0000-11-22T33:44:55Z";  // each digit is the number of the field it belongs to
    int fields[6] = {};
    if (aText.size() != kForm.size())
        return false;
    for (std::size_t i = 0; i < kForm.size(); ++i) {
        const bool isDigit = aText[i] >= '0' && aText[i] <= '9';
        if (kForm[i] >= '0' && kForm[i] <= '9' ? !isDigit : aText[i] != kForm[i])
            return false;
        if (isDigit)
            fields[kForm[i] - '0'] = fields[kForm[i] - '0'] * 10 + aText[i] - '0';
    }
    const cf::Calendar calendar = {fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]};
    if (!cf::IsValid(calendar))
        return false;
    aValue = cf::ToAbsoluteTime(calendar);
    return true;
}

/// The six bits of a base64 digit; -1 for what is none.
int SextetOf(char aByte)
{
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t index = kDigits.find(aByte);
    return index != std::string_view::npos ? static_cast<int>(index) : -1;
}

/// Decodes base64 with blanks anywhere, in place. @return the bytes; -1 for what is not base64.
CFIndex DecodeBase64(char* aText, std::size_t aSize)
{
    UInt32 bits = 0;
    int digits = 0, padding = 0;
    UInt8* out = reinterpret_cast<UInt8*>(aText);
    for (std::size_t i = 0; i < aSize; ++i) {
        if (IsBlank(aText[i]))
            continue;
        const bool isPadding = aText[i] == '=';
        const int sextet = isPadding ? 0 : SextetOf(aText[i]);
        padding += isPadding ? 1 : 0;
        if (sextet < 0 || padding > 2 || (padding != 0 && (!isPadding || digits < 2)))
            return -1;
        bits = bits << 6 | static_cast<UInt32>(sextet);
        if (++digits < 4)
            continue;
        for (int shift = 16; shift >= padding * 8; shift -= 8)
            *out++ = static_cast<UInt8>(bits >> shift);
        digits = padding != 0 ? -4 : 0;  // nothing may follow
    }
    return digits == 0 || digits == -4 ? out - reinterpret_cast<UInt8*>(aText) : -1;
}

/// libxml2 sets itself up when it is first used, which two threads must not do at once. While the program is being
/// loaded there is one.
[[maybe_unused]] const bool sIsReady = (xmlInitParser(), true);

/// Whether libxml2 has what it keeps for this thread. It recurses without end when there is no memory for that, so it
/// is asked only when there is; only another thread that takes it in between is left to fear.
bool HasThreadState()
{
    constexpr std::size_t kStateSize = 4096;  // more than enough
    if (xmlIsMainThread() != 0)
        return true;
    void* volatile room = std::malloc(kStateSize);  // volatile, or the compiler would take its success for granted
    const bool hasRoom = room != nullptr;
    std::free(room);
    return hasRoom && xmlGetGlobalState() != nullptr;
}

/// Reads one text.
class Reader {
public:
    explicit Reader(cf::PlistProblem& aProblem);
    ~Reader();
    Reader(Reader const&) = delete;
    Reader& operator=(Reader const&) = delete;

    Value Read(std::string_view aBytes);

private:
    /// A list that is still open. Its objects are owned.
    struct List {
        __CFDictionary* mDictionary;  ///< one of the two is null
        __CFArray* mArray;
        CFTypeRef mKey;  ///< for the value that comes next; null for none
    };

    static xmlSAXHandler MakeHandler();
    static void OnStart(void* aReader, xmlChar const* aName, xmlChar const* aPrefix, xmlChar const* aUri,
                        int aNamespaceCount, xmlChar const** aNamespaces, int aAttributeCount, int aDefaultedCount,
                        xmlChar const** aAttributes);
    static void OnEnd(void* aReader, xmlChar const* aName, xmlChar const* aPrefix, xmlChar const* aUri);
    static void OnText(void* aReader, xmlChar const* aText, int aSize);
    static void OnReference(void* aReader, xmlChar const* aName);
    static void OnAttribute(void* aReader, xmlChar const* aElement, xmlChar const* aName, int aType, int aDefault,
                            xmlChar const* aValue, xmlEnumerationPtr aNames);
    static void OnEntity(void* aReader, xmlChar const* aName, int aType, xmlChar const* aPublicId,
                         xmlChar const* aSystemId, xmlChar* aContent);
    static void OnError(void* aReader, xmlErrorPtr aError);

    void Start(char const* aName);
    void StartList(Kind aKind);
    void End();
    void EndList();
    void AppendText(char const* aText, std::size_t aSize);
    Value CreateLeaf();
    Value CreateString();
    Value CreateData();
    void Add(Value aValue);
    static bool AddToList(List& aList, Value aValue);
    void Fail(char const* aReason, char const* aDetail = "");
    void FailForMemory();

    cf::PlistProblem& mProblem;
    xmlParserCtxtPtr mContext;
    Value mRoot;
    bool mIsInPlist;
    Kind mLeaf;   ///< the element of text that is open, or none
    int mDepth;   ///< the lists that are open
    char* mText;  ///< of the leaf
    std::size_t mSize;
    std::size_t mRoom;
    List mLists[cf::kMaxDepth];
};

Reader::Reader(cf::PlistProblem& aProblem)
    : mProblem(aProblem), mContext(nullptr), mIsInPlist(false), mLeaf(Kind::kNone), mDepth(0), mText(nullptr), mSize(0),
      mRoom(0), mLists{}
{
}

Reader::~Reader()
{
    for (; mDepth > 0; --mDepth) {
        List const& list = mLists[mDepth - 1];
        CFRelease(list.mDictionary);
        CFRelease(list.mArray);
        CFRelease(list.mKey);
    }
    std::free(mText);
}

Value Reader::Read(std::string_view aBytes)
{
    if (!HasThreadState()) {
        mProblem.SetNoMemory();
        return Value();
    }
    // For the errors that libxml2 has no parser for: it would print them.
    xmlStructuredErrorFunc const otherFunction = xmlStructuredError;
    void* const otherContext = xmlStructuredErrorContext;
    xmlSetStructuredErrorFunc(this, OnError);
    mContext = xmlCreateMemoryParserCtxt(aBytes.data(), static_cast<int>(aBytes.size()));
    if (mContext != nullptr) {
        // The limits that "huge" takes away are those of nesting, which is limited here, and of entities.
        xmlCtxtUseOptions(mContext, XML_PARSE_NONET | XML_PARSE_HUGE);
        *mContext->sax = MakeHandler();
        mContext->userData = this;
        const bool isRead = xmlParseDocument(mContext) == 0;
        if (!mRoot || !isRead)
            Fail("the property list has no value");
        xmlFreeDoc(mContext->myDoc);
        xmlFreeParserCtxt(mContext);
    } else
        FailForMemory();
    xmlSetStructuredErrorFunc(otherContext, otherFunction);
    return mProblem.IsSet() ? Value() : std::move(mRoot);
}

xmlSAXHandler Reader::MakeHandler()
{
    xmlSAXHandler handler = {};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = OnStart;
    handler.endElementNs = OnEnd;
    handler.characters = OnText;
    handler.ignorableWhitespace = OnText;
    handler.cdataBlock = OnText;
    handler.reference = OnReference;
    handler.entityDecl = OnEntity;
    handler.attributeDecl = OnAttribute;
    handler.serror = OnError;
    return handler;
}

void Reader::OnStart(void* aReader, xmlChar const* aName, xmlChar const* /*aPrefix*/, xmlChar const* /*aUri*/,
                     int /*aNamespaceCount*/, xmlChar const** /*aNamespaces*/, int /*aAttributeCount*/,
                     int /*aDefaultedCount*/, xmlChar const** /*aAttributes*/)
{
    Reader* const reader = static_cast<Reader*>(aReader);
    if (!reader->mProblem.IsSet())
        reader->Start(reinterpret_cast<char const*>(aName));
}

void Reader::OnEnd(void* aReader, xmlChar const* /*aName*/, xmlChar const* /*aPrefix*/, xmlChar const* /*aUri*/)
{
    Reader* const reader = static_cast<Reader*>(aReader);
    if (!reader->mProblem.IsSet())
        reader->End();
}

void Reader::OnText(void* aReader, xmlChar const* aText, int aSize)
{
    Reader* const reader = static_cast<Reader*>(aReader);
    if (!reader->mProblem.IsSet())
        reader->AppendText(reinterpret_cast<char const*>(aText), static_cast<std::size_t>(aSize));
}

void Reader::OnReference(void* aReader, xmlChar const* aName)
{
    static_cast<Reader*>(aReader)->Fail("entities are not read: &", reinterpret_cast<char const*>(aName));
}

void Reader::OnEntity(void* aReader, xmlChar const* aName, int /*aType*/, xmlChar const* /*aPublicId*/,
                      xmlChar const* /*aSystemId*/, xmlChar* /*aContent*/)
{
    OnReference(aReader, aName);
}

/// Defaults for attributes: no list needs them, and libxml2 takes a time for them that grows with their square.
void Reader::OnAttribute(void* aReader, xmlChar const* /*aElement*/, xmlChar const* aName, int /*aType*/,
                         int /*aDefault*/, xmlChar const* /*aValue*/, xmlEnumerationPtr aNames)
{
    xmlFreeEnumeration(aNames);
    static_cast<Reader*>(aReader)->Fail("attributes are not declared here: ", reinterpret_cast<char const*>(aName));
}

void Reader::OnError(void* aReader, xmlErrorPtr aError)
{
    Reader* const reader = static_cast<Reader*>(aReader);
    // Every error has a message, unless there was no memory for that.
    if (aError->code == XML_ERR_NO_MEMORY || aError->message == nullptr)
        return reader->FailForMemory();
    if (aError->level < XML_ERR_ERROR)
        return;
    const std::string_view message = Trimmed(aError->message);
    reader->mProblem.Set(std::max(aError->line, 1), "%.*s", static_cast<int>(message.size()), message.data());
}

void Reader::Start(char const* aName)
{
    const Kind kind = KindOf(aName);
    const bool isInDictionary = mDepth > 0 && mLists[mDepth - 1].mDictionary != nullptr;
    const bool hasKey = mDepth > 0 && mLists[mDepth - 1].mKey != nullptr;
    if (kind == Kind::kNone || mLeaf != Kind::kNone || (kind == Kind::kPlist && (mIsInPlist || mRoot || mDepth != 0)))
        return Fail("an element that cannot stand here: ", aName);
    if (kind == Kind::kPlist) {
        mIsInPlist = true;
        return;
    }
    if (kind == Kind::kKey ? !isInDictionary || hasKey : isInDictionary && !hasKey)
        return Fail("keys and values do not take turns: ", aName);
    if (kind == Kind::kDict || kind == Kind::kArray)
        return StartList(kind);
    mLeaf = kind;
    mSize = 0;
}

void Reader::StartList(Kind aKind)
{
    if (mDepth == cf::kMaxDepth)
        return Fail("the lists are nested too deeply");
    List list = {nullptr, nullptr, nullptr};
    if (aKind == Kind::kDict)
        list.mDictionary = __CFDictionary::CreateForObjects();
    else
        list.mArray = __CFArray::Create(cf::ValueRules(&kCFTypeArrayCallBacks), 0, nullptr, 0);
    if (list.mDictionary == nullptr && list.mArray == nullptr)
        return FailForMemory();
    mLists[mDepth++] = list;
}

void Reader::End()
{
    if (mLeaf == Kind::kNone)
        return EndList();
    Value leaf = CreateLeaf();
    const Kind kind = std::exchange(mLeaf, Kind::kNone);
    if (mProblem.IsSet())
        return;
    if (!leaf)
        return FailForMemory();
    if (kind == Kind::kKey)
        mLists[mDepth - 1].mKey = leaf.Detach();
    else
        Add(std::move(leaf));
}

/// Or of the whole text, when no list is open.
void Reader::EndList()
{
    if (mDepth == 0)
        return;
    if (mLists[mDepth - 1].mKey != nullptr)
        return Fail("a key has no value");
    List const& list = mLists[--mDepth];
    if (list.mDictionary != nullptr)
        list.mDictionary->Freeze();
    else
        list.mArray->Freeze();
    Add(list.mDictionary != nullptr ? Value(list.mDictionary) : Value(list.mArray));
}

void Reader::AppendText(char const* aText, std::size_t aSize)
{
    if (mLeaf == Kind::kNone || mLeaf == Kind::kTrue || mLeaf == Kind::kFalse) {
        if (!std::all_of(aText, aText + aSize, IsBlank))
            Fail("text that belongs to no value");
        return;
    }
    if (aSize > mRoom - mSize) {
        const std::size_t room = (mSize + aSize) * 2;
        void* const block = std::realloc(mText, room);
        if (block == nullptr)
            return FailForMemory();
        mText = static_cast<char*>(block);
        mRoom = room;
    }
    std::memcpy(mText + mSize, aText, aSize);
    mSize += aSize;
}

/// The object that the text of the element makes; null with a problem set or, if none is, for want of memory.
Value Reader::CreateLeaf()
{
    const std::string_view text = Trimmed({mText, mSize});
    SInt64 integer = 0;
    double number = 0;
    switch (mLeaf) {
    case Kind::kTrue:
        return Value(kCFBooleanTrue);
    case Kind::kFalse:
        return Value(kCFBooleanFalse);
    case Kind::kInteger:
        if (!ParseInteger(text, integer))
            Fail("no integer that fits into 64 bits");
        return Value(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &integer));
    case Kind::kReal:
        if (!ParseReal(text, number))
            Fail("no real number that fits into 64 bits");
        return Value(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &number));
    case Kind::kDate:
        if (!ParseDate(text, number))
            Fail("no date of the form 2001-12-31T23:59:59Z");
        return Value(CFDateCreate(kCFAllocatorDefault, number));
    case Kind::kData:
        return CreateData();
    default:
        return CreateString();
    }
}

Value Reader::CreateString()
{
    char const* const text = mSize != 0 ? mText : "";  // there may be no buffer yet
    return Value(CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<UInt8 const*>(text),
                                         static_cast<CFIndex>(mSize), kCFStringEncodingUTF8, false));
}

Value Reader::CreateData()
{
    const CFIndex size = DecodeBase64(mText, mSize);
    if (size < 0) {
        Fail("data that is not base64");
        return Value();
    }
    return Value(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<UInt8 const*>(mText), size));
}

void Reader::Add(Value aValue)
{
    if (mDepth == 0) {
        if (mRoot)
            return Fail("more than one value");
        mRoot = std::move(aValue);
    } else if (!AddToList(mLists[mDepth - 1], std::move(aValue)))
        FailForMemory();
}

bool Reader::AddToList(List& aList, Value aValue)
{
    if (aList.mArray != nullptr)
        return aList.mArray->Insert(aList.mArray->Count(), aValue.Get());
    const Value key(std::exchange(aList.mKey, nullptr));
    return aList.mDictionary->Put(key.Get(), aValue.Get(), __CFDictionary::Policy::kSet);
}

void Reader::Fail(char const* aReason, char const* aDetail)
{
    mProblem.Set(std::max(xmlSAX2GetLineNumber(mContext), 1), "%s%s", aReason, aDetail);
    xmlStopParser(mContext);
}

void Reader::FailForMemory()
{
    mProblem.SetNoMemory();
    xmlStopParser(mContext);
}

}  // namespace

Value cf::ReadXmlPlist(std::string_view aBytes, PlistProblem& aProblem)
{
    return Reader(aProblem).Read(aBytes);
}
