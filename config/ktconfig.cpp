#include "ktconfig.h"

#include <libxml/encoding.h>
#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/threads.h>
#include <libxml/tree.h>
#include <prmem.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "ktarray.h"
#include "ktbase64.h"
#include "ktconfigcore.h"
#include "kthash.h"
#include "ktlog.h"
#include "ktmemory.h"
#include "ktnspr.h"
#include "ktstring.h"

namespace {

constexpr char kComponent[] = "ktconfig";
constexpr std::size_t kMaxExpanded = 4100;  ///< bytes of UTF-8 that make a value of any length: two each, and one more
constexpr int kMaxNesting = 40;             ///< of entities; libxml2 refuses more
constexpr std::size_t kMaxMarks = 6000;     ///< quotes, equals signs and bars in front of the next "<"
constexpr int kMaxSteps = 5000000;          ///< through entities in all of a file; there may be nothing in them
constexpr std::size_t kShortText = 512;
constexpr unsigned short kDecodeFailure = 0xFFFF;

using Document = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;

/// Logs at critical priority. @return the result that it is given.
template <typename... Arguments>
ktError Report(ktError aResult, char const* aFormat, Arguments... aArguments)
{
    ktLogWithComponent(kLogPriorityCritical, kComponent, aFormat, aArguments...);
    return aResult;
}

// How the table allocates. The store frees values itself when it replaces them.

void* AllocTable(void* /*aPool*/, PRSize aSize)
{
    return PR_Malloc(static_cast<PRUint32>(aSize));
}

void FreeTable(void* /*aPool*/, void* aItem)
{
    PR_Free(aItem);
}

PLHashEntry* AllocEntry(void* /*aPool*/, void const* /*aKey*/)
{
    return static_cast<PLHashEntry*>(PR_Malloc(sizeof(PLHashEntry)));
}

void FreeEntry(void* /*aPool*/, PLHashEntry* aEntry, PRUintn aFlag)
{
    if (aFlag != HT_FREE_ENTRY)
        return;
    ktFREE(const_cast<void*>(aEntry->key));
    ktFREE(aEntry->value);
    PR_Free(aEntry);
}

constexpr PLHashAllocOps kAllocOps = {AllocTable, FreeTable, AllocEntry, FreeEntry};

/// @return a copy from ktMALLOC; null when there is no memory.
char* Duplicate(char const* aText)
{
    const std::size_t size = std::strlen(aText) + 1;
    void* const copy = ktMALLOC(size);
    return copy != nullptr ? static_cast<char*>(std::memcpy(copy, aText, size)) : nullptr;
}

/// A copy of a text to work on, on the stack when the text is short.
class WorkingCopy {
public:
    explicit WorkingCopy(char const* aText) : mBlock(nullptr, &ktFREE), mText(mShort), mShort()
    {
        const std::size_t size = std::strlen(aText) + 1;
        if (size > sizeof mShort) {
            mBlock.reset(static_cast<char*>(ktMALLOC(size)));
            mText = mBlock.get();
        }
        if (mText != nullptr)
            std::memcpy(mText, aText, size);
    }
    WorkingCopy(WorkingCopy const&) = delete;
    WorkingCopy& operator=(WorkingCopy const&) = delete;

    /// Null when there is no memory.
    char* Get()
    {
        return mText;
    }

private:
    ktOwnedText mBlock;
    char* mText;
    char mShort[kShortText];
};

/// Whether a byte is ASCII and does not end a text.
bool IsAscii(char aByte)
{
    const auto byte = static_cast<unsigned char>(aByte);
    return byte != 0 && byte < 0x80;
}

// libxml2.

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
    void* volatile room = ktMALLOC(kStateSize);  // volatile, or the compiler would take its success for granted
    const bool hasRoom = room != nullptr;
    ktFREE(room);
    return hasRoom && xmlGetGlobalState() != nullptr;
}

