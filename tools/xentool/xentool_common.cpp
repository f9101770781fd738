#include "xentool_common.h"

#include <windows.h>

#include <cstdio>

#include "DocumentVocabulary.h"
#include "SystemText.h"
#include "ZorvComn_CryptDocument.h"
#include "ZorvComn_File.h"
#include "ZorvComn_String.h"

namespace Xentool {

namespace {

// The value after an option, removed from the arguments with the option itself.
bool TakeOption(Arguments* arguments, const wchar_t* option, std::wstring* value, bool* found) {
    for (size_t i = 0; i < arguments->size(); ++i) {
        if ((*arguments)[i] != option) {
            continue;
        }
        if (i + 1 == arguments->size()) {
            return false;
        }
        *value = (*arguments)[i + 1];
        *found = true;
        arguments->erase(arguments->begin() + i, arguments->begin() + i + 2);
        return true;
    }
    return true;
}

}  // namespace

std::wstring FullPath(const std::wstring& path) {
    wchar_t buffer[MAX_PATH * 2];
    const DWORD length = GetFullPathNameW(path.c_str(), MAX_PATH * 2, buffer, nullptr);
    return length > 0 && length < MAX_PATH * 2 ? std::wstring(buffer, length) : path;
}

int Fail(int code, const std::wstring& message) {
    fwprintf(stderr, L"xentool: %ls\n", message.c_str());
    return code;
}

std::wstring DescribeError(uint32_t error) {
    std::wstring message;
    if (!Tools::SystemText(error, message)) {
        message = L"system error";
    }
    return message + L" (error " + std::to_wstring(error) + L")";
}

std::wstring Hex32(uint32_t value) {
    std::wstring text;
    ZorvCommon::String::Format(text, L"0x%08x", value);
    return text;
}

bool ReadWholeFile(const std::wstring& path, std::vector<uint8_t>* bytes, uint32_t* error) {
    ZorvCommon::Storage::FileBase file(path);
    uint64_t size = 0;
    if (!file.Open(nullptr, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                   error) ||
        !file.GetSize(&size, error)) {
        return false;
    }
    if (size > UINT32_MAX / 2) {
        if (error != nullptr) {
            *error = ERROR_FILE_TOO_LARGE;
        }
        return false;
    }
    bytes->assign(static_cast<size_t>(size), 0);
    return size == 0 || file.Read(bytes->data(), static_cast<uint32_t>(size), error);
}

int ReadEncrypted(const std::wstring& path, const std::string& key,
                  std::vector<uint8_t>* ciphertext) {
    std::vector<uint8_t> plaintext;
    uint32_t error = 0;
    if (!ReadWholeFile(path, &plaintext, &error)) {
        return Fail(ExitInput, L"cannot read '" + path + L"': " + DescribeError(error));
    }
    if (!ZorvCommon::Storage::EncryptDocumentBytes(key.c_str(), plaintext, ciphertext, &error)) {
        return Fail(ExitData, L"encryption failed: " + DescribeError(error));
    }
    return ExitOk;
}

bool WriteWholeFile(const std::wstring& path, const std::vector<uint8_t>& bytes, uint32_t* error) {
    ZorvCommon::Storage::FileBase file(path);
    uint32_t written = 0;
    return file.Open(nullptr, GENERIC_WRITE, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, error) &&
           (bytes.empty() ||
            file.Write(bytes.data(), static_cast<uint32_t>(bytes.size()), &written, error)) &&
           file.Close(error);
}

bool SamePath(const std::wstring& first, const std::wstring& second) {
    return CompareStringOrdinal(FullPath(first).c_str(), -1, FullPath(second).c_str(), -1, TRUE) ==
           CSTR_EQUAL;
}

bool TakeDocumentKey(Arguments* arguments, std::string* key, int* exitCode) {
    std::wstring kind;
    std::wstring text;
    bool hasKind = false;
    bool hasKey = false;
    if (!TakeOption(arguments, L"--kind", &kind, &hasKind) ||
        !TakeOption(arguments, L"--key", &text, &hasKey) || hasKind == hasKey) {
        *exitCode =
            UsageError(L"give either --kind storage|service|provider|webaccess or --key TEXT");
        return false;
    }
    if (hasKind) {
        for (const Ostrel::Vocabulary::DocumentKey& known : Ostrel::Vocabulary::kDocumentKeys) {
            if (kind == known.Kind) {
                *key = known.Key;
                return true;
            }
        }
        *exitCode = Fail(ExitKey, L"unknown document kind '" + kind +
                                      L"' (storage, service, provider or webaccess)");
        return false;
    }
    key->clear();
    for (wchar_t c : text) {
        if (c < 0x20 || c > 0x7e) {
            *exitCode = Fail(ExitKey, L"the key must be printable ASCII");
            return false;
        }
        key->push_back(static_cast<char>(c));
    }
    if (!ZorvCommon::Storage::IsDocumentKey(key->c_str())) {
        *exitCode = Fail(
            ExitKey, L"the key must be 16 characters long, not " + std::to_wstring(text.size()));
        return false;
    }
    return true;
}

std::vector<Command> AllCommands() {
    std::vector<Command> all;
    for (auto group : {CryptCommands, PlanCommands, LintCommands}) {
        const std::vector<Command> commands = group();
        all.insert(all.end(), commands.begin(), commands.end());
    }
    return all;
}

void PrintUsage() {
    fwprintf(stderr, L"usage:\n");
    for (const Command& command : AllCommands()) {
        fwprintf(stderr, L"  xentool %ls %ls\n", command.name, command.synopsis);
    }
    fwprintf(stderr,
             L"KIND: storage, service, provider or webaccess; TEXT: any 16-character key\n"
             L"exit codes: 0 done; 1 the document has errors (lint); 2 a bad command line, or a "
             L"file that cannot be read or decrypted; 3 a bad key; 4 output not written; 5 "
             L"input not of the expected form\n");
}

int UsageError(const std::wstring& message) {
    Fail(ExitUsage, message);
    PrintUsage();
    return ExitUsage;
}

bool NoOtherOptions(const Arguments& arguments, int* exitCode) {
    for (const std::wstring& argument : arguments) {
        if (argument.rfind(L"--", 0) == 0) {
            *exitCode = UsageError(L"unknown option '" + argument + L"'");
            return false;
        }
    }
    return true;
}

}  // namespace Xentool
