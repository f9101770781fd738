#pragma once
// plan: what a storage-control document would do on this system, without doing it. The
// module's own reader reads the document and the module's own commands run its chain
// against a picture of the stores (StoragePicture.h); the dry run records what each
// operation finds and leaves there.

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "StorageCommand.h"
#include "StoragePicture.h"
#include "xentool_common.h"

namespace Xentool {

std::vector<Command> PlanCommands();

// One entry of one command, or (Name empty) a command's act on its whole section.
struct Operation {
    size_t CommandNumber = 0;  // 1-based position in the chain
    uint32_t CommandType = 0;  // VisitorType
    std::wstring Section;      // the section as DescribeSection shows it
    bool IniFile = false;
    Ostrel::Storage::Place Place;  // where the stores acted; unset when no store was reached
    bool Placed = false;
    std::wstring Name;
    uint32_t ValueType = 0;             // ValueType of the entry
    std::wstring Value;                 // the entry's value as DescribeValue shows it
    std::wstring Now;                   // what the picture holds before the operation
    std::wstring After;                 // and after it
    std::wstring Effect;                // what the operation does, in a few words
    std::vector<std::wstring> Removed;  // sub-keys a delete of the section removes
    bool KeyCreated = false;
    bool Written = false;
    bool Reached = false;  // false when the command never reached the entry
    HRESULT Result = 0;    // the entry's (or the section act's) own result
};

// Runs command chains against one picture of the stores and records every operation.
// An entry that its command never reached (its section could not be opened) is recorded
// with the result of the command's visit to the section.
class DryRun : public Ostrel::Storage::IRunObserver, public Ostrel::Storage::IPictureListener {
public:
    // readCurrent: as for StorePicture.
    explicit DryRun(bool readCurrent) : m_Picture(readCurrent, this) {}

    // CommandChain::Invoke's result.
    [[nodiscard]] HRESULT Run(Ostrel::Storage::CommandChain& chain);
    const std::vector<Operation>& Operations() const { return m_Operations; }
    const Ostrel::Storage::StorePicture& Picture() const { return m_Picture; }

    void OnVisit(const Ostrel::Storage::ICommand& command,
                 const Ostrel::Storage::ISection& section) override;
    void OnOperation(const Ostrel::Storage::IEntry* pEntry) override;
    void OnOperationEnd(HRESULT hr) override;
    void OnVisitEnd(HRESULT hr) override;
    void OnPlace(const Ostrel::Storage::Place& place) override;
    void OnChange(Ostrel::Storage::PictureChange change, const std::wstring& path) override;

private:
    Operation& Begin(const Ostrel::Storage::IEntry* pEntry);
    void Finish(Operation& operation, HRESULT hr);

    Ostrel::Storage::StorePicture m_Picture;
    std::vector<Operation> m_Operations;
    const Ostrel::Storage::CommandChain* m_pChain = nullptr;
    // The visit under way: its command and section, where its stores acted first, and
    // the entries (null: the section act) that got an operation.
    Operation m_Visit;
    const Ostrel::Storage::ISection* m_pSection = nullptr;
    bool m_SectionFlag = false;
    std::set<const Ostrel::Storage::IEntry*> m_Reached;
    bool m_InOperation = false;
};

}  // namespace Xentool
