// The commands' rules as the storage engine applies them, played against a picture of
// the stores. Each rule names the engine's behaviour it follows.

#include "xentool_whatif.h"

#include <windows.h>

#include "OstrelResult.h"
#include "StorageControl.h"
#include "ZorvComn_Exception.h"
#include "ZorvComn_String.h"
#include "xentool_picture.h"

namespace Xentool {

namespace {

using Ostrel::Storage::CommandBase;
using Ostrel::Storage::IEntry;
using Ostrel::Storage::ISection;

const int32_t kWrongType = ZorvCommon::Exception::ResultFromWin32(ERROR_INVALID_DATA);
const int32_t kKeyDeleted = ZorvCommon::Exception::ResultFromWin32(ERROR_KEY_DELETED);

Place PlaceOf(const ISection& section) {
    Place place;
    if (section.GetType() == Ostrel::Storage::SectionTypeIniFile) {
        const auto& iniFile = static_cast<const Ostrel::Storage::SectionIniFile&>(section);
        place.IsIniFile = true;
        place.Path = iniFile.GetFilePath();
        place.Section = iniFile.GetSectionName();
        return place;
    }
    const auto& registry = static_cast<const Ostrel::Storage::SectionRegistry&>(section);
    static const REGSAM kViews[] = {0, KEY_WOW64_32KEY, KEY_WOW64_64KEY, 0};
    std::wstring name;
    section.GetName(name);
    place.Root = Ostrel::Storage::ToRegistryRoot(reinterpret_cast<uintptr_t>(registry.GetRoot()));
    place.View =
        registry.GetAccessMode() < ARRAYSIZE(kViews) ? kViews[registry.GetAccessMode()] : 0;
    place.Path = registry.GetBaseSubKey().empty() ? name : registry.GetBaseSubKey() + L"\\" + name;
    return place;
}

std::wstring NameOf(const IEntry& entry) {
    std::wstring name;
    entry.GetName(name);
    return name;
}

// The value a typed entry carries, as the store would hold it.
StoredValue StoredValueOf(const IEntry& entry) {
    switch (entry.GetType()) {
        case Ostrel::Storage::ValueTypeString:
            return StoredValue::Text(
                static_cast<const Ostrel::Storage::EntryString&>(entry).GetValue());
        case Ostrel::Storage::ValueTypeUint32:
            return StoredValue::Number32(
                static_cast<const Ostrel::Storage::EntryUint32&>(entry).GetValue());
        case Ostrel::Storage::ValueTypeUint64:
            return StoredValue::Number64(
                static_cast<const Ostrel::Storage::EntryUint64&>(entry).GetValue());
        default: {
            const ZorvCommon::ByteArray& bytes =
                static_cast<const Ostrel::Storage::EntryBinary&>(entry).GetValue();
            return StoredValue::Binary(bytes.Data(), static_cast<size_t>(bytes.Length()));
        }
    }
}

// The number an INI value reads as (GetPrivateProfileIntW: decimal, leading digits).
uint32_t IniNumber(const StoredValue& value) {
    std::wstring text;
    value.AsText(text);
    return static_cast<uint32_t>(wcstoul(text.c_str(), nullptr, 10));
}

// How a typed read of the entry's value answers: absent (accepted), the value, or a
// failure.
struct Reading {
    int32_t Result = Ostrel::kSuccess;
    const StoredValue* Value = nullptr;  // null when absent
};

class Player {
public:
    explicit Player(bool readCurrent) : m_Picture(readCurrent) {}