/// Whether libxml2 can be done with a text in reasonable time. It compares every attribute of an element with all
/// others, and so on in declarations, so that a megabyte of nothing else would take it minutes: what would make more
/// than a few thousand of them is refused.
bool IsReasonable(std::string_view aText)
{
    long long declared = 0;
    while (!aText.empty()) {
        const std::size_t end = std::min(aText.find('<', 1), aText.size());
        const std::string_view part = aText.substr(0, end);
        const bool isDeclaration = part.size() > 2 && part[1] == '!' && part[2] >= 'A';
        if (isDeclaration || part.size() > kMaxMarks) {  // nearly no part is looked at
            const auto marks = std::count_if(part.begin(), part.end(), [](char aByte) {
                return aByte == '"' || aByte == '=' || aByte == '|' || aByte == '\'';
            });
            declared += isDeclaration ? marks : 0;
            if (std::max<long long>(marks, declared) > static_cast<long long>(kMaxMarks))
                return false;
        }
        aText.remove_prefix(end);
    }
    return true;
}

void DropText(void* /*aContext*/, char const* /*aFormat*/, ...)
{
}

/// For as long as it lives libxml2 prints nothing on this thread and reads nothing but what it is given, whatever else
/// the program has told it.
class PlainParser {
public:
    PlainParser()
        : mReport(xmlStructuredError), mReportContext(xmlStructuredErrorContext), mPrint(xmlGenericError),
          mPrintContext(xmlGenericErrorContext), mSubstitutes(xmlSubstituteEntitiesDefault(0)),
          mLoadsOthers(xmlLoadExtDtdDefaultValue), mValidates(xmlDoValidityCheckingDefaultValue),
          mKeepsBlanks(xmlKeepBlanksDefaultValue), mLacksMemory(false)
    {
        xmlSetStructuredErrorFunc(this, NoteError);
        xmlSetGenericErrorFunc(nullptr, DropText);
        xmlLoadExtDtdDefaultValue = 0;
        xmlDoValidityCheckingDefaultValue = 0;
        xmlKeepBlanksDefaultValue = 0;  // nobody looks at text, and most of it is indentation
    }
    ~PlainParser()
    {
        xmlKeepBlanksDefaultValue = mKeepsBlanks;
        xmlDoValidityCheckingDefaultValue = mValidates;
        xmlLoadExtDtdDefaultValue = mLoadsOthers;
        xmlSubstituteEntitiesDefault(mSubstitutes);
        xmlSetGenericErrorFunc(mPrintContext, mPrint);
        xmlSetStructuredErrorFunc(mReportContext, mReport);
    }
    PlainParser(PlainParser const&) = delete;
    PlainParser& operator=(PlainParser const&) = delete;

    /// @return null for what is not XML, and when there was no memory for all of it: libxml2 leaves out what it cannot
    /// allocate, and only tells.
    Document Parse(char const* aText, int aSize)
    {
        Document document(xmlParseMemory(aText, aSize), &xmlFreeDoc);
        if (mLacksMemory)
            document.reset();
        return document;
    }

private:
    static void NoteError(void* aParser, xmlErrorPtr aError)
    {
        if (aError->code == XML_ERR_NO_MEMORY)
            static_cast<PlainParser*>(aParser)->mLacksMemory = true;
    }

    xmlStructuredErrorFunc mReport;
    void* mReportContext;
    xmlGenericErrorFunc mPrint;
    void* mPrintContext;
    int mSubstitutes;
    int mLoadsOthers;
    int mValidates;
    int mKeepsBlanks;
    bool mLacksMemory;
};

char const* Chars(xmlChar const* aText)
{
    return reinterpret_cast<char const*>(aText);
}

/// Turns UTF-8 into ISO Latin-1. @return the length; less than 0 when a character is none of it.
int ToLatin1(char const* aText, std::size_t aLength, char* aOut, std::size_t aRoom)
{
    auto length = static_cast<int>(aLength);
    auto written = static_cast<int>(aRoom);
    const int result = UTF8Toisolat1(reinterpret_cast<unsigned char*>(aOut), &written,
                                     reinterpret_cast<unsigned char const*>(aText), &length);
    return result < 0 ? result : written;
}

