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

// ---- StreamComFileBase ---------------------------------------------------------------

ULONG StreamComFileBase::AddRef() {
    return static_cast<ULONG>(InterlockedIncrement(&m_RefCount));
}

ULONG StreamComFileBase::Release() {
    const LONG count = InterlockedDecrement(&m_RefCount);
    if (count == 0) {
        delete this;
    }
    return static_cast<ULONG>(count);
}

HRESULT StreamComFileBase::QueryInterface(REFIID riid, void** ppvObject) {
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

HRESULT StreamComFileBase::Read(void* pv, ULONG cb, ULONG* pcbRead) {
    return Contained([&]() -> HRESULT {
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
    });
}

HRESULT StreamComFileBase::Write(const void* pv, ULONG cb, ULONG* pcbWritten) {
    return Contained([&]() -> HRESULT {
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
    });
}

HRESULT StreamComFileBase::Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin,
                                ULARGE_INTEGER* plibNewPosition) {
    return Contained([&]() -> HRESULT {
        // The new position is deliberately never reported.
        if (plibNewPosition != nullptr) {
            plibNewPosition->QuadPart = 0;
        }
        if (m_pFile == nullptr) {
            return STG_E_INVALIDPOINTER;
        }
        if (dwOrigin != STREAM_SEEK_SET && dwOrigin != STREAM_SEEK_CUR &&
            dwOrigin != STREAM_SEEK_END) {
            return STG_E_INVALIDFUNCTION;
        }
        if (dlibMove.QuadPart < INT32_MIN || dlibMove.QuadPart > INT32_MAX) {
            return E_NOTIMPL;
        }
        // The stream origins have the values of FILE_BEGIN, FILE_CURRENT and FILE_END.
        uint32_t error = 0;
        if (!m_pFile->SetPointer(static_cast<int32_t>(dlibMove.QuadPart), dwOrigin, nullptr,
                                 &error)) {
            return ZorvCommon::Exception::ResultFromWin32(error);
        }
        return S_OK;
    });
}

HRESULT StreamComFileBase::SetSize(ULARGE_INTEGER libNewSize) {
    return Contained([&]() -> HRESULT {
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
    });
}

HRESULT StreamComFileBase::Stat(STATSTG* pstatstg, DWORD) {
    return Contained([&]() -> HRESULT {
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
    });
}

}  // namespace Storage
}  // namespace ZorvCommon
