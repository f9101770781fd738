#include "xentool_plan.h"

#include <windows.h>

#include <cstdio>
#include <string>

#include "StorageCommand.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_XmlParser.h"
#include "xentool_json.h"
#include "xentool_profile.h"
#include "xentool_usage.h"
#include "xentool_whatif.h"

namespace Xentool {

namespace {

using Ostrel::Storage::CommandChain;
using Ostrel::Storage::DocumentEntry;
using Ostrel::Storage::ISection;
using Ostrel::Storage::Target;
using Ostrel::Storage::TargetSystem;
using Ostrel::Storage::TargetVerdict;

void PrintLine(const std::wstring& text) {
    fwprintf(stdout, L"%ls\n", text.c_str());
}

struct PlanOptions {
    std::wstring Document;
    std::wstring Assign;
    std::wstring Profile;
    bool ReadCurrent = false;  // this machine's values, also with a profile
    bool Json = false;
};

// What the reader decided about one Control element.
struct EntryRecord {
    Target Targeting;
    TargetVerdict Verdict = TargetVerdict::Targeted;
    bool Kept = false;
    DocumentEntry Entry;
};

// One Registry or IniFile element, from its targeting to the section it became.
struct SectionRecord {
    std::wstring ElementName;
    bool Decided = false;  // false when it failed before its targeting was decided
    Target Targeting;
    TargetVerdict Verdict = TargetVerdict::Targeted;
    std::vector<EntryRecord> Entries;
    std::wstring Section;  // the section built, or empty
    HRESULT Result = S_OK;
};

// Collects the reader's decisions in document order.
class PlanReport : public Ostrel::Storage::IDocumentObserver {
public:
    void OnSection(const std::wstring& elementName, const Target& target,
                   TargetVerdict verdict) override {
        m_Sections.emplace_back();
        SectionRecord& record = m_Sections.back();
        record.ElementName = elementName;
        record.Decided = true;
        record.Targeting = target;
        record.Verdict = verdict;
        m_Open = true;
    }

    void OnEntry(const Target& target, TargetVerdict verdict, const DocumentEntry* entry) override {
        if (!m_Open) {
            return;
        }
        EntryRecord record;
        record.Targeting = target;
        record.Verdict = verdict;
        record.Kept = entry != nullptr;
        if (entry != nullptr) {
            record.Entry = *entry;
        }
        m_Sections.back().Entries.push_back(record);
    }

    void OnSectionEnd(const std::wstring& elementName, const ISection* pSection,
                      HRESULT result) override {
        if (!m_Open) {
            m_Sections.emplace_back();
            m_Sections.back().ElementName = elementName;
        }
        m_Open = false;
        SectionRecord& record = m_Sections.back();
        record.Result = result;
        if (pSection != nullptr) {
            record.Section = DescribeSection(*pSection);
        }
        if (FAILED(result)) {
            m_FailedElement = elementName;
        }
    }

