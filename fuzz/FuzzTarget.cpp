#include "FuzzTarget.h"

#include "FuzzStorageGate.h"
#include "Scratch.h"

namespace OstrelFuzz {

using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::StorageControlRequest;
using SrvFrwk::Interface::WebAccessControlList;

Outcome FuzzTarget::Run(RequestPath path, const std::vector<uint8_t>& file) {
    Outcome outcome;
    if (path != RequestPath::Storage) {
        TestSupport::WriteFileBytes(m_Workspace.InstalledFolder + PathFileName(path), file);
        outcome.Sent = true;
        if (path == RequestPath::Service) {
            ArrayOfRowService rows;
            outcome.Result = m_rUtility.Query(SrvFrwk::Interface::ValueTypeServicePolicy, &rows);
        } else if (path == RequestPath::Provider) {
            ArrayOfRowProvider rows;
            outcome.Result = m_rUtility.Query(SrvFrwk::Interface::ValueTypeProviderPolicy, &rows);
        } else {
            WebAccessControlList list;
            outcome.Result = m_rUtility.Query(SrvFrwk::Interface::ValueTypeWebAccessControl, &list);
        }
        return outcome;
    }
    TestSupport::WriteFileBytes(m_Workspace.StorageDocument, file);
    if (IsConfinedStorageDocument(m_Workspace.StorageDocument, PathKey(path))) {
        StorageControlRequest request;
        request.DocumentPath = m_Workspace.StorageDocument;
        request.CommandArgument = kCommandArgument;
        outcome.Sent = true;
        outcome.Result = m_rUtility.Send(SrvFrwk::Interface::ValueTypeStorageControl, &request);
    }
    DeleteFileW(m_Workspace.StorageDocument.c_str());  // kept by "save" or by a failure
    return outcome;
}

}  // namespace OstrelFuzz