    WhatIf Play(const Ostrel::Storage::CommandChain& chain) {
        WhatIf whatIf;
        for (size_t index = 0; index < chain.GetCount(); ++index) {
            const auto* pCommand = dynamic_cast<const CommandBase*>(chain.GetCommand(index));
            if (pCommand == nullptr) {
                whatIf.Result = Ostrel::kInvalidObject;
                continue;
            }
            const int32_t hr = PlayCommand(index + 1, *pCommand, whatIf.Operations);
            if (hr < 0) {
                whatIf.Result = hr;
            }
        }
        return whatIf;
    }

private:
    int32_t PlayCommand(size_t number, const CommandBase& command,
                        std::vector<Operation>& operations) {
        const auto* pFlagged =
            dynamic_cast<const Ostrel::Storage::CommandWithSectionFlag*>(&command);
        const bool sectionFlag = pFlagged != nullptr && pFlagged->GetSectionFlag();
        int32_t result = Ostrel::kSuccess;
        for (size_t s = 0; s < command.GetSectionCount(); ++s) {
            const ISection* pSection = command.GetSection(s);
            if (pSection == nullptr) {
                result = Ostrel::kInvalidObject;
                continue;
            }
            Operation base;
            base.CommandNumber = number;
            base.CommandType = command.GetType();
            base.Place = DescribeSection(*pSection);
            const int32_t hr = PlaySection(*pSection, sectionFlag, base, operations);
            if (hr < 0) {
                result = hr;
            }
        }
        return result;
    }

    // One section visit: the command's own open and close, its act on the section and
    // its entries. The result is the visit's.
    int32_t PlaySection(const ISection& section, bool sectionFlag, const Operation& base,
                        std::vector<Operation>& operations) {
        const Place place = PlaceOf(section);
        m_Section = &section;
        switch (base.CommandType) {
            case Ostrel::Storage::VisitorTypeCreate:
                if (sectionFlag) {
                    operations.push_back(CreateSection(place, base));
                }
                return PlayEntries(place, base, operations, &Player::CreateEntry);
            case Ostrel::Storage::VisitorTypeQuery: {
                // The close decides: it fails when the open found no key.
                const bool opened = m_Picture.Exists(place);
                PlayEntries(place, base, operations, &Player::QueryEntry);
                return opened ? Ostrel::kSuccess : Ostrel::kWrongState;
            }
            case Ostrel::Storage::VisitorTypeStore:
                PlayEntries(place, base, operations, &Player::StoreEntry);
                // The store's open makes the key, even when no entry is written.
                if (!place.IsIniFile) {
                    m_Picture.CreateKey(place);
                }
                return Ostrel::kSuccess;
            case Ostrel::Storage::VisitorTypeAppend:
                return PlayEntries(place, base, operations, &Player::AppendEntry);
            default:
                return PlayDelete(place, sectionFlag, base, operations);
        }
    }

    using EntryRule = int32_t (Player::*)(const Place& place, const IEntry& entry,
                                          Operation& operation);

    // Every entry in order; the last failure is the walk's result.
    int32_t PlayEntries(const Place& place, const Operation& base,
                        std::vector<Operation>& operations, EntryRule rule) {
        int32_t result = Ostrel::kSuccess;
        for (size_t e = 0; e < m_Section->GetEntryCount(); ++e) {
            const IEntry* pEntry = m_Section->GetEntry(e);
            if (pEntry == nullptr) {
                result = Ostrel::kInvalidObject;
                continue;
            }
            Operation operation = base;
            pEntry->GetName(operation.Name);
            operation.ValueType = pEntry->GetType();
            operation.Value = DescribeValue(*pEntry);
            operation.Now = Describe(place, operation.Name);
            operation.Result = pEntry->GetType() == Ostrel::Storage::ValueTypeName &&
                                       base.CommandType != Ostrel::Storage::VisitorTypeDelete
                                   ? NeedsType(operation)
                                   : (this->*rule)(place, *pEntry, operation);
            operation.After = Describe(place, operation.Name);
            if (operation.Result < 0) {
                result = operation.Result;
            }
            operations.push_back(operation);
        }
        return result;
    }

    static int32_t NeedsType(Operation& operation) {
        operation.Effect = L"fails: a bare name is taken by a delete only";
        return Ostrel::kNotSupported;
    }

    std::wstring Describe(const Place& place, const std::wstring& name) {
        if (!m_Picture.IsKnown(place)) {
            return L"(not read)";
        }
        if (!m_Picture.Exists(place)) {
            return L"(no key)";
        }
        if (name.empty()) {
            return place.IsIniFile ? L"(section)" : L"(key)";
        }
        const StoredValue* pValue = m_Picture.FindValue(place, name);
        return pValue != nullptr ? pValue->Describe() : L"(no value)";
    }

