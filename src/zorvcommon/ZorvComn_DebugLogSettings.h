#pragma once
// The debug log's configuration: which session this process runs in, the values read
// below the configuration key, and the record handed to the trace library.

#include <cstdint>
#include <string>

#include "ZorvComn_Storage.h"
#include "ZorvDbg.h"

namespace ZorvCommon {

struct DebugLogSettings {
    DebugLogConfig Record = {};
    bool Enabled = false;
    uint32_t LevelMask = 256;
};

// NT 6.0 and later: session 0. NT 5.x: a token that is a member of LocalSystem.
// Anything older counts as interactive.
bool IsServiceSession();

// Reads the "ServiceSession" or "InteractiveSession" sub-key of key into settings.
// The values are read in a fixed order and the first missing one ends the reading:
// what was read stands, the rest keeps its default (numbers) or stays empty (texts).
// In the interactive session the folder is expanded and created when missing.
// False when the key's storage type has no backend, or when the reading failed for
// another reason than a missing value (memory ran out). Never throws.
bool ReadDebugLogSettings(const Storage::Key& key, const std::wstring& unitName,
                          bool serviceSession, DebugLogSettings& settings);

// Replaces a leading "%LocalAppDataLow%" (any case) by the per-user low-integrity
// local application data folder; any other text is returned as it stands.
std::wstring ExpandLogFolder(const std::wstring& folder);

}  // namespace ZorvCommon
