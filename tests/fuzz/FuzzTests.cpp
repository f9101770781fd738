#include <gtest/gtest.h>

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "FuzzGenerator.h"
#include "FuzzRegressions.h"
#include "FuzzStorageGate.h"
#include "FuzzTarget.h"
#include "LogCapture.h"
#include "OstrelModule.h"
#include "Scratch.h"

namespace {

using namespace OstrelFuzz;

// The source folders, as the build names them (Wine maps the build machine's root to Z:).
const std::wstring kFuzzFolder = OSTREL_FUZZ_SOURCE_DIR;
const std::wstring kExamplesFolder = OSTREL_EXAMPLES_SOURCE_DIR;

std::vector<uint8_t> Bytes(const std::string& text) {
    return std::vector<uint8_t>(text.begin(), text.end());
}

// The gate's verdict on a plaintext storage-control document.
class StorageGateTest : public ::testing::Test {
protected:
    bool Confined(const std::string& xml) {
        TestSupport::WriteFileBytes(m_Document, Encrypt(PathKey(RequestPath::Storage), Bytes(xml)));
        return IsConfinedStorageDocument(m_Document, PathKey(RequestPath::Storage));
    }

    static std::string Registry(const std::string& root, const std::string& path) {
        return "<Storage version=\"1\"><Registry><Root>" + root + "</Root><Path>" + path +
               "</Path></Registry></Storage>";
    }
    static std::string Ini(const std::string& path) {
        return "<Storage version=\"1\"><IniFile><Path>" + path + "</Path></IniFile></Storage>";
    }

