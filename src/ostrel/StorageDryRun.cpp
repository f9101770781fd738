#include "StorageDryRun.h"

#include <algorithm>
#include <cwctype>
#include <map>
#include <new>
#include <optional>

#include "ZorvComn_IniFile.h"
#include "ZorvComn_Registry.h"

namespace Ostrel {
namespace Storage {

using ZorvCommon::Storage::JoinKeyPath;
using ZorvCommon::Storage::Key;
using ZorvCommon::Storage::Registry;
using ZorvCommon::Storage::RegistryBase;
using ZorvCommon::Storage::RegistryValue;
using ZorvCommon::Storage::StorageTypeIniFile;
using ZorvCommon::Storage::StorageTypeRegistry;

namespace {

std::wstring Lower(std::wstring text) {
    for (wchar_t& c : text) {
        c = static_cast<wchar_t>(std::towlower(c));
    }
    return text;
}

// A change the dry run made to the registry.
struct Change {
    enum Kind { Created, Written, Deleted, Removed } What;  // a key; a value; a value; a key
    std::wstring Key;                                       // the key's KeyId
    std::wstring Path;                                      // the key's path as named
    std::wstring Name;                                      // the value's name, lower-case
    RegistryValue Value;
};

// Whether the key with this id is top or lies below it.
bool AtOrBelow(const std::wstring& key, const std::wstring& top) {
    return key.compare(0, top.size(), top) == 0 &&
           (key.size() == top.size() || key[top.size()] == L'\\');
}

// What the changes say about a key and one of its values, the last change deciding.
struct Verdict {
    std::optional<bool> Exists;  // unset: as this machine has it
    bool Known = false;          // the dry run created or removed the key
    bool Hidden = false;  // the key or a parent was removed: this machine's state no longer counts
    bool ValueKnown = false;  // the value was written or deleted since
    std::optional<RegistryValue> Value;
};

// Runs a read of this machine's stores: false when what it reads does not exist; any
// other failure goes on to the caller.
template <typename Read>
bool ReadReal(Read read) {
    try {
        read();
        return true;
    } catch (ZorvCommon::Storage::Exception* pException) {
        std::unique_ptr<ZorvCommon::Storage::Exception> owner(pException);
        if (owner == nullptr || owner->m_Error != ERROR_FILE_NOT_FOUND) {
            owner.release();
            throw;
        }
        return false;
    }
}

Place KeyPlace(HKEY root, uint32_t view, std::wstring path) {
    while (!path.empty() && path.back() == L'\\') {
        path.pop_back();
    }
    return Place{false, root, view, std::move(path), std::wstring()};
}

// Where the stores of a visit act first: the section's key or INI section.
Place PlaceOf(const ISection& section) {
    std::wstring name;
    section.GetName(name);
    if (section.GetType() == SectionTypeIniFile) {
        const auto& iniFile = static_cast<const SectionIniFile&>(section);
        return Place{true, nullptr, 0, iniFile.GetFilePath(),
                     name.empty() ? iniFile.GetSectionName() : name};
    }
    const auto& registry = static_cast<const SectionRegistry&>(section);
    const uint32_t mode = registry.GetAccessMode();
    return KeyPlace(ToRegistryRoot(reinterpret_cast<uintptr_t>(registry.GetRoot())),
                    mode == AccessModeCheck ? AccessModeDefault : mode,
                    JoinKeyPath(registry.GetBaseSubKey(), name));
}

bool IsFolder(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

std::wstring Hex(const std::vector<uint8_t>& bytes) {
    std::wstring text = L"hex ";
    for (uint8_t byte : bytes) {
        text += L"0123456789ABCDEF"[byte >> 4];
        text += L"0123456789ABCDEF"[byte & 0xF];
    }
    return text;
}

// "\"text\"", a decimal number, "hex 0A1B" or "(type N, M bytes)".
std::wstring DescribeStored(const RegistryValue& value) {
    try {
        switch (value.Type) {
            case REG_SZ:
            case REG_EXPAND_SZ:
                return L"\"" + ZorvCommon::Storage::ReadString(value) + L"\"";
            case REG_DWORD:
                return std::to_wstring(ZorvCommon::Storage::ReadUint32(value));
            case REG_QWORD:
                return std::to_wstring(ZorvCommon::Storage::ReadUint64(value));
            case REG_BINARY:
                return Hex(value.Bytes);
            default:
                break;
        }
    } catch (ZorvCommon::Storage::Exception* pException) {
        const std::unique_ptr<ZorvCommon::Storage::Exception> owner(pException);
    }
    return L"(type " + std::to_wstring(value.Type) + L", " + std::to_wstring(value.Bytes.size()) +
           L" bytes)";
}

}  // namespace

struct DryRun::State {
    explicit State(bool readCurrent) : ReadCurrent(readCurrent) {}

