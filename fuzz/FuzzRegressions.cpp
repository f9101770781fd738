#include "FuzzRegressions.h"

#include <windows.h>

#include "FuzzFiles.h"
#include "Scratch.h"

namespace OstrelFuzz {
namespace {

// FNV-1a: a stable name for the same bytes.
uint64_t Hash(const std::vector<uint8_t>& bytes) {
    uint64_t hash = 0xCBF29CE484222325ull;
    for (uint8_t byte : bytes) {
        hash = (hash ^ byte) * 0x100000001B3ull;
    }
    return hash;
}

}  // namespace

std::wstring SavedInputName(RequestPath path, const std::vector<uint8_t>& file) {
    const std::string road = PathName(path);
    std::wstring name = L"\\" + std::wstring(road.begin(), road.end()) + L"-";
    const uint64_t hash = Hash(file);
    for (int shift = 60; shift >= 0; shift -= 4) {
        name += L"0123456789abcdef"[(hash >> shift) & 0xF];
    }
    return name + L".xen";
}

std::wstring SaveInput(const std::wstring& folder, RequestPath path,
                       const std::vector<uint8_t>& file) {
    CreateDirectoryW(folder.c_str(), nullptr);
    const std::wstring target = folder + SavedInputName(path, file);
    TestSupport::WriteFileBytes(target, file);
    return target;
}

std::vector<SavedInput> LoadSavedInputs(const std::wstring& folder) {
    std::vector<SavedInput> inputs;
    for (const std::wstring& name : ListFiles(folder, L"*-*.xen")) {
        const std::string road(name.begin(), name.begin() + name.find(L'-'));
        SavedInput input;
        if (PathFromName(road, &input.Path)) {
            input.FileName = name;
            input.File = TestSupport::ReadFileBytes(folder + L"\\" + name);
            inputs.push_back(std::move(input));
        }
    }
    return inputs;
}

}  // namespace OstrelFuzz
