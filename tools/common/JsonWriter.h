#pragma once
// A small JSON writer for the tools' machine-readable reports; commas and nesting are
// kept by the writer. Keys are given with each value inside an object and left null
// inside an array.

#include <cstdint>
#include <string>
#include <vector>

namespace Tools {

class JsonWriter {
public:
    // Compact and ASCII (anything else as \uXXXX), or readable: each member of the
    // outermost object or array on a line of its own, ", " and ": " between the others,
    // and only quotes, backslashes and control characters escaped.
    explicit JsonWriter(bool readable = false) : m_Readable(readable) {}

    void BeginObject(const wchar_t* key = nullptr) { Begin(key, L'{'); }
    void EndObject() { End(L'}'); }
    void BeginArray(const wchar_t* key = nullptr) { Begin(key, L'['); }
    void EndArray() { End(L']'); }
    void String(const wchar_t* key, const std::wstring& value);
    void Number(const wchar_t* key, uint64_t value);
    void Bool(const wchar_t* key, bool value);

    const std::wstring& Text() const { return m_Text; }

private:
    // The separator and the key of the next value.
    void Prefix(const wchar_t* key);
    void Begin(const wchar_t* key, wchar_t bracket);
    void End(wchar_t bracket);
    void Quoted(const std::wstring& text);

    bool m_Readable;
    std::wstring m_Text;
    std::vector<bool> m_First;  // per open object or array: nothing written in it yet
};

}  // namespace Tools
