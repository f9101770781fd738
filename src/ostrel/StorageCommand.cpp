#include "StorageCommand.h"

#include <algorithm>
#include <iterator>
#include <type_traits>

#include "Frwk_Utility.h"
#include "ZorvComn_DebugLog.h"
#include "ZorvComn_String.h"

namespace Ostrel {
namespace Storage {

struct EntryTransfer {
    const wchar_t* method;
    uint32_t openType;
    const wchar_t* openFailed;      // format: code, section name, access right
    const wchar_t* transferFailed;  // format: code, section name, value name
};

struct SectionPass {
    uint32_t openType;
    const wchar_t* openFailed;  // format: code, section name, access right
    const wchar_t* walkFailed;
    const wchar_t* closeFailed;
};

namespace {

// Runs step on each of count elements; holes and failures are logged, remembered and
// the walk goes on. The result is 0 or the last failure.
template <typename Get, typename Step>
HRESULT WalkAll(size_t count, Get get, const wchar_t* invalidMessage, const wchar_t* failedMessage,
                Step step) {
    HRESULT hrResult = kSuccess;
    for (size_t index = 0; index < count; ++index) {
        auto* pElement = get(index);
        if (pElement == nullptr) {
            ZORV_ERROR(invalidMessage);
            hrResult = kInvalidObject;
            continue;
        }
        const HRESULT hr = step(pElement);
        if (hr < 0) {
            ZORV_ERROR(failedMessage, hr);
            hrResult = hr;
        }
    }
    return hrResult;
}

// Deep copies of the owned elements of source; holes and failed copies are logged and
// left out.
template <typename T, typename CopyOne>
std::vector<std::unique_ptr<T>> CopyAll(const std::vector<std::unique_ptr<T>>& source,
                                        const wchar_t* invalidMessage, const wchar_t* failedMessage,
                                        CopyOne copyOne) {
    std::vector<std::unique_ptr<T>> copies;
    copies.reserve(source.size());
    for (const std::unique_ptr<T>& pElement : source) {
        if (pElement == nullptr) {
            ZORV_ERROR(invalidMessage);
            continue;
        }
        std::unique_ptr<T> pCopy(copyOne(*pElement));
        if (pCopy == nullptr) {
            ZORV_ERROR(failedMessage);
            continue;
        }
        copies.push_back(std::move(pCopy));
    }
    return copies;
}

// Appends an owned pointer; the pointer is freed if the list cannot grow.
template <typename T>
void AppendOwned(std::vector<std::unique_ptr<T>>& list, T* pElement) {
    list.push_back(std::unique_ptr<T>(pElement));
}

// pRtnValue made a copy of source; null when it could not be made. method is the copying
// operation, as the log names it.
template <typename T>
T* CopyInto(T* pRtnValue, const T& source, const wchar_t* className, const wchar_t* method) {
    if (pRtnValue == nullptr) {
        ZORV_ERROR(L"*** %s::%s() - pRtnValue was invalid.", className, method);
        return nullptr;
    }
    pRtnValue->Copy(source);
    return pRtnValue;
}

template <typename TCommand>
ICommand* CloneCommand(const TCommand& source, const wchar_t* className) {
    return CopyInto(new (std::nothrow) TCommand(), source, className, L"Clone");
}

template <typename T>
std::wstring NameOf(const T& element) {
    std::wstring name;
    element.GetName(name);
    return name;
}

// The stored value starts from nothing when the store has none.
template <typename Value>
void Reset(Value& value) {
    value = Value();
}

void Reset(ZorvCommon::ByteArray& value) {
    value.Free();
}

constexpr EntryTransfer kQueryTransfer = {
    L"QueryEntry", OpenTypeQuery,
    L"*** CommandBase::QueryEntry() - this->m_Control.Open(Query) failed. [0x%08x][%s]",
    L"*** CommandBase::QueryEntry() - this->m_Control.QueryValue() failed. [0x%08x][%s][%s]"};

constexpr EntryTransfer kStoreTransfer = {
    L"StoreEntry", OpenTypeStore,
    L"*** CommandBase::StoreEntry() - this->m_Control.OpenEx(Store) failed. [0x%08x][%s][%d]",
    L"*** CommandBase::StoreEntry() - this->m_Control.StoreValue() failed. [0x%08x][%s][%s]"};

// The walk's failure is reported with the create command's text.
constexpr SectionPass kQueryPass = {
    OpenTypeQuery,
    L"*** CommandQuery::OnVisit() - this->m_Control.Open(Query) failed. [0x%08x][%s]",
    L"*** CommandCreate::OnVisit() - CommandBase::OnVisit() failed. [0x%08x]",
    L"*** CommandQuery::OnVisit() - this->m_Control.Close() failed. [0x%08x]"};

constexpr SectionPass kStorePass = {
    OpenTypeStore,
    L"*** CommandStore::OnVisit() - this->m_Control.OpenEx(Store) failed. [0x%08x][%s][%d]",
    L"*** CommandStore::OnVisit() - CommandBase::OnVisit() failed. [0x%08x]",
    L"*** CommandStore::OnVisit() - this->m_Control.Close() failed. [0x%08x]"};

// Text is concatenated; numbers add up, wrapping at their width.
template <typename Value>
HRESULT AppendValue(Value& current, const Value& append) {
    current += append;
    return kSuccess;
}

HRESULT AppendValue(ZorvCommon::ByteArray& current, const ZorvCommon::ByteArray& append) {
    if (current.AddData(append.Data(), append.Length())) {
        return kSuccess;
    }
    const HRESULT hr = ZorvCommon::Exception::ResultFromWin32(
        append.Length() == 0 ? ERROR_INVALID_HANDLE : ERROR_BAD_ARGUMENTS);
    ZORV_ERROR(L"*** CommandAppend::Visit() - pCurrent->m_ByteArray.AddData() failed. [0x%08x]",
               hr);
    return hr;
}

}  // namespace

// ---- Entries ----

EntryBinary* EntryBinary::CreateCopyData() const {
    std::unique_ptr<EntryBinary> pRtnValue(new (std::nothrow)
                                               EntryBinary(NameOf(*this), GetSection()));
    if (pRtnValue == nullptr) {
        ZORV_ERROR(L"*** EntryBinary::CreateCopyData() - pRtnValue was invalid.");
        return nullptr;
    }
    if (pRtnValue->Copy(*this) < 0) {
        ZORV_ERROR(L"*** EntryBinary::CreateCopyData() - pRtnValue->Copy() failed.");
        return nullptr;
    }
    return pRtnValue.release();
}

HRESULT EntryBinary::Copy(const EntryBinary& source) {
    if (source.m_ByteArray.Length() == 0) {
        m_ByteArray.Free();
        return kSuccess;
    }
    uint32_t error = ERROR_SUCCESS;
    if (!m_ByteArray.Copy(source.m_ByteArray, &error)) {
        const HRESULT hr = ZorvCommon::Exception::ResultFromWin32(error);
        ZORV_ERROR(L"*** EntryBinary::Copy() - this->m_ByteArray.Copy() failed. [0x%08x]", hr);
        return hr;
    }
    return kSuccess;
}

IEntry* CreateEntry(uint32_t valueType, const std::wstring& valueText, const std::wstring& name,
                    ISection* pSection) {
    if (name.empty()) {
        ZORV_INFO(L"*** CreateEntry() - _tszName was empty.");
        return nullptr;
    }
    switch (valueType) {
        case ValueTypeName:
            return new (std::nothrow) EntryName(name, pSection);
        case ValueTypeString:
            return new (std::nothrow) EntryString(name, pSection, valueText);
        case ValueTypeBinary: {
            std::unique_ptr<EntryBinary> pEntryBinary(new (std::nothrow)
                                                          EntryBinary(name, pSection));
            if (pEntryBinary == nullptr) {
                ZORV_ERROR(L"*** CreateEntry() - pEntryBinary was invalid.");
                return nullptr;
            }
            if (!Frwk::Utility::HexWStringToByteArray(valueText, pEntryBinary->GetValue())) {
                ZORV_ERROR(
                    L"*** CreateEntry() - Frwk::Utility::HexStringToByteArray() failed. [%s]",
                    valueText.c_str());
                return nullptr;
            }
            return pEntryBinary.release();
        }
        case ValueTypeUint32: {
            uint32_t value = 0;
            if (!ZorvCommon::String::StrToUl(valueText, value)) {
                ZORV_ERROR(L"*** CreateEntry() - ZorvCommon::String::StrToUl() failed. [%s]",
                           valueText.c_str());
                return nullptr;
            }
            return new (std::nothrow) EntryUint32(name, pSection, value);
        }
        case ValueTypeUint64: {
            uint64_t value = 0;
            if (!ZorvCommon::String::StrToUI64(valueText, value)) {
                ZORV_ERROR(L"*** CreateEntry() - ZorvCommon::String::StrToUI64() failed. [%s]",
                           valueText.c_str());
                return nullptr;
            }
            return new (std::nothrow) EntryUint64(name, pSection, value);
        }
        default:
            ZORV_ERROR(L"*** CreateEntry() - Specified Value Type was not supported. [%d]",
                       valueType);
            return nullptr;
    }
}

// ---- Sections ----

void SectionBase::AddEntry(IEntry* pEntry) {
    if (pEntry != nullptr) {
        pEntry->SetSection(this);
    }
    AppendOwned(m_Entries, pEntry);
}

void SectionBase::Copy(const SectionBase& source) {
    m_Name = source.m_Name;
    m_AccessRight = source.m_AccessRight;
    m_Entries =
        CopyAll(source.m_Entries, L"*** SectionBase::Copy() - (*pIEntryPointer) was invalid.",
                L"*** SectionBase::Copy() - pIEntry was invalid.",
                [](const IEntry& entry) { return entry.CreateCopyData(); });
    // The copies belong to this section.
    for (const std::unique_ptr<IEntry>& pEntry : m_Entries) {
        pEntry->SetSection(this);
    }
}

SectionRegistry* SectionRegistry::CreateCopyData() const {
    return CopyInto(new (std::nothrow) SectionRegistry(m_Root, std::wstring(), m_AccessMode,
                                                       GetAccessRight(), m_BaseSubKey),
                    *this, L"SectionRegistry", L"CreateCopyData");
}

SectionIniFile* SectionIniFile::CreateCopyData() const {
    return CopyInto(new (std::nothrow) SectionIniFile(m_FilePath, m_SectionName), *this,
                    L"SectionIniFile", L"CreateCopyData");
}

// ---- CommandBase ----

void CommandBase::AddSection(ISection* pSection) {
    AppendOwned(m_Sections, pSection);
}

void CommandBase::Copy(const CommandBase& source) {
    m_Sections =
        CopyAll(source.m_Sections, L"*** CommandBase::Copy() - (*pISectionPointer) was invalid.",
                L"*** CommandBase::Copy() - pISection was invalid.",
                [](const ISection& section) { return section.CreateCopyData(); });
}

void CommandWithSectionFlag::Copy(const CommandWithSectionFlag& source) {
    CommandBase::Copy(source);
    m_SectionFlag = source.m_SectionFlag;
}

HRESULT CommandBase::Invoke(const StoreFactory& stores, IRunObserver* pObserver) {
    m_pStores = &stores;
    m_pObserver = pObserver;
    const HRESULT hr = WalkAll(
        m_Sections.size(), [this](size_t index) { return m_Sections[index].get(); },
        L"*** CommandBase::Invoke() - (*pISectionPointer) was invalid.",
        L"*** CommandBase::Invoke() - (*pISectionPointer)->Accept() failed. [0x%08x]",
        [this](ISection* pSection) {
            if (m_pObserver != nullptr) {
                m_pObserver->OnVisit(*this, *pSection);
            }
            const HRESULT hrVisit = pSection->Accept(this);
            if (m_pObserver != nullptr) {
                m_pObserver->OnVisitEnd(hrVisit);
            }
            return hrVisit;
        });
    m_pStores = &RealStores();
    m_pObserver = nullptr;
    return hr;
}

template <typename Operation>
HRESULT CommandBase::Observed(const IEntry* pEntry, Operation operation) {
    if (m_pObserver == nullptr) {
        return operation();
    }
    m_pObserver->OnOperation(pEntry);
    const HRESULT hr = operation();
    m_pObserver->OnOperationEnd(hr);
    return hr;
}

HRESULT CommandBase::Visit(SectionIniFile* pSection) {
    return VisitSection(pSection);
}

HRESULT CommandBase::Visit(SectionRegistry* pSection) {
    return VisitSection(pSection);
}

// The control serves this one section: initialised before the visit, released after it.
template <typename TSection>
HRESULT CommandBase::VisitSection(TSection* pSection) {
    HRESULT hr = IsControlFree() ? InitializeControl(pSection) : kWrongState;
    if (hr < 0) {
        ZORV_ERROR(L"*** CommandBase::Visit() - this->InitializeControl() failed. [0x%08x]", hr);
        return hr;
    }
    const HRESULT hrVisit = OnVisit(pSection);
    if (hrVisit < 0) {
        ZORV_ERROR(L"*** CommandBase::Visit() - this->OnVisit() failed. [0x%08x]", hrVisit);
    }
    hr = UninitializeControl();
    if (hr < 0) {
        ZORV_ERROR(L"*** CommandBase::Visit() - this->UninitializeControl() failed. [0x%08x]", hr);
        return hrVisit < 0 ? hrVisit : hr;
    }
    return hrVisit;
}

bool CommandBase::IsControlFree() const {
    if (m_Control.IsInitialized()) {
        ZORV_ERROR(
            L"*** CommandBase::InitializeControl() - this->m_cControl has been already "
            L"initialized.");
        return false;
    }
    return true;
}

HRESULT CommandBase::InitializeControl(SectionRegistry* pSection) {
    const ZorvCommon::Storage::Key key(ZorvCommon::Storage::StorageTypeRegistry,
                                       pSection->GetRoot(), pSection->GetBaseSubKey());
    const uint32_t accessMode = pSection->GetAccessMode();
    const HRESULT hr = m_Control.Initialize(key, &accessMode, *m_pStores);
    if (hr < 0) {
        ZORV_ERROR(
            L"*** CommandBase::InitializeControl() - this->m_Control.Initialize() failed. "
            L"[0x%08x][0x%08x][%s][%d]",
            hr, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pSection->GetRoot())),
            pSection->GetBaseSubKey().c_str(), accessMode);
    }
    return hr;
}

