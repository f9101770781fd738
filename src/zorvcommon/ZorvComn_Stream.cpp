#include "ZorvComn_Stream.h"

#include <memory>
#include <new>
#include <utility>

#include "ZorvComn_Exception.h"
#include "ZorvComn_File.h"

namespace ZorvCommon {
namespace Storage {

namespace {

// A file error as a stream result: access denied has its own storage code, every
// other error becomes the HRESULT of that system error (0 stays S_OK).
HRESULT ResultFromFileError(uint32_t error) {
    if (error == ERROR_ACCESS_DENIED) {
        return STG_E_ACCESSDENIED;
    }
    return ZorvCommon::Exception::ResultFromWin32(error);
}

// The COM face is called from inside the XML reader, whose frames no exception may
// unwind: an operation that throws answers with a result instead.
template <typename Operation>
HRESULT Contained(Operation operation) noexcept {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (ZorvCommon::Exception::Base* pException) {
        const std::unique_ptr<ZorvCommon::Exception::Base> owner(pException);
        return E_FAIL;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

}  // namespace

// ---- StreamCom: the COM face -------------------------------------------------------

HRESULT StreamCom::QueryInterface(REFIID riid, void** ppvObject) {
    return Contained([&] { return OnQueryInterface(riid, ppvObject); });
}

ULONG StreamCom::AddRef() {
    Synchronize::SingleLock lock(&m_Section);
    return static_cast<ULONG>(InterlockedIncrement(&m_RefCount));
}

ULONG StreamCom::Release() {
    LONG count;
    {
        Synchronize::SingleLock lock(&m_Section);
        count = InterlockedDecrement(&m_RefCount);
    }
    // The lock lives inside the object: it must be left before the object goes.
    if (count == 0) {
        delete this;
    }
    return static_cast<ULONG>(count);
}

HRESULT StreamCom::Read(void* pv, ULONG cb, ULONG* pcbRead) {
    return Contained([&] { return OnRead(pv, cb, pcbRead); });
}

HRESULT StreamCom::Write(const void* pv, ULONG cb, ULONG* pcbWritten) {
    return Contained([&] { return OnWrite(pv, cb, pcbWritten); });
}

HRESULT StreamCom::Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER* plibNewPosition) {
    return Contained([&] { return OnSeek(dlibMove, dwOrigin, plibNewPosition); });
}

HRESULT StreamCom::SetSize(ULARGE_INTEGER libNewSize) {
    return Contained([&] { return OnSetSize(libNewSize); });
}

HRESULT StreamCom::CopyTo(IStream* pstm, ULARGE_INTEGER cb, ULARGE_INTEGER* pcbRead,
                          ULARGE_INTEGER* pcbWritten) {
    return Contained([&] { return OnCopyTo(pstm, cb, pcbRead, pcbWritten); });
}

HRESULT StreamCom::Commit(DWORD grfCommitFlags) {
    return Contained([&] { return OnCommit(grfCommitFlags); });
}

HRESULT StreamCom::Revert() {
    return Contained([&] { return OnRevert(); });
}

HRESULT StreamCom::LockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb, DWORD dwLockType) {
    return Contained([&] { return OnLockRegion(libOffset, cb, dwLockType); });
}

HRESULT StreamCom::UnlockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb, DWORD dwLockType) {
    return Contained([&] { return OnUnlockRegion(libOffset, cb, dwLockType); });
}

HRESULT StreamCom::Stat(STATSTG* pstatstg, DWORD grfStatFlag) {
    return Contained([&] { return OnStat(pstatstg, grfStatFlag); });
}

HRESULT StreamCom::Clone(IStream** ppstm) {
    return Contained([&] { return OnClone(ppstm); });
}

// ---- StreamCom: operations no stream of the library provides -----------------------

HRESULT StreamCom::OnCopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) {
    return E_NOTIMPL;
}

HRESULT StreamCom::OnCommit(DWORD) {
    return E_NOTIMPL;
}

HRESULT StreamCom::OnRevert() {
    return E_NOTIMPL;
}

HRESULT StreamCom::OnLockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    return E_NOTIMPL;
}

HRESULT StreamCom::OnUnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    return E_NOTIMPL;
}

HRESULT StreamCom::OnStat(STATSTG*, DWORD) {
    return E_NOTIMPL;
}

HRESULT StreamCom::OnClone(IStream**) {
    return E_NOTIMPL;
}

// ---- StreamComFileBase -------------------------------------------------------------

HRESULT StreamComFileBase::OnQueryInterface(REFIID riid, void** ppvObject) {
    if (ppvObject == nullptr) {
        return E_INVALIDARG;
    }
    *ppvObject = nullptr;
    if (riid != IID_IUnknown && riid != IID_ISequentialStream && riid != IID_IStream) {
        return E_NOINTERFACE;
    }
    *ppvObject = static_cast<IStream*>(this);
    AddRef();
    return S_OK;
}

