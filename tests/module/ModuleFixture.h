#pragma once
// The module through its exports: the real Ostrel.dll from build\bin, one utility
// object per test, and the debug log captured.

#include <gtest/gtest.h>

#include <windows.h>

#include <memory>

#include "LogCapture.h"
#include "Ostrel.h"
#include "Scratch.h"
#include "ZorvComn_Handle.h"

namespace ModuleTests {

using SrvFrwk::Interface::IUtilityEx;
using SrvFrwk::Interface::ValueTypeRecord;
using TestSupport::LogCapture;

constexpr HRESULT kNotProvided = 0x00040203;
constexpr HRESULT kNotSupported = static_cast<HRESULT>(0x80040203);
constexpr HRESULT kInvalidArgument = static_cast<HRESULT>(0x80040204);

// Loads the real module after the log settings are in place, so that its own debug log
// (set up at process attach) writes where the capture reads.
class ModuleTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_Log = std::make_unique<LogCapture>(0x111, /*initializeProcessLog=*/false);
        m_Module.reset(LoadLibraryW((TestSupport::BinFolder() + L"Ostrel.dll").c_str()));
        ASSERT_TRUE(m_Module) << "Ostrel.dll not found beside build\\tests";
        m_Initialize = Resolve<Ostrel_InitializeFn>("Ostrel_Initialize");
        m_Uninitialize = Resolve<Ostrel_UninitializeFn>("Ostrel_Uninitialize");
        m_CreateUtility = Resolve<Ostrel_CreateUtilityFn>("Ostrel_CreateUtility");
        m_FreeUtility = Resolve<Ostrel_FreeUtilityFn>("Ostrel_FreeUtility");
        ASSERT_TRUE(m_Initialize && m_Uninitialize && m_CreateUtility && m_FreeUtility);
        ASSERT_EQ(S_OK, m_Initialize());
        ASSERT_EQ(S_OK, m_CreateUtility(&m_pUtility, &OSTREL_UTILITY_GUID));
        ASSERT_NE(nullptr, m_pUtility);
    }

    void TearDown() override {
        if (m_pUtility != nullptr) {
            EXPECT_EQ(S_OK, m_FreeUtility(m_pUtility, &OSTREL_UTILITY_GUID));
        }
        if (m_Uninitialize != nullptr) {
            EXPECT_EQ(S_OK, m_Uninitialize());
        }
        m_Module.reset();  // process detach: the module's log shuts down
    }

    template <typename Function>
    Function Resolve(const char* name) {
        return reinterpret_cast<Function>(
            reinterpret_cast<void*>(GetProcAddress(m_Module.get(), name)));
    }

    HRESULT Query(uint32_t valueType, void* pValue) {
        const ValueTypeRecord record{valueType};
        return m_pUtility->QueryValue(&record, nullptr, nullptr, pValue);
    }

    HRESULT Send(uint32_t valueType, void* pValue) {
        const ValueTypeRecord record{valueType};
        return m_pUtility->SendMessage(&record, nullptr, nullptr, pValue);
    }

    std::unique_ptr<LogCapture> m_Log;
    ZorvCommon::UniqueModule m_Module;
    Ostrel_InitializeFn m_Initialize = nullptr;
    Ostrel_UninitializeFn m_Uninitialize = nullptr;
    Ostrel_CreateUtilityFn m_CreateUtility = nullptr;
    Ostrel_FreeUtilityFn m_FreeUtility = nullptr;
    IUtilityEx* m_pUtility = nullptr;
};

}  // namespace ModuleTests
