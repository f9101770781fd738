#include "FuzzXmlMutations.h"

#include <windows.h>

#include <cctype>
#include <iterator>
#include <utility>

namespace OstrelFuzz {
namespace Xml {
namespace {

using Span = std::pair<size_t, size_t>;  // [first, second)

const size_t kLongLengths[] = {255, 256, 260, 1024, 4096, 32768, 65536, 300000};

bool IsNameByte(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == ':' || c == '.' ||
           c == '-' || (c & 0x80) != 0;
}

// Offsets of the '<' that open an element.
std::vector<size_t> ElementStarts(const std::string& document) {
    std::vector<size_t> starts;
    for (size_t at = document.find('<'); at != std::string::npos && at + 1 < document.size();
         at = document.find('<', at + 1)) {
        if (std::isalpha(static_cast<unsigned char>(document[at + 1]))) {
            starts.push_back(at);
        }
    }
    return starts;
}

// The name of the element opened at start, as [first, second).
Span NameAt(const std::string& document, size_t start) {
    size_t end = start + 1;
    while (end < document.size() && IsNameByte(document[end])) {
        ++end;
    }
    return {start + 1, end};
}

// The texts of elements that hold only text: from a '>' to the "</" that follows.
std::vector<Span> LeafTexts(const std::string& document) {
    std::vector<Span> texts;
    for (size_t close = document.find("</"); close != std::string::npos;
         close = document.find("</", close + 2)) {
        const size_t open = document.rfind('>', close);
        if (open != std::string::npos && document.find('<', open) == close) {
            texts.emplace_back(open + 1, close);
        }
    }
    return texts;
}

// Attribute values between the quotes of ="...".
std::vector<Span> AttributeValues(const std::string& document) {
    std::vector<Span> values;
    for (size_t at = document.find("=\""); at != std::string::npos;
         at = document.find("=\"", at + 2)) {
        const size_t end = document.find('"', at + 2);
        if (end == std::string::npos) {
            break;
        }
        values.emplace_back(at + 2, end);
    }
    return values;
}

// A place inside a text when there is one, else anywhere.
size_t TextPosition(const std::string& document, Random& random) {
    const std::vector<Span> texts = LeafTexts(document);
    if (texts.empty()) {
        return random.Below(document.size() + 1);
    }
    const Span& text = random.Pick(texts);
    return random.Between(text.first, text.second);
}

// Long content: letters, digits and the characters that format and path code trip on.
std::string LongContent(size_t length, Random& random) {
    static const char kAlphabet[] = "AbYz09%s\\/.- {}$";
    std::string content(length, 'A');
    const size_t stride = random.Between(1, 64);
    for (size_t at = 0; at < length; at += stride) {
        content[at] = kAlphabet[random.Below(sizeof(kAlphabet) - 1)];
    }
    return content;
}

std::string LongName(size_t length, Random& random) {
    std::string name(length, 'N');
    if (random.Percent(30)) {
        for (size_t at = 1; at + 1 < length; at += 2) {  // "é", two bytes each
            name[at] = '\xc3';
            name[at + 1] = '\xa9';
        }
    }
    return name;
}

void ReplaceSpan(std::string& document, const Span& span, const std::string& text) {
    document.replace(span.first, span.second - span.first, text);
}

// One of spans becomes long content.
bool Lengthen(std::string& document, Random& random, const std::vector<Span>& spans) {
    if (spans.empty()) {
        return false;
    }
    ReplaceSpan(document, random.Pick(spans),
                LongContent(kLongLengths[random.Below(std::size(kLongLengths))], random));
    return true;
}

// One of spans becomes a text of the dictionary.
bool ReplaceFromDictionary(std::string& document, Random& random, const std::vector<Span>& spans,
                           const std::vector<std::string>& dictionary) {
    if (spans.empty() || dictionary.empty()) {
        return false;
    }
    ReplaceSpan(document, random.Pick(spans), random.Pick(dictionary));
    return true;
}

std::string Widen(const std::string& document, bool bigEndian, bool byteOrderMark) {
    const int cch = MultiByteToWideChar(CP_UTF8, 0, document.data(),
                                        static_cast<int>(document.size()), nullptr, 0);
    std::wstring wide(static_cast<size_t>(cch), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, document.data(), static_cast<int>(document.size()), &wide[0],
                        cch);
    if (byteOrderMark) {
        wide.insert(wide.begin(), L'\xFEFF');
    }
    std::string bytes;
    bytes.reserve(wide.size() * 2);
    for (wchar_t c : wide) {
        const char low = static_cast<char>(c & 0xFF);
        const char high = static_cast<char>((c >> 8) & 0xFF);
        bytes.push_back(bigEndian ? high : low);
        bytes.push_back(bigEndian ? low : high);
    }
    return bytes;
}

// The value of the declaration's encoding="...", or an empty span.
Span EncodingValue(const std::string& document) {
    const size_t end = document.find("?>");
    const size_t at = document.find("encoding=\"");
    if (at == std::string::npos || end == std::string::npos || at > end) {
        return {0, 0};
    }
    const size_t first = at + 10;
    const size_t last = document.find('"', first);
    return last == std::string::npos ? Span{0, 0} : Span{first, last};
}

// Just behind the XML declaration, or the start.
size_t AfterDeclaration(const std::string& document) {
    const size_t end = document.find("?>");
    return document.compare(0, 5, "<?xml") == 0 && end != std::string::npos ? end + 2 : 0;
}

}  // namespace

std::vector<std::string> Texts(const std::string& document) {
    std::vector<std::string> texts;
    for (const std::vector<Span>& spans : {LeafTexts(document), AttributeValues(document)}) {
        for (const Span& span : spans) {
            texts.push_back(document.substr(span.first, span.second - span.first));
        }
    }
    return texts;
}

bool DeepNesting(std::string& document, Random& random) {
    static const size_t kDepths[] = {64, 256, 1000, 5000, 20000};
    const std::vector<size_t> starts = ElementStarts(document);
    std::string name = "n";
    size_t at = random.Below(document.size() + 1);
    if (!starts.empty()) {
        at = random.Pick(starts);
        const Span span = NameAt(document, at);
        name = document.substr(span.first, span.second - span.first);
    }
    const size_t depth = kDepths[random.Below(5)];
    std::string nest;
    for (size_t level = 0; level < depth; ++level) {
        nest += "<" + name + ">";
    }
    if (random.Percent(50)) {
        for (size_t level = 0; level < depth; ++level) {
            nest += "</" + name + ">";
        }
    }
    document.insert(at, nest);
    return true;
}

bool LongName(std::string& document, Random& random) {
    const std::vector<size_t> starts = ElementStarts(document);
    if (starts.empty()) {
        return false;
    }
    const Span span = NameAt(document, random.Pick(starts));
    const std::string old = "</" + document.substr(span.first, span.second - span.first) + ">";
    const std::string name = LongName(kLongLengths[random.Below(7)], random);
    // The end tag too, most of the time: a well-formed document with a long name.
    const size_t end = document.find(old, span.second);
    if (end != std::string::npos && random.Percent(80)) {
        document.replace(end, old.size(), "</" + name + ">");
    }
    ReplaceSpan(document, span, name);
    return true;
}

bool LongAttribute(std::string& document, Random& random) {
    return Lengthen(document, random, AttributeValues(document));
}

bool LongText(std::string& document, Random& random) {
    return Lengthen(document, random, LeafTexts(document));
}

bool ManyAttributes(std::string& document, Random& random) {
    static const size_t kCounts[] = {16, 256, 4096, 20000};
    const std::vector<size_t> starts = ElementStarts(document);
    if (starts.empty()) {
        return false;
    }
    const Span name = NameAt(document, random.Pick(starts));
    const bool duplicates = random.Percent(30);
    std::string attributes;
    for (size_t index = 0, count = kCounts[random.Below(4)]; index < count; ++index) {
        attributes += " a" + std::to_string(duplicates ? 0 : index) + "=\"v\"";
    }
    document.insert(name.second, attributes);
    return true;
}

bool RepeatedElement(std::string& document, Random& random) {
    static const size_t kCounts[] = {2, 10, 100, 1000};
    const std::vector<size_t> starts = ElementStarts(document);
    if (starts.empty()) {
        return false;
    }
    const size_t start = random.Pick(starts);
    const Span name = NameAt(document, start);
    const std::string close = "</" + document.substr(name.first, name.second - name.first) + ">";
    size_t end = document.find(close, name.second);
    const size_t emptyEnd = document.find("/>", name.second);
    if (emptyEnd != std::string::npos && emptyEnd < document.find('>', name.second)) {
        end = emptyEnd + 2;
    } else if (end != std::string::npos) {
        end += close.size();
    } else {
        return false;
    }
    const std::string element = document.substr(start, end - start);
    std::string copies;
    for (size_t count = kCounts[random.Below(4)]; count > 0; --count) {
        copies += element;
    }
    document.insert(end, copies);
    return true;
}

bool InvalidUtf8(std::string& document, Random& random) {
    static const char* const kSequences[] = {
        "\xc0\x80",          // overlong NUL
        "\xed\xa0\x80",      // a surrogate
        "\xf4\x90\x80\x80",  // beyond U+10FFFF
        "\x80",              // a lone continuation byte
        "\xe2\x82",          // cut short
        "\xff\xfe",          // never valid
        "\xf8\x88\x80\x80\x80",
    };
    for (size_t count = random.Between(1, 3); count > 0; --count) {
        document.insert(TextPosition(document, random), kSequences[random.Below(7)]);
    }
    return true;
}

bool Utf16(std::string& document, Random& random) {
    const Span encoding = EncodingValue(document);
    if (encoding.second > encoding.first && random.Percent(50)) {
        ReplaceSpan(document, encoding, "utf-16");
    }
    document = Widen(document, random.Percent(30), random.Percent(70));
    return true;
}

bool InvalidUtf16(std::string& document, Random& random) {
    static const char* const kUnits[] = {"\x00\xd8", "\x00\xdc", "\xff\xdb", "\xfe\xff"};
    document = Widen(document, false, true);
    for (size_t count = random.Between(1, 3); count > 0; --count) {
        document.insert(random.Below(document.size() / 2 + 1) * 2, kUnits[random.Below(4)], 2);
    }
    if (random.Percent(30)) {
        document.pop_back();  // an odd length
    }
    return true;
}

bool EntityDeclaration(std::string& document, Random& random) {
    static const char* const kDeclarations[] = {
        "<!DOCTYPE r [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">"
        "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\"><!ENTITY e \"&c;&c;&c;&c;&c;&c;&c;&c;\">]>",
        "<!DOCTYPE r SYSTEM \"file:///C:/windows/win.ini\">",
        "<!DOCTYPE r [<!ENTITY e SYSTEM \"\\\\server\\share\\e.xml\">]>",
        "<!DOCTYPE r [<!ENTITY % p \"<!ENTITY e 'v'>\"> %p;]>",
        "<!DOCTYPE r [<!ENTITY e \"HKLM\">]>",
        "<!DOCTYPE r [",
    };
    document.insert(AfterDeclaration(document), kDeclarations[random.Below(6)]);
    if (random.Percent(70)) {
        document.insert(TextPosition(document, random), random.Percent(80) ? "&e;" : "&undefined;");
    }
    return true;
}

bool WrongEncoding(std::string& document, Random& random) {
    static const char* const kEncodings[] = {"utf-16",       "ucs-4",     "ISO-8859-1",
                                             "shift_jis",    "bogus-enc", "utf-32",
                                             "ebcdic-cp-us", "",          "utf-16be"};
    static const char* const kMarks[] = {"\xff\xfe", "\xfe\xff", "\x00\x00\xfe\xff",
                                         "\xef\xbb\xbf\xef\xbb\xbf", "\x2b\x2f\x76\x38"};
    static const size_t kMarkLengths[] = {2, 2, 4, 6, 4};
    const Span encoding = EncodingValue(document);
    switch (random.Below(3)) {
        case 0:
            if (encoding.second > encoding.first) {
                ReplaceSpan(document, encoding, kEncodings[random.Below(9)]);
                return true;
            }
            document.insert(0, std::string("<?xml version=\"1.0\" encoding=\"") +
                                   kEncodings[random.Below(9)] + "\"?>");
            return true;
        case 1: {
            const size_t mark = random.Below(5);
            document.insert(0, kMarks[mark], kMarkLengths[mark]);
            return true;
        }
        default:
            document.erase(0, AfterDeclaration(document));
            return true;
    }
}

bool CharacterReference(std::string& document, Random& random) {
    static const char* const kReferences[] = {
        "&#0;",   "&#xD800;", "&#x110000;", "&#99999999999;", "&#x;", "&amp",
        "&#x41;", "&lt;",     "&#65",       "&#x1F600;",      "&#;",  "&#-1;",
    };
    const std::vector<Span> values = AttributeValues(document);
    const size_t at = !values.empty() && random.Percent(40) ? random.Pick(values).first
                                                            : TextPosition(document, random);
    document.insert(at, kReferences[random.Below(std::size(kReferences))]);
    return true;
}

bool FieldText(std::string& document, Random& random, const std::vector<std::string>& dictionary) {
    return ReplaceFromDictionary(document, random, LeafTexts(document), dictionary);
}

bool AttributeText(std::string& document, Random& random,
                   const std::vector<std::string>& dictionary) {
    return ReplaceFromDictionary(document, random, AttributeValues(document), dictionary);
}

}  // namespace Xml
}  // namespace OstrelFuzz
