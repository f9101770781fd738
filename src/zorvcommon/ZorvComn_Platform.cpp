#include "ZorvComn_Platform.h"

#include <windows.h>

#include "ZorvComn_Handle.h"
#include "ZorvComn_Library.h"
#include "ZorvComn_Win32Error.h"

namespace ZorvCommon {
namespace Platform {
namespace {

constexpr uint32_t kAnyNtClass = 13;
constexpr uint32_t kNt5OrLaterClass = 14;

bool IsNt(const VersionRecord& v) {
    return v.PlatformId == PlatformNt;
}
bool IsNtVersion(const VersionRecord& v, uint32_t major, uint32_t minor) {
    return IsNt(v) && v.Major == major && v.Minor == minor;
}

// NT after major.minor, or major.minor itself with at least the given service pack.
bool IsServicePackOrLater(const VersionRecord& v, uint32_t major, uint32_t minor,
                          uint32_t servicePack) {
    return IsNt(v) && (v.Major > major || (v.Major == major && v.Minor > minor) ||
                       (v.Major == major && v.Minor == minor && v.ServicePackMajor >= servicePack));
}

bool IsSixPointOneFamily(const VersionRecord& v) {
    return IsNt(v) && v.Major == 6 && v.Minor >= 1;
}

bool NeedsBitness(uint32_t versionClass) {
    return versionClass == 7 || versionClass == 8 || versionClass == 10 || versionClass == 11;
}

// kernel32 is always mapped: looked up by name, never loaded from elsewhere.
template <typename Function>
Function Kernel32Proc(const char* name) {
    const HMODULE kernel32 = GetModuleHandleW(L"kernel32.dll");
    return kernel32 == nullptr ? nullptr : Library::ProcAddress<Function>(kernel32, name);
}

// What the system is asked once: its answer, or the error of asking.
template <typename Answer>
struct Probed {
    Answer Value{};
    uint32_t Error = 0;
};

const Probed<VersionRecord>& Live() {
    static const Probed<VersionRecord> live = [] {
        Probed<VersionRecord> result;
        OSVERSIONINFOEXW info = {};
        info.dwOSVersionInfoSize = sizeof(info);
        if (!GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&info))) {
            result.Error = GetLastError();
            return result;
        }
        result.Value = {info.dwPlatformId,  info.dwMajorVersion, info.dwMinorVersion,
                        info.dwBuildNumber, info.wProductType,   info.wServicePackMajor};
        return result;
    }();
    return live;
}

const Probed<uint16_t>& Native() {
    static const Probed<uint16_t> native = [] {
        Probed<uint16_t> result;
        const auto getNativeSystemInfo =
            Kernel32Proc<decltype(&GetNativeSystemInfo)>("GetNativeSystemInfo");
        if (getNativeSystemInfo == nullptr) {
            result.Error = GetLastError();
            return result;
        }
        SYSTEM_INFO info = {};
        getNativeSystemInfo(&info);
        result.Value = info.wProcessorArchitecture;
        return result;
    }();
    return native;
}

}  // namespace

