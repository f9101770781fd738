#include "BenchFile.h"

#include <windows.h>

#include "ZorvComn_Handle.h"

namespace Bench {

bool WriteWholeFile(const std::wstring& path, const void* data, size_t size) {
    const ZorvCommon::UniqueFile file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr,
                                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    return file && WriteFile(file.get(), data, static_cast<DWORD>(size), &written, nullptr) &&
           written == size;
}

}  // namespace Bench
