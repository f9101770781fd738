#include "xentool_plan.h"

#include "DocumentVocabulary.h"
#include "StorageDryRun.h"
#include "StorageProduct.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_String.h"
#include "ZorvComn_XmlParser.h"
#include "xentool_common.h"
#include "xentool_plan_output.h"

namespace Xentool {

namespace {

using Ostrel::Storage::CommandChain;
using Ostrel::Storage::TargetSystem;

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
    TemporaryFile copy;
    if (IsPlainDocument(document)) {
        const int exitCode = EncryptToTemporary(document, Ostrel::Vocabulary::kStorageKey, copy);
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