/// Room for the texts of an element's attributes.
struct TextRoom {
    int mSteps;  ///< that were made through entities
    char mKey[kMaxExpanded + 1];
    char mValue[kMaxExpanded + 1];
    char mLatin1[kMaxConfigValue + 1];
};

/// Writes the text of nodes with references to entities as far as there is room, and patience. libxml2 has neither
/// limit.
void Expand(xmlNode const* aNodes, char (&aOut)[kMaxExpanded + 1], int& aSteps)
{
    xmlNode const* open[kMaxNesting] = {};  // what follows each entity that is being read
    int depth = 0;
    std::size_t used = 0;
    xmlNode const* node = aNodes;
    for (; aSteps < kMaxSteps && used < kMaxExpanded && (node != nullptr || depth != 0); ++aSteps) {
        if (node == nullptr) {
            node = open[--depth];
            continue;
        }
        xmlNode const* const entity = node->type == XML_ENTITY_REF_NODE ? node->children : nullptr;
        if (node->type == XML_TEXT_NODE && node->content != nullptr) {
            const std::size_t length = strnlen(Chars(node->content), kMaxExpanded - used);
            std::memcpy(aOut + used, node->content, length);
            used += length;
        }
        node = node->next;
        if (entity != nullptr && entity->type == XML_ENTITY_DECL && depth < kMaxNesting) {
            open[depth++] = node;
            node = entity->children;
        }
    }
    aOut[used] = '\0';
}

/// The text of an attribute in UTF-8: its own where it is one piece, which nearly all are.
char const* TextOf(xmlAttr const& aAttribute, char (&aRoom)[kMaxExpanded + 1], int& aSteps)
{
    xmlNode const* const text = aAttribute.children;
    if (text == nullptr)
        return "";
    if (text->next == nullptr && text->type == XML_TEXT_NODE)
        return text->content != nullptr ? Chars(text->content) : "";
    Expand(text, aRoom, aSteps);
    return aRoom;
}

/// The value as it is stored. ASCII that is not too long is that already.
char const* ValueOf(xmlAttr const& aAttribute, TextRoom& aRoom)
{
    char const* const text = TextOf(aAttribute, aRoom.mValue, aRoom.mSteps);
    std::size_t length = 0;
    while (length <= kMaxConfigValue && IsAscii(text[length]))
        ++length;
    if (length <= kMaxConfigValue && text[length] == '\0')
        return text;
    const int written = ToLatin1(text, strnlen(text, kMaxExpanded), aRoom.mLatin1, kMaxConfigValue);
    aRoom.mLatin1[std::max(written, 0)] = '\0';
    return aRoom.mLatin1;
}

/// Whether the file has ISO Latin-1 for what libxml2 has made UTF-8 of.
bool IsLatin1(xmlDoc const* aDocument)
{
    return aDocument != nullptr && aDocument->encoding != nullptr &&
           xmlParseCharEncoding(Chars(aDocument->encoding)) == XML_CHAR_ENCODING_8859_1;
}

bool IsAscii(char const* aText)
{
    while (IsAscii(*aText))
        ++aText;
    return *aText == '\0';
}

/// Adds one entry, its key in the file's bytes.
ktError AddPair(ktConfig& aConfig, char const* aKey, char const* aValue, bool aIsLatin1)
{
    if (!aIsLatin1 || IsAscii(aKey))
        return aConfig.AddEntry(aKey, aValue);
    WorkingCopy key(aKey);
    if (key.Get() == nullptr)
        return Report(kErrNoMemory, "failed to allocate key/value pair for: %s, %s", aKey, aValue);
    const std::size_t length = std::min<std::size_t>(std::strlen(aKey), INT_MAX);
    const int written = ToLatin1(aKey, length, key.Get(), length);
    if (written < 0)  // a reference to another character
        return aConfig.AddEntry(aKey, aValue);
    key.Get()[written] = '\0';
    return aConfig.AddEntry(key.Get(), aValue);
}

