#include "xentool_plan.h"

#include <cstdio>
#include <utility>

#include "DocumentVocabulary.h"
#include "JsonWriter.h"
#include "StorageDryRun.h"
#include "StorageProduct.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_String.h"
#include "ZorvComn_XmlParser.h"
#include "xentool_common.h"

namespace Xentool {

namespace {

using Ostrel::Storage::CommandChain;
using Ostrel::Storage::DocumentEntry;
using Ostrel::Storage::ISection;
using Ostrel::Storage::PlannedOperation;
using Ostrel::Storage::Target;
using Ostrel::Storage::TargetSystem;
using Ostrel::Storage::TargetVerdict;
using Tools::JsonWriter;

constexpr wchar_t kSection[] = L"System";
// What GetPrivateProfileStringW gives for a missing key: no profile text holds it.
constexpr wchar_t kAbsent[] = L"\x1";

struct ProfileReader {
    // False (nothing said) when the key is missing.
    bool Text(const wchar_t* name, std::wstring& text) const {
        wchar_t buffer[256] = {};
        GetPrivateProfileStringW(kSection, name, kAbsent, buffer, ARRAYSIZE(buffer), Path.c_str());
        if (wcscmp(buffer, kAbsent) == 0) {
            return false;
        }
        text = buffer;
        return true;
    }

    // A number (decimal, or hexadecimal after 0x) no larger than maximum; a missing key
    // keeps the default unless the key is required.
    bool Number(const wchar_t* name, uint32_t maximum, bool required, uint32_t& value) const {
        std::wstring text;
        if (!Text(name, text)) {
            return !required || Fail(std::wstring(name) + L" is missing");
        }
        uint32_t number = 0;
        if (!ZorvCommon::String::StrToUl(text, number) || number > maximum) {
            return Fail(std::wstring(name) + L" must be a number up to " +
                        std::to_wstring(maximum) + L", not '" + text + L"'");
        }
        value = number;
        return true;
    }

    bool Fail(const std::wstring& what) const {
        Problem = L"'" + Path + L"': " + what;
        return false;
    }

    const std::wstring& Path;
    std::wstring& Problem;
};

bool ReadLanguage(const ProfileReader& reader, uint32_t& languageCode) {
    std::wstring word;
    uint32_t languageId = 0;
    const bool hasWord = reader.Text(L"Language", word);
    if (!reader.Number(L"LanguageId", 0xFFFF, false, languageId)) {
        return false;
    }
    if (hasWord && languageId != 0) {
        return reader.Fail(L"give Language or LanguageId, not both");
    }
    if (hasWord) {
        return CXmlParserStorageControl::GetLanguageCode(word, languageCode) ||
               reader.Fail(L"Language '" + word + L"' is not a language of the documents");
    }
    languageCode = Ostrel::Storage::LanguageCodeOf(static_cast<LANGID>(languageId));
    return true;
}

// A file in the temporary folder, deleted with its owner.
struct TemporaryFile {
    ~TemporaryFile() {
        if (!Path.empty()) {
            DeleteFileW(Path.c_str());
        }
    }

