// The storage-control reader's texts: the words of the documents as numbers and the
// directory macros of INI-file paths.

#include "Frwk_Utility.h"
#include "StorageCommand.h"
#include "XmlParserLog.h"
#include "XmlParserStorageControl.h"
#include "XmlParserTextTable.h"
#include "ZorvComn_String.h"

namespace {

using namespace Ostrel::Vocabulary;

static_assert(kAccessModes[3].Value == Ostrel::Storage::AccessModeCheck &&
                  kAccessRights[1].Value == Ostrel::Storage::kAccessRightDefault &&
                  kActions[4].Value == Ostrel::Storage::VisitorTypeDelete &&
                  kValueTypes[3].Value == Ostrel::Storage::ValueTypeUint64,
              "the vocabulary's values are the engine's");

// A directory for a path macro; empty when it cannot be read, with the last error set.
std::wstring QueryDirectory(UINT (*query)(wchar_t* buffer, UINT cchBuffer)) {
    wchar_t buffer[MAX_PATH] = {};
    const UINT cchDirectory = query(buffer, MAX_PATH);
    if (cchDirectory == 0 || cchDirectory > MAX_PATH) {
        return std::wstring();
    }
    return std::wstring(buffer, cchDirectory);
}

struct PathMacro {
    std::wstring_view Macro;
    const wchar_t* Label;
    const wchar_t* FailureLine;  // given the last error
    std::wstring (*Query)();
};

// In order of precedence: only the first of them that occurs in a path is expanded.
const PathMacro kMacroDirectories[] = {
    {kPathMacros[0], L"InstalledFolder",
     L"*** CXmlParserStorageControl::ReplacePath() - Frwk::Utility::GetInstalledFolder() failed.",
     &Frwk::Utility::GetInstalledFolder},
    {kPathMacros[1], L"WindowsDirectory",
     L"*** CXmlParserStorageControl::ReplacePath() - Frwk::Utility::GetWindowsDirectory() failed.",
     &Frwk::Utility::GetWindowsDirectory},
    {kPathMacros[2], L"SystemDirectory",
     L"*** CXmlParserStorageControl::ReplacePath() - GetSystemDirectory() failed. [0x%08x]",
     [] { return QueryDirectory(&GetSystemDirectoryW); }},
    {kPathMacros[3], L"CurrentDirectory",
     L"*** CXmlParserStorageControl::ReplacePath() - ::GetCurrentDirectory() failed. [0x%08x]",
     [] {
         return QueryDirectory([](wchar_t* buffer, UINT cchBuffer) -> UINT {
             return GetCurrentDirectoryW(cchBuffer, buffer);
         });
     }},
};

}  // namespace

bool CXmlParserStorageControl::ReplacePath(std::wstring& path) {
    for (const PathMacro& macro : kMacroDirectories) {
        const size_t at = path.find(macro.Macro);
        if (at == std::wstring::npos) {
            continue;
        }
        std::wstring folder = macro.Query();
        if (folder.empty()) {
            STORAGE_CONTROL_ERROR(macro.FailureLine, GetLastError());
            return false;
        }
        ZorvCommon::String::AppendBackslash(folder);
        STORAGE_CONTROL_INFO(L"*** CXmlParserStorageControl::ReplacePath() - %s [%s]", macro.Label,
                             folder.c_str());
        path.replace(at, macro.Macro.size(), folder);
        return true;
    }
    return true;
}

bool CXmlParserStorageControl::GetRegistryRoot(const std::wstring& text, HKEY& root) {
    uint32_t value = 0;
    if (!Ostrel::LookUpTextValue(STORAGE_CONTROL_PLACE,
                                 L"CXmlParserStorageControl::GetRegistryRoot", kRegistryRoots, text,
                                 value)) {
        return false;
    }
    root = Ostrel::Storage::ToRegistryRoot(value);
    return true;
}

bool CXmlParserStorageControl::GetAccessMode(const std::wstring& text, uint32_t& accessMode) {
    return Ostrel::LookUpTextValue(STORAGE_CONTROL_PLACE,
                                   L"CXmlParserStorageControl::GetAccessMode", kAccessModes, text,
                                   accessMode);
}

bool CXmlParserStorageControl::GetAccessRight(const std::wstring& text, uint32_t& accessRight) {
    return Ostrel::LookUpTextValue(STORAGE_CONTROL_PLACE,
                                   L"CXmlParserStorageControl::GetAccessRight", kAccessRights, text,
                                   accessRight);
}

bool CXmlParserStorageControl::GetCommandType(const std::wstring& text, uint32_t& commandType) {
    return Ostrel::LookUpTextValue(STORAGE_CONTROL_PLACE,
                                   L"CXmlParserStorageControl::GetCommandType", kActions, text,
                                   commandType);
}

bool CXmlParserStorageControl::GetValueType(const std::wstring& text, uint32_t& valueType) {
    return Ostrel::LookUpTextValue(STORAGE_CONTROL_PLACE, L"CXmlParserStorageControl::GetValueType",
                                   kValueTypes, text, valueType);
}

bool CXmlParserStorageControl::GetBoolean(const std::wstring& text, bool& value) {
    uint32_t number = 0;
    if (!Ostrel::LookUpTextValue(STORAGE_CONTROL_PLACE, L"CXmlParserStorageControl::GetBoolean",
                                 kBooleans, text, number)) {
        return false;
    }
    value = number != 0;
    return true;
}
