#pragma once
// The pull-parser facade every document reader walks its document with: XmlLite over a
// stream over an open (usually decrypting) file. Reader failures are thrown inside as
// XmlException and end up in the parser's last-error record; the parser writes no log.

#include <windows.h>
#include <xmllite.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ZorvComn_Handle.h"
#include "ZorvComn_Storage.h"
#include "ZorvComn_XmlLite.h"
#include "ZorvComn_XmlLiteMemory.h"

namespace ZorvCommon {
namespace Storage {

class FileBase;
class StreamComFileBase;

// m_Error (from the base) holds the kind: 0 for a failed call, 14 for an exhausted
// resource. Thrown by pointer; the catcher deletes it.
class XmlException : public Exception {
public:
    enum Kind : uint32_t { KindFailedCall = 0, KindOutOfMemory = ERROR_OUTOFMEMORY };

    XmlException(uint32_t kind, uint32_t line, const char* sourcePath, HRESULT result,
                 uint32_t readerLine = 0, uint32_t readerColumn = 0)
        : Exception(kind, line, sourcePath),
          m_Result(result),
          m_ReaderLine(readerLine),
          m_ReaderColumn(readerColumn) {}

    HRESULT m_Result;
    uint32_t m_ReaderLine;    // the reader's position at the failure; 0 when there is
    uint32_t m_ReaderColumn;  // no reader position (the throws of Start)
};

// The reader's calls one to one; a failing call throws an XmlException carrying its
// HRESULT and the reader's position. Read and the attribute moves answer false for
// S_FALSE (end of the document, no further attribute).
class XmlLiteReader {
public:
    XmlLiteReader() = default;
    ~XmlLiteReader() { Release(); }
    XmlLiteReader(const XmlLiteReader&) = delete;
    XmlLiteReader& operator=(const XmlLiteReader&) = delete;

    // Creates the reader (DTDs stay prohibited) and sets the stream as its input.
    void Create(Library::XmlLite& library, IStream* pStream);
    void Release();

    bool Read(XmlNodeType& nodeType);
    const wchar_t* GetLocalName(UINT& cchName);
    const wchar_t* GetValue(UINT& cchValue);
    bool MoveToFirstAttribute();
    bool MoveToNextAttribute();
    void MoveToElement();
    bool IsEmptyElement();
    UINT GetLineNumber();
    UINT GetLinePosition();

private:
    void Check(HRESULT result, uint32_t sourceLine);
    [[noreturn]] void Fail(HRESULT result, uint32_t sourceLine);

    XmlLiteMemory m_Memory;  // declared first: it outlives the reader
    UniqueCom<IXmlReader> m_Reader;
};

class XmlParser {
public:
    // MX_E_INPUTEND, recorded when the input ends inside an element, also when the
    // reader stops making progress instead (Wine's reader answers input cut off inside
    // element text with the same empty text node forever).
    static constexpr HRESULT kResultUnexpectedEnd = static_cast<HRESULT>(0xC00CEE01);

    XmlParser();
    ~XmlParser();
    XmlParser(const XmlParser&) = delete;
    XmlParser& operator=(const XmlParser&) = delete;

    // Begins reading an open file; the file must stay open until Stop. False when already
    // started (the first document stays open) or when the stream or reader cannot be
    // made (see the last-error record).
    bool Start(FileBase& file);
    // Releases reader and stream; the next Start begins clean. False when not started.
    bool Stop();
    bool IsStarted() const { return m_Started; }

    // Reads forward to the next element with this local name (case ignored, as by every
    // move), at any depth.
    bool MoveToElement(std::wstring_view localName);
    // Exact-name lookup in the current element's attributes.
    bool GetAttribute(std::wstring_view name, std::wstring& value) const;

    // The first element one level below the current element (optionally with this name,
    // case ignored); childDepth receives its depth for the sibling walk. False when the
    // current element ends first, at the end of the document or on a reader failure.
    // Both moves are inline and hand the name on as characters and count: a view passed
    // on by value is copied through memory at every call.
    bool MoveToFirstChildElement(uint32_t& childDepth, std::wstring_view name = {}) {
        const uint32_t depth = m_ElementDepth + 1;
        if (!SeekElement(depth, name.data(), name.size())) {
            return false;
        }
        childDepth = depth;
        return true;
    }
    // The next element at childDepth (optionally with this name, case ignored). False
    // when the parent ends first, at the end of the document or on a reader failure.
    bool MoveToNextSiblingElement(uint32_t childDepth, std::wstring_view name = {}) {
        return SeekElement(childDepth, name.data(), name.size());
    }

    // Case ignored; names of different lengths never match. Inline: a reader asks this of
    // every element, against each name it knows, and most of them differ in length.
    bool IsElementName(std::wstring_view name) const { return EqualsNoCase(m_ElementName, name); }
    // The same for a name handed over as characters (a reader's vocabulary): its length is
    // checked against the element's as far as that goes, without counting it all first.
    bool IsElementName(const wchar_t* name) const {
        const size_t size = m_ElementName.size();
        for (size_t i = 0; i < size; ++i) {
            if (name[i] == L'\0') {
                return false;
            }
        }
        return name[size] == L'\0' &&
               SameLengthEqualsNoCase(m_ElementName, std::wstring_view(name, size));
    }
    const std::wstring& GetElementName() const { return m_ElementName; }
    // The text directly inside the current element (text, CDATA and whitespace, joined),
    // read up to the element's end so that the sibling walk goes on after it. An empty
    // element gives an empty text. False when the element's content was already passed,
    // and on a reader failure.
    bool GetText(std::wstring& text);

