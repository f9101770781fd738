#pragma once
// The enumerated texts of the policy documents: each table pairs a document text with
// its value. Texts are compared exactly (case included).

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "XmlParserLog.h"

namespace Ostrel {

struct TextValue {
    std::wstring_view Text;  // a view: its length is known without counting at every lookup
    uint32_t Value;
};

// The value of text in table; value is written only when the text is found.
bool FindTextValue(const TextValue* table, size_t count, const std::wstring& text, uint32_t& value);
template <size_t N>
bool FindTextValue(const TextValue (&table)[N], const std::wstring& text, uint32_t& value) {
    return FindTextValue(table, N, text, value);
}

// FindTextValue that logs an unknown text as the failure of method ("Class::Method"),
// in a line that names place (the caller's statement, OSTREL_SOURCE_PLACE).
bool LookUpTextValue(const SourcePlace& place, const wchar_t* method, const TextValue* table,
                     size_t count, const std::wstring& text, uint32_t& value);
template <size_t N>
bool LookUpTextValue(const SourcePlace& place, const wchar_t* method, const TextValue (&table)[N],
                     const std::wstring& text, uint32_t& value) {
    return LookUpTextValue(place, method, table, N, text, value);
}

}  // namespace Ostrel