    // The typed query of QueryEntry: open for query (a missing key is accepted as
    // absent), then the backend's typed read.
    Reading Read(const Place& place, const IEntry& entry) {
        Reading reading;
        if (!m_Picture.Exists(place)) {
            reading.Result = Ostrel::kAbsentAccepted;
            return reading;
        }
        reading.Value = m_Picture.FindValue(place, NameOf(entry));
        const uint32_t type = entry.GetType();
        if (place.IsIniFile) {
            // The INI backend has no binary or 64-bit values.
            if (type == Ostrel::Storage::ValueTypeBinary) {
                reading.Result = Ostrel::kWrongState;
            } else if (type == Ostrel::Storage::ValueTypeUint64) {
                reading.Result = Ostrel::kNotSupported;
            }
            return reading;
        }
        if (reading.Value == nullptr) {
            // A missing binary value is a failure; the others read as absent.
            reading.Result =
                type == Ostrel::Storage::ValueTypeBinary ? Ostrel::kNotFound : Ostrel::kSuccess;
            return reading;
        }
        std::wstring text;
        uint32_t number32 = 0;
        uint64_t number64 = 0;
        const bool fits =
            (type == Ostrel::Storage::ValueTypeString && reading.Value->AsText(text)) ||
            (type == Ostrel::Storage::ValueTypeUint32 && reading.Value->AsNumber32(number32)) ||
            (type == Ostrel::Storage::ValueTypeUint64 && reading.Value->AsNumber64(number64)) ||
            (type == Ostrel::Storage::ValueTypeBinary && reading.Value->IsBinary());
        if (!fits) {
            reading.Result = kWrongType;
        }
        return reading;
    }

    static std::wstring Failure(int32_t hr, const wchar_t* reason) {
        return L"fails " + Hex32(static_cast<uint32_t>(hr)) + L": " + reason;
    }

    static const wchar_t* ReadFailureReason(const Place& place, uint32_t valueType, int32_t hr) {
        if (place.IsIniFile) {
            return valueType == Ostrel::Storage::ValueTypeBinary
                       ? L"INI files hold no binary values"
                       : L"INI files hold no uint64 values";
        }
        return hr == Ostrel::kNotFound ? L"the binary value does not exist"
                                       : L"the stored value has another type";
    }

    // StoreEntry: open for store (creating the key), then the backend's typed write.
    int32_t Write(const Place& place, const IEntry& entry, const StoredValue& value,
                  Operation& operation) {
        const uint32_t type = entry.GetType();
        if (place.IsIniFile && type == Ostrel::Storage::ValueTypeBinary) {
            operation.Effect = Failure(Ostrel::kWrongState, L"INI files hold no binary values");
            return Ostrel::kWrongState;
        }
        if (place.IsIniFile && type == Ostrel::Storage::ValueTypeUint64) {
            operation.Effect = Failure(Ostrel::kNotSupported, L"INI files hold no uint64 values");
            return Ostrel::kNotSupported;
        }
        const bool keyExisted = m_Picture.Exists(place);
        if (place.IsIniFile) {
            uint32_t number = 0;
            m_Picture.SetValue(
                place, NameOf(entry),
                value.AsNumber32(number) ? StoredValue::Text(std::to_wstring(number)) : value);
        } else {
            m_Picture.CreateKey(place);
            m_Picture.SetValue(place, NameOf(entry), value);
        }
        operation.Effect = keyExisted ? L"written" : L"written (creates the key)";
        return Ostrel::kSuccess;
    }

    Operation CreateSection(const Place& place, const Operation& base) {
        Operation operation = base;
        operation.Now = Describe(place, std::wstring());
        if (place.IsIniFile) {
            operation.Effect = L"nothing: an INI section appears with its first value";
        } else {
            operation.Effect =
                m_Picture.Exists(place) ? L"unchanged: the key exists" : L"creates the key";
            m_Picture.CreateKey(place);
        }
        operation.After = Describe(place, std::wstring());
        return operation;
    }

