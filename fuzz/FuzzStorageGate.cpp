#include "FuzzStorageGate.h"

#include <windows.h>

#include <algorithm>
#include <cwctype>
#include <vector>

#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_Stream.h"
#include "ZorvComn_XmlLite.h"
#include "ZorvComn_XmlParser.h"

namespace OstrelFuzz {
namespace {

using ZorvCommon::Storage::XmlException;

bool SameText(const std::wstring& first, const wchar_t* second) {
    return _wcsicmp(first.c_str(), second) == 0;
}

bool StartsWith(const std::wstring& text, const wchar_t* prefix) {
    return _wcsnicmp(text.c_str(), prefix, wcslen(prefix)) == 0;
}

std::wstring Upper(std::wstring text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](wchar_t c) { return static_cast<wchar_t>(std::towupper(c)); });
    return text;
}

// Any of the other roots, also inside a longer text.
bool IsConfinedRoot(const std::wstring& text) {
    const std::wstring upper = Upper(text);
    for (const wchar_t* other : {L"HKCR", L"HKLM", L"HKU"}) {
        if (upper.find(other) != std::wstring::npos) {
            return false;
        }
    }
    return true;
}

bool IsConfinedIniPath(const std::wstring& text) {
    if (text.compare(0, wcslen(kFuzzIniPrefix), kFuzzIniPrefix) != 0) {
        return false;
    }
    const std::wstring rest = text.substr(wcslen(kFuzzIniPrefix));
    return rest.find(L"..") == std::wstring::npos &&
           rest.find_first_of(L":$") == std::wstring::npos;
}

struct Frame {
    std::wstring Name;
    std::wstring Text;  // text, CDATA and whitespace directly inside
};

// Walks the reader's nodes and judges each Root and Path element at its end.
class Gate {
public:
    void Element(const std::wstring& name, bool isEmpty) {
        m_Frames.push_back({name, std::wstring()});
        if (isEmpty) {
            End();
        }
    }
    void Text(const wchar_t* value, UINT cchValue) {
        if (!m_Frames.empty()) {
            m_Frames.back().Text.append(value, cchValue);
        }
    }
    void End() {
        if (m_Frames.empty()) {
            return;
        }
        Judge(m_Frames.size() - 1);
        m_Frames.pop_back();
    }
    // Elements the input left open are judged with the text read so far.
    bool Finish() {
        while (!m_Frames.empty()) {
            End();
        }
        return m_Confined;
    }

private:
    void Judge(size_t index) {
        const Frame& frame = m_Frames[index];
        if (SameText(frame.Name, L"Root")) {
            m_Confined = m_Confined && IsConfinedRoot(frame.Text);
        } else if (SameText(frame.Name, L"Path")) {
            for (size_t outer = 0; outer < index; ++outer) {
                if (SameText(m_Frames[outer].Name, L"Registry")) {
                    // An empty path is refused by the module before any key is opened.
                    m_Confined = m_Confined && (frame.Text.empty() ||
                                                StartsWith(frame.Text, kFuzzRegistryPrefix));
                } else if (SameText(m_Frames[outer].Name, L"IniFile")) {
                    m_Confined = m_Confined && IsConfinedIniPath(frame.Text);
                }
            }
        }
    }

    std::vector<Frame> m_Frames;
    bool m_Confined = true;
};

// Reads every node the module's reader would see; stops at a reader failure and after a
// bound on reads (the reader can repeat a node forever on input cut off inside a text).
void Walk(ZorvCommon::Storage::XmlLiteReader& reader, uint64_t readLimit, Gate& gate) {
    XmlNodeType nodeType = XmlNodeType_None;
    for (uint64_t reads = 0; reads < readLimit && reader.Read(nodeType); ++reads) {
        UINT cch = 0;
        if (nodeType == XmlNodeType_Element) {
            const wchar_t* name = reader.GetLocalName(cch);
            const std::wstring elementName(name, cch);
            gate.Element(elementName, reader.IsEmptyElement());
        } else if (nodeType == XmlNodeType_EndElement) {
            gate.End();
        } else if (nodeType == XmlNodeType_Text || nodeType == XmlNodeType_CDATA ||
                   nodeType == XmlNodeType_Whitespace) {
            const wchar_t* value = reader.GetValue(cch);
            gate.Text(value, cch);
        }
    }
}

// The tag name at '<' (after an optional '/'), lower case.
std::string TagName(const std::string& document, size_t at) {
    size_t first = at + 1;
    if (first < document.size() && document[first] == '/') {
        ++first;
    }
    size_t last = first;
    while (last < document.size() && (std::isalnum(static_cast<unsigned char>(document[last])))) {
        ++last;
    }
    std::string name = document.substr(first, last - first);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return static_cast<char>(std::tolower(c)); });
    return name;
}

}  // namespace

std::string ConfineStorageSeed(const std::string& document) {
    std::string result = document;
    std::string section;
    size_t count = 0;
    for (size_t at = result.find('<'); at != std::string::npos; at = result.find('<', at + 1)) {
        const std::string name = TagName(result, at);
        const bool closing = at + 1 < result.size() && result[at + 1] == '/';
        if (closing || (name != "root" && name != "path")) {
            if (!closing && (name == "registry" || name == "inifile")) {
                section = name;
            }
            continue;
        }
        const size_t first = result.find('>', at);
        const size_t last = first == std::string::npos ? first : result.find('<', first);
        if (last == std::string::npos) {
            break;
        }
        std::string text = "HKCU";
        if (name == "path") {
            text = section == "inifile" ? "$INSTALL$fuzz" + std::to_string(count++) + ".ini"
                                        : "Software\\OstrelFuzz\\Keys\\K" + std::to_string(count++);
        }
        result.replace(first + 1, last - first - 1, text);
    }
    return result;
}

bool IsConfinedStorageDocument(const std::wstring& path, const char* key) {
    ZorvCommon::Storage::CryptDocument document;
    if (!document.Open(path, key)) {
        return true;  // the module cannot open it either
    }
    // A start the module's parser refuses is never read further.
    ZorvCommon::Storage::XmlParser parser;
    if (!parser.Start(document.File())) {
        return true;
    }
    parser.Stop();
    uint64_t size = 0;
    document.File().GetSize(&size);
    document.File().SetPointer(0, FILE_BEGIN, nullptr);
    const ZorvCommon::UniqueCom<ZorvCommon::Storage::StreamComFileBase> stream(
        new ZorvCommon::Storage::StreamComFileBase(&document.File()));
    ZorvCommon::Library::XmlLite xmlLite;
    if (!xmlLite.LoadFromSystemDirectory()) {
        return false;
    }
    Gate gate;
    ZorvCommon::Storage::XmlLiteReader reader;
    try {
        reader.Create(xmlLite, stream.get());
        Walk(reader, 1024 + 8 * size, gate);
    } catch (XmlException* pException) {
        delete pException;  // the module's reader stops at the same place
    }
    reader.Release();
    return gate.Finish();
}

}  // namespace OstrelFuzz
