// The plan's dry run against the module's own run, value for value: every example and
// every corpus document that the reader turns into commands, on scratch keys and INI
// files, first from nothing and then over what the first run left; and with each sample
// profile, the module given the same system. A plan changes nothing.

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "AuthoringDocument.h"
#include "Scratch.h"
#include "StorageCommand.h"
#include "StorageDryRun.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_Registry.h"
#include "ZorvComn_XmlParser.h"
#include "xentool_profile.h"

namespace {

using Ostrel::Storage::CommandChain;
using Ostrel::Storage::Place;
using Ostrel::Storage::TargetSystem;

const std::wstring kSuite = L"authoring-plan";

struct Document {
    std::wstring Name;
    std::string Text;
};

std::vector<Document> ReadDocuments(const std::wstring& folder) {
    std::vector<Document> documents;
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((folder + L"\\*.xml").c_str(), &found);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &found)) {
        const std::vector<uint8_t> bytes =
            TestSupport::ReadFileBytes(folder + L"\\" + found.cFileName);
        documents.push_back({found.cFileName, std::string(bytes.begin(), bytes.end())});
    }
    if (search != INVALID_HANDLE_VALUE) {
        FindClose(search);
    }
    return documents;
}

void ReplaceAll(std::string& text, const std::string& what, const std::string& with) {
    for (size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size())) {
        text.replace(at, what.size(), with);
    }
}

// The document's keys moved below the scratch key of the current user (a UTF-16
// document is moved in its own encoding).
std::string ForScratch(std::string text, const std::wstring& scratch) {
    const bool wide = text.compare(0, 2, "\xFF\xFE") == 0;
    std::basic_string<wchar_t> wideText;
    if (wide) {
        wideText.assign(reinterpret_cast<const wchar_t*>(text.data()), text.size() / 2);
        text.assign(wideText.begin(), wideText.end());
    }
    const std::string base(scratch.begin(), scratch.end());
    ReplaceAll(text, "Software\\OstrelFuzz", base + "\\Fuzz");
    ReplaceAll(text, "Software\\OstrelDemo", base + "\\Demo");
    ReplaceAll(text, "<Path></Path>", "<Path>" + base + "\\Empty</Path>");
    for (const char* root : {"HKLM", "HKCR", "HKU"}) {
        ReplaceAll(text, std::string("<Root>") + root + "</Root>", "<Root>HKCU</Root>");
    }
    if (wide) {
        wideText.assign(text.begin(), text.end());
        wideText[0] = 0xFEFF;
        text.assign(reinterpret_cast<const char*>(wideText.data()), wideText.size() * 2);
    }
    return text;
}

// Every action with every type, by the type's name and by one name for all, in a key,
// in an INI section and in a key below; the section acts of create and delete, and the
// deletes that follow a section delete: the rules the corpus leaves out.
std::string EveryRule() {
    static const char* const kValues[][2] = {
        {"string", "text"}, {"binary", "0A0B"}, {"uint32", "4294967295"}, {"uint64", "0x10"}};
    std::string controls;
    for (const char* action : {"create", "query", "store", "append", "append", "delete", "store"}) {
        for (const auto& value : kValues) {
            for (const std::string name : {value[0], "Shared"}) {
                controls += std::string("<Control assign=\"demo\"><Action>") + action +
                            "</Action><Name>" + name + "</Name><Type>" + value[0] +
                            "</Type><Value>" + value[1] + "</Value><Overwrite>yes</Overwrite>" +
                            "</Control>\n";
            }
        }
    }
    const std::string key =
        "<Root>HKCU</Root><AccessMode>default</AccessMode><AccessRight>default</AccessRight>";
    const std::string sectionAct = "<Control assign=\"demo\"><Action>ACT</Action></Control>";
    std::string deleteSection = sectionAct;
    ReplaceAll(deleteSection, "ACT", "delete");
    std::string createSection = sectionAct;
    ReplaceAll(createSection, "ACT", "create");
    return "<Storage version=\"1.0.0\">\n<Registry assign=\"demo\">" + key +
           "<Path>Software\\OstrelFuzz\\Rules</Path>" + controls +
           "</Registry>\n<Registry assign=\"demo\">" + key +
           "<Path>Software\\OstrelFuzz\\Rules\\Sub\\Deep</Path>" + createSection +
           "</Registry>\n<Registry assign=\"demo\">" + key +
           "<Path>Software\\OstrelFuzz\\Rules\\Sub</Path>" + deleteSection +
           "<Control assign=\"demo\"><Action>delete</Action><Name>X</Name></Control></Registry>\n"
           "<IniFile assign=\"demo\"><Path>$INSTALL$rules.ini</Path><Section>Rules</Section>" +
           controls + createSection +
           "</IniFile>\n<IniFile "
           "assign=\"demo\"><Path>$INSTALL$rules.ini</Path><Section>Gone</Section>" +
           controls + deleteSection + "</IniFile>\n</Storage>\n";
}