    const std::vector<SectionRecord>& Sections() const { return m_Sections; }
    const std::wstring& FailedElement() const { return m_FailedElement; }

private:
    std::vector<SectionRecord> m_Sections;
    std::wstring m_FailedElement;
    bool m_Open = false;
};

struct TargetAttribute {
    const wchar_t* Name;
    std::wstring Target::*Field;
};

const TargetAttribute kTargetAttributes[] = {
    {L"platform", &Target::Platform},     {L"language", &Target::Language},
    {L"product", &Target::Product},       {L"minversion", &Target::MinVersion},
    {L"maxversion", &Target::MaxVersion}, {L"assign", &Target::Assign}};

// ---- Text --------------------------------------------------------------------------

std::wstring DescribeTarget(const Target& target) {
    std::wstring text;
    for (const TargetAttribute& attribute : kTargetAttributes) {
        const std::wstring& value = target.*attribute.Field;
        if (!value.empty()) {
            text += (text.empty() ? L" [" : L" ") + std::wstring(attribute.Name) + L"=" + value;
        }
    }
    return text.empty() ? text : text + L"]";
}

std::wstring DescribeVerdict(TargetVerdict verdict) {
    return verdict == TargetVerdict::Targeted
               ? std::wstring(L"kept")
               : L"skipped (" + std::wstring(Ostrel::Storage::VerdictName(verdict)) + L")";
}

std::wstring DescribeEntry(const EntryRecord& record) {
    std::wstring text = L"  Control";
    if (record.Kept) {
        const DocumentEntry& entry = record.Entry;
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
    return text + DescribeTarget(record.Targeting) + L": " + DescribeVerdict(record.Verdict);
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

void PrintSections(const PlanReport& report) {
    for (const SectionRecord& record : report.Sections()) {
        if (!record.Decided) {
            PrintLine(record.ElementName + L": failed " + Hex32(record.Result));
            continue;
        }
        PrintLine(record.ElementName + DescribeTarget(record.Targeting) + L": " +
                  DescribeVerdict(record.Verdict));
        for (const EntryRecord& entry : record.Entries) {
            PrintLine(DescribeEntry(entry));
        }
        if (record.Section.empty() && SUCCEEDED(record.Result)) {
            continue;  // skipped by its targeting, already said
        }
        std::wstring text =
            L"  => " + (record.Section.empty() ? record.ElementName : record.Section);
        if (FAILED(record.Result)) {
            text += L": failed " + Hex32(record.Result);
        } else if (record.Result == Ostrel::kElementSkipped) {
            text += L": skipped (no entries)";
        } else {
            text += L": section built";
        }
        PrintLine(text);
    }
}

void PrintOperations(size_t commandCount, const WhatIf& whatIf) {
    PrintLine(L"command chain: " + std::to_wstring(commandCount) + L" command(s)");
    for (const Operation& operation : whatIf.Operations) {
        std::wstring text = L"  " + std::to_wstring(operation.CommandNumber) + L". " +
                            CommandName(operation.CommandType) + L" " + operation.Place;
        if (operation.Name.empty()) {
            text += L" (the section itself)";
        } else {
            text += L" " + operation.Name;
            if (operation.ValueType != Ostrel::Storage::ValueTypeName) {
                text +=
                    L" = " + operation.Value + L" (" + ValueTypeName(operation.ValueType) + L")";
            }
        }
        PrintLine(text);
        PrintLine(L"       now " + operation.Now + L" -> " + operation.After + L": " +
                  operation.Effect);
        for (const std::wstring& removed : operation.Removed) {
            PrintLine(L"       removes " + removed);
        }
    }
}

// ---- JSON --------------------------------------------------------------------------

void WriteTarget(JsonWriter& json, const Target& target, TargetVerdict verdict) {
    json.BeginObject(L"target");
    for (const TargetAttribute& attribute : kTargetAttributes) {
        const std::wstring& value = target.*attribute.Field;
        if (!value.empty()) {
            json.String(attribute.Name, value);
        }
    }
    json.EndObject();
    json.String(L"verdict", Ostrel::Storage::VerdictName(verdict));
}

void WriteSections(JsonWriter& json, const PlanReport& report) {
    json.BeginArray(L"elements");
    for (const SectionRecord& record : report.Sections()) {
        json.BeginObject();
        json.String(L"element", record.ElementName);
        if (record.Decided) {
            WriteTarget(json, record.Targeting, record.Verdict);
        }
        json.BeginArray(L"entries");
        for (const EntryRecord& entry : record.Entries) {
            json.BeginObject();
            WriteTarget(json, entry.Targeting, entry.Verdict);
            if (entry.Kept) {
                json.String(L"action", CommandName(entry.Entry.CommandType));
                json.String(L"name", entry.Entry.Name);
                json.String(L"type", ValueTypeName(entry.Entry.ValueType));
                json.String(L"value", entry.Entry.Value);
                json.Bool(L"overwrite", entry.Entry.Overwrite);
            }
            json.EndObject();
        }
        json.EndArray();
        json.String(L"section", record.Section);
        json.String(L"result", Hex32(record.Result));
        json.EndObject();
    }
    json.EndArray();
}

void WriteOperations(JsonWriter& json, const WhatIf& whatIf) {
    json.BeginArray(L"operations");
    for (const Operation& operation : whatIf.Operations) {
        json.BeginObject();
        json.Number(L"command", operation.CommandNumber);
        json.String(L"action", CommandName(operation.CommandType));
        json.String(L"place", operation.Place);
        json.String(L"name", operation.Name);
        json.String(L"type", ValueTypeName(operation.ValueType));
        json.String(L"value", operation.Value);
        json.String(L"now", operation.Now);
        json.String(L"after", operation.After);
        json.String(L"effect", operation.Effect);
        json.BeginArray(L"removes");
        for (const std::wstring& removed : operation.Removed) {
            json.String(nullptr, removed);
        }
        json.EndArray();
        json.String(L"result", Hex32(static_cast<uint32_t>(operation.Result)));
        json.EndObject();
    }
    json.EndArray();
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

// ---- The command -------------------------------------------------------------------

// A file in the temporary folder, deleted with its owner.
class TemporaryFile {
public:
    TemporaryFile() = default;
    ~TemporaryFile() {
        if (!m_Path.empty()) {
            DeleteFileW(m_Path.c_str());
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    bool Create(uint32_t* error) {
        wchar_t folder[MAX_PATH + 1] = {};
        wchar_t path[MAX_PATH + 1] = {};
        const DWORD cchFolder = GetTempPathW(ARRAYSIZE(folder), folder);
        if (cchFolder == 0 || cchFolder > MAX_PATH ||
            GetTempFileNameW(folder, L"xpl", 0, path) == 0) {
            *error = GetLastError();
            return false;
        }
        m_Path = path;
        return true;
    }
    const std::wstring& Path() const { return m_Path; }

private:
    std::wstring m_Path;
};

bool IsPlainDocument(const std::wstring& path) {
    static const wchar_t kExtension[] = L".xml";
    const size_t cchExtension = ARRAYSIZE(kExtension) - 1;
    return path.size() >= cchExtension &&
           CompareStringOrdinal(path.c_str() + path.size() - cchExtension,
                                static_cast<int>(cchExtension), kExtension,
                                static_cast<int>(cchExtension), TRUE) == CSTR_EQUAL;
}

// A plain document is read through an encrypted copy: the reader only takes .xen files.
int EncryptToTemporary(const std::wstring& path, const std::string& key, TemporaryFile& copy) {
    std::vector<uint8_t> plaintext;
    std::vector<uint8_t> ciphertext;
    uint32_t error = 0;
    if (!ReadWholeFile(path, &plaintext, &error)) {
        return Fail(ExitInput, L"cannot read '" + path + L"': " + DescribeError(error));
    }
    if (!ZorvCommon::Storage::EncryptDocumentBytes(key.c_str(), plaintext, &ciphertext, &error)) {
        return Fail(ExitData, L"encryption failed: " + DescribeError(error));
    }
    if (!copy.Create(&error) || !WriteWholeFile(copy.Path(), ciphertext, &error)) {
        return Fail(ExitOutput, L"cannot write a temporary copy: " + DescribeError(error));
    }
    return ExitOk;
}

bool ParseOptions(const Arguments& arguments, PlanOptions& options, int& exitCode) {
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::wstring& argument = arguments[i];
        const bool hasValue = i + 1 < arguments.size();
        if (argument == L"--assign" && hasValue) {
            options.Assign = arguments[++i];
        } else if (argument == L"--profile" && hasValue) {
            options.Profile = arguments[++i];
        } else if (argument == L"--current") {
            options.ReadCurrent = true;
        } else if (argument == L"--json") {
            options.Json = true;
        } else if (options.Document.empty() && argument.rfind(L"--", 0) != 0) {
            options.Document = argument;
        } else {
            exitCode = UsageError(L"unexpected argument '" + argument + L"'");
            return false;
        }
    }
    if (options.Document.empty()) {
        exitCode = UsageError(L"expected a storage-control document");
        return false;
    }
    return true;
}

int Plan(const Arguments& arguments) {
    PlanOptions options;
    int exitCode = ExitOk;
    if (!ParseOptions(arguments, options, exitCode)) {
        return exitCode;
    }
    TargetSystem system;
    std::wstring source = L"this machine";
    if (options.Profile.empty()) {
        DescribeThisMachine(system);
        options.ReadCurrent = true;
    } else {
        std::wstring problem;
        if (!LoadProfile(options.Profile, system, problem)) {
            return Fail(ExitInput, L"profile " + problem);
        }
        source = L"profile " + options.Profile;
    }
    std::string key;
    Arguments kind = {L"--kind", L"storage"};
    if (!TakeDocumentKey(&kind, &key, &exitCode)) {
        return exitCode;
    }
    TemporaryFile copy;
    if (IsPlainDocument(options.Document)) {
        exitCode = EncryptToTemporary(options.Document, key, copy);
        if (exitCode != ExitOk) {
            return exitCode;
        }
    } else if (GetFileAttributesW(options.Document.c_str()) == INVALID_FILE_ATTRIBUTES) {
        return Fail(ExitInput,
                    L"cannot read '" + options.Document + L"': " + DescribeError(GetLastError()));
    }

    ZorvCommon::Storage::XmlParser xmlParser;
    CXmlParserStorageControl reader(xmlParser);
    reader.SetKeepDocument(true);
    reader.SetTargetSystem(&system);
    PlanReport report;
    reader.SetObserver(&report);
    CommandChain chain;
    const HRESULT hr = reader.QueryValue(
        &chain, copy.Path().empty() ? options.Document : copy.Path(), options.Assign);
    const WhatIf whatIf = PlayChain(chain, options.ReadCurrent);
    // Commands built before a failure still run, and their result replaces the reader's.
    const int32_t requestResult = chain.GetCount() > 0 ? whatIf.Result : hr;

    if (options.Json) {
        JsonWriter json;
        json.BeginObject();
        json.String(L"document", options.Document);
        json.String(L"assign", options.Assign);
        WriteSystem(json, system, source);
        json.Bool(L"currentValuesRead", options.ReadCurrent);
        WriteSections(json, report);
        json.Number(L"commands", chain.GetCount());
        WriteOperations(json, whatIf);
        json.String(L"result", Hex32(static_cast<uint32_t>(hr)));
        json.String(L"requestResult", Hex32(static_cast<uint32_t>(requestResult)));
        json.EndObject();
        PrintLine(json.Text());
    } else {
        PrintLine(DescribeSystem(system, source));
        PrintLine(options.ReadCurrent ? L"current values: read from this machine"
                                      : L"current values: not read; the plan assumes none of the "
                                        L"keys, values and files exists yet");
        PrintSections(report);
        PrintOperations(chain.GetCount(), whatIf);
        PrintLine(L"result: " + Hex32(static_cast<uint32_t>(hr)));
        PrintLine(L"request result: " + Hex32(static_cast<uint32_t>(requestResult)));
    }
    if (SUCCEEDED(hr)) {
        return ExitOk;
    }
    std::wstring where;
    if (xmlParser.GetLastLine() != 0) {
        where = L" at line " + std::to_wstring(xmlParser.GetLastLine()) + L", column " +
                std::to_wstring(xmlParser.GetLastColumn());
    } else if (!report.FailedElement().empty()) {
        where = L" in element " + report.FailedElement();
    }
    return Fail(ExitData, L"'" + options.Document + L"' does not parse: " +
                              Hex32(static_cast<uint32_t>(hr)) + where);
}

}  // namespace

std::vector<Command> PlanCommands() {
    return {
        {L"plan", L"DOC.xen|DOC.xml [--assign TEXT] [--profile FILE [--current]] [--json]", Plan},
    };
}

}  // namespace Xentool
