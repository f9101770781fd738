#include "xentool_plan.h"

#include <windows.h>

#include <cstdio>
#include <string>

#include "StorageCommand.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_String.h"
#include "ZorvComn_XmlParser.h"

namespace Xentool {

namespace {

using Ostrel::Storage::CommandBase;
using Ostrel::Storage::CommandChain;
using Ostrel::Storage::DocumentEntry;
using Ostrel::Storage::IEntry;
using Ostrel::Storage::ISection;
using Ostrel::Storage::Target;
using Ostrel::Storage::TargetVerdict;

void PrintLine(const std::wstring& text) {
    fwprintf(stdout, L"%ls\n", text.c_str());
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
    switch (entry.GetType()) {
        case Ostrel::Storage::ValueTypeString:
            return L"\"" + static_cast<const Ostrel::Storage::EntryString&>(entry).GetValue() +
                   L"\"";
        case Ostrel::Storage::ValueTypeUint32:
            return std::to_wstring(
                static_cast<const Ostrel::Storage::EntryUint32&>(entry).GetValue());
        case Ostrel::Storage::ValueTypeUint64:
            return std::to_wstring(
                static_cast<const Ostrel::Storage::EntryUint64&>(entry).GetValue());
        case Ostrel::Storage::ValueTypeBinary: {
            const ZorvCommon::ByteArray& bytes =
                static_cast<const Ostrel::Storage::EntryBinary&>(entry).GetValue();
            std::wstring text = L"hex ";
            for (uint64_t i = 0; i < bytes.Length(); ++i) {
                text += L"0123456789ABCDEF"[bytes.Data()[i] >> 4];
                text += L"0123456789ABCDEF"[bytes.Data()[i] & 0xF];
            }
            return text;
        }
        default:
            return std::wstring();
    }
}

std::wstring DescribeTarget(const Target& target) {
    const struct {
        const wchar_t* Name;
        const std::wstring& Text;
    } kAttributes[] = {{L"platform", target.Platform},     {L"language", target.Language},
                       {L"product", target.Product},       {L"minversion", target.MinVersion},
                       {L"maxversion", target.MaxVersion}, {L"assign", target.Assign}};
    std::wstring text;
    for (const auto& attribute : kAttributes) {
        if (!attribute.Text.empty()) {
            text += (text.empty() ? L" [" : L" ") + std::wstring(attribute.Name) + L"=" +
                    attribute.Text;
        }
    }
    return text.empty() ? text : text + L"]";
}

std::wstring DescribeVerdict(TargetVerdict verdict) {
    return verdict == TargetVerdict::Targeted
               ? std::wstring(L"kept")
               : L"skipped (" + std::wstring(Ostrel::Storage::VerdictName(verdict)) + L")";
}

// Prints each element as the reader decides about it.
class PlanPrinter : public Ostrel::Storage::IDocumentObserver {
public:
    void OnSection(const std::wstring& elementName, const Target& target,
                   TargetVerdict verdict) override {
        m_LastElement = elementName;
        m_SectionOpen = true;
        PrintLine(elementName + DescribeTarget(target) + L": " + DescribeVerdict(verdict));
    }

    void OnEntry(const Target& target, TargetVerdict verdict, const DocumentEntry* entry) override {
        m_LastElement = L"Control";
        std::wstring text = L"  Control";
        if (entry != nullptr) {
            text += std::wstring(L" ") + CommandName(entry->CommandType) + L" " +
                    (entry->Name.empty() ? L"(the section itself)" : entry->Name);
            if (entry->ValueType != Ostrel::Storage::ValueTypeName || !entry->Value.empty()) {
                text += std::wstring(L" ") + ValueTypeName(entry->ValueType) + L" \"" +
                        entry->Value + L"\"";
            }
            if (entry->Overwrite) {
                text += L" overwrite";
            }
        }
        PrintLine(text + DescribeTarget(target) + L": " + DescribeVerdict(verdict));
    }

