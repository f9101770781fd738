#include "ZorvComn_DebugLogSettings.h"

#include <windows.h>
#include <knownfolders.h>
#include <shlobj.h>

#include <cstring>
#include <memory>

#include "ZorvComn_Exception.h"
#include "ZorvComn_IniFile.h"
#include "ZorvComn_Library.h"
#include "ZorvComn_Platform.h"
#include "ZorvComn_Registry.h"
#include "ZorvComn_String.h"

namespace ZorvCommon {
namespace {

constexpr wchar_t kLocalAppDataLowToken[] = L"%LocalAppDataLow%";
constexpr uint32_t kLocalSystemSid = 22;  // WinLocalSystemSid

// The record is packed: its text fields are passed as pointer and count.
void CopyText(wchar_t* field, size_t cchField, const std::wstring& text) {
    String::CopyTString(field, cchField, text.c_str());
}

std::unique_ptr<Storage::Base> MakeStorage(uint32_t storageType) {
    switch (storageType) {
        case Storage::StorageTypeRegistry:
        case Storage::StorageTypeRegistryAlt:
            return std::make_unique<Storage::Registry>();
        case Storage::StorageTypeIniFile:
            return std::make_unique<Storage::IniFile>();
        default:
            return nullptr;
    }
}

std::wstring LocalAppDataLowFolder() {
    Platform::VersionRecord version;
    if (Platform::GetVersionRecord(version) && version.PlatformId == Platform::PlatformNt &&
        version.Major >= 6) {
        return Library::KnownFolderPath(FOLDERID_LocalAppDataLow);
    }
    wchar_t path[MAX_PATH] = {};
    return SUCCEEDED(SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, path))
               ? std::wstring(path)
               : std::wstring();
}

void CreateFolderIfMissing(const std::wstring& folder) {
    const DWORD attributes = GetFileAttributesW(folder.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        SHCreateDirectoryExW(nullptr, folder.c_str(), nullptr);
    }
}

// Values in this exact order: a missing one throws and ends the reading there.
void ReadValues(Storage::Base& storage, bool serviceSession, DebugLogSettings& settings) {
    DebugLogConfig& record = settings.Record;
    settings.Enabled = storage.QueryUint32(L"Enable", 0) != 0;
    settings.LevelMask = storage.QueryUint32(L"Level", 256);
    record.LogProcess = storage.QueryUint32(L"LogProcess", 0);
    record.LogUnitType = storage.QueryUint32(L"LogUnitType", 0);
    CopyText(record.LogFolder, ARRAYSIZE(record.LogFolder), storage.QueryString(L"LogFolder", L""));
    CopyText(record.LogPrefix, ARRAYSIZE(record.LogPrefix),
             storage.QueryString(L"LogPrefix", L"pcc"));
    CopyText(record.LogFile, ARRAYSIZE(record.LogFile), storage.QueryString(L"LogFile", L""));
    CopyText(record.LogExtension, ARRAYSIZE(record.LogExtension),
             storage.QueryString(L"LogExtension", L"log"));
    record.Robust = storage.QueryUint32(L"Robust", 0) != 0;
    record.Debugger = storage.QueryUint32(L"Debugger", 0) != 0;
    if (!serviceSession) {
        const std::wstring folder = ExpandLogFolder(record.LogFolder);
        CopyText(record.LogFolder, ARRAYSIZE(record.LogFolder), folder);
        CreateFolderIfMissing(folder);
    }
}

}  // namespace

bool IsServiceSession() {
    Platform::VersionRecord version;
    if (!Platform::GetVersionRecord(version) || version.PlatformId != Platform::PlatformNt ||
        version.Major < 5) {
        return false;
    }
    if (version.Major >= 6) {
        uint32_t sessionId = 0;
        return Platform::GetSessionId(sessionId) && sessionId == 0;
    }
    bool isLocalSystem = false;
    return Platform::IsTokenMemberOf(kLocalSystemSid, isLocalSystem) && isLocalSystem;
}

bool ReadDebugLogSettings(const Storage::Key& key, const std::wstring& unitName,
                          bool serviceSession, DebugLogSettings& settings) {
    settings = DebugLogSettings();
    GetLocalTime(&settings.Record.Time);
    settings.Record.ServiceSession = serviceSession ? 1 : 0;
    CopyText(settings.Record.UnitName, ARRAYSIZE(settings.Record.UnitName), unitName);

    try {
        std::unique_ptr<Storage::Base> storage = MakeStorage(key.m_Type);
        if (!storage) {
            return false;
        }
        if (storage->Open(key, serviceSession ? L"ServiceSession" : L"InteractiveSession")) {
            ReadValues(*storage, serviceSession, settings);
            storage->Close();
        }
    } catch (Storage::Exception* pException) {
        const std::unique_ptr<Storage::Exception> owner(pException);
        // The early stop is deliberate: what was read so far stands.
    } catch (Exception::Base* pException) {
        const std::unique_ptr<Exception::Base> owner(pException);
        return false;
    } catch (...) {
        return false;  // memory ran out: the log stays silent rather than half-configured
    }
    return true;
}

std::wstring ExpandLogFolder(const std::wstring& folder) {
    if (folder.empty() || folder[0] != L'%') {
        return folder;
    }
    const size_t tokenEnd = folder.find(L'%', 1);
    if (tokenEnd == std::wstring::npos ||
        _wcsicmp(folder.substr(0, tokenEnd + 1).c_str(), kLocalAppDataLowToken) != 0) {
        return folder;
    }
    const std::wstring localAppDataLow = LocalAppDataLowFolder();
    return localAppDataLow.empty() ? folder : localAppDataLow + folder.substr(tokenEnd + 1);
}

}  // namespace ZorvCommon
