#pragma once
// A dry run of command chains: the module's own commands run against a picture of the
// stores (StoragePicture.h), and each operation is recorded with what the picture holds
// at its place before and after it, the changes it made and its own result.

#include <windows.h>

#include <set>
#include <string>
#include <vector>

#include "StorageCommand.h"
#include "StoragePicture.h"

namespace Ostrel {
namespace Storage {

// One entry of one command, or (pEntry null) the command's act on its whole section.
struct PlannedOperation {
    size_t CommandNumber = 0;            // 1-based position in the chain
    uint32_t CommandType = 0;            // VisitorType
    const ISection* pSection = nullptr;  // the chain's, alive as long as the chain
    const IEntry* pEntry = nullptr;
    std::wstring Name;  // the entry's, empty for the section act
    Place Where;        // where the stores acted; valid when Placed
    bool Placed = false;
    std::wstring Now;                   // StorePicture::Describe before the operation
    std::wstring After;                 // and after it
    std::vector<std::wstring> Removed;  // sub-keys a delete of the section removed, sorted
    bool KeyCreated = false;
    bool Written = false;
    bool Reached = false;  // false for an entry its command never reached (its section
                           // could not be opened): its result is then the visit's
    HRESULT Result = S_OK;
};

class DryRun : public IRunObserver, public IPictureListener {
public:
    // readCurrent: as for StorePicture.
    explicit DryRun(bool readCurrent) : m_Picture(readCurrent, this) {}

    // CommandChain::Invoke's result.
    [[nodiscard]] HRESULT Run(CommandChain& chain);
    const std::vector<PlannedOperation>& Operations() const { return m_Operations; }
    const StorePicture& Picture() const { return m_Picture; }

    void OnVisit(const ICommand& command, const ISection& section) override;
    void OnOperation(const IEntry* pEntry) override;
    void OnOperationEnd(HRESULT hr) override;
    void OnVisitEnd(HRESULT hr) override;
    void OnPlace(const Place& place) override;
    void OnChange(PictureChange change, const std::wstring& path) override;

private:
    PlannedOperation& Begin(const IEntry* pEntry);
    void Finish(PlannedOperation& operation, HRESULT hr);

    StorePicture m_Picture;
    std::vector<PlannedOperation> m_Operations;
    const CommandChain* m_pChain = nullptr;
    // The visit under way: its command and section and where its stores acted first;
    // whether it acts on the section, and the entries (null: that act) it reached.
    PlannedOperation m_Visit;
    bool m_SectionFlag = false;
    std::set<const IEntry*> m_Reached;
    bool m_InOperation = false;
};

}  // namespace Storage
}  // namespace Ostrel
