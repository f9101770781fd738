// The storage-control reader's texts: the words of the documents as numbers and the
// directory macros of INI-file paths.

#include <cwchar>

#include "Frwk_Utility.h"
#include "StorageCommand.h"
#include "XmlParserLog.h"
#include "XmlParserStorageControl.h"
#include "XmlParserTextTable.h"
#include "ZorvComn_String.h"

using Ostrel::TextValue;

namespace {

constexpr TextValue kRegistryRoots[] = {
    {L"HKCR", 0x80000000}, {L"HKCU", 0x80000001}, {L"HKLM", 0x80000002}, {L"HKU", 0x80000003}};
constexpr TextValue kAccessModes[] = {{L"default", Ostrel::Storage::AccessModeDefault},
                                      {L"32bit", Ostrel::Storage::AccessMode32},
                                      {L"64bit", Ostrel::Storage::AccessMode64},
                                      {L"check", Ostrel::Storage::AccessModeCheck}};
// "default" asks for all access: a store may create the key.
constexpr TextValue kAccessRights[] = {{L"default", 2},
                                       {L"limited", Ostrel::Storage::kAccessRightDefault}};
constexpr TextValue kCommandTypes[] = {{L"create", Ostrel::Storage::VisitorTypeCreate},
                                       {L"query", Ostrel::Storage::VisitorTypeQuery},
                                       {L"store", Ostrel::Storage::VisitorTypeStore},
                                       {L"append", Ostrel::Storage::VisitorTypeAppend},
                                       {L"delete", Ostrel::Storage::VisitorTypeDelete}};
constexpr TextValue kValueTypes[] = {{L"string", Ostrel::Storage::ValueTypeString},
                                     {L"binary", Ostrel::Storage::ValueTypeBinary},
                                     {L"uint32", Ostrel::Storage::ValueTypeUint32},
                                     {L"uint64", Ostrel::Storage::ValueTypeUint64}};
constexpr TextValue kBooleans[] = {{L"yes", 1}, {L"no", 0}};

// A directory for a path macro; empty when it cannot be read, with the last error set.
std::wstring QueryDirectory(UINT (*query)(wchar_t* buffer, UINT cchBuffer)) {
    wchar_t buffer[MAX_PATH] = {};
    const UINT cchDirectory = query(buffer, MAX_PATH);
    if (cchDirectory == 0 || cchDirectory > MAX_PATH) {
        return std::wstring();
    }
    return std::wstring(buffer, cchDirectory);
}

std::wstring SystemDirectory() {
    return QueryDirectory(&GetSystemDirectoryW);
}

std::wstring CurrentDirectory() {
    return QueryDirectory([](wchar_t* buffer, UINT cchBuffer) -> UINT {
        return GetCurrentDirectoryW(cchBuffer, buffer);
    });
}

struct PathMacro {
    const wchar_t* Macro;
    const wchar_t* Label;
    const wchar_t* FailureLine;  // given the last error
    std::wstring (*Query)();
};

// In order of precedence: only the first of them that occurs in a path is expanded.
const PathMacro kPathMacros[] = {
    {L"$INSTALL$", L"InstalledFolder",
     L"*** CXmlParserStorageControl::ReplacePath() - Frwk::Utility::GetInstalledFolder() failed.",
     &Frwk::Utility::GetInstalledFolder},
    {L"$WINDOWS$", L"WindowsDirectory",
     L"*** CXmlParserStorageControl::ReplacePath() - Frwk::Utility::GetWindowsDirectory() failed.",
     &Frwk::Utility::GetWindowsDirectory},
    {L"$SYSTEM$", L"SystemDirectory",
     L"*** CXmlParserStorageControl::ReplacePath() - GetSystemDirectory() failed. [0x%08x]",
     &SystemDirectory},
    {L"$CURRENT$", L"CurrentDirectory",
     L"*** CXmlParserStorageControl::ReplacePath() - ::GetCurrentDirectory() failed. [0x%08x]",
     &CurrentDirectory},
};

}  // namespace

bool CXmlParserStorageControl::ReplacePath(std::wstring& path) {
    for (const PathMacro& macro : kPathMacros) {
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
        path.replace(at, wcslen(macro.Macro), folder);
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
                                   L"CXmlParserStorageControl::GetCommandType", kCommandTypes, text,
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
