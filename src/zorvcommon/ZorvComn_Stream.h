#pragma once
// COM streams over the library's file objects, so that the XML reader can pull a
// document straight out of a (decrypting) file. Stream operations never throw; they
// return HRESULTs, also when the file under them throws (E_OUTOFMEMORY for exhausted
// memory, E_FAIL for a library exception, E_UNEXPECTED for any other).

#include <windows.h>
#include <objidl.h>

namespace ZorvCommon {
namespace Storage {

class FileBase;

// An IStream over a FileBase (not owned: the file must outlive the stream). The reference
// count starts at 1 (the creator's reference). Read answers S_FALSE when the whole
// requested count was read and S_OK for a short read; the end of the file is not an
// error. Seek never reports the new position (it always writes 0), and Stat fills the
// size and nothing else. Copy, commit, revert, region locks and clone answer E_NOTIMPL.
class StreamComFileBase final : public IStream {
public:
    explicit StreamComFileBase(FileBase* pFile) : m_pFile(pFile) {}
    StreamComFileBase(const StreamComFileBase&) = delete;
    StreamComFileBase& operator=(const StreamComFileBase&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* pcbRead) override;
    HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* pcbWritten) override;
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin,
                                   ULARGE_INTEGER* plibNewPosition) override;
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER libNewSize) override;
    HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*,
                                     ULARGE_INTEGER*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* pstatstg, DWORD grfStatFlag) override;
    HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return E_NOTIMPL; }

    // True once a read has delivered less than it was asked for, nothing, or failed: a
    // reader of the stream can have learnt that its input ended only after such a read.
    bool HasEnded() const { return m_Ended; }

private:
    ~StreamComFileBase() = default;  // only Release deletes

    // Clears the optional count of a read or write; false when there is no file.
    bool BeginTransfer(ULONG* pcbDone) const;

    volatile LONG m_RefCount = 1;
    FileBase* m_pFile;
    bool m_Ended = false;
};

}  // namespace Storage
}  // namespace ZorvCommon