HRESULT CommandBase::InitializeControl(SectionIniFile* pSection) {
    const ZorvCommon::Storage::Key key(ZorvCommon::Storage::StorageTypeIniFile,
                                       pSection->GetFilePath(), pSection->GetSectionName());
    const HRESULT hr = m_Control.Initialize(key, nullptr, *m_pStores);
    if (hr < 0) {
        ZORV_ERROR(
            L"*** CommandBase::InitializeControl() - this->m_Control.Initialize() failed. "
            L"[0x%08x][%s][%s]",
            hr, pSection->GetFilePath().c_str(), pSection->GetSectionName().c_str());
    }
    return hr;
}

HRESULT CommandBase::UninitializeControl() {
    if (!m_Control.IsInitialized()) {
        ZORV_ERROR(
            L"*** CommandBase::UninitializeControl() - this->m_cControl has been already "
            L"uninitialized.");
        return kWrongState;
    }
    const HRESULT hr = m_Control.Uninitialize();
    if (hr < 0) {
        ZORV_ERROR(
            L"*** CommandBase::UninitializeControl() - this->m_Control.Uninitialize() failed. "
            L"[0x%08x]",
            hr);
    }
    return hr;
}

HRESULT CommandBase::OnVisit(ISection* pSection) {
    return WalkAll(
        pSection->GetEntryCount(), [pSection](size_t index) { return pSection->GetEntry(index); },
        L"*** CommandBase::OnVisit() - (*pIEntryPointer) was invalid.",
        L"*** CommandBase::OnVisit() - (*pIEntryPointer)->Accept() failed. [0x%08x]",
        [this](IEntry* pEntry) { return Observed(pEntry, [&] { return pEntry->Accept(this); }); });
}