    bool ReadCurrent;
    bool Touched = false;                         // a store of the visit under way was opened
    PlannedOperation* pOperation = nullptr;       // the operation under way, told its changes
    std::vector<Change> Changes;                  // the registry's, in order
    std::wstring CopyFolder;                      // the INI copies, one sub-folder each
    std::map<std::wstring, std::wstring> Copies;  // lower-case file path -> its copy
    std::set<std::wstring> WrittenSections;       // lower-case "file|section"

    // Views 0 and 64 are one view for a 64-bit process; "\\path" follows the view.
    static std::wstring KeyId(const Place& place) {
        return std::to_wstring(reinterpret_cast<uintptr_t>(place.Root)) +
               (place.View == ZorvCommon::Storage::RegistryView32 ? L"|32" : L"|64") +
               (place.Path.empty() ? L"" : L"\\" + Lower(place.Path));
    }

    static std::wstring SectionId(const Place& place) {
        return Lower(place.Path) + L"|" + Lower(place.Section);
    }

    Verdict Judge(const std::wstring& key, const std::wstring& name) const {
        Verdict verdict;
        const std::wstring lowerName = Lower(name);
        for (const Change& change : Changes) {
            if (change.What == Change::Created && AtOrBelow(change.Key, key)) {
                verdict.Exists = true;
                verdict.Known = true;
            } else if (change.What == Change::Removed && AtOrBelow(key, change.Key)) {
                verdict = Verdict{false, verdict.Known || change.Key == key, true, false, {}};
            } else if (change.Key == key && change.Name == lowerName &&
                       (change.What == Change::Written || change.What == Change::Deleted)) {
                verdict.ValueKnown = true;
                verdict.Value = change.What == Change::Written
                                    ? std::optional<RegistryValue>(change.Value)
                                    : std::nullopt;
            }
        }
        return verdict;
    }

    bool Exists(const Place& place) const {
        const Verdict verdict = Judge(KeyId(place), L"");
        if (place.Path.empty() || verdict.Exists) {
            return place.Path.empty() || *verdict.Exists;
        }
        Registry real(place.View);
        return ReadCurrent && ReadReal([&] {
                   (void)real.Open(Key(StorageTypeRegistry, place.Root, place.Path), L"");
               });
    }

    void Create(const Place& place) {
        if (!Exists(place) && pOperation != nullptr) {
            pOperation->KeyCreated = true;
        }
        Changes.push_back({Change::Created, KeyId(place), place.Path, L"", {}});
    }

    void Wrote() {
        if (pOperation != nullptr) {
            pOperation->Written = true;
        }
    }

    // Empty when the key holds no value of that name.
    std::optional<RegistryValue> FindValue(const Place& place, const std::wstring& name) const {
        Verdict verdict = Judge(KeyId(place), name);
        if (ReadCurrent && !verdict.ValueKnown && !verdict.Hidden) {
            Registry real(place.View);
            ReadReal([&] {
                (void)real.Open(Key(StorageTypeRegistry, place.Root, place.Path), L"");
                verdict.Value = real.QueryStored(name);
            });
        }
        return verdict.Value;
    }

    // This machine's sub-keys (opened as named: a link is listed, never followed), then
    // the ones the dry run created, less those it removed.
    std::vector<std::wstring> SubKeys(const Place& place) const {
        const std::wstring key = KeyId(place);
        std::vector<std::wstring> names;
        if (ReadCurrent && !Judge(key, L"").Hidden) {
            Registry real(place.View);
            ReadReal([&] {
                (void)real.OpenNodeForEnum(Key(StorageTypeRegistry, place.Root, place.Path), L"");
                (void)real.EnumKeys(names);
            });
        }
        for (const Change& change : Changes) {
            if (change.What == Change::Created && change.Key.size() > key.size() &&
                AtOrBelow(change.Key, key)) {
                const std::wstring rest =
                    change.Path.substr(place.Path.empty() ? 0 : place.Path.size() + 1);
                const std::wstring name = rest.substr(0, rest.find(L'\\'));
                if (std::none_of(names.begin(), names.end(), [&](const std::wstring& known) {
                        return Lower(known) == Lower(name);
                    })) {
                    names.push_back(name);
                }
            } else if (change.What == Change::Removed) {  // the sub-key, or the key or a parent
                names.erase(std::remove_if(names.begin(), names.end(),
                                           [&](const std::wstring& name) {
                                               return AtOrBelow(key + L"\\" + Lower(name),
                                                                change.Key);
                                           }),
                            names.end());
            }
        }
        return names;
    }

