#pragma once
// What every xentool command shares: the command table, exit codes, messages and the
// usage text, whole file input and output, and the document keys.

#include <cstdint>
#include <string>
#include <vector>

namespace Xentool {

// 1 is lint's alone: the document has errors. A bad command line shares 2 with a file
// that cannot be read or decrypted.
enum ExitCode : int {
    ExitOk = 0,
    ExitUsage = 2,   // bad command line (the usage text is printed)
    ExitInput = 2,   // input missing, unreadable or empty
    ExitKey = 3,     // unknown kind or a key that is not 16 characters
    ExitOutput = 4,  // output could not be written
    ExitData = 5,    // input is not what the command expects
};

using Arguments = std::vector<std::wstring>;

struct Command {
    const wchar_t* name;
    const wchar_t* synopsis;  // the arguments, for the usage text
    int (*run)(const Arguments& arguments);
};

// The command groups, each in its own xentool_*.cpp: encrypt and decrypt (policy
// documents to and from their .xen form); plan (what a storage-control document would do
// on a system, without doing it: the module's own reader reads the document and its
// chain runs dry, StorageDryRun.h); lint (xentool_lint.h).
std::vector<Command> CryptCommands();
std::vector<Command> PlanCommands();
std::vector<Command> LintCommands();

std::vector<Command> AllCommands();

void PrintUsage();  // to stderr

// A bad command line (no or an unknown command, a bad or missing option or argument):
// "xentool: <message>" and the usage text on stderr. Returns ExitUsage.
int UsageError(const std::wstring& message);

// What is left of a command line once a command has taken its options must not hold
// another: false, with the usage error reported in exitCode, when it does.
bool NoOtherOptions(const Arguments& arguments, int* exitCode);

// Writes "xentool: <message>" to stderr and returns the code.
int Fail(int code, const std::wstring& message);
// "<system text> (error N)".
std::wstring DescribeError(uint32_t error);
// "0x%08x".
std::wstring Hex32(uint32_t value);

bool ReadWholeFile(const std::wstring& path, std::vector<uint8_t>* bytes, uint32_t* error);
// The file's bytes encrypted under key: ExitOk, or the exit code already reported.
int ReadEncrypted(const std::wstring& path, const std::string& key,
                  std::vector<uint8_t>* ciphertext);
// Creates or replaces the file.
bool WriteWholeFile(const std::wstring& path, const std::vector<uint8_t>& bytes, uint32_t* error);
// The full path, or path itself when it has none.
std::wstring FullPath(const std::wstring& path);
// Whether two paths name the same file (full paths compared without regard to case).
bool SamePath(const std::wstring& first, const std::wstring& second);

// Takes "--kind NAME" or "--key TEXT" out of the arguments and yields the 16-byte key.
// On failure returns false with the exit code already reported.
bool TakeDocumentKey(Arguments* arguments, std::string* key, int* exitCode);

}  // namespace Xentool
