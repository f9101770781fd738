#pragma once
// Sends one fuzz input through its road: the document is written where the road reads
// it (a policy file in the installed folder, or the storage-control document path) and
// the matching request goes through the utility object.

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "FuzzPaths.h"
#include "ModuleHost.h"

namespace OstrelFuzz {

struct Workspace {
    std::wstring InstalledFolder;  // ends with a backslash; the product key names it
    std::wstring StorageDocument;  // where storage-control documents are written
};

// The assignment text storage-control requests carry; the seeds' "assign" attributes use it.
constexpr const wchar_t* kCommandArgument = L"demo";

struct Outcome {
    bool Sent = false;  // false: a storage document the gate held back
    HRESULT Result = S_OK;
};

class FuzzTarget {
public:
    FuzzTarget(TestSupport::Utility& utility, Workspace workspace)
        : m_rUtility(utility), m_Workspace(std::move(workspace)) {}

    Outcome Run(RequestPath path, const std::vector<uint8_t>& file);

private:
    TestSupport::Utility& m_rUtility;
    Workspace m_Workspace;
};

}  // namespace OstrelFuzz