/// Adds what one node has, if it is an element.
ktError AddNode(ktConfig& aConfig, xmlNode const& aNode, bool aIsLatin1, TextRoom& aRoom)
{
    if (aNode.type != XML_ELEMENT_NODE)
        return kErrNone;
    xmlAttr const* key = nullptr;
    xmlAttr const* value = nullptr;
    for (xmlAttr const* attribute = aNode.properties; attribute != nullptr; attribute = attribute->next) {
        if (std::strcmp(Chars(attribute->name), "key") == 0)
            key = key != nullptr ? key : attribute;
        else if (std::strcmp(Chars(attribute->name), "value") == 0)
            value = value != nullptr ? value : attribute;
    }
    if (key == nullptr || value == nullptr)
        return kErrNone;
    return AddPair(aConfig, TextOf(*key, aRoom.mKey, aRoom.mSteps), ValueOf(*value, aRoom), aIsLatin1);
}

// Numbers as the device has them, whose `long` is an `int`.

int ToInt(char const* aText, char** aEnd)
{
    const long long value = std::strtoll(aText, aEnd, 0);
    const long long nearest = std::clamp<long long>(value, INT_MIN, INT_MAX);
    if (nearest != value)
        errno = ERANGE;
    return static_cast<int>(nearest);
}

unsigned int ToUInt(char const* aText, char** aEnd)
{
    const unsigned long long value = std::strtoull(aText, aEnd, 0);
    const bool isNegative = aText[std::strspn(aText, " \t\n\v\f\r")] == '-';
    const unsigned long long magnitude = isNegative ? 0 - value : value;
    if (errno == 0 && magnitude <= UINT_MAX)
        return static_cast<unsigned int>(value);
    errno = ERANGE;
    return UINT_MAX;
}

unsigned long long ToUInt64(char const* aText, char** aEnd)
{
    return std::strtoull(aText, aEnd, 0);
}

template <typename Number>
ktError ParseNumber(char const* aText, Number (*aParse)(char const*, char**), Number& aOut)
{
    if (aText == nullptr)
        return kErrKeyNotFound;
    char* end = nullptr;
    errno = 0;
    aOut = aParse(aText, &end);
    return errno == 0 && *end == '\0' ? kErrNone : kErrBadValue;
}

void AppendText(ktString& aOut, char const* aText)
{
    if (aOut.Append(aText) == kErrNone)
        return;
    for (char const* at = aText; *at != '\0'; ++at)
        aOut.Append(*at);
}

}  // namespace

int config_logger(PLHashEntry* aEntry, int /*aIndex*/, void* aString)
{
    if (aEntry == nullptr || aEntry->key == nullptr || aEntry->value == nullptr || aString == nullptr)
        return HT_ENUMERATE_NEXT;
    ktString& text = *static_cast<ktString*>(aString);
    text.Append(" ('");
    AppendText(text, static_cast<char const*>(aEntry->key));
    text.Append("', '");
    AppendText(text, static_cast<char const*>(aEntry->value));
    text.Append("')");
    return HT_ENUMERATE_NEXT;
}

ktConfig::ktConfig() : mStore(nullptr)
{
}

ktConfig::~ktConfig()
{
    ktDestroyHandle(mStore, PL_HashTableDestroy);
}

ktError ktConfig::Init()
{
    ktDestroyHandle(mStore, PL_HashTableDestroy);
    mStore = PL_NewHashTable(0, hash_key, PL_CompareStrings, PL_CompareValues, &kAllocOps, nullptr);
    return mStore != nullptr ? kErrNone : Report(kErrNoMemory, "failed to allocate config store");
}

ktError ktConfig::AddConfig(char const* aPath)
{
    char* text = nullptr;
    int size = 0;
    const ktError result = ReadFile(aPath, text, size);
    const ktOwnedText owned(text, &ktFREE);
    return result == kErrNone ? AddDocument(text, size, aPath) : result;
}