    // The private copy of an INI file. Its folder exists where the file's folder does, so
    // that a write into a missing folder fails as it would for real; a name without a
    // folder starts empty.
    std::wstring CopyOf(const std::wstring& path) {
        std::wstring& copy = Copies[Lower(path)];
        if (!copy.empty()) {
            return copy;
        }
        wchar_t folderPath[MAX_PATH + 1] = {};
        wchar_t unique[MAX_PATH + 1] = {};
        if (CopyFolder.empty() && GetTempPathW(MAX_PATH, folderPath) != 0 &&
            GetTempFileNameW(folderPath, L"opx", 0, unique) != 0 && DeleteFileW(unique) &&
            CreateDirectoryW(unique, nullptr)) {
            CopyFolder = unique;
        }
        const std::wstring folder = CopyFolder + L"\\" + std::to_wstring(Copies.size());
        const size_t slash = path.find_last_of(L"\\/");
        const std::wstring parent = slash == std::wstring::npos ? L"" : path.substr(0, slash);
        copy = folder + L"\\" + path.substr(slash + 1);
        if ((parent.empty() || IsFolder(parent)) && CreateDirectoryW(folder.c_str(), nullptr) &&
            ReadCurrent && !parent.empty()) {
            CopyFileW(path.c_str(), copy.c_str(), FALSE);
        }
        return copy;
    }

    std::wstring DescribeKey(const Place& place, const std::wstring& name) const {
        // A clean target shows what the dry run created, wrote or removed.
        const Verdict verdict = Judge(KeyId(place), name);
        if (!ReadCurrent && (!verdict.Known || (verdict.Exists.value_or(false) && !name.empty() &&
                                                !verdict.ValueKnown))) {
            return L"(not read)";
        }
        try {
            if (!Exists(place)) {
                return L"(no key)";
            }
            if (name.empty()) {
                return L"(key)";
            }
            const std::optional<RegistryValue> value = FindValue(place, name);
            return value ? DescribeStored(*value) : L"(no value)";
        } catch (ZorvCommon::Storage::Exception* pException) {
            const std::unique_ptr<ZorvCommon::Storage::Exception> owner(pException);
            return L"(unreadable: error " +
                   std::to_wstring(pException != nullptr ? pException->m_Error : 0) + L")";
        }
    }

    std::wstring DescribeSection(const Place& place, const std::wstring& name) {
        if (!ReadCurrent && WrittenSections.count(SectionId(place)) == 0) {
            return L"(not read)";
        }
        if (name.empty()) {
            return L"(section)";
        }
        ZorvCommon::Storage::IniFile iniFile;
        (void)iniFile.Open(Key(StorageTypeIniFile, CopyOf(place.Path), place.Section), L"");
        std::wstring text;
        return ReadReal([&] { text = iniFile.QueryString(name, L""); }) ? L"\"" + text + L"\""
                                                                        : L"(no value)";
    }
};

namespace {

using State = DryRun::State;

// A registry store over the picture.
class PictureRegistry : public RegistryBase {
public:
    PictureRegistry(State& state, uint32_t view) : m_State(state), m_View(view) {}

    using RegistryBase::DeleteValue;

