#pragma once

#include <cstdint>
#include <string>

// What a result code of the module means, in a few words.
std::wstring DescribeResult(int32_t result);
