#pragma once
// What plan prints, as text or as one JSON object (see README, "Writing documents"): the
// system, the reader's decisions as it makes them, then the command chain's operations
// and the results.

#include <windows.h>

#include <string>
#include <vector>

#include "StorageDryRun.h"
#include "StorageTarget.h"
#include "XmlParserStorageControl.h"
#include "JsonWriter.h"

namespace Xentool {

class PlanPrinter : public Ostrel::Storage::IDocumentObserver {
public:
    // Starts with the document, the assignment and the system (source: "this machine" or
    // "profile FILE"), and whether this machine's values are read.
    PlanPrinter(bool json, const std::wstring& document, const std::wstring& assign,
                const Ostrel::Storage::TargetSystem& system, const std::wstring& source,
                bool readCurrent);

    void OnSection(const std::wstring& elementName, const Ostrel::Storage::Target& target,
                   Ostrel::Storage::TargetVerdict verdict) override;
    void OnEntry(const Ostrel::Storage::Target& target, Ostrel::Storage::TargetVerdict verdict,
                 const Ostrel::Storage::DocumentEntry* entry) override;
    void OnSectionEnd(const std::wstring& elementName, const Ostrel::Storage::ISection* pSection,
                      HRESULT result) override;

    // Ends with the chain's operations, the reader's result and what the request returns.
    void Finish(size_t commandCount,
                const std::vector<Ostrel::Storage::PlannedOperation>& operations, HRESULT result,
                HRESULT requestResult);

    // The last Registry or IniFile element that failed, or empty.
    const std::wstring& FailedElement() const { return m_FailedElement; }

private:
    bool m_Json;
    Tools::JsonWriter m_Writer;
    bool m_Open = false;  // a section element whose targeting was decided, not yet ended
    std::wstring m_FailedElement;
};

}  // namespace Xentool