    bool Open(const Key& key, const std::wstring& name) override { return Enter(key, name, false); }
    bool Create(const Key& key, const std::wstring& name) override {
        return Enter(key, name, true);
    }
    bool OpenForDelete(const Key& key, const std::wstring& name) override {
        return Open(key, name);
    }
    bool OpenForEnum(const Key& key, const std::wstring& name) override { return Open(key, name); }
    bool Close() override {
        if (!m_Open) {
            ZORV_THROW_STORAGE(ERROR_INVALID_HANDLE);
        }
        m_Open = false;
        return true;
    }
    bool Flush() override {
        Require();
        return true;
    }
    RegistryValue QueryStored(const std::wstring& name) override {
        Require();
        std::optional<RegistryValue> value = m_State.FindValue(m_Place, name);
        if (!value) {
            ZORV_THROW_STORAGE(ERROR_FILE_NOT_FOUND);
        }
        return std::move(*value);
    }
    bool SetStored(const std::wstring& name, const RegistryValue& value) override {
        Require();
        m_State.Changes.push_back({Change::Written, KeyId(), m_Place.Path, Lower(name), value});
        m_State.Wrote();
        return true;
    }
    // The commands delete registry keys only through a tree delete.
    bool DeleteKey(const std::wstring&) override { return false; }
    bool DeleteValue(const std::wstring& name) override {
        Require();
        if (!m_State.FindValue(m_Place, name)) {
            ZORV_THROW_STORAGE(ERROR_FILE_NOT_FOUND);
        }
        m_State.Changes.push_back({Change::Deleted, KeyId(), m_Place.Path, Lower(name), {}});
        return true;
    }
    bool EnumKeys(std::vector<std::wstring>& names) override {
        Require();
        const std::vector<std::wstring> subKeys = m_State.SubKeys(m_Place);
        names.insert(names.end(), subKeys.begin(), subKeys.end());
        return true;
    }
    // The commands never list values.
    bool EnumValues(std::vector<std::wstring>&) override { return false; }
    std::unique_ptr<RegistryBase> OpenNode(const Key& key, const std::wstring& name) override {
        std::unique_ptr<PictureRegistry> node(new (std::nothrow) PictureRegistry(m_State, m_View));
        if (node == nullptr) {
            ZORV_THROW_STORAGE(ERROR_OUTOFMEMORY);
        }
        node->Open(key, name);
        return node;
    }
    std::unique_ptr<RegistryBase> OpenSubNode(const std::wstring& name) override {
        Require();
        return OpenNode(Key(StorageTypeRegistry, m_Place.Root, m_Place.Path), name);
    }
    bool DeleteOpenKey() override {
        Require();
        m_State.Changes.push_back({Change::Removed, KeyId(), m_Place.Path, L"", {}});
        m_Open = false;
        PlannedOperation* pOperation = m_State.pOperation;
        if (pOperation != nullptr && m_Place.Path != pOperation->Where.Path) {
            pOperation->Removed.push_back(m_Place.Path);
        }
        return true;
    }

private:
    // Opens the key, or creates it with its missing parents.
    bool Enter(const Key& key, const std::wstring& name, bool create) {
        const Place place = KeyPlace(key.m_Root, m_View, JoinKeyPath(key.m_SubKey, name));
        m_State.Touched = true;
        if (create) {
            m_State.Create(place);
        } else if (!m_State.Exists(place)) {
            ZORV_THROW_STORAGE(ERROR_FILE_NOT_FOUND);
        }
        m_Place = place;
        m_Opened = m_State.Changes.size();
        m_Open = true;
        return true;
    }

    std::wstring KeyId() const { return State::KeyId(m_Place); }

    // Throws 6 when no key is open, 1018 when the open key has been removed since.
    void Require() const {
        if (!m_Open) {
            ZORV_THROW_STORAGE(ERROR_INVALID_HANDLE);
        }
        for (size_t index = m_Opened; index < m_State.Changes.size(); ++index) {
            const Change& change = m_State.Changes[index];
            if (change.What == Change::Removed && change.Key == KeyId()) {
                ZORV_THROW_STORAGE(ERROR_KEY_DELETED);
            }
        }
    }

    State& m_State;
    uint32_t m_View;
    bool m_Open = false;
    Place m_Place;
    size_t m_Opened = 0;  // the changes made before the key was opened
};

// The INI-file store on the private copy of each file.
class PictureIniFile : public ZorvCommon::Storage::IniFile {
public:
    explicit PictureIniFile(State& state) : m_State(state) {}

    bool Open(const Key& key, const std::wstring& name) override { return Select(key, name); }
    bool Create(const Key& key, const std::wstring& name) override { return Select(key, name); }
    bool OpenForDelete(const Key& key, const std::wstring& name) override {
        return Select(key, name);
    }
    bool SetString(const std::wstring& name, const std::wstring& text) override {
        (void)IniFile::SetString(name, text);  // true, or it throws
        Changed();
        m_State.Wrote();
        return true;
    }
    bool DeleteKey(const std::wstring& name) override {
        (void)IniFile::DeleteKey(name);  // true, or it throws
        Changed();
        return true;
    }

private:
    // The three opens of an INI file select its section alike.
    bool Select(const Key& key, const std::wstring& name) {
        (void)IniFile::Open(Key(StorageTypeIniFile, m_State.CopyOf(key.m_FilePath), key.m_SubKey),
                            name);  // always true
        m_State.Touched = true;
        m_Place.Path = key.m_FilePath;
        m_Place.Section = GetSection();
        return true;
    }

    // A clean target shows the section from its first change on.
    void Changed() { m_State.WrittenSections.insert(State::SectionId(m_Place)); }