bool IsVersionClassOf(const VersionRecord& v, bool is64bit, uint32_t versionClass) {
    switch (versionClass) {
        case 0:
            return v.PlatformId == PlatformWindows9x && v.Major == 4 && v.Minor == 90;
        case 1:
            return v.PlatformId == PlatformWindows9x;
        case 2:
            return IsNtVersion(v, 5, 0);
        case 3:
            return IsNtVersion(v, 5, 2) && v.ProductType == ProductServer;
        case 4:
            return IsNtVersion(v, 5, 1) && v.ProductType == ProductWorkstation;
        case 5:
            return IsNtVersion(v, 5, 2) && v.ProductType == ProductWorkstation;
        case 6:
            return (IsNtVersion(v, 5, 1) || IsNtVersion(v, 5, 2)) &&
                   v.ProductType == ProductWorkstation;
        case 7:
            return IsNtVersion(v, 6, 0) && !is64bit;
        case 8:
            return IsNtVersion(v, 6, 0) && is64bit;
        case 9:
            return IsNtVersion(v, 6, 0);
        case 10:
            return IsSixPointOneFamily(v) && !is64bit;
        case 11:
            return IsSixPointOneFamily(v) && is64bit;
        case 12:
            return IsSixPointOneFamily(v);
        case kAnyNtClass:
            return IsNt(v);
        case kNt5OrLaterClass:
            return IsNt(v) && v.Major >= 5;
        case 15:
            return IsNt(v) && ((v.Major == 5 && v.Minor >= 1) || v.Major >= 6);
        case 16:
        case 17:
        case 18:
            return IsServicePackOrLater(v, 5, 1, versionClass - 15);
        case 19:
            return IsNt(v) && v.Major >= 6;
        case 20:
        case 21:
            return IsServicePackOrLater(v, 6, 0, versionClass - 19);
        case 22:
            // Minor >= 1 also for majors above 6: 7.0 and 10.0 do not match (kept so).
            return IsNt(v) && v.Major >= 6 && v.Minor >= 1;
        default:
            return false;
    }
}

bool IsVersionClass(uint32_t versionClass) {
    const Probed<VersionRecord>& live = Live();
    if (live.Error != 0 || versionClass > kLastVersionClass) {
        return false;
    }
    bool is64bit = false;
    if (NeedsBitness(versionClass) && !IsWindows64bit(is64bit)) {
        return false;
    }
    return IsVersionClassOf(live.Value, is64bit, versionClass);
}

bool GetVersionRecord(VersionRecord& version) {
    const Probed<VersionRecord>& live = Live();
    if (live.Error != 0) {
        return false;
    }
    version = live.Value;
    return true;
}

uint32_t GetVersionError() {
    return Live().Error;
}

bool IsWindows64bit(bool& is64bit, uint32_t* error) {
    const Probed<uint16_t>& native = Native();
    if (native.Error != 0) {
        return Win32Error::Fail(error, native.Error);
    }
    is64bit = native.Value == PROCESSOR_ARCHITECTURE_AMD64;
    return true;
}

bool GetSessionId(uint32_t& sessionId) {
    sessionId = 0xFFFFFFFF;
    if (!IsVersionClass(kNt5OrLaterClass)) {
        return false;
    }
    const auto processIdToSessionId =
        Kernel32Proc<decltype(&ProcessIdToSessionId)>("ProcessIdToSessionId");
    DWORD session = 0;
    if (processIdToSessionId == nullptr || !processIdToSessionId(GetCurrentProcessId(), &session)) {
        return false;
    }
    sessionId = session;
    return true;
}

bool IsTokenMemberOf(uint32_t wellKnownSidType, bool& isMember) {
    if (!IsVersionClass(kNt5OrLaterClass)) {
        return false;
    }
    UniqueModule advapi32(LoadLibraryW(Library::SystemDirectoryPath(L"advapi32.dll").c_str()));
    if (!advapi32) {
        return false;
    }
    const auto createWellKnownSid =
        Library::ProcAddress<decltype(&CreateWellKnownSid)>(advapi32.get(), "CreateWellKnownSid");
    const auto checkTokenMembership = Library::ProcAddress<decltype(&CheckTokenMembership)>(
        advapi32.get(), "CheckTokenMembership");
    BYTE sid[SECURITY_MAX_SID_SIZE];
    DWORD cbSid = sizeof(sid);
    BOOL member = FALSE;
    if (createWellKnownSid == nullptr || checkTokenMembership == nullptr ||
        !createWellKnownSid(static_cast<WELL_KNOWN_SID_TYPE>(wellKnownSidType), nullptr, sid,
                            &cbSid) ||
        !checkTokenMembership(nullptr, sid, &member)) {
        return false;
    }
    isMember = member != FALSE;
    return true;
}

}  // namespace Platform
}  // namespace ZorvCommon
