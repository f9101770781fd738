#include <gtest/gtest.h>

#include <vector>

#include "ZorvComn_Library.h"

namespace {

using ZorvCommon::Library::SystemDirectoryPath;

// Binds one entry point of the XML reader library and records every Resolve call.
class ReaderLibrary : public ZorvCommon::Library::Wrapper {
public:
    std::vector<bool> m_Calls;
    FARPROC m_Create = nullptr;

protected:
    bool Resolve(bool load, uint32_t*) override {
        m_Calls.push_back(load);
        m_Create = load ? GetProc<FARPROC>("CreateXmlReader") : nullptr;
        return true;
    }
};

TEST(Library, WrapperResolvesAfterLoadAndClearsAfterFree) {
    const std::wstring path = SystemDirectoryPath(L"xmllite.dll");
    EXPECT_EQ(0, _wcsicmp(L"C:\\windows\\system32\\xmllite.dll", path.c_str()));
    {
        ReaderLibrary library;
        uint32_t error = 0;
        ASSERT_TRUE(library.Load(path, &error));
        EXPECT_NE(nullptr, library.m_Create);
        ASSERT_TRUE(library.Load(L"C:\\no\\such.dll", &error)) << "the held module is kept";
        ASSERT_TRUE(library.Free(&error));
        EXPECT_EQ(nullptr, library.m_Create);
        EXPECT_EQ((std::vector<bool>{true, true, false}), library.m_Calls);
        EXPECT_FALSE(library.Load(L"C:\\no\\such.dll", &error));
        EXPECT_EQ(126u, error);

        ASSERT_TRUE(library.Load(path));
        EXPECT_EQ(library.GetModule(), GetModuleHandleW(path.c_str()));
    }
    EXPECT_EQ(nullptr, GetModuleHandleW(path.c_str())) << "the destructor frees the module";
}

}  // namespace