    // The last failure since Start: the reader's result (or kResultUnexpectedEnd), the
    // element the walk stood on, the reader's line and column and the nesting depth.
    HRESULT GetLastResult() const { return m_LastResult; }
    const std::wstring& GetLastNodeName() const { return m_LastNodeName; }
    uint32_t GetLastLine() const { return m_LastLine; }
    uint32_t GetLastColumn() const { return m_LastColumn; }
    uint32_t GetLastDepth() const { return m_LastDepth; }

private:
    // ASCII letters are folded here; a name with other characters goes to the system.
    static bool EqualsNoCase(std::wstring_view left, std::wstring_view right) {
        return left.size() == right.size() && SameLengthEqualsNoCase(left, right);
    }
    static bool SameLengthEqualsNoCase(std::wstring_view left, std::wstring_view right);
    // One node forward, keeping the nesting count; an element's depth, emptiness and
    // name land in m_Node*. False at the end of the document. Throws XmlException on a
    // reader failure and on an early end of the input.
    bool ReadNode(XmlNodeType& nodeType);
    // The walk under both child and sibling moves: the next element at depth (with the
    // name, unless it is empty), or false when the nesting drops below depth.
    bool SeekElement(uint32_t depth, const wchar_t* name, size_t cchName);
    // Ends the walk when the reader keeps answering the same node at the same place
    // (Wine's reader does so for input cut off inside element text). Two nodes of one
    // type in a row are rare, so the position is only asked for then, out of line.
    void GuardProgress(XmlNodeType nodeType) {
        if (nodeType != m_GuardType) {
            m_GuardType = nodeType;
            m_GuardLine = 0;  // lines count from 1: no position yet
            m_GuardRepeats = 0;
        } else {
            GuardRepeatedType();
        }
    }
    void GuardRepeatedType();
    [[noreturn]] void FailUnexpectedEnd();
    // Makes the element the reader stands on the current one and collects its attributes.
    void TakeElement();
    // Runs a step that may throw, turning a failure into the last-error record.
    template <typename Step>
    bool Catching(const Step& step);
    void RecordFailure(HRESULT result, uint32_t line, uint32_t column);
    void ReleaseDocument();
    void ResetWalk();
    uint32_t OpenElements() const { return static_cast<uint32_t>(m_OpenStarts.size()); }

    Library::XmlLite m_XmlLite;  // outlives the reader made from it
    UniqueCom<StreamComFileBase> m_Stream;
    XmlLiteReader m_Reader;
    bool m_Started = false;

    // Where each element opened and not yet closed began (line, column). An end element
    // reported at its own start's place was made up by the reader at the end of the input:
    // Wine's reader closes what a cut-off document left open, the elements opened in its
    // first read included, so every start is kept.
    std::vector<std::pair<UINT, UINT>> m_OpenStarts;
    std::wstring m_ElementName;  // the current element
    uint32_t m_ElementDepth = 0;
    bool m_ElementIsEmpty = false;
    // The current element's attributes as name and value. Entries are reused from
    // element to element, so their buffers are allocated once per document.
    std::vector<std::pair<std::wstring, std::wstring>> m_Attributes;
    size_t m_AttributeCount = 0;
    std::wstring_view m_NodeName;  // the last element read: the reader's, until it reads on
    uint32_t m_NodeDepth = 0;
    bool m_NodeIsEmpty = false;

    // Progress guard: the last node's type, its position (line 0: not asked for) and
    // how often both repeated.
    UINT m_GuardLine = 0;
    UINT m_GuardColumn = 0;
    XmlNodeType m_GuardType = XmlNodeType_None;
    uint32_t m_GuardRepeats = 0;

    HRESULT m_LastResult = S_OK;
    std::wstring m_LastNodeName;
    uint32_t m_LastLine = 0;
    uint32_t m_LastColumn = 0;
    uint32_t m_LastDepth = 0;
};

// One Start of a parser, undone on every way out of the scope that holds it (an exception
// included), so that a walk that breaks off never leaves a shared parser started for the
// next document. A Start that failed, or that found the parser started already, holds
// nothing. Declare it after the file it reads: the parser lets go of the file first.
class XmlParserSession {
public:
    XmlParserSession(XmlParser& parser, FileBase& file)
        : m_rParser(parser), m_Started(parser.Start(file)) {}
    ~XmlParserSession() { (void)Stop(); }
    XmlParserSession(const XmlParserSession&) = delete;
    XmlParserSession& operator=(const XmlParserSession&) = delete;

    bool IsStarted() const { return m_Started; }
    // Stops the parser now; false when this session holds no start (any more).
    bool Stop() { return std::exchange(m_Started, false) && m_rParser.Stop(); }

private:
    XmlParser& m_rParser;
    bool m_Started;
};

}  // namespace Storage
}  // namespace ZorvCommon
