#include "xentool_common.h"

#include <windows.h>

#include "XmlParserStorageControl.h"
#include "ZorvComn_XmlParser.h"
#include "xentool_plan_output.h"
#include "xentool_profile.h"

namespace Xentool {

namespace {

using Ostrel::Storage::CommandChain;
using Ostrel::Storage::TargetSystem;

struct PlanOptions {
    std::wstring Document;
    std::wstring Assign;
    std::wstring Profile;
    bool ReadCurrent = false;  // this machine's values, also with a profile
    bool Json = false;
};

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
    uint32_t error = 0;
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

    PlanPrinter printer(options.Json, options.Document, options.Assign, system, source,
                        options.ReadCurrent);
    ZorvCommon::Storage::XmlParser xmlParser;
    CXmlParserStorageControl reader(xmlParser);
    reader.SetKeepDocument(true);
    reader.SetTargetSystem(&system);
    reader.SetObserver(&printer);
    CommandChain chain;
    const HRESULT hr = reader.QueryValue(
        &chain, copy.Path().empty() ? options.Document : copy.Path(), options.Assign);
    Ostrel::Storage::DryRun dryRun(options.ReadCurrent);
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
