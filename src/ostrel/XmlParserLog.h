#pragma once
// Log lines that a document reader writes from code outside its own source file (a
// helper shared by several readers, or a part of a reader kept in a file of its own)
// still name the reader's file and the line of the statement that asked for them.

#include <cstdint>

#include "ZorvComn_DebugLog.h"

namespace Ostrel {

// A statement of a reader's source: its file (as __FILE__ gives it) and line.
struct SourcePlace {
    const char* File;
    uint32_t Line;
};

}  // namespace Ostrel

// The statement this is written in.
#define OSTREL_SOURCE_PLACE (::Ostrel::SourcePlace{__FILE__, static_cast<uint32_t>(__LINE__)})

// ZORV_LOG with the file and line of place.
#define OSTREL_LOG_AT(place, level, ...)                                                        \
    do {                                                                                        \
        if (::ZorvCommon::g_DebugLog.IsPassing(level)) {                                        \
            const ::Ostrel::SourcePlace ostrelPlace_ = (place);                                 \
            (void)::ZorvCommon::g_DebugLog.Trace(ostrelPlace_.File, ostrelPlace_.Line, (level), \
                                                 __VA_ARGS__);                                  \
        }                                                                                       \
    } while (0)

// The storage-control reader is kept in several files; every line of it names the
// reader's own unit, "XmlParserStorageControl.cpp".
#define STORAGE_CONTROL_PLACE \
    (::Ostrel::SourcePlace{"XmlParserStorageControl.cpp", static_cast<uint32_t>(__LINE__)})
#define STORAGE_CONTROL_TRACE(...) \
    OSTREL_LOG_AT(STORAGE_CONTROL_PLACE, ::ZorvCommon::LogLevelTrace, __VA_ARGS__)
#define STORAGE_CONTROL_INFO(...) \
    OSTREL_LOG_AT(STORAGE_CONTROL_PLACE, ::ZorvCommon::LogLevelInfo, __VA_ARGS__)
#define STORAGE_CONTROL_ERROR(...) \
    OSTREL_LOG_AT(STORAGE_CONTROL_PLACE, ::ZorvCommon::LogLevelError, __VA_ARGS__)
