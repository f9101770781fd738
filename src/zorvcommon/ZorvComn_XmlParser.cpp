#include "ZorvComn_XmlParser.h"

#include <cctype>
#include <cstring>
#include <memory>
#include <new>

#include "ZorvComn_File.h"
#include "ZorvComn_Stream.h"

namespace ZorvCommon {
namespace Storage {

namespace {

// The same node at the same place this many times in a row means the reader is stuck.
constexpr uint32_t kStalledReads = 4;

bool IsTextNode(XmlNodeType nodeType) {
    return nodeType == XmlNodeType_Text || nodeType == XmlNodeType_CDATA ||
           nodeType == XmlNodeType_Whitespace;
}

// Wine's reader ends the process on a failed assertion when its input runs out, or
// reaches a NUL (which it takes for the end), while it still reads the start of a
// document: behind a UTF-8 byte-order mark with at most "<?xml" after it, inside "<?xml"
// itself, or right after a whole XML declaration. No well-formed document starts so.
// head is the start of the input up to at least the first byte after the first '>'
// (or all of it, when it is shorter).
bool IsStartThatStopsTheReader(std::string_view head) {
    constexpr std::string_view kMark = "\xef\xbb\xbf";
    constexpr std::string_view kDeclaration = "<?xml";
    const bool marked = head.substr(0, kMark.size()) == kMark;
    if (!marked && head.substr(0, 2) != "<?") {
        return false;  // other encodings and starts are the reader's to judge
    }
    std::string_view text = head.substr(marked ? kMark.size() : 0);
    text = text.substr(0, text.find('\0'));
    if (kDeclaration.substr(0, text.size()) == text) {
        return true;
    }
    const bool declaration = text.size() > kDeclaration.size() &&
                             text.substr(0, kDeclaration.size()) == kDeclaration &&
                             isspace(static_cast<unsigned char>(text[kDeclaration.size()]));
    return declaration && text.find('>') == text.size() - 1;
}

// Such a start is refused as an early end of the input before the reader sees it, and the
// file is put back where it was. S_OK for any other start, a root element straight behind
// the mark included.
HRESULT CheckDocumentStart(FileBase& file) {
    constexpr size_t kLookLimit = 64 * 1024;
    uint32_t position = 0;
    if (!file.SetPointer(0, FILE_CURRENT, &position)) {
        return S_OK;  // a file that cannot seek is read as it comes
    }
    std::string head;
    char chunk[512];
    bool atEnd = false;
    while (!atEnd && head.size() < kLookLimit) {
        uint32_t read = 0;
        atEnd = !file.Read(chunk, sizeof(chunk), &read, nullptr) || read < sizeof(chunk);
        head.append(chunk, read);
        const size_t close = head.find('>');
        if (close != std::string::npos && close + 1 < head.size()) {
            break;
        }
    }
    uint32_t error = 0;
    if (!file.SetPointer(static_cast<int32_t>(position), FILE_BEGIN, nullptr, &error)) {
        return ZorvCommon::Exception::ResultFromWin32(error);
    }
    return IsStartThatStopsTheReader(head) ? XmlParser::kResultUnexpectedEnd : S_OK;
}

}  // namespace

#define ZORV_THROW_XML(kind, result) \
    throw new XmlException((kind), __LINE__, __FILE__, static_cast<HRESULT>(result))

// ---- XmlLiteReader -----------------------------------------------------------------

void XmlLiteReader::Create(Library::XmlLite& library, IStream* pStream) {
    Release();
    if (library.m_pfnCreateXmlReader == nullptr) {
        Fail(E_POINTER, __LINE__);
    }
    IXmlReader* pReader = nullptr;
    const HRESULT result = library.m_pfnCreateXmlReader(
        IID_IXmlReader, reinterpret_cast<void**>(&pReader), m_Memory.Get());
    if (FAILED(result)) {
        Fail(result, __LINE__);
    }
    m_Reader.reset(pReader);
    // An internal entity bomb must fail at the DOCTYPE, not expand.
    Check(m_Reader.get()->SetProperty(XmlReaderProperty_DtdProcessing, DtdProcessing_Prohibit),
          __LINE__);
    Check(m_Reader.get()->SetInput(pStream), __LINE__);
}

void XmlLiteReader::Release() {
    m_Reader.reset();
    m_Memory.Trim();
}

void XmlLiteReader::Fail(HRESULT result, uint32_t sourceLine) {
    UINT line = 0;
    UINT column = 0;
    if (m_Reader) {
        if (FAILED(m_Reader.get()->GetLineNumber(&line))) {
            line = 0;
        }
        if (FAILED(m_Reader.get()->GetLinePosition(&column))) {
            column = 0;
        }
    }
    throw new XmlException(XmlException::KindFailedCall, sourceLine, __FILE__, result, line,
                           column);
}

void XmlLiteReader::Check(HRESULT result, uint32_t sourceLine) {
    if (FAILED(result)) {
        Fail(result, sourceLine);
    }
}

bool XmlLiteReader::Read(XmlNodeType& nodeType) {
    const HRESULT result = m_Reader.get()->Read(&nodeType);
    Check(result, __LINE__);
    return result == S_OK;
}

const wchar_t* XmlLiteReader::GetLocalName(UINT& cchName) {
    const wchar_t* name = nullptr;
    Check(m_Reader.get()->GetLocalName(&name, &cchName), __LINE__);
    return name;
}

const wchar_t* XmlLiteReader::GetValue(UINT& cchValue) {
    const wchar_t* value = nullptr;
    Check(m_Reader.get()->GetValue(&value, &cchValue), __LINE__);
    return value;
}

bool XmlLiteReader::MoveToFirstAttribute() {
    const HRESULT result = m_Reader.get()->MoveToFirstAttribute();
    Check(result, __LINE__);
    return result == S_OK;
}

bool XmlLiteReader::MoveToNextAttribute() {
    const HRESULT result = m_Reader.get()->MoveToNextAttribute();
    Check(result, __LINE__);
    return result == S_OK;
}

void XmlLiteReader::MoveToElement() {
    Check(m_Reader.get()->MoveToElement(), __LINE__);
}

bool XmlLiteReader::IsEmptyElement() {
    return m_Reader.get()->IsEmptyElement() != FALSE;
}

UINT XmlLiteReader::GetLineNumber() {
    UINT line = 0;
    Check(m_Reader.get()->GetLineNumber(&line), __LINE__);
    return line;
}

UINT XmlLiteReader::GetLinePosition() {
    UINT column = 0;
    Check(m_Reader.get()->GetLinePosition(&column), __LINE__);
    return column;
}

// ---- XmlParser: life cycle ---------------------------------------------------------

XmlParser::XmlParser() = default;

XmlParser::~XmlParser() = default;

bool XmlParser::Start(FileBase& file) {
    if (m_Started) {
        return false;
    }
    ResetWalk();
    m_LastResult = S_OK;
    m_LastNodeName.clear();
    m_LastLine = m_LastColumn = m_LastDepth = 0;
    m_Started = Catching([&] {
        m_Stream.reset(new (std::nothrow) StreamComFileBase(&file));
        if (!m_Stream) {
            ZORV_THROW_XML(XmlException::KindOutOfMemory, E_OUTOFMEMORY);
        }
        uint32_t error = 0;
        if (!m_XmlLite.IsLoaded() && !m_XmlLite.LoadFromSystemDirectory(&error)) {
            ZORV_THROW_XML(XmlException::KindFailedCall,
                           ZorvCommon::Exception::ResultFromWin32(error));
        }
        const HRESULT start = CheckDocumentStart(file);
        if (start != S_OK) {
            ZORV_THROW_XML(XmlException::KindFailedCall, start);
        }
        m_Reader.Create(m_XmlLite, m_Stream.get());
        return true;
    });
    if (!m_Started) {
        ReleaseDocument();
    }
    return m_Started;
}

bool XmlParser::Stop() {
    if (!m_Started) {
        return false;
    }
    ReleaseDocument();
    ResetWalk();
    m_Started = false;
    return true;
}

void XmlParser::ReleaseDocument() {
    m_Reader.Release();  // drops the reader's reference on the stream first
    m_Stream.reset();
}

void XmlParser::ResetWalk() {
    m_OpenStarts.clear();
    m_ElementName.clear();
    m_ElementDepth = 0;
    m_ElementIsEmpty = false;
    m_Attributes.clear();
    m_AttributeCount = 0;
    m_NodeName = {};
    m_NodeDepth = 0;
    m_NodeIsEmpty = false;
    m_GuardLine = m_GuardColumn = 0;
    m_GuardType = XmlNodeType_None;
    m_GuardRepeats = 0;
}

template <typename Step>
bool XmlParser::Catching(const Step& step) {
    try {
        return step();
    } catch (XmlException* pException) {
        const std::unique_ptr<XmlException> owner(pException);
        RecordFailure(pException->m_Result, pException->m_ReaderLine, pException->m_ReaderColumn);
    } catch (const std::bad_alloc&) {
        RecordFailure(E_OUTOFMEMORY, 0, 0);
    }
    return false;
}

void XmlParser::RecordFailure(HRESULT result, uint32_t line, uint32_t column) {
    m_LastResult = result;
    m_LastNodeName = m_ElementName;
    m_LastLine = line;
    m_LastColumn = column;
    m_LastDepth = OpenElements();
}

// ---- XmlParser: the walk -----------------------------------------------------------

bool XmlParser::ReadNode(XmlNodeType& nodeType) {
    if (!m_Reader.Read(nodeType)) {
        if (OpenElements() != 0) {
            FailUnexpectedEnd();
        }
        return false;
    }
    GuardProgress(nodeType);

    if (nodeType == XmlNodeType_Element) {
        UINT cchName = 0;
        const wchar_t* name = m_Reader.GetLocalName(cchName);
        m_NodeName = std::wstring_view(name, cchName);
        m_NodeDepth = OpenElements();
        m_NodeIsEmpty = m_Reader.IsEmptyElement();
        if (!m_NodeIsEmpty) {
            m_OpenStarts.emplace_back(m_Reader.GetLineNumber(), m_Reader.GetLinePosition());
        }
    } else if (nodeType == XmlNodeType_EndElement && !m_OpenStarts.empty()) {
        // Counted here rather than taken from the reader: readers disagree on the
        // depth they report for end elements.
        const std::pair<UINT, UINT> start = m_OpenStarts.back();
        m_OpenStarts.pop_back();
        // The reader makes end elements up only once a read has told it that the input
        // ended; until then every end element is in the document, and behind its start.
        if (m_Stream.get()->HasEnded() &&
            start == std::make_pair(m_Reader.GetLineNumber(), m_Reader.GetLinePosition())) {
            FailUnexpectedEnd();
        }
    }
    return true;
}

void XmlParser::GuardRepeatedType() {
    const UINT line = m_Reader.GetLineNumber();
    const UINT column = m_Reader.GetLinePosition();
    if (line != m_GuardLine || column != m_GuardColumn) {
        m_GuardLine = line;
        m_GuardColumn = column;
        m_GuardRepeats = 0;
    } else if (++m_GuardRepeats >= kStalledReads) {
        FailUnexpectedEnd();
    }
}

void XmlParser::FailUnexpectedEnd() {
    throw new XmlException(XmlException::KindFailedCall, __LINE__, __FILE__, kResultUnexpectedEnd,
                           m_Reader.GetLineNumber(), m_Reader.GetLinePosition());
}

void XmlParser::TakeElement() {
    m_ElementName.assign(m_NodeName.data(), m_NodeName.size());
    m_ElementDepth = m_NodeDepth;
    m_ElementIsEmpty = m_NodeIsEmpty;
    m_AttributeCount = 0;
    if (!m_Reader.MoveToFirstAttribute()) {
        return;
    }
    do {
        if (m_AttributeCount == m_Attributes.size()) {
            m_Attributes.emplace_back();
        }
        auto& attribute = m_Attributes[m_AttributeCount++];
        UINT cchName = 0;
        const wchar_t* name = m_Reader.GetLocalName(cchName);
        attribute.first.assign(name, cchName);
        UINT cchValue = 0;
        const wchar_t* value = m_Reader.GetValue(cchValue);
        attribute.second.assign(value, cchValue);
    } while (m_Reader.MoveToNextAttribute());
    // The reader is left on the last attribute: the next Read goes on from there as from
    // the element, and nothing of the element is asked for before it (moving back would
    // have the reader copy the element's name once more, an allocation per element).
}

bool XmlParser::SameLengthEqualsNoCase(std::wstring_view left, std::wstring_view right) {
    // Names that match mostly match exactly: four characters at a time while they do.
    size_t i = 0;
    for (; i + 4 <= left.size(); i += 4) {
        uint64_t a = 0;
        uint64_t b = 0;
        memcpy(&a, left.data() + i, sizeof(a));
        memcpy(&b, right.data() + i, sizeof(b));
        if (a != b) {
            break;
        }
    }
    for (; i < left.size(); ++i) {
        const wchar_t a = left[i];
        const wchar_t b = right[i];
        if (a == b) {
            continue;
        }
        if (a >= 0x80 || b >= 0x80) {
            return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                        static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
        }
        const wchar_t folded = a | 0x20;
        if (folded != (b | 0x20) || folded < L'a' || folded > L'z') {
            return false;
        }
    }
    return true;
}

bool XmlParser::MoveToElement(std::wstring_view localName) {
    if (!m_Started) {
        return false;
    }
    return Catching([&] {
        XmlNodeType nodeType;
        while (ReadNode(nodeType)) {
            if (nodeType == XmlNodeType_Element && EqualsNoCase(m_NodeName, localName)) {
                TakeElement();
                return true;
            }
        }
        return false;
    });
}

bool XmlParser::SeekElement(uint32_t depth, const wchar_t* name, size_t cchName) {
    // Below the level asked for already: that level's parent has ended.
    if (!m_Started || OpenElements() < depth) {
        return false;
    }
    return Catching([this, depth, name = std::wstring_view(name, cchName)] {
        XmlNodeType nodeType;
        while (ReadNode(nodeType)) {
            if (nodeType == XmlNodeType_Element) {
                if (m_NodeDepth == depth && (name.empty() || EqualsNoCase(m_NodeName, name))) {
                    TakeElement();
                    return true;
                }
            } else if (nodeType == XmlNodeType_EndElement && OpenElements() < depth) {
                return false;
            }
        }
        return false;
    });
}

bool XmlParser::GetAttribute(std::wstring_view name, std::wstring& value) const {
    for (size_t i = 0; i < m_AttributeCount; ++i) {
        if (m_Attributes[i].first == name) {
            value = m_Attributes[i].second;
            return true;
        }
    }
    return false;
}

bool XmlParser::GetText(std::wstring& text) {
    text.clear();
    if (!m_Started) {
        return false;
    }
    if (m_ElementIsEmpty) {
        return true;
    }
    // Inside the current element, before its end: anything else means it was passed.
    const uint32_t contentLevel = m_ElementDepth + 1;
    if (OpenElements() != contentLevel) {
        return false;
    }
    return Catching([&] {
        XmlNodeType nodeType;
        while (ReadNode(nodeType)) {
            if (OpenElements() < contentLevel) {
                return true;  // the element's end
            }
            if (OpenElements() == contentLevel && IsTextNode(nodeType)) {
                UINT cchValue = 0;
                const wchar_t* value = m_Reader.GetValue(cchValue);
                text.append(value, cchValue);
            }
        }
        return false;
    });
}

}  // namespace Storage
}  // namespace ZorvCommon
