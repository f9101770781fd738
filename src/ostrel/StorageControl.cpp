#include "StorageControl.h"

#include <new>

#include "ZorvComn_DebugLog.h"
#include "ZorvComn_IniFile.h"
#include "ZorvComn_SecurityAttributes.h"
#include "ZorvComn_String.h"

namespace Ostrel {
namespace Storage {
namespace {

using ZorvCommon::Storage::Base;
using ZorvCommon::Storage::Key;

// How an operation reports the backend's "not found" (Win32 error 2).
enum class Absence {
    Accepted,  // 0x0004020B: absence is a normal answer
    Failure,   // 0x8004020B
    Plain,     // like any other Win32 error
};

HRESULT FromStorageException(const wchar_t* method, const std::wstring* name, Absence absence,
                             const ZorvCommon::Storage::Exception* pException) {
    // The operations on a named section or value close their log line with the name.
    const std::wstring named = name != nullptr ? L" [" + *name + L"]" : std::wstring();
    if (pException == nullptr) {
        ZORV_ERROR(L"*** Control::%s() - Got ZorvCommon::Storage::Exception().%s", method,
                   named.c_str());
        return kWrongState;
    }
    ZORV_ERROR(L"*** Control::%s() - Got ZorvCommon::Storage::Exception(). [0x%08x] [%lu] [%s]%s",
               method, pException->m_Error, static_cast<unsigned long>(pException->m_Line),
               pException->m_File.c_str(), named.c_str());
    if (pException->m_Error == ERROR_FILE_NOT_FOUND && absence != Absence::Plain) {
        return absence == Absence::Accepted ? kAbsentAccepted : kNotFound;
    }
    return ZorvCommon::Exception::ResultFromWin32(pException->m_Error);
}

// Runs a backend call that answers true or false (false gives onFalse) and turns what it
// throws into a result; name (may be null) goes into the log line.
template <typename Call>
HRESULT Guard(const wchar_t* method, const std::wstring* name, Absence absence, HRESULT onFalse,
              Call call) {
    try {
        return call() ? kSuccess : onFalse;
    } catch (ZorvCommon::Storage::Exception* pException) {
        const std::unique_ptr<ZorvCommon::Storage::Exception> owner(pException);
        return FromStorageException(method, name, absence, pException);
    } catch (ZorvCommon::AccessControl::Exception* pException) {
        // Building the security attributes of a new key failed.
        const std::unique_ptr<ZorvCommon::AccessControl::Exception> owner(pException);
        if (pException == nullptr) {
            ZORV_ERROR(L"*** Control::%s() - Got ZorvCommon::AccessControl::Exception().", method);
            return kWrongState;
        }
        ZORV_ERROR(
            L"*** Control::%s() - Got ZorvCommon::AccessControl::Exception(). [0x%08x] [%lu] [%s]",
            method, pException->m_Error, static_cast<unsigned long>(pException->m_Line),
            pException->m_File.c_str());
        return pException->m_Result;
    }
}

// An operation on the open section: the backend call once check has passed; name (may be
// null) goes into the log line.
template <typename Call>
HRESULT IfOpen(HRESULT check, const wchar_t* method, const std::wstring* name, Absence absence,
               Call call) {
    return check != kSuccess ? check : Guard(method, name, absence, kWrongState, call);
}

bool IsRegistryType(uint32_t type) {
    return type == ZorvCommon::Storage::StorageTypeRegistry ||
           type == ZorvCommon::Storage::StorageTypeRegistryAlt;
}

}  // namespace

HKEY ToRegistryRoot(uint64_t value) {
    const uint64_t low = value & 0xFFFFFFFFu;
    const uint64_t high = value >> 32;
    const bool predefined =
        (high == 0 || high == 0xFFFFFFFFu) && low >= 0x80000000u && low <= 0x80000003u;
    if (predefined) {
        // Predefined roots are negative 32-bit numbers, sign-extended on x64.
        return reinterpret_cast<HKEY>(static_cast<intptr_t>(static_cast<int32_t>(low)));
    }
    return reinterpret_cast<HKEY>(static_cast<uintptr_t>(value));
}

std::unique_ptr<ZorvCommon::Storage::RegistryBase> StoreFactory::NewRegistry(uint32_t view) const {
    return std::unique_ptr<ZorvCommon::Storage::RegistryBase>(
        new (std::nothrow) ZorvCommon::Storage::Registry(view));
}

std::unique_ptr<Base> StoreFactory::NewIniFile() const {
    return std::unique_ptr<Base>(new (std::nothrow) ZorvCommon::Storage::IniFile());
}

const StoreFactory& RealStores() {
    static const StoreFactory stores;
    return stores;
}

Control::~Control() {
    (void)Uninitialize();  // a destructor has no one to tell
}

HRESULT Control::Initialize(const Key& key, const uint32_t* accessMode,
                            const StoreFactory& stores) {
    if (m_pBase != nullptr || m_pKey != nullptr) {
        ZORV_ERROR(
            L"*** Control::Initialize() - this->m_pStorage or this->m_pKey has been already "
            L"created.");
        return kWrongState;
    }
    const bool isIniFile = key.m_Type == ZorvCommon::Storage::StorageTypeIniFile;
    if (!isIniFile && !IsRegistryType(key.m_Type)) {
        ZORV_ERROR(L"*** Control::Initialize() - Specified Access Type was not supported. [%d]",
                   key.m_Type);
        return kNotSupported;
    }
    // An INI file has no view; the "check" mode reads as the default view.
    uint32_t mode = accessMode != nullptr && !isIniFile ? *accessMode : AccessModeDefault;
    if (mode > AccessModeCheck) {
        ZORV_ERROR(L"*** Control::Initialize() - Specified Access Mode was not supported. [%d]",
                   mode);
        return kNotSupported;
    }
    if (mode == AccessModeCheck) {
        mode = AccessModeDefault;
    }

    std::unique_ptr<Key> pKey(
        isIniFile ? new (std::nothrow)
                        Key(ZorvCommon::Storage::StorageTypeIniFile, key.m_FilePath, key.m_SubKey)
                  : new (std::nothrow)
                        Key(ZorvCommon::Storage::StorageTypeRegistry,
                            ToRegistryRoot(reinterpret_cast<uintptr_t>(key.m_Root)), key.m_SubKey));
    std::unique_ptr<Base> pBase;
    if (pKey == nullptr) {
        ZORV_ERROR(L"*** Control::Initialize() - pKey was invalid.");
    } else {
        pBase = isIniFile ? stores.NewIniFile() : stores.NewRegistry(mode);
        if (pBase == nullptr) {
            ZORV_ERROR(L"*** Control::Initialize() - pBase was invalid.");
        }
    }
    if (pBase == nullptr) {
        ZORV_ERROR(L"*** Control::Initialize() - Failed to create pBase or pKey. [0x%08x]",
                   kAllocationFailed);
        return kAllocationFailed;
    }
    m_pKey = std::move(pKey);
    m_pBase = std::move(pBase);
    m_AccessMode = mode;
    m_eOpenType = OpenTypeNone;
    return kSuccess;
}

HRESULT Control::Uninitialize() {
    const HRESULT hr = m_eOpenType != OpenTypeNone ? Close(false) : kSuccess;
    m_eOpenType = OpenTypeNone;
    m_SectionName.clear();
    m_pKey.reset();
    m_pBase.reset();
    m_AccessMode = AccessModeDefault;
    return hr < 0 ? hr : kSuccess;
}

bool Control::IsRegistry() const {
    return m_pKey != nullptr && IsRegistryType(m_pKey->m_Type);
}

HRESULT Control::OpenEx(const uint32_t& openType, const std::wstring& sectionName,
                        bool defaultAccess) {
    if (!IsInitialized()) {
        ZORV_ERROR(L"*** Control::OpenEx() - this->m_pBase or this->m_pKey was invalid.");
        return kInvalidObject;
    }
    if (m_eOpenType != OpenTypeNone) {
        ZORV_ERROR(L"*** Control::OpenEx() - _eOpenType was already opened. [%d]", m_eOpenType);
        return kWrongOpenState;
    }
    // Only a registry store may ask for more than the default access: its key is created
    // with the registry-key security attributes, which the backend's Create applies.
    if (!defaultAccess && !(openType == OpenTypeStore && IsRegistry())) {
        ZORV_ERROR(
            L"*** Control::OpenEx() - Specified Access was not allowed as default access right. "
            L"[%d][%d]",
            openType, static_cast<int>(defaultAccess));
        return kNotSupported;
    }
    // The backend's open for each open type, Query to Enum.
    static bool (Base::*const kOpens[])(const Key&, const std::wstring&) = {
        &Base::Open, &Base::Create, &Base::OpenForDelete, &Base::OpenForEnum};
    if (openType < OpenTypeQuery || openType > OpenTypeEnum) {
        ZORV_ERROR(L"*** Control::OpenEx() - Specified Open Type was not supported. [%s]",
                   std::to_wstring(openType).c_str());
        return kNotSupported;
    }
    const auto open = kOpens[openType - OpenTypeQuery];
    const HRESULT hr = Guard(L"OpenEx", &sectionName, Absence::Failure, kNotSupported,
                             [&] { return (m_pBase.get()->*open)(*m_pKey, sectionName); });
    if (hr == kSuccess) {
        m_eOpenType = openType;
        m_SectionName = sectionName;
    }
    return hr;
}

// A committed close of a store flushes what was written. The section is closed whatever
// the flush gives (a section left open would refuse every later open); a failed flush
// is still the result.
HRESULT Control::Close(const bool& commit) {
    if (m_pBase == nullptr) {
        ZORV_ERROR(L"*** Control::Close() - this->m_pBase was invalid.");
        return kInvalidObject;
    }
    if (m_eOpenType == OpenTypeNone) {
        ZORV_ERROR(L"*** Control::Close() - _eOpenType was already closed.");
        return kWrongState;
    }
    const bool flush = commit && m_eOpenType == OpenTypeStore;
    const HRESULT hrFlush = flush ? Guard(L"Close", nullptr, Absence::Plain, kWrongState,
                                          [&] { return m_pBase->Flush(); })
                                  : kSuccess;
    const HRESULT hr =
        Guard(L"Close", nullptr, Absence::Plain, kWrongState, [&] { return m_pBase->Close(); });
    if (hr == kSuccess) {
        m_eOpenType = OpenTypeNone;
        m_SectionName.clear();
    }
    return hrFlush != kSuccess ? hrFlush : hr;
}

HRESULT Control::CheckOpen(const wchar_t* method, uint32_t openType, Needs needs) const {
    if (m_pBase == nullptr || (needs != Needs::Base && m_pKey == nullptr)) {
        ZORV_ERROR(needs != Needs::Base
                       ? L"*** Control::%s() - this->m_pBase or this->m_pKey was invalid."
                       : L"*** Control::%s() - this->m_pBase was invalid.",
                   method);
        return kInvalidObject;
    }
    if (m_eOpenType != openType) {
        ZORV_ERROR(L"*** Control::%s() - _eOpenType was not opened for query. [%d]", method,
                   m_eOpenType);
        return kWrongOpenState;
    }
    // 64-bit values exist in the registry only.
    if (needs == Needs::Registry && !IsRegistry()) {
        ZORV_ERROR(L"*** Control::%s() - Specified Access Type was not supported. [%d]", method,
                   m_pKey->m_Type);
        return kNotSupported;
    }
    return kSuccess;
}

HRESULT Control::QueryValue(const std::wstring& name, std::wstring& value) {
    return IfOpen(CheckOpen(L"QueryValue", OpenTypeQuery, Needs::Base), L"QueryValue", &name,
                  Absence::Accepted, [&] {
                      value = m_pBase->QueryString(name, std::wstring());
                      return true;
                  });
}

HRESULT Control::QueryValue(const std::wstring& name, ZorvCommon::ByteArray& value) {
    return IfOpen(CheckOpen(L"QueryValue", OpenTypeQuery, Needs::Base), L"QueryValue", &name,
                  Absence::Failure, [&] { return m_pBase->QueryBinary(name, value); });
}

HRESULT Control::QueryValue(const std::wstring& name, uint32_t& value) {
    return IfOpen(CheckOpen(L"QueryValue", OpenTypeQuery, Needs::Base), L"QueryValue", &name,
                  Absence::Accepted, [&] {
                      value = m_pBase->QueryUint32(name, 0);
                      return true;
                  });
}

HRESULT Control::QueryValue(const std::wstring& name, uint64_t& value) {
    return IfOpen(CheckOpen(L"QueryValue", OpenTypeQuery, Needs::Registry), L"QueryValue", &name,
                  Absence::Accepted, [&] {
                      value = Registry().QueryUint64(name);
                      return true;
                  });
}

HRESULT Control::StoreValue(const std::wstring& name, const std::wstring& value) {
    return IfOpen(CheckOpen(L"StoreValue", OpenTypeStore, Needs::Base), L"StoreValue", &name,
                  Absence::Failure, [&] { return m_pBase->SetString(name, value); });
}

HRESULT Control::StoreValue(const std::wstring& name, const ZorvCommon::ByteArray& value) {
    return IfOpen(CheckOpen(L"StoreValue", OpenTypeStore, Needs::Base), L"StoreValue", &name,
                  Absence::Failure, [&] {
                      return m_pBase->SetBinary(name, value.Data(),
                                                static_cast<uint32_t>(value.Length()));
                  });
}

HRESULT Control::StoreValue(const std::wstring& name, const uint32_t& value) {
    return IfOpen(CheckOpen(L"StoreValue", OpenTypeStore, Needs::Base), L"StoreValue", &name,
                  Absence::Failure, [&] { return m_pBase->SetUint32(name, value); });
}

HRESULT Control::StoreValue(const std::wstring& name, const uint64_t& value) {
    return IfOpen(CheckOpen(L"StoreValue", OpenTypeStore, Needs::Registry), L"StoreValue", &name,
                  Absence::Failure, [&] { return m_pBase->SetUint64(name, value); });
}

HRESULT Control::DeteleEntry(const std::wstring& name) {
    return IfOpen(CheckOpen(L"DeteleEntry", OpenTypeDelete, Needs::Base), L"DeteleEntry", &name,
                  Absence::Accepted, [&] { return m_pBase->DeleteValue(name); });
}

HRESULT Control::EnumSection(std::vector<std::wstring>& names) {
    return IfOpen(CheckOpen(L"EnumSection", OpenTypeEnum, Needs::Base), L"EnumSection", nullptr,
                  Absence::Accepted, [&] { return m_pBase->EnumKeys(names); });
}

HRESULT Control::DeteleSection() {
    const HRESULT hr = CheckOpen(L"DeteleSection", OpenTypeDelete, Needs::Key);
    if (hr != kSuccess) {
        return hr;
    }
    if (IsRegistry()) {
        return DeleteRegistrySection();
    }
    // An empty name deletes the open section itself.
    return Guard(L"DeteleSection", nullptr, Absence::Accepted, kWrongState,
                 [&] { return m_pBase->DeleteKey(std::wstring()); });
}

// The registry refuses to delete a key that still has sub-keys, so the section is
// emptied first, deepest first. The walk never follows a registry link: the section's
// key is opened again as it is named and every key below relative to its parent, and
// each key is deleted through its own handle. A link met on the way (or the section's
// key, when it is a link) is deleted itself and its target is left alone. The
// section's registry view applies to every key of the walk.
HRESULT Control::DeleteRegistrySection() {
    std::unique_ptr<ZorvCommon::Storage::RegistryBase> section;
    const HRESULT hr = Guard(L"OpenEx", &m_SectionName, Absence::Failure, kNotSupported, [&] {
        section = Registry().OpenNode(*m_pKey, m_SectionName);
        return true;
    });
    if (hr < 0) {
        ZORV_ERROR(L"*** Control::DeteleSection() - cControlForEntry.Open() failed. [%d]", hr);
        return hr;
    }
    const HRESULT hrSubSections = DeleteSubSections(*section, m_SectionName);
    if (hrSubSections < 0) {
        return hrSubSections;
    }
    return Guard(L"DeteleSection", nullptr, Absence::Accepted, kWrongState,
                 [&] { return section->DeleteOpenKey(); });
}

// Deletes every sub-key of the key open in parent (named sectionName in the log). The
// first failure stops the walk and keeps parent's key.
HRESULT Control::DeleteSubSections(ZorvCommon::Storage::RegistryBase& parent,
                                   const std::wstring& sectionName) {
    std::vector<std::wstring> names;
    HRESULT hr = Guard(L"EnumSection", nullptr, Absence::Accepted, kWrongState,
                       [&] { return parent.EnumKeys(names); });
    if (hr < 0) {
        ZORV_ERROR(L"*** Control::DeteleSection() - cControlForEntry.EnumSection() failed. [%d]",
                   hr);
        return hr;
    }
    std::wstring prefix = sectionName;
    ZorvCommon::String::AppendBackslash(prefix);
    for (const std::wstring& name : names) {
        const std::wstring childName = prefix + name;
        std::unique_ptr<ZorvCommon::Storage::RegistryBase> child;
        hr = Guard(L"OpenEx", &childName, Absence::Failure, kNotSupported, [&] {
            child = parent.OpenSubNode(name);
            return true;
        });
        if (hr < 0) {
            ZORV_ERROR(L"*** Control::DeteleSection() - cControlForEntry.Open() failed. [%d]", hr);
            break;
        }
        hr = DeleteSubSections(*child, childName);
        if (hr >= 0) {
            hr = Guard(L"DeteleSection", nullptr, Absence::Accepted, kWrongState,
                       [&] { return child->DeleteOpenKey(); });
        }
        if (hr < 0) {
            ZORV_ERROR(
                L"*** Control::DeteleSection() - cControlForEntry.EnumSection() failed. [%d]", hr);
            break;
        }
    }
    if (hr < 0) {
        ZORV_ERROR(
            L"*** Control::DeteleSection() - Failed to delete all entiries under the section() "
            L"failed. [%d]",
            hr);
        return hr;
    }
    return kSuccess;
}

}  // namespace Storage
}  // namespace Ostrel