// Opens the entry's section for the transfer, moves the value, and closes the section
// again, committing only when the value moved.
template <typename Move>
HRESULT CommandBase::TransferEntry(IEntry* pEntry, const EntryTransfer& transfer, Move move) {
    if (!m_Control.IsInitialized()) {
        ZORV_ERROR(L"*** CommandBase::%s() - this->m_cControl has not been created yet.",
                   transfer.method);
        return kWrongState;
    }
    const std::wstring sectionName = NameOf(*pEntry->GetSection());
    const std::wstring name = NameOf(*pEntry);
    const uint32_t accessRight = pEntry->GetSection()->GetAccessRight();
    const bool defaultAccess =
        transfer.openType == OpenTypeQuery || accessRight == kAccessRightDefault;
    HRESULT hr = m_Control.OpenEx(transfer.openType, sectionName, defaultAccess);
    if (hr == kNotFound && transfer.openType == OpenTypeQuery) {
        return kAbsentAccepted;  // the section does not exist
    }
    if (hr < 0) {
        ZORV_ERROR(transfer.openFailed, hr, sectionName.c_str(), accessRight);
        return hr;
    }
    hr = move(name);
    if (hr < 0) {
        ZORV_ERROR(transfer.transferFailed, hr, sectionName.c_str(), name.c_str());
        (void)m_Control.Close(false);  // the failed transfer is the result
        return hr;
    }
    hr = m_Control.Close(true);
    if (hr < 0) {
        ZORV_ERROR(L"*** CommandBase::%s() - this->m_Control.Close() failed. [0x%08x]",
                   transfer.method, hr);
    }
    return hr;
}

