#pragma once
// A small JSON writer for the machine-readable reports: ASCII out (anything else as
// \uXXXX), commas and nesting kept by the writer. Keys are given with each value inside
// an object and left null inside an array.

#include <cstdint>
#include <string>
#include <vector>

namespace Xentool {

class JsonWriter {
public:
    void BeginObject(const wchar_t* key = nullptr);
    void EndObject();
    void BeginArray(const wchar_t* key = nullptr);
    void EndArray();
    void String(const wchar_t* key, const std::wstring& value);
    void Number(const wchar_t* key, uint64_t value);
    void Bool(const wchar_t* key, bool value);

    const std::wstring& Text() const { return m_Text; }

private:
    // The separator and the key of the next value.
    void Prefix(const wchar_t* key);
    void Quoted(const std::wstring& text);

    std::wstring m_Text;
    std::vector<bool> m_First;  // per open object or array: nothing written in it yet
};

}  // namespace Xentool
