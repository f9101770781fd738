#include "AuthoringDocument.h"

#include <gtest/gtest.h>

#include "Scratch.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_Handle.h"

namespace AuthoringTest {

void WriteText(const std::wstring& path, const std::string& text) {
    TestSupport::WriteFileBytes(path, std::vector<uint8_t>(text.begin(), text.end()));
}

void WriteEncrypted(const std::wstring& path, const std::string& text, const char* key) {
    std::vector<uint8_t> ciphertext;
    ASSERT_TRUE(ZorvCommon::Storage::EncryptDocumentBytes(
        key, std::vector<uint8_t>(text.begin(), text.end()), &ciphertext));
    TestSupport::WriteFileBytes(path, ciphertext);
}

TestSupport::ToolRun RunXentool(const std::wstring& arguments) {
    return TestSupport::RunTool(L"xentool.exe", arguments);
}

std::string Where(const std::string& document, const std::string& marker) {
    const size_t at = document.find(marker);
    EXPECT_NE(std::string::npos, at) << marker;
    const size_t lineStart = document.rfind('\n', at);
    const size_t column = lineStart == std::string::npos ? at + 1 : at - lineStart;
    const size_t line = 1 + std::count(document.begin(), document.begin() + at, '\n');
    return std::to_string(line) + ":" + std::to_string(column);
}

std::vector<std::string> LinesWith(const std::string& text, const std::string& fragment) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end;
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.find(fragment) != std::string::npos) {
            lines.push_back(line);
        }
        start = end + 1;
    }
    return lines;
}

void SnapshotRegistry(HKEY root, const std::wstring& path, RegistrySnapshot& snapshot) {
    ZorvCommon::UniqueRegKey key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
        return;
    }
    snapshot[path + L"|"] = {};
    wchar_t name[256];
    BYTE data[1024];
    for (DWORD index = 0;; ++index) {
        DWORD cchName = ARRAYSIZE(name);
        DWORD cbData = sizeof(data);
        DWORD type = 0;
        if (RegEnumValueW(key.get(), index, name, &cchName, nullptr, &type, data, &cbData) !=
            ERROR_SUCCESS) {
            break;
        }
        std::vector<uint8_t>& stored = snapshot[path + L"|" + name];
        stored.assign(data, data + cbData);
        stored.push_back(static_cast<uint8_t>(type));
    }
    for (DWORD index = 0;; ++index) {
        DWORD cchName = ARRAYSIZE(name);
        if (RegEnumKeyExW(key.get(), index, name, &cchName, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            break;
        }
        SnapshotRegistry(root, path + L"\\" + name, snapshot);
    }
}

std::wstring ProfilePath(const std::wstring& name) {
    return TestSupport::ExecutableFolder() + L"profiles\\" + name;
}

}  // namespace AuthoringTest
