#include "xentool_json.h"

#include "ZorvComn_String.h"

namespace Xentool {

void JsonWriter::Prefix(const wchar_t* key) {
    if (!m_First.empty()) {
        if (!m_First.back()) {
            m_Text += L',';
        }
        m_First.back() = false;
    }
    if (key != nullptr) {
        Quoted(key);
        m_Text += L':';
    }
}

void JsonWriter::Quoted(const std::wstring& text) {
    m_Text += L'"';
    for (wchar_t c : text) {
        if (c == L'"' || c == L'\\') {
            m_Text += L'\\';
            m_Text += c;
        } else if (c < 0x20 || c > 0x7e) {
            std::wstring escape;
            ZorvCommon::String::Format(escape, L"\\u%04x", static_cast<unsigned>(c));
            m_Text += escape;
        } else {
            m_Text += c;
        }
    }
    m_Text += L'"';
}

void JsonWriter::BeginObject(const wchar_t* key) {
    Prefix(key);
    m_Text += L'{';
    m_First.push_back(true);
}

void JsonWriter::EndObject() {
    m_Text += L'}';
    m_First.pop_back();
}

void JsonWriter::BeginArray(const wchar_t* key) {
    Prefix(key);
    m_Text += L'[';
    m_First.push_back(true);
}

void JsonWriter::EndArray() {
    m_Text += L']';
    m_First.pop_back();
}

void JsonWriter::String(const wchar_t* key, const std::wstring& value) {
    Prefix(key);
    Quoted(value);
}

void JsonWriter::Number(const wchar_t* key, uint64_t value) {
    Prefix(key);
    m_Text += std::to_wstring(value);
}

void JsonWriter::Bool(const wchar_t* key, bool value) {
    Prefix(key);
    m_Text += value ? L"true" : L"false";
}

}  // namespace Xentool