ktError ktConfig::GetConfigData(xmlNode* aNode)
{
    const bool isLatin1 = aNode != nullptr && IsLatin1(aNode->doc);
    TextRoom room = {};
    int depth = 0;  // below the chain of siblings that was given
    for (xmlNode const* node = aNode; node != nullptr;) {
        if (AddNode(*this, *node, isLatin1, room) != kErrNone)
            return kErrNoMemory;
        if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
            node = node->children;
            ++depth;
            continue;
        }
        for (; node->next == nullptr && depth > 0; --depth)
            node = node->parent;
        node = node->next;
    }
    return kErrNone;
}

ktError ktConfig::AddEntry(char const* aKey, char const* aValue)
{
    if (mStore != nullptr && aKey != nullptr && aValue != nullptr && PutEntry(aKey, aValue))
        return kErrNone;
    return Report(mStore != nullptr ? kErrNoMemory : kErrNotInitialised,
                  "failed to allocate key/value pair for: %s, %s", aKey, aValue);
}

char const* ktConfig::GetValue(char const* aKey) const
{
    // The plain lookup would move the entry to the front of its chain, under the eyes of other readers.
    return mStore != nullptr && aKey != nullptr ? static_cast<char const*>(PL_HashTableLookupConst(mStore, aKey))
                                                : nullptr;
}

bool ktConfig::HasValue(char const* aKey) const
{
    return GetValue(aKey) != nullptr;
}

int ktConfig::GetIntValue(char const* aKey) const
{
    char const* const text = GetValue(aKey);
    return text != nullptr ? ToInt(text, nullptr) : 0;
}

ktError ktConfig::GetIntValue(char const* aKey, int& aOut) const
{
    return ParseNumber(GetValue(aKey), ToInt, aOut);
}

ktError ktConfig::GetUIntValue(char const* aKey, unsigned int& aOut) const
{
    return ParseNumber(GetValue(aKey), ToUInt, aOut);
}

ktError ktConfig::GetUInt64Value(char const* aKey, unsigned long long& aOut) const
{
    return ParseNumber(GetValue(aKey), ToUInt64, aOut);
}

float ktConfig::GetFloatValue(char const* aKey) const
{
    char const* const text = GetValue(aKey);
    return text != nullptr ? static_cast<float>(strtod_l(text, nullptr, ktPlainLocale())) : 0.0F;
}

long long ktConfig::GetTimeValue(char const* aKey) const
{
    char const* const text = GetValue(aKey);
    return text != nullptr ? std::strtoll(text, nullptr, 10) : 0;
}

ktError ktConfig::GetPathValue(char const* aKey, ktString& aOut) const
{
    char const* const text = GetValue(aKey);
    if (text == nullptr)
        return kErrKeyNotFound;
    const ktError result = aOut.Append(text);
    return result == kErrNone ? kErrNone : Report(result, "failed to allocate path value");
}

int ktConfig::GetIntValues(char const* aKey, char aDelimiter, ktIntArray& aOut) const
{
    char const* const text = GetValue(aKey);
    if (text == nullptr)
        return 0;
    WorkingCopy copy(text);
    if (copy.Get() == nullptr)
        return 0;
    const char delimiters[] = {aDelimiter, '\0'};
    char* rest = nullptr;
    int count = 0;
    for (char const* token = strtok_r(copy.Get(), delimiters, &rest);
         token != nullptr && aOut.Append(ToInt(token, nullptr)) == kErrNone; ++count)
        token = strtok_r(nullptr, delimiters, &rest);
    return count;
}

ktError ktConfig::GetBinaryBlobValue(char const* aKey, char* aBuffer, unsigned int& aLength) const
{
    char const* const text = GetValue(aKey);
    if (text == nullptr)
        return kErrKeyNotFound;
    const std::size_t length = std::strlen(text);
    std::size_t padding = length > 0 && text[length - 1] == '=' ? 1 : 0;
    padding += padding != 0 && length > 1 && text[length - 2] == '=' ? 1 : 0;
    const std::size_t expected = (length - padding) * 3 / 4;
    if (expected > aLength)
        return kErrBadValue;
    aLength = ktBase64Decode(text, static_cast<unsigned short>(length), reinterpret_cast<unsigned char*>(aBuffer));
    return aLength != kDecodeFailure && aLength <= expected ? kErrNone : kErrDecode;
}