HRESULT ReadChain(const std::wstring& path, const TargetSystem* pSystem, CommandChain& chain) {
    ZorvCommon::Storage::XmlParser xmlParser;
    CXmlParserStorageControl reader(xmlParser);
    reader.SetKeepDocument(true);
    reader.SetTargetSystem(pSystem);
    return reader.QueryValue(&chain, path, L"demo");
}

// Every key the chain names lies below the scratch key.
bool StaysInScratch(const CommandChain& chain, const std::wstring& scratch) {
    for (size_t c = 0; c < chain.GetCount(); ++c) {
        const auto* pCommand =
            dynamic_cast<const Ostrel::Storage::CommandBase*>(chain.GetCommand(c));
        for (size_t s = 0; pCommand != nullptr && s < pCommand->GetSectionCount(); ++s) {
            const auto* pSection =
                dynamic_cast<const Ostrel::Storage::SectionRegistry*>(pCommand->GetSection(s));
            std::wstring name;
            if (pSection != nullptr) {
                pSection->GetName(name);
                const std::wstring path =
                    ZorvCommon::Storage::JoinKeyPath(pSection->GetBaseSubKey(), name);
                if (pSection->GetRoot() != HKEY_CURRENT_USER || path.rfind(scratch, 0) != 0) {
                    return false;
                }
            }
        }
    }
    return true;
}

// Every file below folder, with its bytes.
using FolderSnapshot = std::map<std::wstring, std::vector<uint8_t>>;

void SnapshotFolder(const std::wstring& folder, FolderSnapshot& snapshot) {
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((folder + L"\\*").c_str(), &found);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &found)) {
        const std::wstring name = found.cFileName;
        if (name == L"." || name == L"..") {
            continue;
        }
        if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            SnapshotFolder(folder + L"\\" + name, snapshot);
        } else {
            snapshot[folder + L"\\" + name] = TestSupport::ReadFileBytes(folder + L"\\" + name);
        }
    }
    if (search != INVALID_HANDLE_VALUE) {
        FindClose(search);
    }
}

// The result of every operation of a real run, in order.
class ResultRecorder : public Ostrel::Storage::IRunObserver {
public:
    void OnVisit(const Ostrel::Storage::ICommand&, const Ostrel::Storage::ISection&) override {}
    void OnOperation(const Ostrel::Storage::IEntry*) override {}
    void OnOperationEnd(HRESULT hr) override { Results.push_back(hr); }
    void OnVisitEnd(HRESULT) override {}

    std::vector<HRESULT> Results;
};

struct Prediction {
    Place Where;
    std::wstring Name;
    std::wstring Value;
};

std::wstring Label(const Prediction& prediction) {
    return prediction.Where.Path + L" [" + prediction.Where.Section + L"] " + prediction.Name;
}

