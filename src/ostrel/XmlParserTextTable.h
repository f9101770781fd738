#pragma once
// Lookups in the enumerated texts of the documents (DocumentVocabulary.h). Texts are
// compared exactly (case included).

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "DocumentVocabulary.h"
#include "XmlParserLog.h"

namespace Ostrel {

using TextValue = Vocabulary::Word;

// The value of text in table; value is written only when the text is found. An unknown
// text is logged as the failure of method ("Class::Method"), in a line that names place
// (the caller's statement, OSTREL_SOURCE_PLACE).
template <size_t N>
bool LookUpTextValue(const SourcePlace& place, const wchar_t* method, const TextValue (&table)[N],
                     const std::wstring& text, uint32_t& value) {
    for (const TextValue& entry : table) {
        if (text == entry.Text) {
            value = entry.Value;
            return true;
        }
    }
    OSTREL_LOG_AT(place, ZorvCommon::LogLevelError,
                  L"*** %s() - Specified text was not supported. [%s]", method, text.c_str());
    return false;
}

}  // namespace Ostrel
