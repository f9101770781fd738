#pragma once
// The command table of every group and the usage text printed for a bad command line.

#include <string>
#include <vector>

#include "xentool_common.h"

namespace Xentool {

// The command groups, each in its own xentool_*.cpp: encrypt and decrypt (policy
// documents to and from their .xen form); plan (what a storage-control document would do
// on a system, without doing it: the module's own reader reads the document and its
// chain runs dry, StorageDryRun.h); lint (xentool_lint.h).
std::vector<Command> CryptCommands();
std::vector<Command> PlanCommands();
std::vector<Command> LintCommands();

std::vector<Command> AllCommands();

// Writes the usage text to stderr.
void PrintUsage();

// A bad command line (no or an unknown command, a bad or missing option or argument):
// "xentool: <message>" and the usage text on stderr. Returns ExitUsage.
int UsageError(const std::wstring& message);

// What is left of a command line once a command has taken its options must not hold
// another: false, with the usage error reported in exitCode, when it does.
bool NoOtherOptions(const Arguments& arguments, int* exitCode);

}  // namespace Xentool
