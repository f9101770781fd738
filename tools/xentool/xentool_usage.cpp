#include "xentool_usage.h"

#include <cstdio>

namespace Xentool {

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
