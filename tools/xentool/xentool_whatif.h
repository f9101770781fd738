#pragma once
// What a command chain would do, without doing it: each operation of each command is
// played against a picture of the registry and the INI files, which starts either from
// what this machine holds (read-only) or from nothing (a clean target), and which the
// earlier operations of the chain change as the real commands would.

#include <cstdint>
#include <string>
#include <vector>

#include "StorageCommand.h"

namespace Xentool {

// One entry of one command, or a command's act on its whole section.
struct Operation {
    size_t CommandNumber = 0;           // 1-based position in the chain
    uint32_t CommandType = 0;           // VisitorType
    std::wstring Place;                 // the section as DescribeSection shows it
    std::wstring Name;                  // empty for the section itself
    uint32_t ValueType = 0;             // ValueType of the entry
    std::wstring Value;                 // the entry's value as the command carries it
    std::wstring Now;                   // what is stored before the operation
    std::wstring After;                 // what is stored after it
    std::wstring Effect;                // what the operation does, in a few words
    std::vector<std::wstring> Removed;  // sub-keys a delete of the section removes
    int32_t Result = 0;                 // the entry's (or the section act's) own result
};

struct WhatIf {
    std::vector<Operation> Operations;
    // CommandChain::Invoke's result: the last failing command's, else 0.
    int32_t Result = 0;
};

// readCurrent: start from this machine's registry and INI files (read, never written);
// otherwise from a target where none of the keys, values and files exists yet.
WhatIf PlayChain(const Ostrel::Storage::CommandChain& chain, bool readCurrent);

// "HKCU\path (view default, all access)" or "file [section]".
std::wstring DescribeSection(const Ostrel::Storage::ISection& section);
// The entry's value as text: "\"text\"", a decimal number or "hex 0A1B".
std::wstring DescribeValue(const Ostrel::Storage::IEntry& entry);

const wchar_t* CommandName(uint32_t commandType);
const wchar_t* ValueTypeName(uint32_t valueType);
// "0x%08x".
std::wstring Hex32(uint32_t value);

}  // namespace Xentool
