#include "ZorvComn_Exception.h"

namespace ZorvCommon {
namespace Exception {

std::wstring SourceFileName(const char* sourcePath) {
    if (sourcePath == nullptr) {
        return std::wstring();
    }
    const char* start = sourcePath;
    for (const char* p = sourcePath; *p != '\0'; ++p) {
        if (*p == '\\' || *p == '/') {
            start = p + 1;
        }
    }
    std::wstring name(1, L'\\');
    for (const char* p = start; *p != '\0'; ++p) {
        name.push_back(static_cast<wchar_t>(static_cast<unsigned char>(*p)));
    }
    return name;
}

}  // namespace Exception
}  // namespace ZorvCommon