template <typename TEntry>
HRESULT CommandBase::QueryEntry(TEntry* pEntry) {
    return TransferEntry(pEntry, kQueryTransfer, [&](const std::wstring& name) {
        return m_Control.QueryValue(name, pEntry->GetValue());
    });
}

template <typename TEntry>
HRESULT CommandBase::StoreEntry(TEntry* pEntry) {
    return TransferEntry(pEntry, kStoreTransfer, [&](const std::wstring& name) {
        return m_Control.StoreValue(name, pEntry->GetValue());
    });
}

// Opens the section, walks its entries and closes it. Failures of the open and of the
// walk are logged and do not stop the pass; the close decides the result.
HRESULT CommandBase::OpenWalkClose(ISection* pSection, const SectionPass& pass) {
    const std::wstring name = NameOf(*pSection);
    const uint32_t accessRight = pSection->GetAccessRight();
    HRESULT hr = m_Control.OpenEx(
        pass.openType, name, pass.openType == OpenTypeQuery || accessRight == kAccessRightDefault);
    if (hr < 0) {
        ZORV_ERROR(pass.openFailed, hr, name.c_str(), accessRight);
    }
    hr = CommandBase::OnVisit(pSection);
    if (hr < 0) {
        ZORV_ERROR(pass.walkFailed, hr);
    }
    hr = m_Control.Close(true);
    if (hr < 0) {
        ZORV_ERROR(pass.closeFailed, hr);
    }
    return hr;
}

