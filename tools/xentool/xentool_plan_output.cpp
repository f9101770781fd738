#include "xentool_plan_output.h"

#include <cstdio>
#include <utility>

#include "DocumentVocabulary.h"
#include "xentool_common.h"

namespace Xentool {

using namespace Ostrel::Storage;
using Tools::JsonWriter;

namespace {

// The word of value in table; "?" for a value without one.
template <size_t N>
std::wstring WordOf(const Ostrel::Vocabulary::Word (&table)[N], uint32_t value) {
    const std::wstring_view word = Ostrel::Vocabulary::TextOf(table, value);
    return word.empty() ? L"?" : std::wstring(word);
}

void PrintLine(const std::wstring& text) {
    fwprintf(stdout, L"%ls\n", text.c_str());
}

std::wstring CommandName(uint32_t commandType) {
    return WordOf(Ostrel::Vocabulary::kActions, commandType);
}

std::wstring ValueTypeName(uint32_t valueType) {
    return valueType == Ostrel::Storage::ValueTypeName
               ? L"name"
               : WordOf(Ostrel::Vocabulary::kValueTypes, valueType);
}

// "HKCU\path (view default, all access)" or "file [section]".
std::wstring DescribeSection(const ISection& section) {
    std::wstring name;
    section.GetName(name);
    if (section.GetType() == SectionTypeIniFile) {
        const auto& iniFile = static_cast<const SectionIniFile&>(section);
        return iniFile.GetFilePath() + L" [" + iniFile.GetSectionName() + L"]";
    }
    const auto& registry = static_cast<const SectionRegistry&>(section);
    const uint32_t root = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(registry.GetRoot()));
    const std::wstring_view rootName =
        Ostrel::Vocabulary::TextOf(Ostrel::Vocabulary::kRegistryRoots, root);
    std::wstring text = (rootName.empty() ? Hex32(root) : std::wstring(rootName)) + L"\\";
    if (!registry.GetBaseSubKey().empty()) {
        text += registry.GetBaseSubKey() + L"\\";
    }
    const uint32_t view = registry.GetAccessMode();
    return text + name + L" (view " + WordOf(Ostrel::Vocabulary::kAccessModes, view) +
           (registry.GetAccessRight() == kAccessRightDefault ? L", limited access)"
                                                             : L", all access)");
}

struct TargetAttribute {
    const wchar_t* Name;
    std::wstring Target::*Field;
};

const TargetAttribute kTargetAttributes[] = {
    {L"platform", &Target::Platform},     {L"language", &Target::Language},
    {L"product", &Target::Product},       {L"minversion", &Target::MinVersion},
    {L"maxversion", &Target::MaxVersion}, {L"assign", &Target::Assign}};

// " [platform=... assign=...]: kept" or ": skipped (why)".
std::wstring DescribeTargeting(const Target& target, TargetVerdict verdict) {
    std::wstring text;
    for (const TargetAttribute& attribute : kTargetAttributes) {
        const std::wstring& value = target.*attribute.Field;
        if (!value.empty()) {
            text += (text.empty() ? L" [" : L" ") + std::wstring(attribute.Name) + L"=" + value;
        }
    }
    return (text.empty() ? text : text + L"]") + L": " +
           (verdict == TargetVerdict::Targeted
                ? std::wstring(L"kept")
                : L"skipped (" + std::wstring(VerdictName(verdict)) + L")");
}

std::wstring DescribeEntry(const Target& target, TargetVerdict verdict,
                           const DocumentEntry* pEntry) {
    std::wstring text = L"  Control";
    if (pEntry != nullptr) {
        const DocumentEntry& entry = *pEntry;
        text += std::wstring(L" ") + CommandName(entry.CommandType) + L" " +
                (entry.Name.empty() ? L"(the section itself)" : entry.Name);
        if (entry.ValueType != Ostrel::Storage::ValueTypeName || !entry.Value.empty()) {
            text +=
                std::wstring(L" ") + ValueTypeName(entry.ValueType) + L" \"" + entry.Value + L"\"";
        }
        if (entry.Overwrite) {
            text += L" overwrite";
        }
    }
    return text + DescribeTargeting(target, verdict);
}

std::wstring DescribeSystem(const TargetSystem& system, const std::wstring& source) {
    const ZorvCommon::Platform::VersionRecord& version = system.Version;
    return L"system: " + source + L": platform " + std::to_wstring(version.PlatformId) +
           L", version " + std::to_wstring(version.Major) + L"." + std::to_wstring(version.Minor) +
           L" build " + std::to_wstring(version.Build) + L", product type " +
           std::to_wstring(version.ProductType) + L", service pack " +
           std::to_wstring(version.ServicePackMajor) +
           (system.Is64bit ? L", 64-bit" : L", 32-bit") + L", language " +
           Hex32(system.LanguageCode) + L", product version " +
           (system.ProductVersion.empty() ? L"(none)" : system.ProductVersion);
}

uint32_t ValueTypeOf(const PlannedOperation& operation) {
    return operation.pEntry != nullptr ? operation.pEntry->GetType()
                                       : static_cast<uint32_t>(Ostrel::Storage::ValueTypeName);
}

// What the dry run saw, in words.
const wchar_t* FailureReason(const PlannedOperation& operation) {
    const HRESULT hr = operation.Result;
    if (hr == ZorvCommon::Exception::ResultFromWin32(ERROR_INVALID_DATA)) {
        return L"the stored value has another type";
    }
    if (hr == ZorvCommon::Exception::ResultFromWin32(ERROR_KEY_DELETED)) {
        return L"the key is gone";
    }
    if (operation.Where.IsIniFile && ValueTypeOf(operation) == ValueTypeBinary) {
        return L"INI files hold no binary values";
    }
    if (operation.Where.IsIniFile && ValueTypeOf(operation) == ValueTypeUint64) {
        return L"INI files hold no uint64 values";
    }
    if (hr == Ostrel::kNotFound) {
        return ValueTypeOf(operation) == ValueTypeBinary &&
                       operation.CommandType != VisitorTypeDelete
                   ? L"the binary value does not exist"
                   : L"the key does not exist";
    }
    if (hr == Ostrel::kWrongOpenState) {
        return L"the section could not be opened";
    }
    return nullptr;
}

std::wstring EffectOf(const PlannedOperation& operation) {
    if (operation.Result < 0) {
        if (operation.pEntry != nullptr &&
            ValueTypeOf(operation) == Ostrel::Storage::ValueTypeName &&
            operation.CommandType != VisitorTypeDelete) {
            return L"fails: a bare name is taken by a delete only";
        }
        const wchar_t* reason = FailureReason(operation);
        return L"fails " + Hex32(static_cast<uint32_t>(operation.Result)) +
               (reason != nullptr ? L": " + std::wstring(reason) : std::wstring());
    }
    if (operation.pEntry == nullptr) {
        if (operation.CommandType == VisitorTypeDelete) {
            return operation.Where.IsIniFile ? L"removes the section with its values"
                                             : L"removes the key and the keys below it";
        }
        return operation.Where.IsIniFile ? L"nothing: an INI section appears with its first value"
               : operation.KeyCreated    ? L"creates the key"
                                         : L"unchanged: the key exists";
    }
    if (operation.Written) {
        return operation.KeyCreated ? L"written (creates the key)" : L"written";
    }
    switch (operation.CommandType) {
        case VisitorTypeQuery:
            return L"read";
        case VisitorTypeDelete:
            return operation.Now != operation.After ? L"removed" : L"nothing to remove";
        default:
            return operation.Where.IsIniFile
                       ? L"unchanged: an INI section always counts as existing"
                       : L"unchanged: the key exists";
    }
}

void WriteTarget(JsonWriter& json, const Target& target, TargetVerdict verdict) {
    json.BeginObject(L"target");
    for (const TargetAttribute& attribute : kTargetAttributes) {
        const std::wstring& value = target.*attribute.Field;
        if (!value.empty()) {
            json.String(attribute.Name, value);
        }
    }
    json.EndObject();
    json.String(L"verdict", VerdictName(verdict));
}

void WriteSystem(JsonWriter& json, const TargetSystem& system, const std::wstring& source) {
    json.BeginObject(L"system");
    json.String(L"source", source);
    json.Number(L"platformId", system.Version.PlatformId);
    json.Number(L"major", system.Version.Major);
    json.Number(L"minor", system.Version.Minor);
    json.Number(L"build", system.Version.Build);
    json.Number(L"productType", system.Version.ProductType);
    json.Number(L"servicePack", system.Version.ServicePackMajor);
    json.Number(L"bitness", system.Is64bit ? 64 : 32);
    json.Number(L"languageCode", system.LanguageCode);
    json.String(L"productVersion", system.ProductVersion);
    json.EndObject();
}

}  // namespace

