#pragma once
// The common road of the policy readers: an encrypted document of the installed folder
// is opened with its key, the shared XML reader is started on it and moved to the root
// element, the caller walks it, and reader and file are closed again, on every way out.
// Every line written here names the caller (its "Class::Method", source file and the
// line of its call), as if the caller wrote it.

#include <windows.h>

#include <functional>
#include <string>

#include "XmlParserLog.h"

namespace ZorvCommon::Storage {
class FileBase;
class XmlParser;
}  // namespace ZorvCommon::Storage

class CXmlParserDocument {
public:
    // method is the caller's "Class::Method".
    CXmlParserDocument(ZorvCommon::Storage::XmlParser& rXmlParser, const wchar_t* method);
    CXmlParserDocument(const CXmlParserDocument&) = delete;
    CXmlParserDocument& operator=(const CXmlParserDocument&) = delete;

    // Reads fileName from the installed folder with the 16-character key and calls walk
    // on the root element. The result is walk's, or the code of the step that failed
    // before it: 0x80040206 for a key of another length, the open's Win32 error as
    // 0x8007xxxx, the reader's code (or 0x80040201) when it cannot start or find root.
    // place is the caller's statement (OSTREL_SOURCE_PLACE), named by the lines written.
    [[nodiscard]] HRESULT Read(const Ostrel::SourcePlace& place, const wchar_t* fileName,
                               const char* szKey, const wchar_t* root,
                               const std::function<HRESULT()>& walk);

    // The reader's failure during the walk (logged by Read), 0 when there was none.
    [[nodiscard]] HRESULT GetReadError() const { return m_ReadError; }

private:
    [[nodiscard]] HRESULT ReadOpenFile(const std::wstring& path,
                                       ZorvCommon::Storage::FileBase& file, const wchar_t* root,
                                       const std::function<HRESULT()>& walk);
    // what, then the reader's last code and place.
    void LogReaderFailure(const wchar_t* what) const;
    // The reader's last code when it is a failure, else 0x80040201.
    [[nodiscard]] HRESULT ReaderFailure() const;

    ZorvCommon::Storage::XmlParser& m_rXmlParser;
    Ostrel::SourcePlace m_Place = {};  // of the running Read
    const wchar_t* m_Method;
    HRESULT m_ReadError = S_OK;
};
