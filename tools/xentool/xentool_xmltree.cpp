#include "xentool_xmltree.h"

#include <shlwapi.h>

#include <algorithm>

#include "Frwk_StringUtility.h"
#include "ZorvComn_Handle.h"
#include "ZorvComn_XmlLite.h"
#include "ZorvComn_XmlParser.h"

namespace Xentool {

namespace {

using ZorvCommon::Storage::XmlException;
using ZorvCommon::Storage::XmlLiteReader;
using ZorvCommon::Storage::XmlParser;

// How often the reader may answer the same node at the same place before the walk
// counts as stuck (Wine's reader does so for input cut off inside element text).
constexpr uint32_t kRepeatLimit = 16;

// The document's text by lines (UTF-16 with its byte-order mark, else UTF-8).
std::vector<std::wstring> SourceLines(const std::vector<uint8_t>& bytes) {
    std::wstring text;
    if (bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE) {
        text.assign(reinterpret_cast<const wchar_t*>(bytes.data() + 2), (bytes.size() - 2) / 2);
    } else if (!bytes.empty()) {
        // UTF-8 never takes fewer bytes than UTF-16 takes characters.
        text.resize(bytes.size());
        const int cchText = MultiByteToWideChar(
            CP_UTF8, 0, reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()),
            &text[0], static_cast<int>(text.size()));
        text.resize(static_cast<size_t>(cchText > 0 ? cchText : 0));
    }
    std::vector<std::wstring> lines(1);
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] == L'\n') {
            lines.emplace_back();
        } else if (text[at] != L'\r') {
            lines.back() += text[at];
        }
    }
    return lines;
}

// XmlLite reports a text node where the text ends; it begins after the '>' that closes
// its element's start tag, found from the element's name on (quoted values skipped).
Position TextStart(const std::vector<std::wstring>& lines, const Position& elementAt) {
    wchar_t quote = 0;
    for (uint32_t line = elementAt.Line; line >= 1 && line <= lines.size(); ++line) {
        const std::wstring& text = lines[line - 1];
        for (uint32_t column = line == elementAt.Line ? elementAt.Column : 1;
             column >= 1 && column <= text.size(); ++column) {
            const wchar_t c = text[column - 1];
            if (quote != 0) {
                quote = c == quote ? 0 : quote;
            } else if (c == L'"' || c == L'\'') {
                quote = c;
            } else if (c == L'>') {
                return column < text.size() ? Position{line, column + 1} : Position{line + 1, 1};
            }
        }
    }
    return elementAt;
}

class TreeBuilder {
public:
    // lines: the document's text, where its texts begin and where it ends.
    TreeBuilder(XmlLiteReader& reader, const std::vector<std::wstring>& lines)
        : m_Reader(reader), m_Lines(lines) {}

    // Throws XmlException (by pointer) for what the reader refuses and for a document
    // that ends early.
    std::unique_ptr<XmlElement> Build() {
        XmlNodeType nodeType = XmlNodeType_None;
        while (m_Reader.Read(nodeType)) {
            const Position at = Here();
            GuardProgress(nodeType, at);
            switch (nodeType) {
                case XmlNodeType_Element:
                    OpenElement(at);
                    break;
                case XmlNodeType_EndElement:
                    CloseElement(at);
                    break;
                case XmlNodeType_Text:
                case XmlNodeType_CDATA:
                case XmlNodeType_Whitespace:
                    AddText();
                    break;
                default:
                    break;
            }
        }
        if (m_pRoot == nullptr || m_pCurrent != nullptr) {
            EndsEarly();
        }
        return std::move(m_pRoot);
    }

private:
    [[noreturn]] void EndsEarly() const {
        throw new XmlException(XmlException::KindFailedCall, __LINE__, __FILE__,
                               XmlParser::kResultUnexpectedEnd,
                               static_cast<uint32_t>(m_Lines.size()),
                               static_cast<uint32_t>(m_Lines.back().size() + 1));
    }

    // Wine's reader ends a document whose elements are not all closed without an error,
    // after end elements of its own, which it places where their start elements stand:
    // a real end tag always stands after its start tag.
    void CloseElement(const Position& at) {
        if (m_pCurrent == nullptr) {
            return;
        }
        if (at.Line == m_pCurrent->At.Line && at.Column == m_pCurrent->At.Column) {
            EndsEarly();
        }
        if (!m_pCurrent->Text.empty()) {
            m_pCurrent->TextAt = TextStart(m_Lines, m_pCurrent->At);
        }
        m_pCurrent = m_pCurrent->Parent;
    }

