// xentool COMMAND ARGUMENTS...: the commands come from one table per command group.

#include <cstdio>
#include <vector>

#include "xentool_common.h"
#include "xentool_crypt.h"
#include "xentool_lint.h"
#include "xentool_plan.h"

namespace {

using Xentool::Command;

std::vector<Command> AllCommands() {
    std::vector<Command> all;
    for (auto group : {Xentool::CryptCommands, Xentool::PlanCommands, Xentool::LintCommands}) {
        const std::vector<Command> commands = group();
        all.insert(all.end(), commands.begin(), commands.end());
    }
    return all;
}

int Usage(const std::vector<Command>& commands) {
    fwprintf(stderr, L"usage:\n");
    for (const Command& command : commands) {
        fwprintf(stderr, L"  xentool %ls %ls\n", command.name, command.synopsis);
    }
    fwprintf(stderr,
             L"KIND: storage, service, provider or webaccess; TEXT: any 16-character key\n");
    return Xentool::ExitUsage;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const std::vector<Command> commands = AllCommands();
    if (argc < 2) {
        return Usage(commands);
    }
    const std::wstring name = argv[1];
    for (const Command& command : commands) {
        if (name == command.name) {
            return command.run(Xentool::Arguments(argv + 2, argv + argc));
        }
    }
    Xentool::Fail(Xentool::ExitUsage, L"unknown command '" + name + L"'");
    return Usage(commands);
}
