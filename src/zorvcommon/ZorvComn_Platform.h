#pragma once
// Process-wide queries about the running Windows system: its version class, the
// native processor's bitness, the session of this process and token membership.
// Nothing here logs (the debug log itself relies on these queries) and nothing throws.

#include <cstdint>

namespace ZorvCommon {
namespace Platform {

enum PlatformId : uint32_t {
    PlatformWindows9x = 1,
    PlatformNt = 2,
};

enum ProductType : uint8_t {
    ProductWorkstation = 1,
    ProductDomainController = 2,
    ProductServer = 3,
};

// What the version classes look at, as GetVersionExW reports it.
struct VersionRecord {
    uint32_t PlatformId = 0;
    uint32_t Major = 0;
    uint32_t Minor = 0;
    uint32_t Build = 0;
    uint8_t ProductType = 0;
    uint16_t ServicePackMajor = 0;
};

constexpr uint32_t kLastVersionClass = 22;

// Whether a system with this record and bitness belongs to versionClass (0..22; any
// other class is false). A pure function, usable for systems other than this one.
bool IsVersionClassOf(const VersionRecord& version, bool is64bit, uint32_t versionClass);

// The same over the live system: the version is read once with GetVersionExW; a failed
// read is recorded and every later query answers false.
bool IsVersionClass(uint32_t versionClass);
// The live record; false (record untouched) when the read failed.
bool GetVersionRecord(VersionRecord& version);
// The error of a failed version read, 0 when it succeeded.
uint32_t GetVersionError();

// True in is64bit only for an AMD64 native processor. GetNativeSystemInfo is loaded
// from kernel32.dll at run time and its answer cached; when it cannot be obtained the
// query fails and error receives the loader's error.
bool IsWindows64bit(bool& is64bit, uint32_t* error = nullptr);

// Only on NT 5.0 or later (class 14). sessionId is set to 0xFFFFFFFF first.
bool GetSessionId(uint32_t& sessionId);
// Only on NT 5.0 or later: whether this process's token is a member of the well-known
// SID of that type (WELL_KNOWN_SID_TYPE, e.g. 22 WinLocalSystemSid).
bool IsTokenMemberOf(uint32_t wellKnownSidType, bool& isMember);

}  // namespace Platform
}  // namespace ZorvCommon
