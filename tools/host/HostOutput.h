#pragma once
// Output of ostrel-host: UTF-8 on standard output, tables for people and JSON for scripts.

#include <windows.h>

#include <string>
#include <vector>

#include "SrvFrwk_Interface.h"

void Print(const std::wstring& text);       // standard output, UTF-8
void PrintError(const std::wstring& text);  // standard error, UTF-8
// What a result code of the module means, in a few words.
std::wstring DescribeResult(int32_t result);

// For the service and the provider rows.
template <typename Row>
void PrintRows(const std::vector<Row>& rows, bool json);
void PrintWebAccess(const SrvFrwk::Interface::WebAccessControlList& list, bool json);
