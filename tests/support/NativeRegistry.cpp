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

constexpr int kKeyNameInformation = 3;

template <typename Function>
Function NtDll(const char* name) {
    const auto function = reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
    if (function == nullptr) {
        throw std::runtime_error(std::string("ntdll has no ") + name);
    }
    return function;
}

UniqueRegKey OpenLink(HKEY root, const std::wstring& path, REGSAM access) {
    UniqueRegKey key;
    RegOpenKeyExW(root, path.c_str(), REG_OPTION_OPEN_LINK, access, key.put());
    return key;
}

}  // namespace

std::wstring NativeKeyPath(HKEY root, const std::wstring& path) {
    UniqueRegKey key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_QUERY_VALUE, key.put()) != ERROR_SUCCESS) {
        return std::wstring();
    }
    // KEY_NAME_INFORMATION: the name's length in bytes, then the name.
    std::vector<ULONG> buffer(1024);
    ULONG cbResult = 0;
    if (NtDll<decltype(&NtQueryKey)>("NtQueryKey")(
            key.get(), kKeyNameInformation, buffer.data(),
            static_cast<ULONG>(buffer.size() * sizeof(ULONG)), &cbResult) < 0) {
        return std::wstring();
    }
    return std::wstring(reinterpret_cast<const wchar_t*>(&buffer[1]), buffer[0] / sizeof(wchar_t));
}

ScratchRegistryLink::ScratchRegistryLink(HKEY root, const std::wstring& path, HKEY targetRoot,
                                         const std::wstring& targetPath)
    : m_Root(root), m_Path(path) {
    const std::wstring target = NativeKeyPath(targetRoot, targetPath);
    UniqueRegKey link;
    if (target.empty() ||
        RegCreateKeyExW(root, path.c_str(), 0, nullptr, REG_OPTION_CREATE_LINK,
                        KEY_ALL_ACCESS | KEY_CREATE_LINK, nullptr, link.put(),
                        nullptr) != ERROR_SUCCESS ||
        RegSetValueExW(link.get(), L"SymbolicLinkValue", 0, REG_LINK,
                       reinterpret_cast<const BYTE*>(target.data()),
                       static_cast<DWORD>(target.size() * sizeof(wchar_t))) != ERROR_SUCCESS) {
        throw std::runtime_error("the registry link could not be made");
    }
}

ScratchRegistryLink::~ScratchRegistryLink() {
    const UniqueRegKey link = OpenLink(m_Root, m_Path, DELETE);
    if (link) {
        NtDll<decltype(&NtDeleteKey)>("NtDeleteKey")(link.get());
    }
}

bool ScratchRegistryLink::Exists() const {
    return OpenLink(m_Root, m_Path, KEY_QUERY_VALUE).is_valid();
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
    if (key == nullptr) {
        throw std::runtime_error("the key with a NUL in its name could not be made");
    }
    m_Key.reset(static_cast<HKEY>(key));
}

ScratchUnopenableKey::~ScratchUnopenableKey() {
    NtDll<decltype(&NtDeleteKey)>("NtDeleteKey")(m_Key.get());
}

}  // namespace TestSupport
