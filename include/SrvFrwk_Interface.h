#pragma once
// The host framework's side of a utility module: the utility interface, the value-type
// record and the payloads that travel through QueryValue and SendMessage.
//
// The contract between a host and the module:
// - The payloads are C++ standard-library containers (std::wstring, std::vector) passed
//   by pointer: host and module must be built with the same toolchain and the same C++
//   runtime, so that both sides agree on the containers' layout. Both allocate through
//   the system C runtime, so a list filled by the module may be freed by the host.
// - The host calls the utility object through its table of virtual functions, so the
//   table's layout is part of the contract. Counted from 1, with the table index (the
//   number less one) in brackets, under this toolchain (GCC's C++ ABI, mingw-w64):
//      1 [0] ReservedOperation1       6 [5]  SendMessage (typed)
//      2 [1] QueryValue (typed)       7 [6]  SendMessage (by name)
//      3 [2] QueryValue (by name)     8 [7]  destructor (destroys, does not free)
//      4 [3] ReservedOperation2       9 [8]  destructor (destroys and frees)
//      5 [4] StoreValue              10 [9]  Initialize (IUtilityEx)
//                                    11 [10] Uninitialize (IUtilityEx)
//   The virtual destructor takes two entries here. A compiler that gives it one entry
//   (a single deleting destructor) numbers it 8 and Initialize and Uninitialize 9 and
//   10: a host built with such a compiler calls the wrong entries of this module's
//   table. A host frees the object with Ostrel_FreeUtility, never through the
//   destructor entries.

#include <windows.h>  // before the interface: SendMessage is a macro of the Windows headers

#include <cstdint>
#include <string>
#include <vector>

namespace SrvFrwk {
namespace Interface {

// Value types of QueryValue and SendMessage.
enum ValueType : uint32_t {
    ValueTypeServicePolicy = 1,      // QueryValue, payload ArrayOfRowService
    ValueTypeProviderPolicy = 2,     // QueryValue, payload ArrayOfRowProvider
    ValueTypeStorageControl = 4,     // SendMessage, payload StorageControlRequest
    ValueTypeWebAccessControl = 16,  // QueryValue, payload WebAccessControlList
};

// The record whose first member selects the request; the rest belongs to the host.
struct ValueTypeRecord {
    uint32_t ValueType;
};

// One framework service: how it is loaded, started, ordered, shared and permitted.
struct RowService {
    std::wstring Version;
    GUID ServiceGuid{};
    uint32_t ModuleType = 0;  // 0 executable, 1 dynamic-link library, 2 inline code
    std::wstring ModuleName;
    uint32_t StartupType = 0;   // 0 disabled, 1 automatic, 2 on demand, 3 pre-start
    uint32_t LoadOption = 0;    // 0 sequential, 1 parallel
    uint32_t UnloadOption = 0;  // 0 sequential, 1 parallel
    uint32_t OrderOfLoading = 0;
    uint32_t OrderOfUnloading = 0;
    uint32_t SharedType = 0;  // 0 independent, 1 shared service, 2 shared provider
    GUID SharedGuid{};
    uint32_t InterfaceType = 0;   // 0 IFrwkService, 1 IFrwkServiceEx
    uint32_t Permission[4] = {};  // by index (0 setup, 1 normal, 3 maintain): 1 allow, 0 deny
    uint32_t DataConversion = 0;  // 0 none, 1 default, 2 specific
    std::wstring ConvModuleName;
    std::vector<GUID> DependedServices;
};

// One framework provider: a service row without the interface type.
struct RowProvider {
    std::wstring Version;
    GUID ProviderGuid{};
    uint32_t ModuleType = 0;
    std::wstring ModuleName;
    uint32_t StartupType = 0;
    uint32_t LoadOption = 0;
    uint32_t UnloadOption = 0;
    uint32_t OrderOfLoading = 0;
    uint32_t OrderOfUnloading = 0;
    uint32_t SharedType = 0;
    GUID SharedGuid{};
    uint32_t Permission[4] = {};
    uint32_t DataConversion = 0;
    std::wstring ConvModuleName;
    std::vector<GUID> DependedProviders;
};

using ArrayOfRowService = std::vector<RowService>;
using ArrayOfRowProvider = std::vector<RowProvider>;

// A targeted application of the web access control document (a "Process" element
// whose platform matches the running system).
struct WebApplication {
    std::wstring Label;       // "label": how filters refer to the application
    std::wstring Identifier;  // "code": the application's identifying code
    std::wstring Vendor;      // "vender" (optional)
    std::wstring Family;      // "family" (optional)
    std::wstring FileName;    // the "FileName" child: the executable's file name. The
                              // Applications list collects the applications that name one.
    std::wstring Data;        // "native": "32bit" or "64bit", as written
    // True for a 32-bit application ("native"="32bit") on a 64-bit system, which then
    // runs under WOW64.
    bool IsWow64 = false;
};

// A URL filter joined with the site and the application it names.
struct WebFilter {
    std::wstring Label;          // the filter's "label"
    uint32_t FilterType = 0;     // 0 approved, 1 blocked, 2 blocked, request unchanged
    std::wstring SiteUrl;        // URL of the site named by "address"
    WebApplication Application;  // the application named by "process"
};

// The web access control list. Activities and protections whose "enable" is "no" are
// left out; each list names the sites (by URL) that the enabled control covers.
struct WebAccessControlList {
    std::vector<std::wstring> Sites;           // every site URL
    std::vector<WebApplication> Applications;  // targeted applications with a file name
    std::vector<WebFilter> Filters;            // filters whose site and application resolve
    std::vector<std::wstring> WebActivities;   // site URLs of enabled activity logs
    std::vector<std::wstring> Protections;     // site URLs of enabled data protections
};

// A storage-control request (SendMessage value type 4). An empty field is not given.
struct StorageControlRequest {
    std::wstring DocumentPath;     // the encrypted storage-control document
    std::wstring CommandArgument;  // the assignment text the document's elements must match
    std::wstring Folder;
};

// The utility interface, in slot order (the numbers above).
class IUtility {
public:
    virtual HRESULT ReservedOperation1() = 0;
    virtual HRESULT QueryValue(const ValueTypeRecord* pValueType, void* pReserved1,
                               void* pReserved2, void* pValue) = 0;
    virtual HRESULT QueryValue(const wchar_t* pName, void* pValue) = 0;
    virtual HRESULT ReservedOperation2() = 0;
    virtual HRESULT StoreValue(const ValueTypeRecord* pValueType, void* pReserved1,
                               void* pReserved2, void* pValue) = 0;
    virtual HRESULT SendMessage(const ValueTypeRecord* pValueType, void* pReserved1,
                                void* pReserved2, void* pValue) = 0;
    virtual HRESULT SendMessage(const wchar_t* pName, void* pValue) = 0;
    virtual ~IUtility() = default;
};

class IUtilityEx : public IUtility {
public:
    virtual HRESULT Initialize() = 0;
    virtual HRESULT Uninitialize() = 0;
};

}  // namespace Interface
}  // namespace SrvFrwk