class PlanAgainstModule : public ::testing::Test {
protected:
    // Plans the document, checks that the plan changed nothing, runs it for real and
    // compares the result and every value an operation touched.
    void PlanAndRun(const std::wstring& path, const TargetSystem* pSystem,
                    const std::wstring& scratch, const std::wstring& label) {
        RegistrySnapshot registryBefore;
        FolderSnapshot filesBefore;
        AuthoringTest::SnapshotRegistry(HKEY_CURRENT_USER, scratch, registryBefore);
        SnapshotFolder(m_Folder.Path(), filesBefore);

        CommandChain planned;
        ReadChain(path, pSystem, planned);
        Ostrel::Storage::DryRun dryRun(true);
        const int32_t plannedResult = dryRun.Run(planned);
        std::vector<Prediction> predictions;
        std::vector<HRESULT> plannedResults;
        for (const Ostrel::Storage::PlannedOperation& operation : dryRun.Operations()) {
            if (operation.Reached) {
                plannedResults.push_back(operation.Result);
            }
            if (operation.Placed) {
                predictions.push_back({operation.Where, operation.Name, std::wstring()});
            }
            for (const std::wstring& removed : operation.Removed) {
                Place place = operation.Where;
                place.Path = removed;
                predictions.push_back({place, std::wstring(), std::wstring()});
            }
        }
        for (Prediction& prediction : predictions) {
            prediction.Value = dryRun.Describe(prediction.Where, prediction.Name);
        }
        RegistrySnapshot registryAfter;
        FolderSnapshot filesAfter;
        AuthoringTest::SnapshotRegistry(HKEY_CURRENT_USER, scratch, registryAfter);
        SnapshotFolder(m_Folder.Path(), filesAfter);
        EXPECT_EQ(registryBefore, registryAfter) << label << ": the plan wrote to the registry";
        EXPECT_EQ(filesBefore, filesAfter) << label << ": the plan wrote to a file";

        CommandChain real;
        ReadChain(path, pSystem, real);
        ResultRecorder recorder;
        EXPECT_EQ(plannedResult, real.Invoke(Ostrel::Storage::RealStores(), &recorder)) << label;
        EXPECT_EQ(plannedResults, recorder.Results) << label << ": the operations' own results";
        const Ostrel::Storage::DryRun now(true);
        for (const Prediction& prediction : predictions) {
            EXPECT_EQ(prediction.Value, now.Describe(prediction.Where, prediction.Name))
                << label << ": " << Label(prediction);
        }
        m_Compared += predictions.size();
    }

    // Each document the reader turns into commands, twice over; the number of documents.
    size_t PlanAndRunAll(const TargetSystem* pSystem, const std::wstring& system) {
        size_t planned = 0;
        for (const Document& document : m_Documents) {
            TestSupport::ScratchRegistryKey scratch(kSuite);
            const std::wstring path = m_Folder.File(L"document.xen");
            AuthoringTest::WriteEncrypted(path, ForScratch(document.Text, scratch.Path()),
                                          AuthoringTest::kStorageKey);
            CommandChain chain;
            ReadChain(path, pSystem, chain);
            if (chain.GetCount() == 0) {
                continue;
            }
            const bool inScratch = StaysInScratch(chain, scratch.Path());
            EXPECT_TRUE(inScratch) << document.Name;
            if (!inScratch) {
                continue;
            }
            ++planned;
            const std::wstring label = document.Name + L" (" + system + L")";
            PlanAndRun(path, pSystem, scratch.Path(), label + L", from nothing");
            PlanAndRun(path, pSystem, scratch.Path(), label + L", over the first run");
            DeleteFileW(path.c_str());
        }
        return planned;
    }

    using RegistrySnapshot = AuthoringTest::RegistrySnapshot;

    TestSupport::ProductKey m_Product;
    TestSupport::ScratchFolder m_Folder{L"AuthoringPlan"};
    std::vector<Document> m_Documents;
    size_t m_Compared = 0;

    void SetUp() override {
        m_Product.SetInstalledFolder(m_Folder.Path());
        m_Product.SetVersion(L"1.5.0");
        for (const wchar_t* folder : {L"\\examples", L"\\tests\\fuzz\\corpus"}) {
            for (Document& document : ReadDocuments(OSTREL_SOURCE_DIR + std::wstring(folder))) {
                m_Documents.push_back(std::move(document));
            }
        }
        m_Documents.push_back({L"every rule", EveryRule()});
    }
};

TEST_F(PlanAgainstModule, EveryExampleAndCorpusDocumentOnThisMachine) {
    EXPECT_EQ(7u, PlanAndRunAll(nullptr, L"this machine"))
        << "the storage example, five corpus documents and every rule";
    EXPECT_LT(300u, m_Compared);
}

TEST_F(PlanAgainstModule, EveryDocumentForEachSampleProfile) {
    for (const wchar_t* profile :
         {L"winxp-32.ini", L"vista-64.ini", L"win7-64.ini", L"win10-64.ini"}) {
        TargetSystem system;
        std::wstring problem;
        ASSERT_TRUE(Xentool::LoadProfile(AuthoringTest::ProfilePath(profile), system, problem))
            << problem;
        EXPECT_LT(0u, PlanAndRunAll(&system, profile));
    }
}

}  // namespace