    std::wstring Path;
};

bool IsPlainDocument(const std::wstring& path) {
    return path.size() >= 4 &&
           CompareStringOrdinal(path.c_str() + path.size() - 4, 4, L".xml", 4, TRUE) == CSTR_EQUAL;
}

// A plain document is read through an encrypted copy: the reader only takes .xen files.
int EncryptToTemporary(const std::wstring& path, const std::string& key, TemporaryFile& copy) {
    std::vector<uint8_t> ciphertext;
    const int exitCode = ReadEncrypted(path, key, &ciphertext);
    if (exitCode != ExitOk) {
        return exitCode;
    }
    wchar_t folder[MAX_PATH + 1] = {};
    wchar_t temporary[MAX_PATH + 1] = {};
    const DWORD cchFolder = GetTempPathW(ARRAYSIZE(folder), folder);
    uint32_t error = 0;
    if (cchFolder == 0 || cchFolder > MAX_PATH ||
        GetTempFileNameW(folder, L"xpl", 0, temporary) == 0) {
        error = GetLastError();
    } else {
        copy.Path = temporary;
    }
    if (copy.Path.empty() || !WriteWholeFile(copy.Path, ciphertext, &error)) {
        return Fail(ExitOutput, L"cannot write a temporary copy: " + DescribeError(error));
    }
    return ExitOk;
}

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
    if (section.GetType() == Ostrel::Storage::SectionTypeIniFile) {
        const auto& iniFile = static_cast<const Ostrel::Storage::SectionIniFile&>(section);
        return iniFile.GetFilePath() + L" [" + iniFile.GetSectionName() + L"]";
    }
    const auto& registry = static_cast<const Ostrel::Storage::SectionRegistry&>(section);
    const uint32_t root = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(registry.GetRoot()));
    const std::wstring_view rootName =
        Ostrel::Vocabulary::TextOf(Ostrel::Vocabulary::kRegistryRoots, root);
    std::wstring text = (rootName.empty() ? Hex32(root) : std::wstring(rootName)) + L"\\";
    if (!registry.GetBaseSubKey().empty()) {
        text += registry.GetBaseSubKey() + L"\\";
    }
    const uint32_t view = registry.GetAccessMode();
    return text + name + L" (view " + WordOf(Ostrel::Vocabulary::kAccessModes, view) +
           (registry.GetAccessRight() == Ostrel::Storage::kAccessRightDefault ? L", limited access)"
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
                : L"skipped (" + std::wstring(Ostrel::Storage::VerdictName(verdict)) + L")");
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
    using Ostrel::Storage::ValueTypeBinary;
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
    if (operation.Where.IsIniFile && ValueTypeOf(operation) == Ostrel::Storage::ValueTypeUint64) {
        return L"INI files hold no uint64 values";
    }
    if (hr == Ostrel::kNotFound) {
        return ValueTypeOf(operation) == ValueTypeBinary &&
                       operation.CommandType != Ostrel::Storage::VisitorTypeDelete
                   ? L"the binary value does not exist"
                   : L"the key does not exist";
    }
    if (hr == Ostrel::kWrongOpenState) {
        return L"the section could not be opened";
    }
    return nullptr;
}

