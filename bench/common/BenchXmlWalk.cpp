#include "BenchXmlWalk.h"

#include <xmllite.h>

#include <string>

namespace Bench {

long XmlLiteWalk::Walk(IStream* pStream) {
    IXmlReader* pCreated = nullptr;
    if (FAILED(m_Library.m_pfnCreateXmlReader(IID_IXmlReader, reinterpret_cast<void**>(&pCreated),
                                              nullptr))) {
        return -1;
    }
    const ComPtr<IXmlReader> reader(pCreated);
    if (FAILED(reader->SetInput(pStream))) {
        return -1;
    }
    long texts = 0;
    std::wstring name, value;
    XmlNodeType nodeType;
    const wchar_t* pText = nullptr;
    UINT cchText = 0;
    HRESULT hr;
    while ((hr = reader->Read(&nodeType)) == S_OK) {
        if (nodeType == XmlNodeType_Element) {
            reader->GetLocalName(&pText, &cchText);
            name.assign(pText, cchText);
            for (HRESULT more = reader->MoveToFirstAttribute(); more == S_OK;
                 more = reader->MoveToNextAttribute()) {
                reader->GetValue(&pText, &cchText);
                value.assign(pText, cchText);
                ++texts;
            }
        } else if (nodeType == XmlNodeType_Text) {
            reader->GetValue(&pText, &cchText);
            value.assign(pText, cchText);
            ++texts;
        }
    }
    return FAILED(hr) ? -1 : texts;
}

}  // namespace Bench