PlanPrinter::PlanPrinter(bool json, const std::wstring& document, const std::wstring& assign,
                         const TargetSystem& system, const std::wstring& source, bool readCurrent)
    : m_Json(json) {
    if (!m_Json) {
        PrintLine(DescribeSystem(system, source));
        PrintLine(readCurrent ? L"current values: read from this machine"
                              : L"current values: not read; the plan assumes none of the "
                                L"keys, values and files exists yet");
        return;
    }
    m_Writer.BeginObject();
    m_Writer.String(L"document", document);
    m_Writer.String(L"assign", assign);
    WriteSystem(m_Writer, system, source);
    m_Writer.Bool(L"currentValuesRead", readCurrent);
    m_Writer.BeginArray(L"elements");
}

void PlanPrinter::OnSection(const std::wstring& elementName, const Target& target,
                            TargetVerdict verdict) {
    m_Open = true;
    if (!m_Json) {
        PrintLine(elementName + DescribeTargeting(target, verdict));
        return;
    }
    m_Writer.BeginObject();
    m_Writer.String(L"element", elementName);
    WriteTarget(m_Writer, target, verdict);
    m_Writer.BeginArray(L"entries");
}

void PlanPrinter::OnEntry(const Target& target, TargetVerdict verdict, const DocumentEntry* entry) {
    if (!m_Open) {
        return;
    }
    if (!m_Json) {
        PrintLine(DescribeEntry(target, verdict, entry));
        return;
    }
    m_Writer.BeginObject();
    WriteTarget(m_Writer, target, verdict);
    if (entry != nullptr) {
        m_Writer.String(L"action", CommandName(entry->CommandType));
        m_Writer.String(L"name", entry->Name);
        m_Writer.String(L"type", ValueTypeName(entry->ValueType));
        m_Writer.String(L"value", entry->Value);
        m_Writer.Bool(L"overwrite", entry->Overwrite);
    }
    m_Writer.EndObject();
}

