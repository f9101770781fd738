#include "NativeRegistry.h"

#include <winternl.h>

#include <stdexcept>
#include <vector>

// Declared here for their types only: ntdll is looked up at run time.
extern "C" NTSTATUS NTAPI NtQueryKey(HANDLE KeyHandle, int KeyInformationClass,
                                     PVOID KeyInformation, ULONG Length, PULONG ResultLength);
extern "C" NTSTATUS NTAPI NtCreateKey(PHANDLE KeyHandle, ACCESS_MASK DesiredAccess,
                                      POBJECT_ATTRIBUTES ObjectAttributes, ULONG TitleIndex,
                                      PUNICODE_STRING Class, ULONG CreateOptions,
                                      PULONG Disposition);
extern "C" NTSTATUS NTAPI NtDeleteKey(HANDLE KeyHandle);

namespace TestSupport {
namespace {

using ZorvCommon::UniqueRegKey;

template <typename Function>
Function NtDll(const char* name) {
    const auto function = reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
    if (function == nullptr) {
        throw std::runtime_error(std::string("ntdll has no ") + name);
    }
    return function;
}

void Require(bool made, const char* what) {
    if (!made) {
        throw std::runtime_error(std::string(what) + " could not be made");
    }
}

// The native path of a key ("\REGISTRY\USER\<sid>\Software\..."); empty when it cannot be
// opened.
std::wstring NativeKeyPath(HKEY root, const std::wstring& path) {
    constexpr int kKeyNameInformation = 3;
    UniqueRegKey key;
    std::vector<ULONG> buffer(1024);  // the name's length in bytes, then the name
    ULONG cbResult = 0;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_QUERY_VALUE, key.put()) != ERROR_SUCCESS ||
        NtDll<decltype(&NtQueryKey)>("NtQueryKey")(
            key.get(), kKeyNameInformation, buffer.data(),
            static_cast<ULONG>(buffer.size() * sizeof(ULONG)), &cbResult) < 0) {
        return std::wstring();
    }
    return std::wstring(reinterpret_cast<const wchar_t*>(&buffer[1]), buffer[0] / sizeof(wchar_t));
}

}  // namespace

ScratchRegistryLink::ScratchRegistryLink(HKEY root, const std::wstring& path, HKEY targetRoot,
                                         const std::wstring& targetPath)
    : m_Root(root), m_Path(path) {
    const std::wstring target = NativeKeyPath(targetRoot, targetPath);
    Require(
        !target.empty() &&
            RegCreateKeyExW(root, path.c_str(), 0, nullptr, REG_OPTION_CREATE_LINK,
                            KEY_ALL_ACCESS | KEY_CREATE_LINK, nullptr, m_Key.put(),
                            nullptr) == ERROR_SUCCESS &&
            RegSetValueExW(m_Key.get(), L"SymbolicLinkValue", 0, REG_LINK,
                           reinterpret_cast<const BYTE*>(target.data()),
                           static_cast<DWORD>(target.size() * sizeof(wchar_t))) == ERROR_SUCCESS,
        "the registry link");
}

ScratchRegistryLink::~ScratchRegistryLink() {
    NtDll<decltype(&NtDeleteKey)>("NtDeleteKey")(m_Key.get());
}

bool ScratchRegistryLink::Exists() const {
    UniqueRegKey link;
    return RegOpenKeyExW(m_Root, m_Path.c_str(), REG_OPTION_OPEN_LINK, KEY_QUERY_VALUE,
                         link.put()) == ERROR_SUCCESS;
}

ScratchUnopenableKey::ScratchUnopenableKey(HKEY root, const std::wstring& parentPath) {
    UniqueRegKey parent;
    std::wstring name(L"Hidden\0Key", 10);
    UNICODE_STRING nativeName;
    nativeName.Buffer = &name[0];
    nativeName.Length = nativeName.MaximumLength =
        static_cast<USHORT>(name.size() * sizeof(wchar_t));
    OBJECT_ATTRIBUTES attributes;
    HANDLE key = nullptr;
    if (RegCreateKeyExW(root, parentPath.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                        parent.put(), nullptr) == ERROR_SUCCESS) {
        InitializeObjectAttributes(&attributes, &nativeName, OBJ_CASE_INSENSITIVE, parent.get(),
                                   nullptr);
        NtDll<decltype(&NtCreateKey)>("NtCreateKey")(&key, KEY_ALL_ACCESS, &attributes, 0, nullptr,
                                                     0, nullptr);
    }
    m_Key.reset(static_cast<HKEY>(key));
    Require(key != nullptr, "the key with a NUL in its name");
}

ScratchUnopenableKey::~ScratchUnopenableKey() {
    NtDll<decltype(&NtDeleteKey)>("NtDeleteKey")(m_Key.get());
}

}  // namespace TestSupport
