#include <gtest/gtest.h>

#include <string>

#include "Documents.h"
#include "LogCapture.h"
#include "ModuleHost.h"
#include "Scratch.h"

namespace {

using namespace TestSupport;

// Wherever the reader breaks off (after a whole section, between sections, before the
// root's end), the document is kept for the host to look at, as when its last section
// fails; the commands of the sections read before still run.
TEST(NothingLostTest, ADocumentTheReaderBrokeOffIsKeptWhereverItBroke) {
    LogCapture log(0x110, /*initializeProcessLog=*/false);
    const ModuleHost host;
    Utility utility(host);
    ScratchRegistryKey key(L"ReliabilityNothingLost");
    ScratchFolder folder(L"ReliabilityNothingLost");
    SrvFrwk::Interface::StorageControlRequest request;
    request.DocumentPath = folder.File(L"request.xen");
    request.CommandArgument = L"t";
    const std::string section =
        Registry(Narrow(key.Child(L"Cut")), Store("Text", "string", "steady"));
    const std::string whole = Storage(section + "\r\n" + section);
    const size_t firstEnd = whole.find("</Registry>") + 11;
    for (const size_t length :
         {firstEnd, whole.find("<Registry", firstEnd), whole.rfind("</Registry>") + 11}) {
        WriteRegString(HKEY_CURRENT_USER, key.Child(L"Cut"), L"Text", L"");
        WriteDocument(request.DocumentPath, kStorageKey, whole.substr(0, length));
        EXPECT_EQ(S_OK, utility.Send(SrvFrwk::Interface::ValueTypeStorageControl, &request))
            << length << ": the commands built run";
        EXPECT_EQ(L"steady", ReadRegString(HKEY_CURRENT_USER, key.Child(L"Cut"), L"Text"))
            << length;
        EXPECT_TRUE(FileExists(request.DocumentPath)) << length;
    }
    EXPECT_EQ(3u, log.Count(L"*** CXmlParserStorageControl::QueryValue() - "
                            L"this->m_rXmlParser failed to parse. [0xc00cee01]"));
}

}  // namespace