    // CommandCreate: writes only when the query found no key at all; a key that exists
    // makes every entry count as present, whatever the value.
    int32_t CreateEntry(const Place& place, const IEntry& entry, Operation& operation) {
        const Reading reading = Read(place, entry);
        if (reading.Result < 0) {
            operation.Effect =
                Failure(reading.Result, ReadFailureReason(place, entry.GetType(), reading.Result));
            return reading.Result;
        }
        if (reading.Result == Ostrel::kAbsentAccepted) {
            return Write(place, entry, StoredValueOf(entry), operation);
        }
        operation.Effect = place.IsIniFile ? L"unchanged: an INI section always counts as existing"
                                           : L"unchanged: the key exists";
        return Ostrel::kSuccess;
    }

    int32_t QueryEntry(const Place& place, const IEntry& entry, Operation& operation) {
        const Reading reading = Read(place, entry);
        if (reading.Result == Ostrel::kAbsentAccepted) {
            operation.Effect = L"read fails: the key does not exist";
        } else if (reading.Result < 0) {
            operation.Effect =
                Failure(reading.Result, ReadFailureReason(place, entry.GetType(), reading.Result));
        } else {
            operation.Effect = L"read";
        }
        // A query's entry failures are logged; only the section's close decides.
        return Ostrel::kSuccess;
    }

    // CommandStore writes each entry into the key its open created.
    int32_t StoreEntry(const Place& place, const IEntry& entry, Operation& operation) {
        return Write(place, entry, StoredValueOf(entry), operation);
    }

    // CommandAppend: the stored value (or nothing) followed by the entry's value.
    int32_t AppendEntry(const Place& place, const IEntry& entry, Operation& operation) {
        const uint32_t type = entry.GetType();
        const Reading reading = Read(place, entry);
        const bool tolerated =
            type == Ostrel::Storage::ValueTypeBinary && reading.Result == Ostrel::kNotFound;
        if (reading.Result < 0 && !tolerated) {
            operation.Effect =
                Failure(reading.Result, ReadFailureReason(place, type, reading.Result));
            return reading.Result;
        }
        const StoredValue current =
            reading.Value != nullptr && reading.Result >= 0 ? *reading.Value : StoredValue();
        const StoredValue append = StoredValueOf(entry);
        StoredValue joined;
        std::wstring text;
        std::wstring more;
        uint32_t number32 = 0;
        uint64_t number64 = 0;
        uint32_t add32 = 0;
        uint64_t add64 = 0;
        switch (type) {
            case Ostrel::Storage::ValueTypeString:
                current.AsText(text);
                append.AsText(more);
                joined = StoredValue::Text(text + more);
                break;
            case Ostrel::Storage::ValueTypeUint32:
                if (place.IsIniFile && reading.Value != nullptr) {
                    number32 = IniNumber(current);
                } else {
                    current.AsNumber32(number32);
                }
                append.AsNumber32(add32);
                joined = StoredValue::Number32(number32 + add32);  // wraps like the engine
                break;
            case Ostrel::Storage::ValueTypeUint64:
                current.AsNumber64(number64);
                append.AsNumber64(add64);
                joined = StoredValue::Number64(number64 + add64);
                break;
            default:
                joined = current.IsBinary() ? current : StoredValue::Binary(nullptr, 0);
                joined.Bytes.insert(joined.Bytes.end(), append.Bytes.begin(), append.Bytes.end());
                break;
        }
        return Write(place, entry, joined, operation);
    }

    // CommandDelete: its open fails on a missing key; with the section flag the key goes
    // with everything below it before the entries are tried.
    int32_t PlayDelete(const Place& place, bool sectionFlag, const Operation& base,
                       std::vector<Operation>& operations) {
        if (!m_Picture.Exists(place)) {
            if (sectionFlag) {
                Operation operation = base;
                operation.Now = Describe(place, std::wstring());
                operation.After = operation.Now;
                operation.Effect = Failure(Ostrel::kNotFound, L"the key does not exist");
                operation.Result = Ostrel::kNotFound;
                operations.push_back(operation);
            }
            PlayEntries(place, base, operations, &Player::DeleteFromMissingKey);
            return Ostrel::kNotFound;
        }
        m_SectionGone = false;
        if (sectionFlag) {
            Operation operation = base;
            operation.Now = Describe(place, std::wstring());
            operation.Removed = m_Picture.RemoveTree(place);
            m_SectionGone = !place.IsIniFile;
            operation.Effect = place.IsIniFile ? L"removes the section with its values"
                                               : L"removes the key and the keys below it";
            operation.After = Describe(place, std::wstring());
            operations.push_back(operation);
        }
        PlayEntries(place, base, operations, &Player::DeleteEntry);
        return Ostrel::kSuccess;
    }

