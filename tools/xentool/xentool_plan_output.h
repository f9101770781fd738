#pragma once
// What plan prints: the system, the reader's decisions, the command chain's operations
// and the results, as text or as one JSON object (see README, "Writing documents").

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "StorageDryRun.h"
#include "StorageTarget.h"
#include "XmlParserStorageControl.h"

namespace Xentool {

// What the reader decided about one Control element.
struct EntryRecord {
    Ostrel::Storage::Target Targeting;
    Ostrel::Storage::TargetVerdict Verdict = Ostrel::Storage::TargetVerdict::Targeted;
    bool Kept = false;
    Ostrel::Storage::DocumentEntry Entry;
};

// One Registry or IniFile element, from its targeting to the section it became.
struct SectionRecord {
    std::wstring ElementName;
    bool Decided = false;  // false when it failed before its targeting was decided
    Ostrel::Storage::Target Targeting;
    Ostrel::Storage::TargetVerdict Verdict = Ostrel::Storage::TargetVerdict::Targeted;
    std::vector<EntryRecord> Entries;
    std::wstring Section;  // the section built, or empty
    HRESULT Result = S_OK;
};

struct PlanFacts {
    std::wstring Document;
    std::wstring Assign;
    const Ostrel::Storage::TargetSystem* pSystem = nullptr;
    std::wstring Source;  // "this machine" or "profile FILE"
    bool ReadCurrent = false;
    std::vector<SectionRecord> Sections;
    size_t CommandCount = 0;
    std::vector<Ostrel::Storage::PlannedOperation> Operations;
    HRESULT Result = S_OK;      // the reader's
    HRESULT RequestResult = 0;  // what the request would return
};

void PrintPlanText(const PlanFacts& facts);
void PrintPlanJson(const PlanFacts& facts);

// "HKCU\path (view default, all access)" or "file [section]".
std::wstring DescribeSection(const Ostrel::Storage::ISection& section);
std::wstring CommandName(uint32_t commandType);
std::wstring ValueTypeName(uint32_t valueType);
// "0x%08x".
std::wstring Hex32(uint32_t value);

}  // namespace Xentool
