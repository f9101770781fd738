#pragma once
// One move-only owner per handle kind, defined by its close function and its invalid
// value. reset() keeps GetLastError intact so that an owner can be dropped on an error
// path before the error is read.

#include <windows.h>

#include <utility>

namespace ZorvCommon {

template <typename Traits>
class UniqueHandle {
public:
    using Type = typename Traits::Type;

    UniqueHandle() = default;
    explicit UniqueHandle(Type value) : m_Value(value) {}
    ~UniqueHandle() { reset(); }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    UniqueHandle(UniqueHandle&& other) noexcept : m_Value(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }

    Type get() const { return m_Value; }
    bool is_valid() const { return Traits::IsValid(m_Value); }
    explicit operator bool() const { return is_valid(); }

    Type release() { return std::exchange(m_Value, Traits::Invalid()); }

    void reset(Type value = Traits::Invalid()) {
        Type old = std::exchange(m_Value, value);
        if (Traits::IsValid(old)) {
            const DWORD lastError = GetLastError();
            Traits::Close(old);
            SetLastError(lastError);
        }
    }

    // For APIs that return the handle through an out-pointer.
    Type* put() {
        reset();
        return &m_Value;
    }

private:
    Type m_Value = Traits::Invalid();
};

// The traits of a handle whose invalid value is null, closed by close. Kind only tells
// owners of the same handle type apart, so that a process is never handed on where a
// token is wanted.
template <typename Handle, auto close, typename Kind = void>
struct NullHandleTraits {
    using Type = Handle;
    static Type Invalid() { return nullptr; }
    static bool IsValid(Type h) { return h != nullptr; }
    static void Close(Type h) { close(h); }
};

struct FileTraits {
    using Type = HANDLE;
    static Type Invalid() { return INVALID_HANDLE_VALUE; }
    static bool IsValid(Type h) { return h != INVALID_HANDLE_VALUE && h != nullptr; }
    static void Close(Type h) { CloseHandle(h); }
};

// One reference to a COM object.
template <typename Interface>
struct ComTraits : NullHandleTraits<Interface*, nullptr> {
    static void Close(Interface* p) { p->Release(); }
};

using UniqueRegKey = UniqueHandle<NullHandleTraits<HKEY, RegCloseKey>>;
using UniqueFile = UniqueHandle<FileTraits>;
using UniqueModule = UniqueHandle<NullHandleTraits<HMODULE, FreeLibrary>>;
using UniqueLocalMem = UniqueHandle<NullHandleTraits<HLOCAL, LocalFree>>;
using UniqueMutex = UniqueHandle<NullHandleTraits<HANDLE, CloseHandle, struct MutexKind>>;
using UniqueProcess = UniqueHandle<NullHandleTraits<HANDLE, CloseHandle, struct ProcessKind>>;
using UniqueThread = UniqueHandle<NullHandleTraits<HANDLE, CloseHandle, struct ThreadKind>>;
using UniqueToken = UniqueHandle<NullHandleTraits<HANDLE, CloseHandle, struct TokenKind>>;
template <typename Interface>
using UniqueCom = UniqueHandle<ComTraits<Interface>>;

}  // namespace ZorvCommon
