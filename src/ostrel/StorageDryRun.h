#pragma once
// A dry run of command chains: the module's own commands run against a picture of the
// registry and the INI files that reads this machine's stores (or, for a clean target,
// nothing) and keeps every change to itself; nothing real is ever written. Registry
// changes are kept in memory; an INI file is changed in a private copy, so that the
// profile functions themselves read and write it. Each operation is recorded with what
// the picture holds at its place before and after it, the changes it made and its result.

#include <windows.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "StorageCommand.h"
#include "StorageControl.h"

namespace Ostrel {
namespace Storage {

// A registry key or a section of an INI file, as the commands open it.
struct Place {
    bool IsIniFile = false;
    HKEY Root = nullptr;
    uint32_t View = 0;  // RegistryView
    std::wstring Path;  // the key's path, or the INI file's path
    std::wstring Section;
};

// One entry of one command, or (pEntry null) the command's act on its whole section.
struct PlannedOperation {
    size_t CommandNumber = 0;            // 1-based position in the chain
    uint32_t CommandType = 0;            // VisitorType
    const ISection* pSection = nullptr;  // the chain's, alive as long as the chain
    const IEntry* pEntry = nullptr;
    std::wstring Name;    // the entry's, empty for the section act
    Place Where;          // the section's place; valid when Placed
    bool Placed = false;  // the stores of the visit acted (else Now and After are "(not read)")
    std::wstring Now;     // DryRun::Describe before the operation
    std::wstring After;   // and after it
    std::vector<std::wstring> Removed;  // sub-keys a delete of the section removed, sorted
    bool KeyCreated = false;
    bool Written = false;
    bool Reached = false;  // false for an entry its command never reached (its section
                           // could not be opened): its result is then the visit's
    HRESULT Result = S_OK;
};

class DryRun : public StoreFactory, public IRunObserver {
public:
    // readCurrent: the picture starts from this machine's registry and INI files;
    // otherwise from a target on which none of the keys, values and files exists yet.
    explicit DryRun(bool readCurrent);
    ~DryRun() override;  // removes the INI copies
    DryRun(const DryRun&) = delete;
    DryRun& operator=(const DryRun&) = delete;

    // CommandChain::Invoke's result.
    [[nodiscard]] HRESULT Run(CommandChain& chain);
    const std::vector<PlannedOperation>& Operations() const { return m_Operations; }
    // What the picture holds at place for name (empty: the key or section itself):
    // "(not read)" for what a clean target has not shown yet, "(no key)", "(key)",
    // "(section)", "(no value)", or the value as DescribeValue gives it.
    std::wstring Describe(const Place& place, const std::wstring& name) const;

    std::unique_ptr<ZorvCommon::Storage::RegistryBase> NewRegistry(uint32_t view) const override;
    std::unique_ptr<ZorvCommon::Storage::Base> NewIniFile() const override;
    void OnVisit(const ICommand& command, const ISection& section) override;
    void OnOperation(const IEntry* pEntry) override;
    void OnOperationEnd(HRESULT hr) override;
    void OnVisitEnd(HRESULT hr) override;

    struct State;

private:
    PlannedOperation& Begin(const IEntry* pEntry);
    void Finish(PlannedOperation& operation, HRESULT hr);

    std::unique_ptr<State> m_pState;
    std::vector<PlannedOperation> m_Operations;
    const CommandChain* m_pChain = nullptr;
    // The visit under way: its command and section; whether it acts on the section, and
    // the entries (null: that act) it reached.
    PlannedOperation m_Visit;
    bool m_SectionFlag = false;
    std::set<const IEntry*> m_Reached;
};

// An entry's value as it would be stored: "\"text\"", a decimal number or "hex 0A1B";
// empty for a bare name.
std::wstring DescribeValue(const IEntry& entry);

}  // namespace Storage
}  // namespace Ostrel
