#include <gtest/gtest.h>

#include <windows.h>

#include <array>
#include <string>

#include "ReliabilityKit.h"

namespace {

using namespace Reliability;

using Answers = std::array<std::wstring, kRequestKinds>;

Answers AskEverything(ModuleUnderTest& module, const StorageLane& lane) {
    Answers answers;
    for (size_t kind = 0; kind < kRequestKinds; ++kind) {
        answers[kind] = Ask(module.Utility(), static_cast<RequestKind>(kind), lane);
    }
    return answers;
}

// The module copied into a scratch folder, alone or beside another trace library. Its
// answers are compared with those of the module in build\bin, whose trace library works.
class TraceLibraryTest : public ::testing::Test {
protected:
    void SetUp() override {
        ModuleUnderTest shipped;
        AskEverything(shipped, m_Lane);  // the first round creates the key
        m_Expected = AskEverything(shipped, m_Lane);
        ASSERT_TRUE(shipped.Log().Contains(L"*** Ostrel.dll was loaded as process attach."));
    }

    std::wstring CopyModule() {
        const std::wstring target = m_Copy.File(L"Ostrel.dll");
        EXPECT_TRUE(
            CopyFileW((TestSupport::BinFolder() + L"Ostrel.dll").c_str(), target.c_str(), FALSE));
        return m_Copy.Path() + L"\\";
    }

    TestSupport::ScratchRegistryKey m_Key{L"ReliabilityTrace"};
    TestSupport::ScratchFolder m_Documents{L"ReliabilityTraceDocuments"};
    TestSupport::ScratchFolder m_Copy{L"ReliabilityTraceModule"};
    StorageLane m_Lane = MakeLane(m_Documents, m_Key.Path(), L"trace");
    Answers m_Expected;
};

TEST_F(TraceLibraryTest, AModuleWithoutItsTraceLibraryAnswersAsUsualAndLogsNothing) {
    ModuleUnderTest copy(0x111, CopyModule());
    ASSERT_TRUE(copy.Utility().IsValid());
    EXPECT_EQ(m_Expected, AskEverything(copy, m_Lane));
    EXPECT_FALSE(TestSupport::FileExists(copy.Log().FilePath()));
}

TEST_F(TraceLibraryTest, AModuleWhoseTraceLibraryRefusesToStartAnswersAsUsualAndLogsNothing) {
    const std::wstring folder = CopyModule();
    ASSERT_TRUE(CopyFileW(
        (TestSupport::ExecutableFolder() + L"failing-trace-library\\ZorvDbg64.dll").c_str(),
        m_Copy.File(L"ZorvDbg64.dll").c_str(), FALSE));
    ModuleUnderTest copy(0x111, folder);
    ASSERT_TRUE(copy.Utility().IsValid());
    EXPECT_EQ(m_Expected, AskEverything(copy, m_Lane));
    const std::wstring logFolder = copy.Log().Folder() + L"\\";
    EXPECT_TRUE(TestSupport::FileExists(logFolder + L"initialize-refused.mark"))
        << "the trace library was asked to start";
    EXPECT_FALSE(TestSupport::FileExists(logFolder + L"trace-called.mark"))
        << "no line goes to a library that did not start";
    EXPECT_FALSE(TestSupport::FileExists(copy.Log().FilePath()));
}

}  // namespace