    int32_t DeleteFromMissingKey(const Place&, const IEntry&, Operation& operation) {
        operation.Effect = Failure(Ostrel::kNotFound, L"the key does not exist");
        return Ostrel::kNotFound;
    }

    int32_t DeleteEntry(const Place& place, const IEntry& entry, Operation& operation) {
        if (m_SectionGone) {
            operation.Effect = Failure(kKeyDeleted, L"the key is gone");
            return kKeyDeleted;
        }
        operation.Effect =
            m_Picture.RemoveValue(place, NameOf(entry)) ? L"removed" : L"nothing to remove";
        return Ostrel::kSuccess;
    }

    StorePicture m_Picture;
    const ISection* m_Section = nullptr;
    bool m_SectionGone = false;
};

}  // namespace

WhatIf PlayChain(const Ostrel::Storage::CommandChain& chain, bool readCurrent) {
    return Player(readCurrent).Play(chain);
}

std::wstring Hex32(uint32_t value) {
    std::wstring text;
    ZorvCommon::String::Format(text, L"0x%08x", value);
    return text;
}

const wchar_t* CommandName(uint32_t commandType) {
    static const wchar_t* const kNames[] = {L"?",     L"create", L"query",
                                            L"store", L"append", L"delete"};
    return commandType < ARRAYSIZE(kNames) ? kNames[commandType] : L"?";
}

const wchar_t* ValueTypeName(uint32_t valueType) {
    static const wchar_t* const kNames[] = {L"name", L"string", L"binary", L"uint32", L"uint64"};
    return valueType < ARRAYSIZE(kNames) ? kNames[valueType] : L"?";
}

namespace {

std::wstring RootName(HKEY root) {
    static const struct {
        HKEY Root;
        const wchar_t* Name;
    } kRoots[] = {{HKEY_CLASSES_ROOT, L"HKCR"},
                  {HKEY_CURRENT_USER, L"HKCU"},
                  {HKEY_LOCAL_MACHINE, L"HKLM"},
                  {HKEY_USERS, L"HKU"}};
    for (const auto& known : kRoots) {
        if (known.Root == root) {
            return known.Name;
        }
    }
    return Hex32(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(root)));
}

}  // namespace

std::wstring DescribeSection(const ISection& section) {
    std::wstring name;
    section.GetName(name);
    if (section.GetType() == Ostrel::Storage::SectionTypeIniFile) {
        const auto& iniFile = static_cast<const Ostrel::Storage::SectionIniFile&>(section);
        return iniFile.GetFilePath() + L" [" + iniFile.GetSectionName() + L"]";
    }
    static const wchar_t* const kViews[] = {L"default", L"32bit", L"64bit", L"check"};
    const auto& registry = static_cast<const Ostrel::Storage::SectionRegistry&>(section);
    std::wstring text = RootName(registry.GetRoot()) + L"\\";
    if (!registry.GetBaseSubKey().empty()) {
        text += registry.GetBaseSubKey() + L"\\";
    }
    const uint32_t view = registry.GetAccessMode();
    return text + name + L" (view " + (view < ARRAYSIZE(kViews) ? kViews[view] : L"?") +
           (registry.GetAccessRight() == Ostrel::Storage::kAccessRightDefault ? L", limited access)"
                                                                              : L", all access)");
}

std::wstring DescribeValue(const IEntry& entry) {
    return entry.GetType() == Ostrel::Storage::ValueTypeName ? std::wstring()
                                                             : StoredValueOf(entry).Describe();
}

}  // namespace Xentool