// ---- CommandCreate ----

// With the section flag, a store open and a committed close create the section; either
// failing is logged and the entries are still visited. An INI section always opens with
// the default access.
HRESULT CommandCreate::OnSection(ISection* pSection) {
    const bool registry = pSection->GetType() == SectionTypeRegistry;
    if (m_SectionFlag) {
        (void)Observed(nullptr, [&] {  // logged; the entries decide the result
            const std::wstring name = NameOf(*pSection);
            HRESULT hr =
                m_Control.OpenEx(OpenTypeStore, name,
                                 !registry || pSection->GetAccessRight() == kAccessRightDefault);
            if (hr < 0) {
                ZORV_ERROR(registry ? L"*** CommandCreate::OnVisit() - "
                                      L"this->m_Control.OpenEx(Store) failed. [0x%08x][%s][%d]"
                                    : L"*** CommandCreate::OnVisit() - this->m_Control.Open(Store) "
                                      L"failed. [0x%08x][%s][%d]",
                           hr, name.c_str(), pSection->GetAccessRight());
                return hr;
            }
            hr = m_Control.Close(true);
            if (hr < 0) {
                ZORV_ERROR(
                    L"*** CommandCreate::OnVisit() - this->m_Control.Close() failed. [0x%08x]", hr);
            }
            return hr;
        });
    }
    const HRESULT hr = CommandBase::OnVisit(pSection);
    if (hr < 0) {
        ZORV_ERROR(registry
                       ? L"*** CommandCreate::OnVisit() - CommandBase::Visit() failed. [0x%08x]"
                       : L"*** CommandCreate::OnVisit() - CommandBase::OnVisit() failed. [0x%08x]",
                   hr);
    }
    return hr;
}