std::wstring EffectOf(const PlannedOperation& operation) {
    using namespace Ostrel::Storage;
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
    json.String(L"verdict", Ostrel::Storage::VerdictName(verdict));
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

// What plan prints, as text or as one JSON object (see README, "Writing documents"): the
// system, the reader's decisions as it makes them, then the command chain's operations
// and the results.
class PlanPrinter : public Ostrel::Storage::IDocumentObserver {
public:
    // Starts with the document, the assignment and the system (source: "this machine" or
    // "profile FILE"), and whether this machine's values are read.
    PlanPrinter(bool json, const std::wstring& document, const std::wstring& assign,
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

    void OnSection(const std::wstring& elementName, const Target& target,
                   TargetVerdict verdict) override {
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

    void OnEntry(const Target& target, TargetVerdict verdict, const DocumentEntry* entry) override {
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
    void OnSectionEnd(const std::wstring& elementName, const ISection* pSection,
                      HRESULT result) override {
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

    // Ends with the chain's operations, the reader's result and what the request returns.
    void Finish(size_t commandCount, const std::vector<PlannedOperation>& operations,
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
            const std::wstring value = operation.pEntry != nullptr
                                           ? Ostrel::Storage::DescribeValue(*operation.pEntry)
                                           : std::wstring();
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

    // The last Registry or IniFile element that failed, or empty.
    const std::wstring& FailedElement() const { return m_FailedElement; }

private:
    bool m_Json;
    Tools::JsonWriter m_Writer;
    bool m_Open = false;  // a section element whose targeting was decided, not yet ended
    std::wstring m_FailedElement;
};

int Plan(const Arguments& arguments) {
    std::wstring document;
    std::wstring assign;
    std::wstring profile;
    bool readCurrent = false;  // this machine's values, also with a profile
    bool json = false;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::wstring& argument = arguments[i];
        const bool hasValue = i + 1 < arguments.size();
        if (argument == L"--assign" && hasValue) {
            assign = arguments[++i];
        } else if (argument == L"--profile" && hasValue) {
            profile = arguments[++i];
        } else if (argument == L"--current") {
            readCurrent = true;
        } else if (argument == L"--json") {
            json = true;
        } else if (document.empty() && argument.rfind(L"--", 0) != 0) {
            document = argument;
        } else {
            return UsageError(L"unexpected argument '" + argument + L"'");
        }
    }
    if (document.empty()) {
        return UsageError(L"expected a storage-control document");
    }
    TargetSystem system;
    std::wstring source = L"this machine";
    if (profile.empty()) {
        DescribeThisMachine(system);
        readCurrent = true;
    } else {
        std::wstring problem;
        if (!LoadProfile(profile, system, problem)) {
            return Fail(ExitInput, L"profile " + problem);
        }
        source = L"profile " + profile;
    }
    std::string key;
    int exitCode = ExitOk;
    Arguments kind = {L"--kind", L"storage"};
    if (!TakeDocumentKey(&kind, &key, &exitCode)) {
        return exitCode;
    }
    TemporaryFile copy;
    if (IsPlainDocument(document)) {
        exitCode = EncryptToTemporary(document, key, copy);
        if (exitCode != ExitOk) {
            return exitCode;
        }
    } else if (GetFileAttributesW(document.c_str()) == INVALID_FILE_ATTRIBUTES) {
        return Fail(ExitInput,
                    L"cannot read '" + document + L"': " + DescribeError(GetLastError()));
    }

    PlanPrinter printer(json, document, assign, system, source, readCurrent);
    ZorvCommon::Storage::XmlParser xmlParser;
    CXmlParserStorageControl reader(xmlParser);
    reader.SetKeepDocument(true);
    reader.SetTargetSystem(&system);
    reader.SetObserver(&printer);
    CommandChain chain;
    const HRESULT hr = reader.QueryValue(&chain, copy.Path.empty() ? document : copy.Path, assign);
    Ostrel::Storage::DryRun dryRun(readCurrent);
    const HRESULT chainResult = dryRun.Run(chain);
    // Commands built before a failure still run, and their result replaces the reader's.
    printer.Finish(chain.GetCount(), dryRun.Operations(), hr,
                   chain.GetCount() > 0 ? chainResult : hr);
    if (SUCCEEDED(hr)) {
        return ExitOk;
    }
    std::wstring where;
    if (xmlParser.GetLastLine() != 0) {
        where = L" at line " + std::to_wstring(xmlParser.GetLastLine()) + L", column " +
                std::to_wstring(xmlParser.GetLastColumn());
    } else if (!printer.FailedElement().empty()) {
        where = L" in element " + printer.FailedElement();
    }
    return Fail(ExitData,
                L"'" + document + L"' does not parse: " + Hex32(static_cast<uint32_t>(hr)) + where);
}

}  // namespace

void DescribeThisMachine(TargetSystem& system) {
    Ostrel::Storage::DescribeLiveSystem(system);
    // Not installed (or unreadable) leaves the version empty, as the reader expects.
    (void)Ostrel::Storage::QueryVersion(system.ProductVersion);
}

bool LoadProfile(const std::wstring& path, TargetSystem& system, std::wstring& problem) {
    const std::wstring profile = FullPath(path);
    const ProfileReader reader{profile, problem};
    if (GetFileAttributesW(profile.c_str()) == INVALID_FILE_ATTRIBUTES) {
        return reader.Fail(L"cannot be read");
    }
    TargetSystem described;
    ZorvCommon::Platform::VersionRecord& version = described.Version;
    version.PlatformId = ZorvCommon::Platform::PlatformNt;
    uint32_t productType = ZorvCommon::Platform::ProductWorkstation;
    uint32_t servicePack = 0;
    uint32_t bitness = 0;
    if (!reader.Number(L"Platform", 2, false, version.PlatformId) ||
        !reader.Number(L"Major", UINT32_MAX, true, version.Major) ||
        !reader.Number(L"Minor", UINT32_MAX, true, version.Minor) ||
        !reader.Number(L"Build", UINT32_MAX, false, version.Build) ||
        !reader.Number(L"ProductType", 3, false, productType) ||
        !reader.Number(L"ServicePack", 0xFFFF, false, servicePack) ||
        !reader.Number(L"Bitness", 64, true, bitness) ||
        !ReadLanguage(reader, described.LanguageCode)) {
        return false;
    }
    if (bitness != 32 && bitness != 64) {
        return reader.Fail(L"Bitness must be 32 or 64");
    }
    version.ProductType = static_cast<uint8_t>(productType);
    version.ServicePackMajor = static_cast<uint16_t>(servicePack);
    described.Is64bit = bitness == 64;
    reader.Text(L"ProductVersion", described.ProductVersion);
    system = described;
    return true;
}

std::vector<Command> PlanCommands() {
    return {
        {L"plan", L"DOC.xen|DOC.xml [--assign TEXT] [--profile FILE [--current]] [--json]", Plan},
    };
}

}  // namespace Xentool