    State& m_State;
    Place m_Place;
};

}  // namespace

DryRun::DryRun(bool readCurrent) : m_pState(new State(readCurrent)) {}

DryRun::~DryRun() {
    for (const auto& copy : m_pState->Copies) {
        DeleteFileW(copy.second.c_str());
        RemoveDirectoryW(copy.second.substr(0, copy.second.find_last_of(L'\\')).c_str());
    }
    if (!m_pState->CopyFolder.empty()) {
        RemoveDirectoryW(m_pState->CopyFolder.c_str());
    }
}

std::unique_ptr<RegistryBase> DryRun::NewRegistry(uint32_t view) const {
    return std::unique_ptr<RegistryBase>(new (std::nothrow) PictureRegistry(*m_pState, view));
}

std::unique_ptr<ZorvCommon::Storage::Base> DryRun::NewIniFile() const {
    return std::unique_ptr<ZorvCommon::Storage::Base>(new (std::nothrow) PictureIniFile(*m_pState));
}

std::wstring DryRun::Describe(const Place& place, const std::wstring& name) const {
    return place.IsIniFile ? m_pState->DescribeSection(place, name)
                           : m_pState->DescribeKey(place, name);
}

HRESULT DryRun::Run(CommandChain& chain) {
    m_pChain = &chain;
    const HRESULT hr = chain.Invoke(*this, this);
    m_pChain = nullptr;
    return hr;
}

void DryRun::OnVisit(const ICommand& command, const ISection& section) {
    m_Visit = PlannedOperation();
    for (size_t index = 0; index < m_pChain->GetCount(); ++index) {
        if (m_pChain->GetCommand(index) == &command) {
            m_Visit.CommandNumber = index + 1;
        }
    }
    const auto* pVisitor = dynamic_cast<const IVisitor*>(&command);
    const auto* pFlagged = dynamic_cast<const CommandWithSectionFlag*>(&command);
    m_Visit.CommandType = pVisitor != nullptr ? pVisitor->GetType() : 0;
    m_Visit.pSection = &section;
    m_Visit.Where = PlaceOf(section);
    m_SectionFlag = pFlagged != nullptr && pFlagged->GetSectionFlag();
    m_Reached.clear();
    m_pState->Touched = false;
}

// Before the operation has changed anything; its stores may not have acted yet.
PlannedOperation& DryRun::Begin(const IEntry* pEntry) {
    m_Reached.insert(pEntry);
    m_Operations.push_back(m_Visit);
    PlannedOperation& operation = m_Operations.back();
    operation.pEntry = pEntry;
    if (pEntry != nullptr) {
        pEntry->GetName(operation.Name);
    }
    operation.Now = Describe(operation.Where, operation.Name);
    return operation;
}

void DryRun::Finish(PlannedOperation& operation, HRESULT hr) {
    operation.Result = hr;
    operation.Placed = m_pState->Touched;
    if (operation.Placed) {
        operation.After = Describe(operation.Where, operation.Name);
    } else {
        operation.Now = L"(not read)";
        operation.After = operation.Now;
    }
    std::sort(operation.Removed.begin(), operation.Removed.end());
}

void DryRun::OnOperation(const IEntry* pEntry) {
    m_pState->pOperation = &Begin(pEntry);
    m_pState->pOperation->Reached = true;
}

void DryRun::OnOperationEnd(HRESULT hr) {
    m_pState->pOperation = nullptr;
    Finish(m_Operations.back(), hr);
}

// The entries the command never reached fail with the visit.
void DryRun::OnVisitEnd(HRESULT hr) {
    if (m_SectionFlag && m_Reached.count(nullptr) == 0) {
        Finish(Begin(nullptr), hr);
    }
    for (size_t index = 0; index < m_Visit.pSection->GetEntryCount(); ++index) {
        const IEntry* pEntry = m_Visit.pSection->GetEntry(index);
        if (pEntry != nullptr && m_Reached.count(pEntry) == 0) {
            Finish(Begin(pEntry), hr);
        }
    }
}

std::wstring DescribeValue(const IEntry& entry) {
    switch (entry.GetType()) {
        case ValueTypeString:
            return DescribeStored(ZorvCommon::Storage::StringValue(
                static_cast<const EntryString&>(entry).GetValue()));
        case ValueTypeUint32:
            return std::to_wstring(static_cast<const EntryUint32&>(entry).GetValue());
        case ValueTypeUint64:
            return std::to_wstring(static_cast<const EntryUint64&>(entry).GetValue());
        case ValueTypeBinary: {
            const ZorvCommon::ByteArray& bytes = static_cast<const EntryBinary&>(entry).GetValue();
            return Hex(std::vector<uint8_t>(bytes.Data(), bytes.Data() + bytes.Length()));
        }
        default:
            return std::wstring();
    }
}

}  // namespace Storage
}  // namespace Ostrel
