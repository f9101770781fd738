#include "ZorvComn_Registry.h"

#include <winternl.h>

#include <cstring>
#include <new>

#include "ZorvComn_Library.h"
#include "ZorvComn_SecurityAttributes.h"
#include "ZorvComn_Win32Error.h"

// Declared here for its type only: ntdll is bound at run time.
extern "C" NTSTATUS NTAPI NtDeleteKey(HANDLE KeyHandle);

namespace ZorvCommon {
namespace Storage {
namespace {

constexpr REGSAM kCreateAccess = KEY_QUERY_VALUE | KEY_SET_VALUE | KEY_CREATE_SUB_KEY;
constexpr REGSAM kDeleteAccess = DELETE | KEY_SET_VALUE;
constexpr REGSAM kEnumAccess = KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS;
constexpr REGSAM kNodeAccess = DELETE | KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS;
// The longest value name the registry allows, plus the terminator (key names are shorter).
constexpr DWORD kMaxNameChars = 16384;
// What a value read offers room for at first: a path of MAX_PATH characters fits.
constexpr DWORD kFirstQueryBytes = (MAX_PATH + 1) * sizeof(wchar_t);

// True, or throws the status.
bool Check(LSTATUS status, uint32_t line) {
    if (status != ERROR_SUCCESS) {
        throw new Exception(static_cast<uint32_t>(status), line, __FILE__);
    }
    return true;
}

// Runs a throwing query; a storage failure gives the default and its code instead.
template <typename Result, typename Query>
Result QueryOrDefault(Query query, const Result& defaultValue, uint32_t* error) {
    try {
        Result result = query();
        (void)Win32Error::Succeed(error);
        return result;
    } catch (Exception* pException) {
        const std::unique_ptr<Exception> owner(pException);
        (void)Win32Error::Fail(error, pException->m_Error);
        return defaultValue;
    }
}

RegistryValue Stored(DWORD type, const void* bytes, size_t cbBytes) {
    const auto* first = static_cast<const uint8_t*>(bytes);
    return RegistryValue{type, std::vector<uint8_t>(first, first + cbBytes)};
}

template <typename Number>
Number ReadNumber(const RegistryValue& value, DWORD expectedType) {
    if (value.Type != expectedType || value.Bytes.size() != sizeof(Number)) {
        ZORV_THROW_STORAGE(ERROR_INVALID_DATA);
    }
    Number number;
    std::memcpy(&number, value.Bytes.data(), sizeof(Number));
    return number;
}

// A store of the view for a node of a tree delete; throws when there is no memory.
std::unique_ptr<Registry> NewRegistry(uint32_t view) {
    std::unique_ptr<Registry> registry(new (std::nothrow) Registry(view));
    if (registry == nullptr) {
        ZORV_THROW_STORAGE(ERROR_OUTOFMEMORY);
    }
    return registry;
}

// RegEnumKeyExW and RegEnumValueW alike: names from index 0 up to ERROR_NO_MORE_ITEMS.
template <typename Enumerate>
void EnumNames(HKEY key, Enumerate enumerate, std::vector<std::wstring>& names) {
    std::vector<wchar_t> buffer(kMaxNameChars);
    for (DWORD index = 0;; ++index) {
        DWORD cchName = kMaxNameChars;
        const LSTATUS status =
            enumerate(key, index, buffer.data(), &cchName, nullptr, nullptr, nullptr, nullptr);
        if (status == ERROR_NO_MORE_ITEMS) {
            return;
        }
        Check(status, __LINE__);
        names.emplace_back(buffer.data(), cchName);
    }
}

// An entry point of the system directory's ntdll, typed through its declaration; throws
// the lookup's error when there is none.
template <typename Function>
Function NtDllProc(const UniqueModule& ntdll, const char* name) {
    const Function proc = ntdll ? Library::ProcAddress<Function>(ntdll.get(), name) : nullptr;
    if (proc == nullptr) {
        const DWORD error = GetLastError();
        ZORV_THROW_STORAGE(error != ERROR_SUCCESS ? error : ERROR_PROC_NOT_FOUND);
    }
    return proc;
}

}  // namespace

RegistryValue StringValue(const std::wstring& text) {
    return Stored(REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

std::wstring ReadString(const RegistryValue& value) {
    if (value.Type != REG_SZ && value.Type != REG_EXPAND_SZ) {
        ZORV_THROW_STORAGE(ERROR_INVALID_DATA);
    }
    std::wstring text((value.Bytes.size() + 1) / sizeof(wchar_t), L'\0');
    if (!value.Bytes.empty()) {
        std::memcpy(&text[0], value.Bytes.data(), value.Bytes.size());
    }
    text.resize(wcsnlen(text.c_str(), text.size()));
    return text;
}

uint32_t ReadUint32(const RegistryValue& value) {
    return ReadNumber<uint32_t>(value, REG_DWORD);
}

uint64_t ReadUint64(const RegistryValue& value) {
    return ReadNumber<uint64_t>(value, REG_QWORD);
}

bool RegistryBase::QueryBinary(const std::wstring& name, ByteArray& value, uint32_t* error) {
    return QueryOrDefault([&] { return QueryBinary(name, value); }, false, error);
}

// The array is replaced only once the value has been read; a zero-length value leaves it
// empty.
bool RegistryBase::QueryBinary(const std::wstring& name, ByteArray& value) {
    const RegistryValue stored = QueryStored(name);
    if (stored.Type != REG_BINARY) {
        ZORV_THROW_STORAGE(ERROR_INVALID_DATA);
    }
    value.Free();
    if (stored.Bytes.empty()) {
        return true;
    }
    uint32_t error = ERROR_SUCCESS;
    if (!value.Create(stored.Bytes.size(), &error)) {
        ZORV_THROW_STORAGE(error);
    }
    std::memcpy(value.Data(), stored.Bytes.data(), stored.Bytes.size());
    value.SetLength(stored.Bytes.size());
    return true;
}

std::wstring RegistryBase::QueryString(const std::wstring& name, const std::wstring& defaultValue,
                                       uint32_t* error) {
    return QueryOrDefault([&] { return QueryString(name, defaultValue); }, defaultValue, error);
}

std::wstring RegistryBase::QueryString(const std::wstring& name, const std::wstring&) {
    return ReadString(QueryStored(name));
}

uint32_t RegistryBase::QueryUint32(const std::wstring& name, uint32_t defaultValue,
                                   uint32_t* error) {
    return QueryOrDefault([&] { return QueryUint32(name, defaultValue); }, defaultValue, error);
}

uint32_t RegistryBase::QueryUint32(const std::wstring& name, uint32_t) {
    return ReadUint32(QueryStored(name));
}

uint64_t RegistryBase::QueryUint64(const std::wstring& name) {
    return ReadUint64(QueryStored(name));
}

bool RegistryBase::SetBinary(const std::wstring& name, const uint8_t* bytes, uint32_t length) {
    return SetStored(name, Stored(REG_BINARY, bytes, length));
}

bool RegistryBase::SetString(const std::wstring& name, const std::wstring& text) {
    return SetStored(name, StringValue(text));
}

bool RegistryBase::SetUint64(const std::wstring& name, uint64_t value) {
    return SetStored(name, Stored(REG_QWORD, &value, sizeof(value)));
}

bool RegistryBase::SetUint32(const std::wstring& name, uint32_t value) {
    return SetStored(name, Stored(REG_DWORD, &value, sizeof(value)));
}

std::wstring JoinKeyPath(const std::wstring& base, const std::wstring& name) {
    if (name.empty()) {
        return base;
    }
    if (base.empty() || base.back() == L'\\') {
        return base + name;
    }
    return base + L"\\" + name;
}

REGSAM Registry::ViewFlag() const {
    switch (m_View) {
        case RegistryView32:
            return KEY_WOW64_32KEY;
        case RegistryView64:
            return KEY_WOW64_64KEY;
        default:
            return 0;
    }
}

HKEY Registry::OpenKey() const {
    if (!m_Key) {
        ZORV_THROW_STORAGE(ERROR_INVALID_HANDLE);
    }
    return m_Key.get();
}

bool Registry::Adopt(LSTATUS status, UniqueRegKey& opened, const std::wstring& path) {
    Check(status, __LINE__);  // the caller decides whether a missing key is a failure
    m_Key = std::move(opened);
    m_Path = path;
    return true;
}

bool Registry::OpenRelative(HKEY parent, const std::wstring& name, DWORD options, REGSAM access,
                            const std::wstring& path) {
    UniqueRegKey opened;
    const LSTATUS status =
        RegOpenKeyExW(parent, name.c_str(), options, access | ViewFlag(), opened.put());
    return Adopt(status, opened, path);
}

bool Registry::OpenWith(const Key& key, const std::wstring& name, DWORD options, REGSAM access) {
    const std::wstring path = JoinKeyPath(key.m_SubKey, name);
    return OpenRelative(key.m_Root, path, options, access, path);
}

bool Registry::Open(const Key& key, const std::wstring& name) {
    return OpenWith(key, name, 0, KEY_QUERY_VALUE);
}

// The key is created with the module's explicit access list.
bool Registry::CreateWith(const Key& key, const std::wstring& name, REGSAM access) {
    const std::wstring path = JoinKeyPath(key.m_SubKey, name);
    AccessControl::SecurityAttributes security(AccessControl::ObjectKindRegistryKey);
    UniqueRegKey created;
    const LSTATUS status = RegCreateKeyExW(
        key.m_Root, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, access | ViewFlag(),
        security.GetSecurityAttributes(), created.put(), nullptr);
    return Adopt(status, created, path);
}

bool Registry::Create(const Key& key, const std::wstring& name) {
    return CreateWith(key, name, kCreateAccess);
}

bool Registry::CreateAllAccess(const Key& key, const std::wstring& name) {
    return CreateWith(key, name, KEY_ALL_ACCESS);
}

bool Registry::OpenForDelete(const Key& key, const std::wstring& name) {
    return OpenWith(key, name, 0, kDeleteAccess);
}

bool Registry::OpenForEnum(const Key& key, const std::wstring& name) {
    return OpenWith(key, name, 0, kEnumAccess);
}

bool Registry::OpenNodeForDelete(const Key& key, const std::wstring& name) {
    return OpenWith(key, name, REG_OPTION_OPEN_LINK, kNodeAccess);
}

bool Registry::OpenNodeForEnum(const Key& key, const std::wstring& name) {
    return OpenWith(key, name, REG_OPTION_OPEN_LINK, KEY_ENUMERATE_SUB_KEYS);
}

bool Registry::OpenNodeForDelete(const Registry& parent, const std::wstring& name) {
    return OpenRelative(parent.OpenKey(), name, REG_OPTION_OPEN_LINK, kNodeAccess,
                        JoinKeyPath(parent.m_Path, name));
}

std::unique_ptr<RegistryBase> Registry::OpenNode(const Key& key, const std::wstring& name) {
    std::unique_ptr<Registry> node = NewRegistry(m_View);
    (void)node->OpenNodeForDelete(key, name);  // true, or it throws
    return node;
}

std::unique_ptr<RegistryBase> Registry::OpenSubNode(const std::wstring& name) {
    std::unique_ptr<Registry> node = NewRegistry(m_View);
    (void)node->OpenNodeForDelete(*this, name);  // true, or it throws
    return node;
}

bool Registry::Close() {
    (void)OpenKey();
    m_Key.reset();
    m_Path.clear();
    return true;
}

bool Registry::Flush() {
    return Check(RegFlushKey(OpenKey()), __LINE__);
}

// Most values fit the first guess and cost one call (each call is a round trip to the
// registry); a longer one is asked for again with the size the last call reported, as
// long as the value grows between the calls.
RegistryValue Registry::QueryStored(const std::wstring& name) {
    const HKEY key = OpenKey();
    RegistryValue value;
    DWORD cbData = kFirstQueryBytes;
    for (;;) {
        value.Bytes.assign(cbData, 0);
        const LSTATUS status =
            RegQueryValueExW(key, name.c_str(), nullptr, &value.Type, value.Bytes.data(), &cbData);
        if (status != ERROR_MORE_DATA) {
            Check(status, __LINE__);
            value.Bytes.resize(cbData);
            return value;
        }
    }
}

bool Registry::SetStored(const std::wstring& name, const RegistryValue& value) {
    return Check(RegSetValueExW(OpenKey(), name.c_str(), 0, value.Type, value.Bytes.data(),
                                static_cast<DWORD>(value.Bytes.size())),
                 __LINE__);
}

// One level only: a key that still has sub-keys is refused by the registry.
bool Registry::DeleteKey(const std::wstring& name) {
    return Check(RegDeleteKeyExW(OpenKey(), name.c_str(), ViewFlag(), 0), __LINE__);
}

bool Registry::DeleteOpenKey() {
    const HKEY key = OpenKey();
    const UniqueModule ntdll(LoadLibraryW(Library::SystemDirectoryPath(L"ntdll.dll").c_str()));
    const auto deleteKey = NtDllProc<decltype(&NtDeleteKey)>(ntdll, "NtDeleteKey");
    const auto toWin32Error =
        NtDllProc<decltype(&RtlNtStatusToDosError)>(ntdll, "RtlNtStatusToDosError");
    const NTSTATUS status = deleteKey(key);
    if (status < 0) {
        ZORV_THROW_STORAGE(toWin32Error(status));
    }
    m_Key.reset();
    m_Path.clear();
    return true;
}

bool Registry::DeleteValue(const std::wstring& name) {
    return Check(RegDeleteValueW(OpenKey(), name.c_str()), __LINE__);
}

bool Registry::EnumKeys(std::vector<std::wstring>& names) {
    EnumNames(OpenKey(), RegEnumKeyExW, names);
    return true;
}

bool Registry::EnumValues(std::vector<std::wstring>& names) {
    EnumNames(OpenKey(), RegEnumValueW, names);
    return true;
}

namespace Reg {

uint32_t QueryValue(HKEY root, const std::wstring& subKey, const std::wstring& name,
                    const std::wstring& defaultValue, std::wstring& value, uint32_t view) {
    uint32_t error = ERROR_SUCCESS;
    value = QueryOrDefault(
        [&] {
            Registry registry(view);
            (void)registry.Open(Key(StorageTypeRegistry, root, subKey), std::wstring());
            return registry.QueryString(name, defaultValue);
        },
        defaultValue, &error);
    return error;
}

}  // namespace Reg
}  // namespace Storage
}  // namespace ZorvCommon