bool StreamComFileBase::BeginTransfer(ULONG* pcbDone) const {
    if (pcbDone != nullptr) {
        *pcbDone = 0;
    }
    return m_pFile != nullptr;
}

HRESULT StreamComFileBase::OnRead(void* pv, ULONG cb, ULONG* pcbRead) {
    // Marked first: a read that fails, or throws, ends the input as well.
    const bool endedBefore = std::exchange(m_Ended, true);
    if (!BeginTransfer(pcbRead)) {
        return STG_E_INVALIDPOINTER;
    }
    uint32_t bytesRead = 0;
    uint32_t error = 0;
    if (!m_pFile->Read(pv, cb, &bytesRead, &error)) {
        if (error == ERROR_ACCESS_DENIED) {
            return STG_E_ACCESSDENIED;
        }
        // A short read and the end of the file deliver what there is.
        if (bytesRead == 0 && error != ERROR_HANDLE_EOF) {
            return ResultFromFileError(error);
        }
    }
    if (pcbRead != nullptr) {
        *pcbRead = bytesRead;
    }
    m_Ended = endedBefore || bytesRead == 0 || bytesRead < cb;
    // S_FALSE for a full read is how readers of this stream have always seen it; the XML
    // reader keeps pulling until a read delivers no bytes.
    return bytesRead == cb ? S_FALSE : S_OK;
}

HRESULT StreamComFileBase::OnWrite(const void* pv, ULONG cb, ULONG* pcbWritten) {
    if (!BeginTransfer(pcbWritten)) {
        return STG_E_INVALIDPOINTER;
    }
    uint32_t bytesWritten = 0;
    uint32_t error = 0;
    if (!m_pFile->Write(pv, cb, &bytesWritten, &error)) {
        return ResultFromFileError(error);
    }
    if (pcbWritten != nullptr) {
        *pcbWritten = bytesWritten;
    }
    return S_OK;
}

HRESULT StreamComFileBase::OnSeek(LARGE_INTEGER dlibMove, DWORD dwOrigin,
                                  ULARGE_INTEGER* plibNewPosition) {
    // The new position is deliberately never reported.
    if (plibNewPosition != nullptr) {
        plibNewPosition->QuadPart = 0;
    }
    if (m_pFile == nullptr) {
        return STG_E_INVALIDPOINTER;
    }
    if (dwOrigin != STREAM_SEEK_SET && dwOrigin != STREAM_SEEK_CUR && dwOrigin != STREAM_SEEK_END) {
        return STG_E_INVALIDFUNCTION;
    }
    if (dlibMove.QuadPart < INT32_MIN || dlibMove.QuadPart > INT32_MAX) {
        return E_NOTIMPL;
    }
    // The stream origins have the values of FILE_BEGIN, FILE_CURRENT and FILE_END.
    uint32_t error = 0;
    if (!m_pFile->SetPointer(static_cast<int32_t>(dlibMove.QuadPart), dwOrigin, nullptr, &error)) {
        return ZorvCommon::Exception::ResultFromWin32(error);
    }
    return S_OK;
}

HRESULT StreamComFileBase::OnSetSize(ULARGE_INTEGER libNewSize) {
    if (libNewSize.QuadPart > UINT32_MAX) {
        return E_NOTIMPL;
    }
    if (m_pFile == nullptr) {
        return STG_E_INVALIDPOINTER;
    }
    uint32_t error = 0;
    if (!m_pFile->SetPointer(static_cast<int32_t>(libNewSize.LowPart), FILE_BEGIN, nullptr,
                             &error) ||
        !m_pFile->SetEnd(&error)) {
        return ZorvCommon::Exception::ResultFromWin32(error);
    }
    return S_OK;
}

HRESULT StreamComFileBase::OnStat(STATSTG* pstatstg, DWORD) {
    if (pstatstg == nullptr || m_pFile == nullptr) {
        return STG_E_INVALIDPOINTER;
    }
    pstatstg->cbSize.QuadPart = 0;
    uint64_t size = 0;
    uint32_t error = 0;
    if (!m_pFile->GetSize(&size, &error)) {
        return ZorvCommon::Exception::ResultFromWin32(error);
    }
    pstatstg->cbSize.QuadPart = size;
    return S_OK;
}

// ---- StreamBase and StreamFileEx ---------------------------------------------------

void StreamBase::Close() {
    m_Stream.reset();
}

HRESULT StreamFileEx::Open() {
    if (m_Stream) {
        return ZorvCommon::Exception::ResultFromWin32(ERROR_OBJECT_ALREADY_EXISTS);
    }
    m_pFileStream = new (std::nothrow) StreamComFileBase(&m_rFile);
    m_Stream.reset(m_pFileStream);
    return m_Stream ? S_OK : E_OUTOFMEMORY;
}

}  // namespace Storage
}  // namespace ZorvCommon
