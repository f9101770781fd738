#pragma once
// Reads the service and provider policy documents into the host's row lists. One
// parser serves one request; it holds only a reference to the utility object's reader.

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "SrvFrwk_Interface.h"

namespace ZorvCommon::Storage {
class XmlParser;
}  // namespace ZorvCommon::Storage

class CXmlParserFrameworkPolicy {
public:
    explicit CXmlParserFrameworkPolicy(ZorvCommon::Storage::XmlParser& rXmlParser);
    CXmlParserFrameworkPolicy(const CXmlParserFrameworkPolicy&) = delete;
    CXmlParserFrameworkPolicy& operator=(const CXmlParserFrameworkPolicy&) = delete;

    // The list is emptied first, then holds one row per element read without error,
    // also when the result is a failure. The result is that of the last element read (a
    // dropped element's code counts only when it was the last), 0x8004020B when an element
    // has no "version" (reading stops there), the reader's error when the document breaks
    // off, or the failure of the document itself (key, open, reader start, root).
    [[nodiscard]] HRESULT QueryValueForServicePolicy(
        SrvFrwk::Interface::ArrayOfRowService* pArrayOfRowService);
    [[nodiscard]] HRESULT QueryValueForProviderPolicy(
        SrvFrwk::Interface::ArrayOfRowProvider* pArrayOfRowProvider);

private:
    // What tells the service document from the provider document: names, texts, fields.
    template <class Row>
    struct PolicyForm;

    template <class Row>
    [[nodiscard]] HRESULT QueryValueForPolicy(const PolicyForm<Row>& form, const char* szKey,
                                              std::vector<Row>* pRows);
    // The "FrameworkService"/"FrameworkProvider" elements below the root.
    template <class Row>
    [[nodiscard]] HRESULT ParsePolicyElements(const PolicyForm<Row>& form, std::vector<Row>& rows);
    // The children of one element; the first failing child ends the walk, and so does a
    // failure of the reader (its code is then the result: the row is not whole). The readers
    // below take each text into `text`, one buffer for the whole document: once it has
    // grown, reading a text allocates nothing (allocations dominate a big document).
    template <class Row>
    [[nodiscard]] HRESULT ParsePolicyChildren(const PolicyForm<Row>& form, Row& row,
                                              std::wstring& text);
    // A child that carries its value as text: 0, 0x80040206 for a text it cannot take,
    // or 0x00040202 for a child of another name.
    template <class Row>
    [[nodiscard]] HRESULT ParsePolicyText(const PolicyForm<Row>& form, Row& row,
                                          std::wstring& text);
    template <class Row>
    void DumpRow(const PolicyForm<Row>& form, const Row& row) const;

    [[nodiscard]] HRESULT ParsePolicyShared(uint32_t& sharedType, GUID& sharedGuid,
                                            std::wstring& text);
    [[nodiscard]] HRESULT ParsePolicyPermissions(uint32_t (&permissions)[4], std::wstring& text);
    [[nodiscard]] HRESULT ParsePolicyDepended(const wchar_t* childName, std::vector<GUID>& guids,
                                              std::wstring& text);

    ZorvCommon::Storage::XmlParser& m_rXmlParser;
};
