#pragma once
// Files the benchmarks generate.

#include <cstddef>
#include <string>

namespace Bench {

// Creates (or replaces) the file at path with the bytes.
bool WriteWholeFile(const std::wstring& path, const void* data, size_t size);

}  // namespace Bench
