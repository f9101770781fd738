// The plan's dry run against the module's own run, value for value: every example and
// every corpus document that the reader turns into commands, on scratch keys and INI
// files, first from nothing and then over what the first run left; on this machine and,
// with each sample profile, the module given the same system. A plan changes nothing.

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "AuthoringDocument.h"
#include "Documents.h"
#include "Scratch.h"
#include "StorageDryRun.h"
#include "XmlParserStorageControl.h"
#include "ZorvComn_XmlParser.h"
#include "xentool_plan.h"

namespace {

using Ostrel::Storage::CommandChain;
using Ostrel::Storage::DryRun;
using Ostrel::Storage::Place;
using Ostrel::Storage::TargetSystem;
using TestSupport::Control;

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
    std::wstring wideText;
    if (wide) {
        wideText.assign(reinterpret_cast<const wchar_t*>(text.data()), text.size() / 2);
        text.assign(wideText.begin(), wideText.end());
    }
    const std::string base = TestSupport::Narrow(scratch);
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
    const std::string demo = "assign=\"demo\"";
    static const char* const kValues[][2] = {
        {"string", "text"}, {"binary", "0A0B"}, {"uint32", "4294967295"}, {"uint64", "0x10"}};
    std::string controls;
    for (const char* action : {"create", "query", "store", "append", "append", "delete", "store"}) {
        for (const auto& value : kValues) {
            for (const std::string name : {value[0], "Shared"}) {
                controls += Control(action, name, value[0], value[1], "yes", demo);
            }
        }
    }
    const std::string create = Control("create", "", "", "", "", demo);
    const std::string remove = Control("delete", "", "", "", "", demo);
    const std::string rules = "Software\\OstrelFuzz\\Rules";
    return TestSupport::Storage(
        TestSupport::Registry(rules, controls, demo) +
        TestSupport::Registry(rules + "\\Sub\\Deep", create, demo) +
        TestSupport::Registry(rules + "\\Sub", remove + Control("delete", "X", "", "", "", demo),
                              demo) +
        TestSupport::IniFile("$INSTALL$rules.ini", controls + create, demo, "Rules") +
        TestSupport::IniFile("$INSTALL$rules.ini", controls + remove, demo, "Gone"));
}

void ReadChain(const std::wstring& path, const TargetSystem* pSystem, CommandChain& chain) {
    ZorvCommon::Storage::XmlParser xmlParser;
    CXmlParserStorageControl reader(xmlParser);
    reader.SetKeepDocument(true);
    reader.SetTargetSystem(pSystem);
    (void)reader.QueryValue(&chain, path, L"demo");
}

// The files of folder, with their bytes.
using FolderSnapshot = std::map<std::wstring, std::vector<uint8_t>>;

