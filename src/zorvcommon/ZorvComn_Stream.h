#pragma once
// COM streams over the library's file objects, so that the XML reader can pull a
// document straight out of a (decrypting) file. Stream operations never throw; they
// return HRESULTs, also when the file under them throws (E_OUTOFMEMORY for exhausted
// memory, E_FAIL for a library exception, E_UNEXPECTED for any other).

#include <windows.h>
#include <objidl.h>

#include <cstdint>

#include "ZorvComn_Handle.h"
#include "ZorvComn_Synchronize.h"

namespace ZorvCommon {
namespace Storage {

class FileBase;

// IStream whose COM face forwards to protected operations. The reference count starts
// at 1 (the creator's reference). Lookup, read, write, seek and set size are left to
// the derived class; the other operations answer E_NOTIMPL.
class StreamCom : public IStream {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) final;
    ULONG STDMETHODCALLTYPE AddRef() final;
    ULONG STDMETHODCALLTYPE Release() final;
    HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* pcbRead) final;
    HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* pcbWritten) final;
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin,
                                   ULARGE_INTEGER* plibNewPosition) final;
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER libNewSize) final;
    HRESULT STDMETHODCALLTYPE CopyTo(IStream* pstm, ULARGE_INTEGER cb, ULARGE_INTEGER* pcbRead,
                                     ULARGE_INTEGER* pcbWritten) final;
    HRESULT STDMETHODCALLTYPE Commit(DWORD grfCommitFlags) final;
    HRESULT STDMETHODCALLTYPE Revert() final;
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb,
                                         DWORD dwLockType) final;
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb,
                                           DWORD dwLockType) final;
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* pstatstg, DWORD grfStatFlag) final;
    HRESULT STDMETHODCALLTYPE Clone(IStream** ppstm) final;

    virtual ~StreamCom() = default;
    StreamCom(const StreamCom&) = delete;
    StreamCom& operator=(const StreamCom&) = delete;

protected:
    StreamCom() = default;

    virtual HRESULT OnQueryInterface(REFIID riid, void** ppvObject) = 0;
    virtual HRESULT OnRead(void* pv, ULONG cb, ULONG* pcbRead) = 0;
    virtual HRESULT OnWrite(const void* pv, ULONG cb, ULONG* pcbWritten) = 0;
    virtual HRESULT OnSeek(LARGE_INTEGER dlibMove, DWORD dwOrigin,
                           ULARGE_INTEGER* plibNewPosition) = 0;
    virtual HRESULT OnSetSize(ULARGE_INTEGER libNewSize) = 0;
    virtual HRESULT OnCopyTo(IStream* pstm, ULARGE_INTEGER cb, ULARGE_INTEGER* pcbRead,
                             ULARGE_INTEGER* pcbWritten);
    virtual HRESULT OnCommit(DWORD grfCommitFlags);
    virtual HRESULT OnRevert();
    virtual HRESULT OnLockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb, DWORD dwLockType);
    virtual HRESULT OnUnlockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb, DWORD dwLockType);
    virtual HRESULT OnStat(STATSTG* pstatstg, DWORD grfStatFlag);
    virtual HRESULT OnClone(IStream** ppstm);

private:
    volatile LONG m_RefCount = 1;
    Synchronize::CriticalSection m_Section;
};

// A stream over a FileBase (not owned: the file must outlive the stream).
// Read answers S_FALSE when the whole requested count was read and S_OK for a short
// read; the end of the file is not an error. Seek never reports the new position
// (it always writes 0), and Stat fills the size and nothing else.
class StreamComFileBase : public StreamCom {
public:
    explicit StreamComFileBase(FileBase* pFile) : m_pFile(pFile) {}

    // True once a read has delivered less than it was asked for, nothing, or failed: a
    // reader of the stream can have learnt that its input ended only after such a read.
    bool HasEnded() const { return m_Ended; }

protected:
    HRESULT OnQueryInterface(REFIID riid, void** ppvObject) override;
    HRESULT OnRead(void* pv, ULONG cb, ULONG* pcbRead) override;
    HRESULT OnWrite(const void* pv, ULONG cb, ULONG* pcbWritten) override;
    HRESULT OnSeek(LARGE_INTEGER dlibMove, DWORD dwOrigin,
                   ULARGE_INTEGER* plibNewPosition) override;
    HRESULT OnSetSize(ULARGE_INTEGER libNewSize) override;
    HRESULT OnStat(STATSTG* pstatstg, DWORD grfStatFlag) override;

private:
    // Clears the optional count of a read or write; false when there is no file.
    bool BeginTransfer(ULONG* pcbDone) const;

    FileBase* m_pFile;
    bool m_Ended = false;
};

// Owns one IStream reference: released by Close and by the destructor.
class StreamBase {
public:
    StreamBase() = default;
    virtual ~StreamBase() { Close(); }
    StreamBase(const StreamBase&) = delete;
    StreamBase& operator=(const StreamBase&) = delete;

    // Makes the stream; HRESULT_FROM_WIN32(5010) when one is already held.
    [[nodiscard]] virtual HRESULT Open() = 0;
    void Close();
    IStream* GetStream() const { return m_Stream.get(); }

protected:
    UniqueCom<IStream> m_Stream;
};

// A StreamComFileBase over a file the caller keeps open for the stream's lifetime.
class StreamFileEx : public StreamBase {
public:
    explicit StreamFileEx(FileBase& file) : m_rFile(file) {}

    // E_OUTOFMEMORY when the stream cannot be allocated.
    [[nodiscard]] HRESULT Open() override;
    // The stream's HasEnded; false when no stream is held.
    bool HasEnded() const { return m_Stream && m_pFileStream->HasEnded(); }

private:
    FileBase& m_rFile;
    StreamComFileBase* m_pFileStream = nullptr;  // m_Stream, as made
};

}  // namespace Storage
}  // namespace ZorvCommon