    void OnSectionEnd(const std::wstring& elementName, const ISection* pSection,
                      HRESULT result) override {
        const bool sectionOpen = m_SectionOpen;
        m_SectionOpen = false;
        if (!sectionOpen) {
            // Failed before its targeting was decided.
            m_LastElement = elementName;
            PrintLine(elementName + L": failed " + Hex32(result));
            return;
        }
        if (pSection == nullptr && SUCCEEDED(result)) {
            return;  // skipped by its targeting, already said
        }
        std::wstring text = L"  => ";
        text += pSection != nullptr ? DescribeSection(*pSection) : elementName;
        if (FAILED(result)) {
            m_LastElement = elementName;
            text += L": failed " + Hex32(result);
        } else if (result == Ostrel::kElementSkipped) {
            text += L": skipped (no entries)";
        } else {
            text += L": section built";
        }
        PrintLine(text);
    }

    const std::wstring& LastElement() const { return m_LastElement; }

private:
    std::wstring m_LastElement;
    bool m_SectionOpen = false;
};

void PrintChain(const CommandChain& chain) {
    PrintLine(L"command chain: " + std::to_wstring(chain.GetCount()) + L" command(s)");
    for (size_t index = 0; index < chain.GetCount(); ++index) {
        const auto* pCommand = dynamic_cast<const CommandBase*>(chain.GetCommand(index));
        if (pCommand == nullptr) {
            continue;
        }
        const std::wstring head =
            L"  " + std::to_wstring(index + 1) + L". " + CommandName(pCommand->GetType()) + L" ";
        const auto* pFlagged =
            dynamic_cast<const Ostrel::Storage::CommandWithSectionFlag*>(pCommand);
        for (size_t s = 0; s < pCommand->GetSectionCount(); ++s) {
            const ISection* pSection = pCommand->GetSection(s);
            if (pSection == nullptr) {
                continue;
            }
            const std::wstring place = DescribeSection(*pSection);
            if (pFlagged != nullptr && pFlagged->GetSectionFlag()) {
                PrintLine(head + place + L" (the section itself)");
            }
            for (size_t e = 0; e < pSection->GetEntryCount(); ++e) {
                const IEntry* pEntry = pSection->GetEntry(e);
                if (pEntry == nullptr) {
                    continue;
                }
                std::wstring name;
                pEntry->GetName(name);
                std::wstring text = head + place + L" " + name;
                if (pEntry->GetType() != Ostrel::Storage::ValueTypeName) {
                    text += L" = " + DescribeValue(*pEntry) + L" (" +
                            ValueTypeName(pEntry->GetType()) + L")";
                }
                PrintLine(text);
            }
        }
    }
}

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

int Plan(const Arguments& arguments) {
    std::wstring document;
    std::wstring assign;
    for (size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == L"--assign" && i + 1 < arguments.size()) {
            assign = arguments[++i];
        } else if (document.empty() && arguments[i].rfind(L"--", 0) != 0) {
            document = arguments[i];
        } else {
            return Fail(ExitUsage, L"unexpected argument '" + arguments[i] + L"'");
        }
    }
    if (document.empty()) {
        return Fail(ExitUsage, L"expected a storage-control document");
    }
    std::string key;
    Arguments kind = {L"--kind", L"storage"};
    int exitCode = ExitOk;
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

    ZorvCommon::Storage::XmlParser xmlParser;
    CXmlParserStorageControl reader(xmlParser);
    reader.SetKeepDocument(true);
    PlanPrinter printer;
    reader.SetObserver(&printer);
    CommandChain chain;
    const HRESULT hr =
        reader.QueryValue(&chain, copy.Path().empty() ? document : copy.Path(), assign);
    PrintChain(chain);
    PrintLine(L"result: " + Hex32(static_cast<uint32_t>(hr)));
    if (SUCCEEDED(hr)) {
        return ExitOk;
    }
    std::wstring where;
    if (xmlParser.GetLastLine() != 0) {
        where = L" at line " + std::to_wstring(xmlParser.GetLastLine()) + L", column " +
                std::to_wstring(xmlParser.GetLastColumn());
    } else if (!printer.LastElement().empty()) {
        where = L" in element " + printer.LastElement();
    }
    return Fail(ExitData,
                L"'" + document + L"' does not parse: " + Hex32(static_cast<uint32_t>(hr)) + where);
}

}  // namespace

std::vector<Command> PlanCommands() {
    return {
        {L"plan", L"DOC.xen|DOC.xml [--assign TEXT]", Plan},
    };
}

}  // namespace Xentool
