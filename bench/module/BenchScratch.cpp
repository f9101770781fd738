#include "BenchScratch.h"

#include <cwchar>

#include "ZorvComn_Handle.h"

namespace Bench {

namespace {

constexpr const wchar_t* kProductKey = L"Software\\Ulvenhart\\Hearthward";
constexpr const wchar_t* kValueName = L"InstalledFolder";
constexpr const wchar_t* kSessionKey =
    L"Software\\Ulvenhart\\Hearthward\\1\\DebugLog\\InteractiveSession";

void DeleteFolder(const std::wstring& folder) {
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((folder + L"*").c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
                DeleteFileW((folder + found.cFileName).c_str());
            }
        } while (FindNextFileW(search, &found));
        FindClose(search);
    }
    RemoveDirectoryW(folder.c_str());
}

constexpr const wchar_t* kSessions[] = {L"InteractiveSession", L"ServiceSession"};

std::wstring SessionKey(const wchar_t* session) {
    return std::wstring(kProductKey) + L"\\1\\DebugLog\\" + session;
}

bool SetEnable(const std::wstring& sessionKey, DWORD enable) {
    return RegSetKeyValueW(HKEY_LOCAL_MACHINE, sessionKey.c_str(), L"Enable", REG_DWORD, &enable,
                           sizeof(enable)) == ERROR_SUCCESS;
}

}  // namespace

ScratchFolder::ScratchFolder(const std::wstring& name) {
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    m_Path = std::wstring(temp) + L"OstrelBench-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
             name + L"\\";
    CreateDirectoryW(m_Path.c_str(), nullptr);
}

ScratchFolder::~ScratchFolder() {
    DeleteFolder(m_Path);
}

InstalledFolder::InstalledFolder() {
    ZorvCommon::UniqueRegKey key;
    m_KeyExisted = RegOpenKeyExW(HKEY_LOCAL_MACHINE, kProductKey, 0, KEY_QUERY_VALUE, key.put()) ==
                   ERROR_SUCCESS;
    if (m_KeyExisted) {
        wchar_t old[MAX_PATH] = {};
        DWORD cbOld = sizeof(old) - sizeof(wchar_t);
        m_ValueExisted = RegQueryValueExW(key.get(), kValueName, nullptr, nullptr,
                                          reinterpret_cast<BYTE*>(old), &cbOld) == ERROR_SUCCESS;
        m_OldValue = old;
    }
}

bool InstalledFolder::Set(const std::wstring& folder) {
    ZorvCommon::UniqueRegKey key;
    return RegCreateKeyExW(HKEY_LOCAL_MACHINE, kProductKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                           key.put(), nullptr) == ERROR_SUCCESS &&
           RegSetValueExW(
               key.get(), kValueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(folder.c_str()),
               static_cast<DWORD>((folder.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

InstalledFolder::~InstalledFolder() {
    if (!m_KeyExisted) {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kProductKey);
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, kProductKey);
        return;
    }
    ZorvCommon::UniqueRegKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kProductKey, 0, KEY_SET_VALUE, key.put()) !=
        ERROR_SUCCESS) {
        return;
    }
    if (m_ValueExisted) {
        RegSetValueExW(key.get(), kValueName, 0, REG_SZ,
                       reinterpret_cast<const BYTE*>(m_OldValue.c_str()),
                       static_cast<DWORD>((m_OldValue.size() + 1) * sizeof(wchar_t)));
    } else {
        RegDeleteValueW(key.get(), kValueName);
    }
}

ScratchKey::~ScratchKey() {
    RegDeleteTreeW(HKEY_CURRENT_USER, m_Path.c_str());
    RegDeleteKeyW(HKEY_CURRENT_USER, m_Path.c_str());
    RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\OstrelBench");  // only once it is empty
}

ErrorLogSettings::ErrorLogSettings(const std::wstring& folder) {
    const std::wstring session = kSessionKey;
    for (size_t end = session.find(L'\\', std::wcslen(kProductKey)); m_CreatedKey.empty();
         end = session.find(L'\\', end + 1)) {
        const std::wstring key = session.substr(0, end);
        ZorvCommon::UniqueRegKey existing;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, existing.put()) !=
            ERROR_SUCCESS) {
            m_CreatedKey = key;
        }
        if (end == std::wstring::npos) {
            break;
        }
    }
    ZorvCommon::UniqueRegKey key;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, kSessionKey, 0, nullptr, 0, KEY_READ | KEY_SET_VALUE,
                        nullptr, key.put(), nullptr) != ERROR_SUCCESS) {
        return;
    }
    for (DWORD index = 0;; ++index) {
        wchar_t name[256];
        DWORD cchName = 256;
        Value value{std::wstring(), REG_NONE, std::vector<BYTE>(65536)};
        DWORD cbData = static_cast<DWORD>(value.data.size());
        if (RegEnumValueW(key.get(), index, name, &cchName, nullptr, &value.type, value.data.data(),
                          &cbData) != ERROR_SUCCESS) {
            break;
        }
        value.name = name;
        value.data.resize(cbData);
        m_Old.push_back(value);
    }
    const auto setNumber = [&](const wchar_t* name, DWORD number) {
        return RegSetValueExW(key.get(), name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number),
                              sizeof(number)) == ERROR_SUCCESS;
    };
    const auto setText = [&](const wchar_t* name, const std::wstring& text) {
        return RegSetValueExW(
                   key.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
    };
    m_Set = setNumber(L"Enable", 1) && setNumber(L"Level", 256) && setNumber(L"LogProcess", 0) &&
            setNumber(L"LogUnitType", 0) && setText(L"LogFolder", folder) &&
            setText(L"LogPrefix", L"") && setText(L"LogFile", L"badvalue") &&
            setText(L"LogExtension", L"log") && setNumber(L"Robust", 0) &&
            setNumber(L"Debugger", 0);
}

ErrorLogSettings::~ErrorLogSettings() {
    if (!m_CreatedKey.empty()) {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, m_CreatedKey.c_str());
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, m_CreatedKey.c_str());
        return;
    }
    ZorvCommon::UniqueRegKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kSessionKey, 0, KEY_ALL_ACCESS, key.put()) !=
        ERROR_SUCCESS) {
        return;
    }
    RegDeleteTreeW(key.get(), nullptr);  // every value set here, then the old ones again
    for (const Value& value : m_Old) {
        RegSetValueExW(key.get(), value.name.c_str(), 0, value.type, value.data.data(),
                       static_cast<DWORD>(value.data.size()));
    }
}

DebugLogOff::DebugLogOff() {
    for (const wchar_t* session : kSessions) {
        const std::wstring key = SessionKey(session);
        DWORD enable = 0;
        DWORD cbEnable = sizeof(enable);
        if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"Enable", RRF_RT_REG_DWORD, nullptr,
                         &enable, &cbEnable) != ERROR_SUCCESS ||
            enable == 0) {
            continue;
        }
        if (!SetEnable(key, 0)) {
            m_Off = false;
            continue;
        }
        m_Sessions.push_back(key);
        m_Enable.push_back(enable);
    }
}

DebugLogOff::~DebugLogOff() {
    for (size_t i = 0; i < m_Sessions.size(); ++i) {
        SetEnable(m_Sessions[i], m_Enable[i]);
    }
}

}  // namespace Bench
