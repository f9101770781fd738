#include "StorageDryRun.h"

#include <algorithm>

namespace Ostrel {
namespace Storage {

HRESULT DryRun::Run(CommandChain& chain) {
    m_pChain = &chain;
    const HRESULT hr = chain.Invoke(m_Picture, this);
    m_pChain = nullptr;
    return hr;
}

void DryRun::OnVisit(const ICommand& command, const ISection& section) {
    m_Visit = PlannedOperation();
    for (size_t index = 0; index < m_pChain->GetCount(); ++index) {
        if (m_pChain->GetCommand(index) == &command) {
            m_Visit.CommandNumber = index + 1;
        }
    }
    const auto* pVisitor = dynamic_cast<const IVisitor*>(&command);
    const auto* pFlagged = dynamic_cast<const CommandWithSectionFlag*>(&command);
    m_Visit.CommandType = pVisitor != nullptr ? pVisitor->GetType() : 0;
    m_Visit.pSection = &section;
    m_SectionFlag = pFlagged != nullptr && pFlagged->GetSectionFlag();
    m_Reached.clear();
}

PlannedOperation& DryRun::Begin(const IEntry* pEntry) {
    m_Reached.insert(pEntry);
    m_Operations.push_back(m_Visit);
    PlannedOperation& operation = m_Operations.back();
    operation.pEntry = pEntry;
    if (pEntry != nullptr) {
        pEntry->GetName(operation.Name);
    }
    operation.Now =
        operation.Placed ? m_Picture.Describe(operation.Where, operation.Name) : L"(not read)";
    return operation;
}

void DryRun::Finish(PlannedOperation& operation, HRESULT hr) {
    operation.Result = hr;
    operation.After =
        operation.Placed ? m_Picture.Describe(operation.Where, operation.Name) : operation.Now;
    std::sort(operation.Removed.begin(), operation.Removed.end());
}

void DryRun::OnOperation(const IEntry* pEntry) {
    Begin(pEntry).Reached = true;
    m_InOperation = true;
}

void DryRun::OnOperationEnd(HRESULT hr) {
    m_InOperation = false;
    Finish(m_Operations.back(), hr);
}

// The entries the command never reached fail with the visit.
void DryRun::OnVisitEnd(HRESULT hr) {
    if (m_SectionFlag && m_Reached.count(nullptr) == 0) {
        Finish(Begin(nullptr), hr);
    }
    for (size_t index = 0; index < m_Visit.pSection->GetEntryCount(); ++index) {
        const IEntry* pEntry = m_Visit.pSection->GetEntry(index);
        if (pEntry != nullptr && m_Reached.count(pEntry) == 0) {
            Finish(Begin(pEntry), hr);
        }
    }
}

// The first place the stores of a visit act on is where its operations act.
void DryRun::OnPlace(const Place& place) {
    if (!m_Visit.Placed) {
        m_Visit.Where = place;
        m_Visit.Placed = true;
    }
    PlannedOperation* pOperation = m_InOperation ? &m_Operations.back() : nullptr;
    if (pOperation != nullptr && !pOperation->Placed) {
        pOperation->Where = m_Visit.Where;
        pOperation->Placed = true;
        pOperation->Now = m_Picture.Describe(pOperation->Where, pOperation->Name);
    }
}

void DryRun::OnChange(PictureChange change, const std::wstring& path) {
    if (!m_InOperation) {
        return;
    }
    PlannedOperation& operation = m_Operations.back();
    operation.KeyCreated = operation.KeyCreated || change == PictureChange::KeyCreated;
    operation.Written = operation.Written || change == PictureChange::ValueWritten;
    if (change == PictureChange::KeyRemoved && path != operation.Where.Path) {
        operation.Removed.push_back(path);
    }
}

}  // namespace Storage
}  // namespace Ostrel