// The entry is written only when its section does not exist yet. A missing value in an
// existing section reads as success, so such a section counts as holding the entry.
template <typename TEntry>
HRESULT CommandCreate::VisitEntry(TEntry* pEntry) {
    std::unique_ptr<TEntry> pCheck(pEntry->CreateCopyData());
    if (pCheck == nullptr) {
        ZORV_ERROR(L"*** CommandCreate::Visit() - pCheck was invalid.");
        return kInvalidObject;
    }
    const HRESULT hr = QueryEntry(pCheck.get());
    pCheck.reset();
    if (hr < 0) {
        ZORV_ERROR(L"*** CommandCreate::Visit() - this->QueryEntry() failed. [0x%08x]", hr);
        return hr;
    }
    if (hr == kAbsentAccepted) {
        return StoreEntry(pEntry);
    }
    ZORV_INFO(L"*** CommandCreate::Visit() - Specified Entry has already existed. [0x%08x]", hr);
    return kSuccess;
}

// ---- CommandQuery ----

HRESULT CommandQuery::OnSection(ISection* pSection) {
    return OpenWalkClose(pSection, kQueryPass);
}

// The stored value lands in the command's own entry.
template <typename TEntry>
HRESULT CommandQuery::VisitEntry(TEntry* pEntry) {
    const HRESULT hr = m_Control.QueryValue(NameOf(*pEntry), pEntry->GetValue());
    if (hr < 0) {
        ZORV_ERROR(L"*** CommandQuery::Visit() - this->m_Control.QueryValue() failed. [0x%08x]",
                   hr);
    }
    return hr;
}

// ---- CommandStore ----

HRESULT CommandStore::OnSection(ISection* pSection) {
    return OpenWalkClose(pSection, kStorePass);
}

template <typename TEntry>
HRESULT CommandStore::VisitEntry(TEntry* pEntry) {
    return m_Control.StoreValue(NameOf(*pEntry), pEntry->GetValue());
}

// ---- CommandAppend ----

// Reads the stored value into a copy of the entry (starting from nothing when none is
// stored; for bytes a missing value is tolerated), appends the entry's value to it and
// stores the copy.
template <typename TEntry>
HRESULT CommandAppend::VisitEntry(TEntry* pAppend) {
    if (pAppend == nullptr) {
        ZORV_ERROR(L"*** CommandAppend::Visit() - pAppend was invalid.");
        return kInvalidObject;
    }
    std::unique_ptr<TEntry> pCurrent(pAppend->CreateCopyData());
    if (pCurrent == nullptr) {
        ZORV_ERROR(L"*** CommandAppend::Visit() - pCurrent was invalid.");
        return kInvalidObject;
    }
    Reset(pCurrent->GetValue());
    HRESULT hr = QueryEntry(pCurrent.get());
    const bool tolerated = std::is_same<TEntry, EntryBinary>::value && hr == kNotFound;
    if (hr < 0 && !tolerated) {
        ZORV_ERROR(L"*** CommandAppend::Visit() - this->QueryEntry() failed. [0x%08x]", hr);
        return hr;
    }
    hr = AppendValue(pCurrent->GetValue(), pAppend->GetValue());
    if (hr < 0) {
        return hr;
    }
    hr = StoreEntry(pCurrent.get());
    if (hr < 0) {
        ZORV_ERROR(L"*** CommandAppend::Visit() - this->StoreEntry() failed. [0x%08x]", hr);
    }
    return hr;
}

// ---- CommandDelete ----

