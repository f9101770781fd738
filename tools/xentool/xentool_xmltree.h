#pragma once
// A whole document as a tree, read with XmlLite through the common library's loader,
// with the line and column of every element, attribute and text.

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Xentool {

struct Position {
    uint32_t Line = 0;
    uint32_t Column = 0;
};

struct XmlAttribute {
    std::wstring Name;  // local name
    std::wstring Value;
    Position At;
};

struct XmlElement {
    std::wstring Name;  // local name
    Position At;
    std::vector<XmlAttribute> Attributes;
    // The text directly inside (text, CDATA and white space joined), as the module's
    // reader takes it; TextAt is where it begins (the element's position when empty).
    std::wstring Text;
    Position TextAt;
    std::vector<std::unique_ptr<XmlElement>> Children;
    XmlElement* Parent = nullptr;

    // Exact-name lookup, as the module reads attributes; null when absent.
    const XmlAttribute* FindAttribute(const wchar_t* name) const;
    // Case ignored, as the module compares element names.
    bool IsNamed(const wchar_t* name) const;
};

// Why a document could not be read into a tree: XmlLite's code and where it stopped.
struct XmlReadFailure {
    HRESULT Result = S_OK;
    Position At;
    bool LibraryMissing = false;  // xmllite.dll could not be loaded (Result holds the error)
};

// The root element of a UTF-8 or UTF-16 document. Null with the failure when XmlLite
// cannot be loaded or the text is not well-formed (or ends early).
std::unique_ptr<XmlElement> ReadXmlTree(const std::vector<uint8_t>& bytes, XmlReadFailure& failure);

}  // namespace Xentool
