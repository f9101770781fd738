// xentool COMMAND ARGUMENTS...: the commands come from one table per command group.

#include "xentool_common.h"

int wmain(int argc, wchar_t** argv) {
    if (argc < 2) {
        return Xentool::UsageError(L"no command given");
    }
    const std::wstring name = argv[1];
    for (const Xentool::Command& command : Xentool::AllCommands()) {
        if (name == command.name) {
            return command.run(Xentool::Arguments(argv + 2, argv + argc));
        }
    }
    return Xentool::UsageError(L"unknown command '" + name + L"'");
}
