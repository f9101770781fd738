#include "JsonWriter.h"

#include <windows.h>

namespace Tools {

void JsonWriter::Prefix(const wchar_t* key) {
    if (!m_First.empty()) {
        const bool first = m_First.back();
        m_First.back() = false;
        if (!first) {
            m_Text += L',';
        }
        if (m_Readable) {
            m_Text += m_First.size() == 1 ? L"\n  " : first ? L"" : L" ";
        }
    }
    if (key != nullptr) {
        Quoted(key);
        m_Text += m_Readable ? L": " : L":";
    }
}

void JsonWriter::Quoted(const std::wstring& text) {
    m_Text += L'"';
    for (wchar_t c : text) {
        const wchar_t* escape = c == L'"' ? L"\\\"" : c == L'\\' ? L"\\\\" : nullptr;
        if (m_Readable && escape == nullptr) {
            escape = c == L'\n' ? L"\\n" : c == L'\r' ? L"\\r" : c == L'\t' ? L"\\t" : nullptr;
        }
        if (escape != nullptr) {
            m_Text += escape;
        } else if (c < 0x20 || (!m_Readable && c > 0x7e)) {
            wchar_t code[8] = {};
            _snwprintf_s(code, ARRAYSIZE(code), _TRUNCATE, L"\\u%04x", static_cast<unsigned>(c));
            m_Text += code;
        } else {
            m_Text += c;
        }
    }
    m_Text += L'"';
}

void JsonWriter::Begin(const wchar_t* key, wchar_t bracket) {
    Prefix(key);
    m_Text += bracket;
    m_First.push_back(true);
}

void JsonWriter::End(wchar_t bracket) {
    if (m_Readable && m_First.size() == 1) {
        m_Text += L'\n';
    }
    m_Text += bracket;
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

}  // namespace Tools
