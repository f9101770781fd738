#pragma once
// The baselines' reading: XmlLite alone over a stream, every node read, element names,
// attribute values and texts taken as strings (what any reader of the document must at
// least do).

#include <windows.h>
#include <objidl.h>

#include <memory>

#include "ZorvComn_XmlLite.h"

namespace Bench {

// Owner of one COM reference.
struct ComRelease {
    void operator()(IUnknown* pUnknown) const { pUnknown->Release(); }
};
template <typename Interface>
using ComPtr = std::unique_ptr<Interface, ComRelease>;

class XmlLiteWalk {
public:
    bool Load() { return m_Library.LoadFromSystemDirectory(); }
    // The number of attribute values and texts read, or -1 on failure.
    long Walk(IStream* pStream);

private:
    ZorvCommon::Library::XmlLite m_Library;
};

}  // namespace Bench