    Position Here() { return {m_Reader.GetLineNumber(), m_Reader.GetLinePosition()}; }

    void GuardProgress(XmlNodeType nodeType, const Position& at) {
        const bool same =
            nodeType == m_LastType && at.Line == m_Last.Line && at.Column == m_Last.Column;
        m_Repeats = same ? m_Repeats + 1 : 0;
        m_LastType = nodeType;
        m_Last = at;
        if (m_Repeats > kRepeatLimit) {
            EndsEarly();
        }
    }

    void OpenElement(const Position& at) {
        auto pElement = std::make_unique<XmlElement>();
        UINT cchName = 0;
        const wchar_t* name = m_Reader.GetLocalName(cchName);
        pElement->Name.assign(name, cchName);
        pElement->At = at;
        pElement->TextAt = at;
        const bool isEmpty = m_Reader.IsEmptyElement();
        for (bool more = m_Reader.MoveToFirstAttribute(); more;
             more = m_Reader.MoveToNextAttribute()) {
            UINT cchValue = 0;
            name = m_Reader.GetLocalName(cchName);
            const wchar_t* value = m_Reader.GetValue(cchValue);
            pElement->Attributes.push_back(
                {std::wstring(name, cchName), std::wstring(value, cchValue), Here()});
        }
        m_Reader.MoveToElement();

        XmlElement* pOpened = pElement.get();
        if (m_pCurrent == nullptr) {
            if (m_pRoot != nullptr) {
                return;  // XmlLite refuses a second root before this point
            }
            m_pRoot = std::move(pElement);
        } else {
            pElement->Parent = m_pCurrent;
            m_pCurrent->Children.push_back(std::move(pElement));
        }
        if (!isEmpty) {
            m_pCurrent = pOpened;
        }
    }

    void AddText() {
        if (m_pCurrent != nullptr) {
            UINT cchValue = 0;
            const wchar_t* value = m_Reader.GetValue(cchValue);
            m_pCurrent->Text.append(value, cchValue);
        }
    }

    XmlLiteReader& m_Reader;
    const std::vector<std::wstring>& m_Lines;
    std::unique_ptr<XmlElement> m_pRoot;
    XmlElement* m_pCurrent = nullptr;
    XmlNodeType m_LastType = XmlNodeType_None;
    Position m_Last;
    uint32_t m_Repeats = 0;
};

}  // namespace

const XmlAttribute* XmlElement::FindAttribute(const wchar_t* name) const {
    const auto found =
        std::find_if(Attributes.begin(), Attributes.end(),
                     [&](const XmlAttribute& attribute) { return attribute.Name == name; });
    return found != Attributes.end() ? &*found : nullptr;
}

bool XmlElement::IsNamed(const wchar_t* name) const {
    return Frwk::StringUtility::EqualsNoCase(Name, name);
}

std::unique_ptr<XmlElement> ReadXmlTree(const std::vector<uint8_t>& bytes,
                                        XmlReadFailure& failure) {
    ZorvCommon::Library::XmlLite library;
    uint32_t error = 0;
    if (!library.LoadFromSystemDirectory(&error)) {
        failure.LibraryMissing = true;
        failure.Result = static_cast<HRESULT>(error);
        return nullptr;
    }
    const ZorvCommon::UniqueCom<IStream> stream(
        SHCreateMemStream(bytes.data(), static_cast<UINT>(bytes.size())));
    if (stream.get() == nullptr) {
        failure.Result = E_OUTOFMEMORY;
        return nullptr;
    }
    const std::vector<std::wstring> lines = SourceLines(bytes);
    XmlLiteReader reader;
    try {
        reader.Create(library, stream.get());
        return TreeBuilder(reader, lines).Build();
    } catch (XmlException* pException) {
        const std::unique_ptr<XmlException> owner(pException);
        failure.Result = pException->m_Result;
        failure.At = {pException->m_ReaderLine, pException->m_ReaderColumn};
        return nullptr;
    }
}

}  // namespace Xentool