// With the section flag the whole section goes first; each listed entry is then still
// tried by name.
HRESULT CommandDelete::OnSection(ISection* pSection) {
    const std::wstring name = NameOf(*pSection);
    HRESULT hr = m_Control.OpenEx(OpenTypeDelete, name, true);
    if (hr < 0) {
        ZORV_ERROR(
            L"*** CommandDelete::OnVisit() - this->m_Control.Open(Delete) failed. [0x%08x][%s]", hr,
            name.c_str());
        return hr;
    }
    if (m_SectionFlag) {
        hr = Observed(nullptr, [this] { return m_Control.DeteleSection(); });
        if (hr < 0) {
            ZORV_ERROR(
                L"*** CommandDelete::OnVisit() - this->m_Control.DeteleSection() failed. "
                L"[0x%08x][%s]",
                hr, name.c_str());
        }
    }
    hr = CommandBase::OnVisit(pSection);
    if (hr < 0) {
        ZORV_ERROR(L"*** CommandStore::OnVisit() - CommandBase::OnVisit() failed. [0x%08x]", hr);
    }
    hr = m_Control.Close(false);
    if (hr < 0) {
        ZORV_ERROR(L"*** CommandDelete::OnVisit() - this->m_Control.Close() failed. [0x%08x]", hr);
    }
    return hr;
}

HRESULT CommandDelete::Visit(EntryName* pEntry) {
    const std::wstring name = NameOf(*pEntry);
    const HRESULT hr = m_Control.DeteleEntry(name);
    if (hr < 0) {
        ZORV_ERROR(
            L"*** CommandDelete::Visit() - this->m_Control.DeteleEntry() failed. [0x%08x] [%s]", hr,
            name.c_str());
    }
    return hr;
}

// ---- What the command classes share ----

template <typename Derived, typename Base, uint32_t Type>
ICommand* TypedCommand<Derived, Base, Type>::Clone() const {
    return CloneCommand(static_cast<const Derived&>(*this), Derived::kClassName);
}

template class TypedCommand<CommandCreate, CommandWithSectionFlag, VisitorTypeCreate>;
template class TypedCommand<CommandQuery, CommandBase, VisitorTypeQuery>;
template class TypedCommand<CommandStore, CommandBase, VisitorTypeStore>;
template class TypedCommand<CommandAppend, CommandBase, VisitorTypeAppend>;
template class TypedCommand<CommandDelete, CommandWithSectionFlag, VisitorTypeDelete>;

CommandBase* CreateVisitor(uint32_t visitorType) {
    switch (visitorType) {
        case VisitorTypeCreate:
            return new (std::nothrow) CommandCreate();
        case VisitorTypeQuery:
            return new (std::nothrow) CommandQuery();
        case VisitorTypeStore:
            return new (std::nothrow) CommandStore();
        case VisitorTypeAppend:
            return new (std::nothrow) CommandAppend();
        case VisitorTypeDelete:
            return new (std::nothrow) CommandDelete();
        default:
            ZORV_ERROR(L"*** CreateVisitor() - Specified Visitor Type was not supported. [%s]",
                       std::to_wstring(visitorType).c_str());
            return nullptr;
    }
}

// ---- CommandChain ----

HRESULT CommandChain::Invoke(const StoreFactory& stores, IRunObserver* pObserver) {
    ZORV_TRACE(L"[Enter] CommandChain::Invoke()...");
    const HRESULT hr = WalkAll(
        m_Commands.size(), [this](size_t index) { return m_Commands[index].get(); },
        L"*** CommandChain::Invoke() - (*pICommandPointer) was invalid.",
        L"*** CommandChain::Invoke() - (*pICommandPointer)->Invoke() failed. [0x%08x]",
        [&](ICommand* pCommand) { return pCommand->Invoke(stores, pObserver); });
    ZORV_TRACE(L"[Leave] CommandChain::Invoke()...");
    return hr;
}

ICommand* CommandChain::Clone() const {
    return CloneCommand(*this, L"CommandChain");
}

void CommandChain::Append(ICommand* pCommand) {
    AppendOwned(m_Commands, pCommand);
}

void CommandChain::Splice(CommandChain& other) {
    std::move(other.m_Commands.begin(), other.m_Commands.end(), std::back_inserter(m_Commands));
    other.m_Commands.clear();
}

void CommandChain::Copy(const CommandChain& source) {
    m_Commands =
        CopyAll(source.m_Commands, L"*** CommandChain::Copy() - (*pICommandPointer) was invalid.",
                L"*** CommandChain::Copy() - pICommand was invalid.",
                [](const ICommand& command) { return command.Clone(); });
}

}  // namespace Storage
}  // namespace Ostrel