void ktConfig::Log(char const* aPrefix)
{
    Log(aPrefix, config_logger);
}

void ktConfig::Log(char const* aPrefix, int (*aEnumerator)(PLHashEntry*, int, void*))
{
    ktString text(aPrefix);
    text.Append(": store (");
    if (mStore != nullptr && aEnumerator != nullptr)
        PL_HashTableEnumerateEntries(mStore, aEnumerator, &text);
    text.Append(")");
    ktLogWithComponent(kLogPriorityInfo, kComponent, "%s", text.GetAsUTFArray());
}

void ktConfig::Log(char const* aPrefix, char const* aName, int (*aEnumerator)(PLHashEntry*, int, void*))
{
    ktString prefix(aPrefix);
    prefix.Append(" <");
    prefix.Append(aName);
    prefix.Append("> ");
    Log(prefix.GetAsUTFArray(), aEnumerator);
}

/// Reads a whole file. @param aText receives a block from ktMALLOC, or null; it is the caller's on failure too.
ktError ktConfig::ReadFile(char const* aPath, char*& aText, int& aSize)
{
    constexpr char cannotOpen[] = "failed to open config file: %s";
    if (aPath == nullptr || !ktAttachThread())
        return Report(kErrOpen, cannotOpen, aPath);
    ktFileHandle file(aPath, PR_RDONLY, 0);
    if (file.Get() == nullptr)
        return Report(kErrOpen, cannotOpen, aPath);
    PRFileInfo64 info;  // the other one cuts the size
    if (PR_GetOpenFileInfo64(file.Get(), &info) != PR_SUCCESS || info.size > INT_MAX)
        return Report(kErrFileInfo, "failed to get info for file: %s", aPath);
    aSize = static_cast<int>(info.size);
    aText = static_cast<char*>(ktMALLOC(static_cast<std::size_t>(std::max(aSize, 1))));
    if (aText == nullptr)
        return Report(kErrNoMemory, "failed to allocate %d bytes for xml for file: %s", aSize, aPath);
    Report(kErrNone, "reading file (%s)", aPath);
    if (PR_Read(file.Get(), aText, aSize) != aSize)  // what callers know as -2, and not as a failure to read
        return Report(kErrNoMemory, "read error in xml file: %s", aPath);
    return kErrNone;
}

ktError ktConfig::AddDocument(char const* aText, int aSize, char const* aPath)
{
    const bool canParse = IsReasonable({aText, static_cast<std::size_t>(aSize)}) && HasThreadState();
    const Document document = canParse ? PlainParser().Parse(aText, aSize) : Document(nullptr, &xmlFreeDoc);
    if (!document)
        return Report(kErrParse, "failed to parse config file: %s", aPath);
    xmlNode* const root = xmlDocGetRootElement(document.get());
    if (root == nullptr)
        return Report(kErrRefused, "failed to get doc root for config file: %s", aPath);
    return GetConfigData(root);
}

/// Copies first: the texts may be the ones that are replaced, and these stay when there is no memory.
bool ktConfig::PutEntry(char const* aKey, char const* aValue)
{
    const PLHashNumber hash = hash_key(aKey);
    PLHashEntry** const place = PL_HashTableRawLookup(mStore, hash, aKey);
    PLHashEntry* const entry = *place;
    if (entry != nullptr && entry->value == aValue)
        return true;
    char* const value = Duplicate(aValue);
    if (entry != nullptr && value != nullptr) {
        ktFREE(entry->value);
        entry->value = value;
        return true;
    }
    char* const key = entry == nullptr ? Duplicate(aKey) : nullptr;
    if (key != nullptr && value != nullptr && PL_HashTableRawAdd(mStore, place, hash, key, value) != nullptr)
        return true;
    ktFREE(key);
    ktFREE(value);
    return false;
}
