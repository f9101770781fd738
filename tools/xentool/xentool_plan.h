#pragma once
// The system a plan is made for: this machine, or a target profile, a small INI file
// that describes another one (see README, "Writing documents").

#include <string>

#include "StorageTarget.h"

namespace Xentool {

// Version record, bitness and user-interface language as the module reads them, and the
// installed product version (empty when none is installed).
void DescribeThisMachine(Ostrel::Storage::TargetSystem& system);

// Reads [System] of the profile. False with a message naming the file and the key at
// fault when it cannot be read or holds a value the module could not have seen.
bool LoadProfile(const std::wstring& path, Ostrel::Storage::TargetSystem& system,
                 std::wstring& problem);

}  // namespace Xentool