    TestSupport::ScratchFolder m_Folder{L"FuzzGate"};
    std::wstring m_Document = m_Folder.File(L"gate.xen");
};

TEST_F(StorageGateTest, RegistrySectionsMustStayInTheFuzzSubtree) {
    EXPECT_TRUE(Confined(Registry("HKCU", "Software\\OstrelFuzz\\Keys\\A")));
    EXPECT_TRUE(Confined(Registry("hkcu", "software\\ostrelfuzz\\keys\\b\\c")));
    EXPECT_FALSE(Confined(Registry("HKLM", "Software\\OstrelFuzz\\Keys\\A")));
    EXPECT_FALSE(Confined(Registry("hkU", "Software\\OstrelFuzz\\Keys\\A")));
    EXPECT_FALSE(Confined(Registry("HK&#x4C;M", "Software\\OstrelFuzz\\Keys\\A")))
        << "a character reference is read as the letter it names";
    EXPECT_FALSE(Confined(Registry("HKCU", "Software\\Other")));
    EXPECT_FALSE(Confined(Registry("HKCU", " Software\\OstrelFuzz\\Keys\\A")));
    EXPECT_FALSE(Confined(Registry("HKCU", "Software\\<![CDATA[Other]]>")))
        << "text and CDATA are joined as the module joins them";
    EXPECT_FALSE(Confined("<Storage version=\"1\"><REGISTRY><pAtH>Software\\Other</pAtH>"))
        << "names are matched without regard to case, and an open element still counts";
    EXPECT_FALSE(Confined(
        "<Storage version=\"1\"><Registry><Path>Software\\Other<x/>more</Path></Registry>"));
    EXPECT_TRUE(Confined("<Storage version=\"1\"><Path>Anything</Path></Storage>"))
        << "a path outside every section is never used";
}

TEST_F(StorageGateTest, IniSectionsMustStayInTheInstalledFolder) {
    EXPECT_TRUE(Confined(Ini("$INSTALL$fuzz.ini")));
    EXPECT_TRUE(Confined(Ini("$INSTALL$sub\\fuzz.ini")));
    EXPECT_FALSE(Confined(Ini("$WINDOWS$fuzz.ini")));
    EXPECT_FALSE(Confined(Ini("$INSTALL$..\\fuzz.ini")));
    EXPECT_FALSE(Confined(Ini("$INSTALL$C:\\fuzz.ini")));
    EXPECT_FALSE(Confined(Ini("$INSTALL$a$SYSTEM$fuzz.ini")));
    EXPECT_FALSE(Confined(Ini("C:\\fuzz.ini")));
    EXPECT_FALSE(Confined(Ini("fuzz.ini")));
    EXPECT_FALSE(Confined(Ini("")));
    EXPECT_FALSE(
        Confined("<Storage version=\"1\"><Registry><IniFile><Path>$INSTALL$x.ini</Path>"
                 "</IniFile></Registry></Storage>"))
        << "a path inside both kinds of section must satisfy both";
}

TEST_F(StorageGateTest, ConfinedSeedsPassAndKeepTheirShape) {
    const std::vector<SeedDocument> seeds = LoadSeeds(kExamplesFolder, kFuzzFolder + L"\\none");
    ASSERT_FALSE(seeds.empty());
    for (const SeedDocument& seed : seeds) {
        const std::string confined = ConfineStorageSeed(seed.Text);
        EXPECT_TRUE(Confined(confined)) << seed.Name;
        EXPECT_EQ(std::string::npos, confined.find("<Root>HKLM")) << seed.Name;
    }
    const std::string rewritten =
        ConfineStorageSeed(Registry("HKLM", "Software\\Other") + Ini("$WINDOWS$x.ini"));
    EXPECT_NE(std::string::npos, rewritten.find("<Root>HKCU</Root>"));
    EXPECT_NE(std::string::npos, rewritten.find("<Path>Software\\OstrelFuzz\\Keys\\K0</Path>"));
    EXPECT_NE(std::string::npos, rewritten.find("<Path>$INSTALL$fuzz1.ini</Path>"));
}

TEST(InputGeneratorTest, TheSeedNamesTheRunAndMutationsStayBounded) {
    const std::vector<SeedDocument> seeds = LoadSeeds(kExamplesFolder, kFuzzFolder + L"\\corpus");
    InputGenerator first(7, seeds);
    InputGenerator second(7, seeds);
    InputGenerator other(8, seeds);
    size_t differing = 0;
    MutationSet seen = 0;
    for (int index = 0; index < 300; ++index) {
        const FuzzInput a = first.Next();
        const FuzzInput b = second.Next();
        ASSERT_EQ(a.File, b.File) << "input " << index;
        ASSERT_EQ(a.Mutations, b.Mutations);
        differing += other.Next().File != a.File ? 1 : 0;
        EXPECT_LE(a.File.size(), kMaxDocumentBytes + 64) << "padding and two block changes";
        seen |= a.Mutations;
    }
    EXPECT_GT(differing, 250u);
    EXPECT_EQ((1u << kMutationCount) - 1, seen) << "300 inputs reach every mutation class";
}

TEST(MutationTest, EveryMutationCopesWithEmptyAndTinyDocuments) {
    Random random(3);
    const std::vector<std::string> donors = {"<a>donor</a>", ""};
    const std::vector<std::string> dictionary = {"x"};
    const MutationSources sources{&donors, &dictionary};
    for (size_t kind = 0; kind < static_cast<size_t>(kFirstCipherMutation); ++kind) {
        for (const char* start : {"", "<", "<a", "<a b=\"", "<a>t</a>", "\xff"}) {
            for (int round = 0; round < 20; ++round) {
                std::string document = start;
                MutatePlaintext(static_cast<Mutation>(kind), document, random, sources);
                EXPECT_LE(document.size(), kMaxDocumentBytes);
            }
        }
    }
    for (size_t kind = static_cast<size_t>(kFirstCipherMutation);
         kind < static_cast<size_t>(Mutation::WrongKey); ++kind) {
        for (size_t size : {0, 1, 16, 17, 48}) {
            std::string file(size, 'c');
            MutateCiphertext(static_cast<Mutation>(kind), file, random);
            EXPECT_LE(file.size(), size + 16);
        }
    }
}

// The real module over a scratch installed folder, as the fuzzer drives it.
class ReplayTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_Log = std::make_unique<TestSupport::LogCapture>(0x110, /*initializeProcessLog=*/false);
        CreateDirectoryW(m_Workspace.InstalledFolder.c_str(), nullptr);
        m_Log->Product().SetInstalledFolder(m_Workspace.InstalledFolder);
        m_Log->Product().SetVersion(L"1.5.0");
        m_Module = std::make_unique<OstrelModule>(TestSupport::BinFolder() + L"Ostrel.dll");
        m_Utility = std::make_unique<Utility>(*m_Module);
        ASSERT_TRUE(m_Module->IsReady() && m_Utility->IsValid());
        m_Target = std::make_unique<FuzzTarget>(*m_Utility, m_Workspace);
    }

    void TearDown() override {
        m_Target.reset();
        m_Utility.reset();
        m_Module.reset();
        RegDeleteTreeW(HKEY_CURRENT_USER, kFuzzRegistryRoot);
        RegDeleteKeyW(HKEY_CURRENT_USER, kFuzzRegistryRoot);
    }

    void ExpectDocumented(RequestPath path, const std::vector<uint8_t>& file,
                          const std::string& name) {
        const Outcome outcome = m_Target->Run(path, file);
        EXPECT_TRUE(IsDocumentedResult(outcome.Result) || IsReaderResult(outcome.Result))
            << name << " through " << PathName(path) << " gave 0x" << std::hex
            << static_cast<uint32_t>(outcome.Result);
    }

    std::unique_ptr<TestSupport::LogCapture> m_Log;
    TestSupport::ScratchFolder m_Folder{L"FuzzReplay"};
    Workspace m_Workspace{m_Folder.Path() + L"\\installed\\", m_Folder.File(L"request.xen")};
    std::unique_ptr<OstrelModule> m_Module;
    std::unique_ptr<Utility> m_Utility;
    std::unique_ptr<FuzzTarget> m_Target;
};

TEST_F(ReplayTest, EverySavedInputGivesADocumentedResult) {
    const std::vector<SavedInput> inputs = LoadSavedInputs(kFuzzFolder + L"\\regressions");
    for (const SavedInput& input : inputs) {
        ExpectDocumented(input.Path, input.File,
                         std::string(input.FileName.begin(), input.FileName.end()));
    }
    RecordProperty("saved_inputs", static_cast<int>(inputs.size()));
}

TEST_F(ReplayTest, EveryCorpusDocumentGivesADocumentedResultOnEveryRoad) {
    for (const SeedDocument& seed : LoadSeeds(kExamplesFolder, kFuzzFolder + L"\\corpus")) {
        for (size_t road = 0; road < kPathCount; ++road) {
            const RequestPath path = static_cast<RequestPath>(road);
            const std::string text =
                path == RequestPath::Storage ? ConfineStorageSeed(seed.Text) : seed.Text;
            ExpectDocumented(path, Encrypt(PathKey(path), Bytes(text)), seed.Name);
        }
    }
}

}  // namespace