FolderSnapshot SnapshotFolder(const std::wstring& folder) {
    FolderSnapshot snapshot;
    for (const std::wstring& name : TestSupport::FilesIn(folder, L"*")) {
        snapshot[name] = TestSupport::ReadFileBytes(folder + L"\\" + name);
    }
    return snapshot;
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

// A place and a name in it (empty: the key or section itself).
using Touched = std::vector<std::pair<Place, std::wstring>>;

// What a dry run's picture holds at each touched place, labelled.
std::vector<std::wstring> Describe(const DryRun& dryRun, const Touched& touched) {
    std::vector<std::wstring> values;
    for (const auto& [where, name] : touched) {
        values.push_back(where.Path + L" [" + where.Section + L"] " + name + L": " +
                         dryRun.Describe(where, name));
    }
    return values;
}

class PlanAgainstModule : public ::testing::Test {
protected:
    void SetUp() override {
        m_Product.SetInstalledFolder(m_Folder.Path());
        m_Product.SetVersion(L"1.5.0");
        for (const wchar_t* folder : {L"\\examples", L"\\tests\\fuzz\\corpus"}) {
            const std::wstring path = OSTREL_SOURCE_DIR + std::wstring(folder) + L"\\";
            for (const std::wstring& name : TestSupport::FilesIn(path, L"*.xml")) {
                const std::vector<uint8_t> bytes = TestSupport::ReadFileBytes(path + name);
                m_Documents.emplace_back(name, std::string(bytes.begin(), bytes.end()));
            }
        }
        m_Documents.emplace_back(L"every rule", EveryRule());
    }

    // Plans the document, checks that the plan changed nothing and stays in the scratch
    // key, runs it for real and compares the request result, every operation's result
    // and every value an operation touched. False when the reader made no commands.
    bool PlanAndRun(const std::wstring& path, const TargetSystem* pSystem,
                    const std::wstring& scratch, const std::wstring& label) {
        const TestSupport::RegistrySnapshot registryBefore =
            TestSupport::SnapshotRegistry(HKEY_CURRENT_USER, scratch);
        const FolderSnapshot filesBefore = SnapshotFolder(m_Folder.Path());
        CommandChain planned;
        ReadChain(path, pSystem, planned);
        DryRun dryRun(true);
        const int32_t plannedResult = dryRun.Run(planned);
        std::vector<HRESULT> plannedResults;
        Touched touched;
        for (const Ostrel::Storage::PlannedOperation& operation : dryRun.Operations()) {
            if (operation.Reached) {
                plannedResults.push_back(operation.Result);
            }
            if (!operation.Placed) {
                continue;
            }
            const bool inScratch =
                operation.Where.IsIniFile || (operation.Where.Root == HKEY_CURRENT_USER &&
                                              operation.Where.Path.rfind(scratch, 0) == 0);
            EXPECT_TRUE(inScratch) << label << ": " << operation.Where.Path;
            if (!inScratch) {
                return true;  // never run for real
            }
            touched.emplace_back(operation.Where, operation.Name);
            for (const std::wstring& removed : operation.Removed) {
                touched.emplace_back(operation.Where, std::wstring());
                touched.back().first.Path = removed;
            }
        }
        const std::vector<std::wstring> predicted = Describe(dryRun, touched);
        EXPECT_EQ(registryBefore, TestSupport::SnapshotRegistry(HKEY_CURRENT_USER, scratch))
            << label << ": the plan wrote to the registry";
        EXPECT_EQ(filesBefore, SnapshotFolder(m_Folder.Path()))
            << label << ": the plan wrote to a file";

        CommandChain real;
        ReadChain(path, pSystem, real);
        ResultRecorder recorder;
        EXPECT_EQ(plannedResult, real.Invoke(Ostrel::Storage::RealStores(), &recorder)) << label;
        EXPECT_EQ(plannedResults, recorder.Results) << label << ": the operations' own results";
        EXPECT_EQ(predicted, Describe(DryRun(true), touched)) << label;
        m_Compared += touched.size();
        return planned.GetCount() != 0;
    }

    // Each document the reader turns into commands, twice over; the number of documents.
    size_t PlanAndRunAll(const TargetSystem* pSystem, const std::wstring& system) {
        size_t planned = 0;
        for (const auto& [name, text] : m_Documents) {
            TestSupport::ScratchRegistryKey scratch(L"authoring-plan");
            const std::wstring path = m_Folder.File(L"document.xen");
            TestSupport::WriteDocument(path, TestSupport::kStorageKey,
                                       ForScratch(text, scratch.Path()));
            const std::wstring label = name + L" (" + system + L")";
            if (PlanAndRun(path, pSystem, scratch.Path(), label + L", from nothing")) {
                ++planned;
                PlanAndRun(path, pSystem, scratch.Path(), label + L", over the first run");
            }
            DeleteFileW(path.c_str());
        }
        return planned;
    }

    TestSupport::ProductKey m_Product;
    TestSupport::ScratchFolder m_Folder{L"AuthoringPlan"};
    std::vector<std::pair<std::wstring, std::string>> m_Documents;
    size_t m_Compared = 0;
};

TEST_F(PlanAgainstModule, EveryExampleAndCorpusDocumentOnThisMachine) {
    EXPECT_EQ(7u, PlanAndRunAll(nullptr, L"this machine"))
        << "the storage example, five corpus documents and every rule";
    EXPECT_LT(300u, m_Compared);
}

TEST_F(PlanAgainstModule, EveryDocumentForEachSampleProfile) {
    for (const wchar_t* profile : AuthoringTest::kProfiles) {
        TargetSystem system;
        std::wstring problem;
        ASSERT_TRUE(Xentool::LoadProfile(AuthoringTest::ProfilePath(profile), system, problem))
            << problem;
        EXPECT_LT(0u, PlanAndRunAll(&system, profile));
    }
}

}  // namespace