// An element that failed before its targeting was decided shows only its failure.
void PlanPrinter::OnSectionEnd(const std::wstring& elementName, const ISection* pSection,
                               HRESULT result) {
    const bool decided = std::exchange(m_Open, false);
    const std::wstring section = pSection != nullptr ? DescribeSection(*pSection) : L"";
    if (FAILED(result)) {
        m_FailedElement = elementName;
    }
    if (m_Json) {
        if (!decided) {
            m_Writer.BeginObject();
            m_Writer.String(L"element", elementName);
            m_Writer.BeginArray(L"entries");
        }
        m_Writer.EndArray();
        m_Writer.String(L"section", section);
        m_Writer.String(L"result", Hex32(result));
        m_Writer.EndObject();
    } else if (!decided) {
        PrintLine(elementName + L": failed " + Hex32(result));
    } else if (!section.empty() || FAILED(result)) {  // else skipped by its targeting
        std::wstring text = L"  => " + (section.empty() ? elementName : section);
        if (FAILED(result)) {
            text += L": failed " + Hex32(result);
        } else if (result == Ostrel::kElementSkipped) {
            text += L": skipped (no entries)";
        } else {
            text += L": section built";
        }
        PrintLine(text);
    }
}

void PlanPrinter::Finish(size_t commandCount, const std::vector<PlannedOperation>& operations,
                         HRESULT result, HRESULT requestResult) {
    if (m_Json) {
        m_Writer.EndArray();
        m_Writer.Number(L"commands", commandCount);
        m_Writer.BeginArray(L"operations");
    } else {
        PrintLine(L"command chain: " + std::to_wstring(commandCount) + L" command(s)");
    }
    for (const PlannedOperation& operation : operations) {
        const std::wstring action = CommandName(operation.CommandType);
        const std::wstring place = DescribeSection(*operation.pSection);
        const std::wstring type = ValueTypeName(ValueTypeOf(operation));
        const std::wstring value =
            operation.pEntry != nullptr ? DescribeValue(*operation.pEntry) : std::wstring();
        const std::wstring effect = EffectOf(operation);
        if (m_Json) {
            m_Writer.BeginObject();
            m_Writer.Number(L"command", operation.CommandNumber);
            m_Writer.String(L"action", action);
            m_Writer.String(L"place", place);
            m_Writer.String(L"name", operation.Name);
            m_Writer.String(L"type", type);
            m_Writer.String(L"value", value);
            m_Writer.String(L"now", operation.Now);
            m_Writer.String(L"after", operation.After);
            m_Writer.String(L"effect", effect);
            m_Writer.BeginArray(L"removes");
            for (const std::wstring& removed : operation.Removed) {
                m_Writer.String(nullptr, removed);
            }
            m_Writer.EndArray();
            m_Writer.String(L"result", Hex32(static_cast<uint32_t>(operation.Result)));
            m_Writer.EndObject();
            continue;
        }
        std::wstring text =
            L"  " + std::to_wstring(operation.CommandNumber) + L". " + action + L" " + place;
        if (operation.pEntry == nullptr) {
            text += L" (the section itself)";
        } else {
            text += L" " + operation.Name;
            if (ValueTypeOf(operation) != Ostrel::Storage::ValueTypeName) {
                text += L" = " + value + L" (" + type + L")";
            }
        }
        PrintLine(text);
        PrintLine(L"       now " + operation.Now + L" -> " + operation.After + L": " + effect);
        for (const std::wstring& removed : operation.Removed) {
            PrintLine(L"       removes " + removed);
        }
    }
    if (!m_Json) {
        PrintLine(L"result: " + Hex32(result));
        PrintLine(L"request result: " + Hex32(requestResult));
        return;
    }
    m_Writer.EndArray();
    m_Writer.String(L"result", Hex32(result));
    m_Writer.String(L"requestResult", Hex32(requestResult));
    m_Writer.EndObject();
    PrintLine(m_Writer.Text());
}

}  // namespace Xentool
