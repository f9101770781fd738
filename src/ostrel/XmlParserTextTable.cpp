#include "XmlParserTextTable.h"

namespace Ostrel {

bool LookUpTextValue(const SourcePlace& place, const wchar_t* method, const TextValue* table,
                     size_t count, const std::wstring& text, uint32_t& value) {
    for (size_t index = 0; index < count; ++index) {
        if (text == table[index].Text) {
            value = table[index].Value;
            return true;
        }
    }
    OSTREL_LOG_AT(place, ZorvCommon::LogLevelError,
                  L"*** %s() - Specified text was not supported. [%s]", method, text.c_str());
    return false;
}

}  // namespace Ostrel
